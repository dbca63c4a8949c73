#pragma once

#include "morvex/sfile.h"
#include "morvex/sstring.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <system_error>

namespace MorvexA106
{

/// A fresh folder that goes away with all that is in it.
class Scratch
{
public:
    Scratch() : Scratch(std::filesystem::temp_directory_path()) {}
    explicit Scratch(const std::filesystem::path& parent)
    {
        std::random_device random;
        do {
            m_path = parent / ("morvex" + std::to_string(random()) + std::to_string(random()));
        } while (!std::filesystem::create_directory(m_path));
    }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;
    ~Scratch()
    {
        std::error_code ignored; // a file that a test lost may stand open
        std::filesystem::remove_all(m_path, ignored);
    }

    /// The path of an entry, in the system's own form.
    std::string operator/(const std::string& name) const
    {
        return (m_path / std::filesystem::path(name).make_preferred()).string();
    }
    SAnsiString path(const std::string& name) const { return (*this / name).c_str(); }
    SAnsiString root() const { return m_path.string().c_str(); }

private:
    std::filesystem::path m_path;
};

inline void putFile(const std::string& path, const std::string& content)
{
    std::ofstream file(path, std::ios::binary);
    file << content;
    ASSERT_TRUE(file.flush()) << path;
}

inline std::string contentOf(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// Runs the operation and returns the failure that it must throw.
template <class Failure, class Operation>
Failure failureOf(Operation operation)
{
    try {
        operation();
    } catch (const Failure& failure) {
        return failure;
    }
    ADD_FAILURE() << "nothing was thrown";
    return Failure();
}

} // namespace MorvexA106
