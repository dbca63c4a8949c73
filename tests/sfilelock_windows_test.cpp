#include "morvex/sfilelock.h"

#include "platform/windows/owned.h"
#include "scratch.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <string>

using namespace MorvexA106;
using Platform::FileHandle;

namespace
{

/// A process that holds an exclusive lock until it is killed.
class Holder
{
public:
    explicit Holder(const std::string& path)
    {
        SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
        HANDLE from = nullptr;
        HANDLE to = nullptr;
        if (!CreatePipe(&from, &to, &inherited, 0)) {
            return;
        }
        m_output.reset(from);
        const FileHandle input(to);
        STARTUPINFOA how{};
        how.cb = sizeof how;
        how.dwFlags = STARTF_USESTDHANDLES;
        how.hStdOutput = to;
        how.hStdError = to;
        PROCESS_INFORMATION what{};
        std::string command = std::string(MORVEX_LOCKHOLDER) + " " + path;
        if (CreateProcessA(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &how,
                           &what)) {
            CloseHandle(what.hThread);
            m_process.reset(what.hProcess);
            m_number = what.dwProcessId;
        }
    }
    ~Holder() { kill(); }
    Holder(const Holder&) = delete;
    Holder& operator=(const Holder&) = delete;

    DWORD number() const { return m_number; }

    /// False when the process ended instead.
    bool waitUntilLocked() const
    {
        char byte;
        DWORD count = 0;
        return m_process && ReadFile(m_output.get(), &byte, 1, &count, nullptr) && count == 1 && byte == 'l';
    }
    void kill()
    {
        if (m_process) {
            TerminateProcess(m_process.get(), 1);
            WaitForSingleObject(m_process.get(), INFINITE);
            m_process.reset();
        }
    }

private:
    FileHandle m_output;
    FileHandle m_process;
    DWORD m_number = 0;
};

} // namespace

TEST(SFileLockWindows, HolderInAnotherProcessIsToldAndItsDeathFreesTheLock)
{
    const Scratch scratch;
    putFile(scratch / "a", "text");
    Holder holder(scratch / "a");
    ASSERT_TRUE(holder.waitUntilLocked());
    SFileLock lock(scratch.path("a"));
    EXPECT_FALSE(lock.tryLock(SFileLock::shared));
    const SFileLock::Owner owner = lock.owner();
    EXPECT_TRUE(owner.known);
    EXPECT_EQ(owner.process, holder.number());
    const STimeSpan age = SDateTime::GetCurrentDateTime() - owner.started;
    EXPECT_GE(age, STimeSpan(0, 0, 0, -1, 0));
    EXPECT_LT(age, STimeSpan(0, 0, 2, 0, 0));
    holder.kill();
    constexpr unsigned long aMinute = 60000; // the system may take its time
    EXPECT_TRUE(lock.tryLockFor(aMinute, SFileLock::exclusive));
    EXPECT_FALSE(lock.owner().known);
}
