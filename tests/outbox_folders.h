#pragma once

#include "dropfolder.h"
#include "failures.h"
#include "filenames.h"

#include <morvex/sfile.h>
#include <morvex/sfilesys.h>
#include <morvex/sstringhelper.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace Outbox
{

using namespace MorvexA106;

inline SAnsiString in(const SAnsiString& folder, const SAnsiString& name)
{
    return SStringHelper::MakePath(folder, name);
}

inline void writeFile(const SAnsiString& path, const std::string& content, int how = SFile::truncate)
{
    SFile file(path, SFile::writeOnly | SFile::create | how, SFile::defaultPermissions, SFile::denyNothing);
    ASSERT_EQ(file.write(content.data(), static_cast<unsigned>(content.size())), int(content.size()));
}

inline std::string readFile(const SAnsiString& path)
{
    SFile file(path, SFile::readOnly, SFile::defaultPermissions, SFile::denyNothing);
    std::string content(static_cast<std::size_t>(file.sizeEx()), '\0');
    content.resize(
        static_cast<std::size_t>(file.read(content.data(), static_cast<unsigned>(content.size()))));
    return content;
}

/// The names in a folder but those that begin with a dot, sorted; none when there is no folder.
inline std::vector<std::string> shown(const SAnsiString& folder)
{
    std::vector<std::string> names;
    if (SFileSys::exists(folder)) {
        for (const SAnsiString& name : namesIn(folder)) {
            if (name.getString()[0] != '.') {
                names.emplace_back(name.view());
            }
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

/// Everything that is a file in the folder or below, by its path in it, sorted; nothing when there is no folder.
inline std::vector<std::string> filesBelow(const SAnsiString& folder)
{
    std::vector<std::string> files;
    if (!SFileSys::exists(folder)) {
        return files;
    }
    for (const SAnsiString& name : namesIn(folder)) {
        const SAnsiString path = in(folder, name);
        if (!SFileSys::isDir(path)) {
            files.emplace_back(name.view());
            continue;
        }
        for (const std::string& file : filesBelow(path)) {
            files.push_back(std::string(name.view()) + "/" + file);
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

/// A drop folder, a target and a basket for what is fetched from the target, in a fresh folder of their own.
class Folders
{
public:
    Folders()
        : root(std::filesystem::temp_directory_path().string().c_str()),
          drop(root),
          target(root),
          basket(root)
    {
        root = in(root, SAnsiString("outbox-test-") + drawNumber());
        drop = in(root, "drop");
        target = in(root, "target");
        basket = in(root, "basket");
        for (const SAnsiString& folder : {root, drop, target, basket}) {
            makeFolder(folder);
        }
    }
    ~Folders()
    {
        std::error_code ignored;
        std::filesystem::remove_all(root.getString(), ignored);
    }
    Folders(const Folders&) = delete;
    Folders& operator=(const Folders&) = delete;

    SAnsiString sent() const { return in(drop, "sent"); }
    SAnsiString failed() const { return in(drop, "failed"); }

    /// What a reader of the target does: takes away everything that is there.
    void fetch() const
    {
        for (const std::string& name : shown(target)) {
            const SAnsiString text(name.c_str());
            SFileSys::renameFile(in(target, text), in(basket, freeName(basket, text)));
        }
    }

    SAnsiString root;
    SAnsiString drop;
    SAnsiString target;
    SAnsiString basket;
};

} // namespace Outbox
