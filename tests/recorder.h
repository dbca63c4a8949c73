#pragma once

#include "morvex/diagnostics.h"

#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace MorvexA106
{

/// Stands in for the logger while it lives, and keeps what the entry points say. Safe to be told from any
/// thread.
class Recorder final : public Diagnostics::Sink
{
public:
    Recorder() : m_before(Diagnostics::exchangeSink(this)) {}
    ~Recorder() { Diagnostics::exchangeSink(m_before); }
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    bool shouldTrace(int, const char*) override { return true; }
    bool shouldAssert(const char* file) override
    {
        const std::lock_guard guard(m_lock);
        m_askedFile = file;
        return true;
    }
    void trace(int channel, const SAnsiString& text) override
    {
        const std::lock_guard guard(m_lock);
        m_lines.push_back({channel, std::string(text.view())});
    }
    void log(int level, int category, unsigned long id, std::span<const char* const> parameters) override
    {
        const std::lock_guard guard(m_lock);
        std::string line = std::to_string(level) + "/" + std::to_string(category) + "/" + std::to_string(id);
        for (const char* parameter : parameters) {
            line += std::string("/") + parameter;
        }
        m_logs.push_back(line);
    }
    bool canStackDump() override { return stackDump; }
    bool isNativeAssert() override { return true; }
    SAnsiString stackWalkAll() override { return "the stack"; }

    std::vector<std::pair<int, std::string>> lines() const
    {
        const std::lock_guard guard(m_lock);
        return m_lines;
    }
    std::vector<std::string> logs() const
    {
        const std::lock_guard guard(m_lock);
        return m_logs;
    }
    std::string askedFile() const
    {
        const std::lock_guard guard(m_lock);
        return m_askedFile;
    }

    /// How many lines hold this text.
    int count(const std::string& part) const
    {
        int found = 0;
        for (const auto& [channel, text] : lines()) {
            found += text.find(part) != std::string::npos ? 1 : 0;
        }
        return found;
    }
    void clear()
    {
        const std::lock_guard guard(m_lock);
        m_lines.clear();
        m_logs.clear();
    }

    bool stackDump = false;

private:
    Diagnostics::Sink* m_before;
    mutable std::mutex m_lock;
    std::string m_askedFile;
    std::vector<std::pair<int, std::string>> m_lines;
    std::vector<std::string> m_logs;
};

} // namespace MorvexA106
