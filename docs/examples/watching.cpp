#include <morvex/morvex.h>

#include <cstdio>
#include <fstream>

using namespace MorvexA106;

class Printer : public SDirectoryChangeReceiver
{
public:
    void changed(const SDirectoryChange& change) override
    {
        static const char* const words[] = {"created", "changed", "renamed", "removed"};
        std::printf("%s %s\n", words[change.m_kind], change.m_name.getString());
    }
};

int main()
{
    const SAnsiString folder("watching.example");
    SFileSys::makeDirectories(SStringHelper::MakePath(folder, "in"), SFile::defaultPermissions);

    Printer printer;
    SDirectoryChangeWatcher watcher(folder, printer, {.m_tree = true});
    watcher.open(); // what happens from here on is told

    const SAnsiString fresh = SStringHelper::MakePath(folder, "order.txt");
    const SAnsiString taken = SStringHelper::MakePath(SStringHelper::MakePath(folder, "in"), "order.txt");
    std::ofstream(fresh.getString()) << "two of them";
    while (watcher.poll(100)) // on this thread; start() would tell on one of the watcher's own
        ;
    SFileSys::renameFile(fresh, taken);
    while (watcher.poll(100))
        ;
    SFileSys::remove(taken);
    while (watcher.poll(100))
        ;
    watcher.stop();
    SFileSys::rremove(folder);
}
