// Replacing a small file, and making files with unique names.

#include "workbench.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <morvex/sfilesys.h>
#include <unistd.h>

using namespace MorvexA106;

namespace FilesBench
{

namespace
{

const std::string replacing = "replaceFile of 4 KB, 20 times";
const std::string naming = "getUniqueFilename, 5,000 made";

constexpr std::size_t replacings = 20; // each waits for the disk twice
constexpr std::size_t names = 5000;

/// The least that leaves the old content or the new one.
void replaceByHand(const std::string& folder, const std::string& name, const std::string& content)
{
    const std::string fresh = folder + "/fresh";
    const int file = ::open(fresh.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    const int place = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const bool written = ::write(file, content.data(), content.size()) == ssize_t(content.size());
    require(written && ::fsync(file) == 0 && ::rename(fresh.c_str(), name.c_str()) == 0 &&
                ::fsync(place) == 0,
            "a file can be replaced by hand");
    ::close(file);
    ::close(place);
}

void addReplacing(Workbench& workbench)
{
    if (!workbench.wants(replacing)) {
        return;
    }
    const std::string folder = workbench.folder();
    const std::string name = folder + "/replaced";
    const std::string content(4096, 'c');
    Bench::Row row(replacing);
    row.ours([=] {
        for (std::size_t i = 0; i < replacings; ++i) {
            SFileSys::replaceFile(name.c_str(), content);
        }
    });
    row.peer("by hand", [=] {
        for (std::size_t i = 0; i < replacings; ++i) {
            replaceByHand(folder, name, content);
        }
    });
    row.per(replacings);
    row.onTheWall(9);
    row.target(1.5);
    workbench.run(row);
    std::filesystem::remove(name);
}

void addNaming(Workbench& workbench)
{
    if (!workbench.wants(naming)) {
        return;
    }
    const std::string folder = workbench.folder() + "/names";
    Bench::Row row(naming);
    row.ours([=] {
        for (std::size_t i = 0; i < names; ++i) {
            Bench::keep(
                SFileSys::getUniqueFilename(folder.c_str(), "n", "", true, SFile::defaultPermissions));
        }
    });
    row.peer("mkstemp", [=] {
        for (std::size_t i = 0; i < names; ++i) {
            std::string name = folder + "/nXXXXXX";
            const int file = ::mkstemp(name.data());
            require(file >= 0, "a file can be made by hand");
            ::close(file);
        }
    });
    row.per(names);
    row.onTheWall(5, [=] {
        std::filesystem::remove_all(folder);
        std::filesystem::create_directory(folder);
    });
    row.target(3); // it also looks, makes folders and marks the file for sharing
    workbench.run(row);
    std::filesystem::remove_all(folder);
}

const Group replaceGroup(addReplacing);
const Group nameGroup(addNaming);

} // namespace

} // namespace FilesBench
