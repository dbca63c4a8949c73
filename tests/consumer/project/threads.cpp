// The threading library by itself: neither its headers nor its link need the other library.
#include <etc/etc.h>

int main()
{
    const Etc10012::JTCInitialize threads;
    return Etc10012::JTCThread::currentThread() == nullptr ? 0 : 1;
}
