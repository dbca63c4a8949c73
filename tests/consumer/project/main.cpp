#include <etc/etc.h>
#include <morvex/morvex.h>

#include <cstdio>

using MorvexA106::SAnsiString;

namespace
{

class Greeter : public Etc10012::JTCThread
{
public:
    explicit Greeter(const char* name) : JTCThread(Etc10012::JTCHandleT<Etc10012::JTCThreadGroup>(), name) {}

    void run() override { m_greeting = SAnsiString("hello from ") + getName().c_str(); }

    SAnsiString m_greeting;
};

} // namespace

int main()
{
    const Etc10012::JTCInitialize threads;
    const Etc10012::JTCHandleT<Greeter> greeter(new Greeter("outside"));
    greeter->start();
    greeter->join();
    std::puts(greeter->m_greeting.getString());
    return greeter->m_greeting == "hello from outside" ? 0 : 1;
}
