#include "morvex/sfilelock.h"

#include "morvex/badalloc.h"
#include "morvex/resourcetexts.h"
#include "platform/filelock.h"
#include "platform/locknote.h"
#include "platform/process.h"
#include "platform/systemerror.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <string>
#include <thread>

namespace MorvexA106
{

namespace
{

static_assert(SFileLock::limit == Platform::LockNote::first, "what holders tell stands behind all locks");

SAnsiString reasonOf(int errorNumber)
{
    const std::string text =
        sayingBadAllocation([&] { return Platform::errorText(Platform::runtimeError(errorNumber)); });
    return text.c_str();
}

int openedForLocks(const SAnsiString& path, bool create)
{
    const Platform::FileResult opened = Platform::openForLocks(path, create);
    if (opened.failed()) {
        throw SFileException(SFileException::OpenFailed, opened.error, path,
                             SFileException::MapErrno(opened.error), reasonOf(opened.error), SAnsiString());
    }
    return static_cast<int>(opened.value);
}

bool isLockable(__int64 begin, __int64 length) noexcept
{
    return begin >= 0 && begin < SFileLock::limit && length > 0 && length <= SFileLock::limit - begin;
}

} // namespace

SFileLockException::SFileLockException(int errorNumber, const SAnsiString& fileName,
                                       const SAnsiString& reason) noexcept
    : SFileException(UnknownError, errorNumber, fileName, MapErrno(errorNumber), reason, SAnsiString())
{}

SFileLockException::~SFileLockException() = default;

SAnsiString SFileLockException::toString() const
{
    return sentence(fileLockText);
}

SFileLock::SFileLock(const SAnsiString& path, bool create)
    : m_filename(path),
      m_fd(openedForLocks(path, create))
{}

/// To close the descriptor is not enough where a process that was forked off has it, too; and the copy of the object in
/// that process must not take the lock away.
SFileLock::~SFileLock()
{
    if (m_locked && m_process == Platform::processId()) {
        static_cast<void>(Platform::unlockRange(m_fd, {m_begin, m_length}));
    }
    Platform::closeFile(m_fd);
}

void SFileLock::lock(Kind kind, __int64 begin, __int64 length)
{
    if (!attempt(kind, begin, length, true)) {
        fail(EAGAIN); // no system does this
    }
}

bool SFileLock::tryLock(Kind kind, __int64 begin, __int64 length)
{
    return attempt(kind, begin, length, false);
}

bool SFileLock::tryLockFor(unsigned long milliseconds, Kind kind, __int64 begin, __int64 length)
{
    using Clock = std::chrono::steady_clock;
    using Milliseconds = std::chrono::duration<std::uint64_t, std::milli>;
    constexpr Milliseconds longestSleep(50);
    const Milliseconds limitOfTime(milliseconds);
    const Clock::time_point begun = Clock::now();
    for (Milliseconds sleep(1);; sleep = std::min(2 * sleep, longestSleep)) {
        if (attempt(kind, begin, length, false)) {
            return true;
        }
        const auto passed = std::chrono::floor<Milliseconds>(Clock::now() - begun);
        if (passed >= limitOfTime) {
            return false;
        }
        std::this_thread::sleep_for(std::min(sleep, limitOfTime - passed));
    }
}

void SFileLock::unlock()
{
    if (!m_locked) {
        return;
    }
    const int error = Platform::unlockRange(m_fd, {m_begin, m_length});
    if (error != 0) {
        fail(error);
    }
    m_locked = false;
}

SFileLock::Owner SFileLock::owner() const
{
    if (!m_refused) {
        return {};
    }
    const auto holder = Platform::findHolder(m_fd, {m_begin, m_length}, m_kind == exclusive);
    if (!holder) {
        return {};
    }
    const std::chrono::system_clock::time_point epoch;
    return {true, holder->process, SDateTime(epoch + std::chrono::milliseconds(holder->started))};
}

bool SFileLock::attempt(Kind kind, __int64 begin, __int64 length, bool wait)
{
    if (m_locked) {
        fail(EDEADLK);
    }
    m_refused = false;
    if (length == toTheEnd && begin >= 0) {
        length = limit - begin;
    }
    if (!isLockable(begin, length)) {
        fail(EINVAL);
    }
    const int error = Platform::lockRange(m_fd, {begin, length}, kind == exclusive, wait);
    if (error != 0 && error != EAGAIN) {
        fail(error);
    }
    m_locked = error == 0;
    m_refused = !m_locked;
    m_kind = kind;
    m_begin = begin;
    m_length = length;
    if (m_locked) {
        m_process = Platform::processId();
        Platform::tellHolder(m_fd, {m_begin, m_length});
    }
    return m_locked;
}

void SFileLock::fail(int errorNumber) const
{
    throw SFileLockException(errorNumber, m_filename, reasonOf(errorNumber));
}

} // namespace MorvexA106
