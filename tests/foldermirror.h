#pragma once

#include "morvex/sdirectorychangewatcher.h"
#include "scratch.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace MorvexA106
{

/// What is below a folder: for each path the content of a file, "/" for a folder and "->" for a link.
using TreeContent = std::map<std::string, std::string>;

inline std::string entryContent(const std::filesystem::path& path)
{
    std::error_code gone;
    const auto status = std::filesystem::symlink_status(path, gone);
    if (std::filesystem::is_symlink(status)) {
        return "->";
    }
    return std::filesystem::is_directory(status) ? "/" : contentOf(path.string());
}

inline TreeContent treeContent(const std::filesystem::path& root)
{
    TreeContent tree;
    if (!std::filesystem::exists(root)) {
        return tree;
    }
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
        tree[entry.path().lexically_relative(root).string()] = entryContent(entry.path());
    }
    return tree;
}

inline std::string describe(const SDirectoryChange& change)
{
    static const char* const words[] = {"created ", "changed ", "renamed ", "removed "};
    std::string text = words[change.m_kind];
    if (change.m_kind == SDirectoryChange::Renamed) {
        text += std::string(change.m_oldName.view()) + " to ";
    }
    return text + std::string(change.m_name.view()) + (change.m_directory != 0 ? "/" : "");
}

/// Applies what it is told to a tree of its own, and reads a file whenever it is told of it, be it of its new name.
/// Tells what can't be, as a failure.
class FolderMirror : public SDirectoryChangeReceiver
{
public:
    explicit FolderMirror(std::string root) : m_root(std::move(root)), m_tree(treeContent(m_root)) {}

    void changed(const SDirectoryChange& change) override
    {
        const std::lock_guard guard(m_lock);
        m_told.push_back(describe(change));
        apply(change);
    }

    TreeContent tree() const
    {
        const std::lock_guard guard(m_lock);
        return m_tree;
    }

    /// Since it was asked last.
    std::vector<std::string> told()
    {
        const std::lock_guard guard(m_lock);
        return std::exchange(m_told, {});
    }

    bool equalsDisk() const { return tree() == treeContent(m_root); }

    void forgetAll()
    {
        const std::lock_guard guard(m_lock);
        m_tree.clear();
    }

private:
    void apply(const SDirectoryChange& change)
    {
        const std::string name(change.m_name.view());
        const bool isKnown = m_tree.count(name) != 0;
        switch (change.m_kind) {
        case SDirectoryChange::Created:
            EXPECT_FALSE(isKnown) << describe(change);
            expectFolderOf(change);
            m_tree[name] = look(change);
            break;
        case SDirectoryChange::Changed:
            EXPECT_TRUE(isKnown && change.m_directory == 0) << describe(change);
            m_tree[name] = look(change);
            break;
        case SDirectoryChange::Renamed:
            EXPECT_FALSE(isKnown) << describe(change);
            expectFolderOf(change);
            rename(std::string(change.m_oldName.view()), name);
            break;
        case SDirectoryChange::Removed:
            EXPECT_EQ(m_tree.erase(name), 1u) << describe(change);
            EXPECT_TRUE(below(name).empty()) << describe(change);
        }
    }

    void expectFolderOf(const SDirectoryChange& change)
    {
        const auto folder = std::filesystem::path(std::string(change.m_name.view())).parent_path();
        const auto known = m_tree.find(folder.string());
        EXPECT_TRUE(folder.empty() || (known != m_tree.end() && known->second == "/"))
            << describe(change) << " after " << testing::PrintToString(m_told);
    }

    std::string look(const SDirectoryChange& change) const
    {
        return change.m_directory != 0 ? "/" : readFile(std::string(change.m_name.view()));
    }

    /// By now a folder may have the name, of which a later change tells; what we were told of stays no folder.
    std::string readFile(const std::string& name) const
    {
        const std::string content = entryContent(std::filesystem::path(m_root) / name);
        return content != "/" ? content : "";
    }

    TreeContent below(const std::string& name) const
    {
        TreeContent inside;
        const std::string prefix = name + static_cast<char>(std::filesystem::path::preferred_separator);
        for (auto at = m_tree.lower_bound(prefix); at != m_tree.end() && at->first.starts_with(prefix);
             ++at) {
            inside.insert(*at);
        }
        return inside;
    }

    void rename(const std::string& from, const std::string& to)
    {
        EXPECT_EQ(m_tree.count(from), 1u) << from;
        TreeContent moved = below(from);
        moved[from] = m_tree[from];
        for (const auto& [name, content] : moved) {
            m_tree.erase(name);
        }
        for (const auto& [name, content] : moved) {
            const std::string newName = to + name.substr(from.size());
            m_tree[newName] = content == "/" ? content : readFile(newName);
        }
    }

    const std::string m_root;
    mutable std::mutex m_lock;
    TreeContent m_tree;
    std::vector<std::string> m_told;
};

/// Asks again and again until it is so; false when that takes longer than anything here should.
inline bool becomesTrue(const std::function<bool()>& condition)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

} // namespace MorvexA106
