#pragma once

/// @file
/// What the threading library throws.

#include "etc/export.h"

#include <stdexcept>
#include <string>

namespace Etc10012
{

/// Base of all exceptions of this library. `what()` says which operation failed and why, in words.
///
///     try {
///         worker->start();
///     } catch (const JTCException& problem) {
///         report(problem.what());
///     }
class ETC_EXPORT JTCException : public std::runtime_error
{
public:
    explicit JTCException(const std::string& text);
    JTCException(const JTCException&) noexcept = default;
    JTCException& operator=(const JTCException&) noexcept = default;
    ~JTCException() override;
};

/// A lock was used against its rules: `unlock`, `wait` or `notify` by a thread that does not hold it, or a
/// second `lock` of one that can't be taken twice. The lock is as it was.
class ETC_EXPORT JTCIllegalMonitorState : public JTCException
{
public:
    using JTCException::JTCException;
    JTCIllegalMonitorState(const JTCIllegalMonitorState&) noexcept = default;
    JTCIllegalMonitorState& operator=(const JTCIllegalMonitorState&) noexcept = default;
    ~JTCIllegalMonitorState() override;
};

/// A thread was used against its life cycle: started twice, or asked to wait for itself. The thread is as it
/// was.
class ETC_EXPORT JTCIllegalThreadState : public JTCException
{
public:
    using JTCException::JTCException;
    JTCIllegalThreadState(const JTCIllegalThreadState&) noexcept = default;
    JTCIllegalThreadState& operator=(const JTCIllegalThreadState&) noexcept = default;
    ~JTCIllegalThreadState() override;
};

/// The library was used while no `JTCInitialize` is alive.
class ETC_EXPORT JTCNotInitialized : public JTCException
{
public:
    using JTCException::JTCException;
    JTCNotInitialized(const JTCNotInitialized&) noexcept = default;
    JTCNotInitialized& operator=(const JTCNotInitialized&) noexcept = default;
    ~JTCNotInitialized() override;
};

/// An empty `JTCHandleT` was followed.
class ETC_EXPORT JTCNullHandle : public JTCException
{
public:
    using JTCException::JTCException;
    JTCNullHandle(const JTCNullHandle&) noexcept = default;
    JTCNullHandle& operator=(const JTCNullHandle&) noexcept = default;
    ~JTCNullHandle() override;
};

/// The system refused what the library needs, such as one more thread.
class ETC_EXPORT JTCSystemFailure : public JTCException
{
public:
    /// The message is `text`, then the number and the system's words for it in parentheses.
    JTCSystemFailure(const std::string& text, int number);
    JTCSystemFailure(const JTCSystemFailure&) noexcept = default;
    JTCSystemFailure& operator=(const JTCSystemFailure&) noexcept = default;
    ~JTCSystemFailure() override;

    /// The system's number, an `errno` value on every system.
    int number() const noexcept { return m_number; }

private:
    int m_number;
};

} // namespace Etc10012
