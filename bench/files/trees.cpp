// Copying, listing, measuring and removing, against the system's commands. A command's time has its start in it, which
// is 1 to 2 ms.

#include "workbench.h"

#include <morvex/sfilesys.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

using namespace MorvexA106;

namespace FilesBench
{

namespace
{

using Bench::keep;

constexpr int fileCount = 100'000;
constexpr int rounds = 5;

void putFile(const std::string& path, std::size_t size)
{
    const std::string content(size, 'x');
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    require(file >= 0 && ::write(file, content.data(), size) == static_cast<ssize_t>(size),
            path + " can be written");
    ::close(file);
}

void putFolder(const std::string& folder, int files)
{
    require(::mkdir(folder.c_str(), 0777) == 0, folder + " can be made");
    for (int i = 0; i < files; ++i) {
        putFile(folder + "/file number " + std::to_string(i), 100);
    }
}

void putTree(const std::string& top)
{
    constexpr int filesAFolder = 100;
    require(::mkdir(top.c_str(), 0777) == 0, top + " can be made");
    for (int i = 0; i < fileCount / filesAFolder; ++i) {
        putFolder(top + "/folder " + std::to_string(i), filesAFolder);
    }
}

void addCopying(Workbench& workbench)
{
    Bench::Row row("copy a file of 1 GB");
    if (!workbench.wants(row.name())) {
        return;
    }
    constexpr std::size_t piece = std::size_t{1} << 20;
    constexpr int pieces = 1024;
    const std::string from = workbench.folder() + "/from";
    const std::string to = workbench.folder() + "/to";
    const std::vector<char> bytes(piece, 'x');
    const int file = ::open(from.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
    for (int i = 0; i < pieces; ++i) {
        require(::write(file, bytes.data(), piece) == static_cast<ssize_t>(piece), "there is room for 2 GB");
    }
    ::close(file);

    row.ours([=] { SFileSys::copyFile(from.c_str(), to.c_str(), false); });
    row.peer("cp", [=] { runCommand({"cp", from, to}); });
    row.onTheWall(rounds, [=] {
        ::unlink(to.c_str());
        ::sync();
    });
    row.target(1.1);
    workbench.run(row);
    ::unlink(from.c_str());
    ::unlink(to.c_str());
}

void addListing(Workbench& workbench)
{
    Bench::Row row("list 100,000 files of a folder");
    if (!workbench.wants(row.name())) {
        return;
    }
    const std::string folder = workbench.folder() + "/flat";
    putFolder(folder, fileCount);
    row.ours([=] {
        SIArray<FileProp> rows;
        SFileSys::listing(folder.c_str(), "*", rows);
        require(rows.GetSize() == fileCount, "all are listed");
        keep(rows);
    });
    row.peer("find -printf", [=] {
        runCommand({"find", folder, "-mindepth", "1", "-maxdepth", "1", "-printf", "%T@ %p %y %s\\n"});
    });
    row.onTheWall(rounds);
    row.target(1.5);
    workbench.run(row);
    SFileSys::rremove(folder.c_str());
}

void addMeasuring(Workbench& workbench)
{
    Bench::Row row("size of a tree of 100,000 files");
    if (!workbench.wants(row.name())) {
        return;
    }
    const std::string tree = workbench.folder() + "/tree";
    putTree(tree);
    row.ours([=] { require(SFileSys::rsizeEx(tree.c_str()) == 100LL * fileCount, "all are added up"); });
    row.peer("du", [=] { runCommand({"du", "-s", "--apparent-size", tree}); });
    row.onTheWall(rounds);
    row.target(1.5);
    workbench.run(row);
    SFileSys::rremove(tree.c_str());
}

/// On a disk that is told of everything that is freed, the disk decides for all contenders alike, and minutes go by: give
/// the program a folder in memory.
void addRemoving(Workbench& workbench)
{
    Bench::Row row("remove a tree of 100,000 files");
    if (!workbench.wants(row.name())) {
        return;
    }
    const std::string tree = workbench.folder() + "/tree";
    row.ours([=] { SFileSys::rremove(tree.c_str()); });
    row.peer("rm -r", [=] { runCommand({"rm", "-r", "-f", tree}); });
    row.onTheWall(3, [=] { putTree(tree); });
    row.target(1.3);
    workbench.run(row);
}

void addAll(Workbench& workbench)
{
    addCopying(workbench);
    addListing(workbench);
    addMeasuring(workbench);
    addRemoving(workbench);
}

const Group group(addAll);

} // namespace

} // namespace FilesBench
