// Buffers, files and folders against their peers: files_bench [-r PART-OF-A-ROW'S-NAME] [FOLDER]

#include "workbench.h"

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <spawn.h>
#include <string_view>
#include <sys/wait.h>
#include <unistd.h>

namespace FilesBench
{

namespace
{

std::vector<void (*)(Workbench&)>& groups()
{
    static std::vector<void (*)(Workbench&)> all;
    return all;
}

std::vector<void (*)(Bench::Row&)>& appendingPeers()
{
    static std::vector<void (*)(Bench::Row&)> all;
    return all;
}

/// A fresh folder that goes away at the end.
class OwnFolder
{
public:
    explicit OwnFolder(const std::string& parent) : m_path(parent + "/files_bench.XXXXXX")
    {
        require(mkdtemp(m_path.data()) != nullptr, "a folder can be made in " + parent);
    }
    ~OwnFolder() { std::filesystem::remove_all(m_path); }
    OwnFolder(const OwnFolder&) = delete;
    OwnFolder& operator=(const OwnFolder&) = delete;

    const std::string& path() const noexcept { return m_path; }

private:
    std::string m_path;
};

} // namespace

Workbench::Workbench(std::string folder, std::string part)
    : m_folder(std::move(folder)),
      m_part(std::move(part))
{}

void Workbench::run(Bench::Row& row)
{
    if (wants(row.name())) {
        m_verdicts.push_back(row.measure().print());
    }
}

void Workbench::add(const std::string& row, bool kept, const std::string& words)
{
    using Outcome = Bench::Verdict::Outcome;
    std::printf("%-7s %-32s %s\n", kept ? "met" : "MISSED", row.c_str(), words.c_str());
    std::fflush(stdout);
    m_verdicts.push_back({row, kept ? Outcome::met : Outcome::missed, 0});
}

Group::Group(void (*makeRows)(Workbench& workbench))
{
    groups().push_back(makeRows);
}

void Group::runAll(Workbench& workbench)
{
    for (const auto makeRows : groups()) {
        makeRows(workbench);
    }
}

AppendingPeer::AppendingPeer(void (*add)(Bench::Row& row))
{
    appendingPeers().push_back(add);
}

void AppendingPeer::addAll(Bench::Row& row)
{
    for (const auto add : appendingPeers()) {
        add(row);
    }
}

void runCommand(const std::vector<std::string>& words)
{
    std::vector<char*> arguments;
    for (const std::string& word : words) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t process = 0;
    require(posix_spawnp(&process, arguments[0], &actions, nullptr, arguments.data(), environ) == 0,
            "there is a command " + words[0]);
    posix_spawn_file_actions_destroy(&actions);
    int status = 0;
    waitpid(process, &status, 0);
    require(WIFEXITED(status) && WEXITSTATUS(status) == 0, words[0] + " succeeds");
}

void require(bool holds, const std::string& what)
{
    if (!holds) {
        std::fprintf(stderr, "files_bench: this does not hold: %s\n", what.c_str());
        std::exit(1);
    }
}

} // namespace FilesBench

int main(int count, char** arguments)
{
    std::vector<std::string> words(arguments + 1, arguments + count);
    std::string part;
    if (words.size() >= 2 && words[0] == "-r") {
        part = words[1];
        words.erase(words.begin(), words.begin() + 2);
    }
    std::setlocale(LC_ALL, "C.UTF-8");
    const FilesBench::OwnFolder folder(words.empty() ? std::filesystem::temp_directory_path().string()
                                                     : words[0]);
    std::printf("medians in turns, in %s; xN is our time to theirs; peers that are not there: %s\n",
                folder.path().c_str(), MORVEX_BENCH_MISSING);
    Bench::printHeading();
    FilesBench::Workbench workbench(folder.path(), part);
    FilesBench::Group::runAll(workbench);
    Bench::printSummary("files", workbench.verdicts());
}
