// Holds an exclusive lock on a file until it is killed: lockholder FILE

#include <morvex/sfilelock.h>

#include <cstdio>
#include <windows.h>

int main(int count, char** arguments)
{
    if (count != 2) {
        return 2;
    }
    MorvexA106::SFileLock lock(arguments[1]);
    lock.lock(MorvexA106::SFileLock::exclusive);
    std::puts("locked");
    std::fflush(stdout);
    Sleep(INFINITE);
}
