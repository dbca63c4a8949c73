// Reading a log line by line.

#include "workbench.h"

#include <morvex/sfile.h>

#include <cstdio>
#include <fstream>
#include <memory>

using namespace MorvexA106;

namespace FilesBench
{

namespace
{

using Bench::keep;

const std::string intoOneString = "readLine(line) of 100 MB, 80-byte lines";
const std::string returned = "readLine() of 100 MB, 80-byte lines";

constexpr std::size_t lineSize = 80; // with its end
constexpr std::size_t logSize = 100'000'000;
constexpr std::size_t logLines = logSize / lineSize;

void writeLog(const std::string& path)
{
    std::ofstream log(path, std::ios::binary);
    for (std::size_t i = 0; i < logLines; ++i) {
        std::string line = "2026-11-21 10:15:33.123 outbox: delivered message " + std::to_string(i);
        line.resize(lineSize - 1, '.');
        log << line << '\n';
    }
    require(bool(log.flush()), "the log can be written");
}

void countedAll(std::size_t lines)
{
    require(lines == logLines, "every line is read");
}

void addPeers(Bench::Row& row, const std::string& path)
{
    row.peer("getline", [path] {
        std::ifstream file(path, std::ios::binary);
        std::size_t lines = 0;
        for (std::string line; std::getline(file, line); ++lines) {
            keep(line);
        }
        countedAll(lines);
    });
    row.peer("fgets", [path] {
        const std::unique_ptr<FILE, int (*)(FILE*)> file(std::fopen(path.c_str(), "rb"), &std::fclose);
        std::size_t lines = 0;
        for (char line[1024]; std::fgets(line, sizeof line, file.get()) != nullptr; ++lines) {
            keep(line);
        }
        countedAll(lines);
    });
}

/// As its peers do it: the line's memory is used again.
void addIntoOneString(Workbench& workbench, const std::string& path)
{
    Bench::Row row(intoOneString);
    row.ours([path] {
        SFile file(path.c_str(), SFile::readOnly, SFile::defaultPermissions, SFile::denyNothing);
        std::size_t lines = 0;
        for (SAnsiString line; file.readLine(line); ++lines) {
            keep(line);
        }
        countedAll(lines);
    });
    addPeers(row, path);
    row.per(logLines);
    row.target(1, {"getline"});
    workbench.run(row);
}

/// Each line a string of its own.
void addReturned(Workbench& workbench, const std::string& path)
{
    Bench::Row row(returned);
    row.ours([path] {
        SFile file(path.c_str(), SFile::readOnly, SFile::defaultPermissions, SFile::denyNothing);
        std::size_t lines = 0;
        for (; !file.eof(); ++lines) {
            keep(file.readLine());
        }
        countedAll(lines);
    });
    addPeers(row, path);
    row.per(logLines);
    row.target(1.5, {"fgets"});
    workbench.run(row);
}

void addLines(Workbench& workbench)
{
    if (!workbench.wants(intoOneString) && !workbench.wants(returned)) {
        return;
    }
    const std::string path = workbench.folder() + "/log";
    writeLog(path);
    addIntoOneString(workbench, path);
    addReturned(workbench, path);
    std::remove(path.c_str());
}

const Group group(addLines);

} // namespace

} // namespace FilesBench
