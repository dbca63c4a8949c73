#pragma once

/// @file
/// What file-system operations report.

#include "morvex/export.h"
#include "morvex/sstring.h"

namespace MorvexA106
{

/// A failure of `SFileSys`, thrown by value: which operation, which class of cause, and the texts.
///
///     try {
///         SFileSys::copyFile(from, to, false);
///     } catch (const SFileSysException& failure) {
///         if (failure.ErrReason() != SFileSysException::AlreadyExists)
///             report(failure.toString());
///     }
class MORVEX_EXPORT SFileSysException
{
public:
    /// Which operation failed.
    enum ErrorCodes
    {
        OutOfMemory = 0,
        MakeDirectoryFailed = 1,
        FileNotFound = 2,
        GetAttributesFailed = 3,
        RemoveFailed = 4,
        CopyFailed = 5,
        BadPath = 6,
        GetStatusFailed = 7,
        RemoveTreeFailed = 8,
        SetAttributesFailed = 9,
        GetSizeFailed = 10,
        UniqueNameFailed = 11,
        DiskUsageFailed = 12,
        RenameFailed = 13,
        UnknownError = 14,
        SetCurrentDirectoryFailed = 15,
        SetOwnerFailed = 16,
        ReplaceFailed = 24
    };

    /// The class of the cause.
    ///
    /// | reason             | from `errno`     | from a Windows error              |
    /// |--------------------|------------------|-----------------------------------|
    /// | `NoMemory`         | 12               | 1816                              |
    /// | `NotFound`         | 2                | 2, 3, 15, 18, 53, 67, 161, 206    |
    /// | `InvalidArgument`  | 22, 38, and a name too long |                        |
    /// | `SizeLimit`        |                  |                                   |
    /// | `AccessDenied`     | 1, 13            | 5, 32                             |
    /// | `NoTempFolder`     |                  |                                   |
    /// | `NoSpace`          | 28               | 112                               |
    /// | `AlreadyExists`    | 17               |                                   |
    /// | `OtherReason`      | everything else  | everything else                   |
    ///
    /// POSIX: where an operation reports a Windows error, the system's `errno` is first turned into the Windows
    /// error of the same meaning.
    enum ErrorReasons
    {
        NoMemory = 0,
        NotFound = 1,
        InvalidArgument = 2,
        SizeLimit = 3,
        AccessDenied = 4, ///< or in use
        NoTempFolder = 5,
        NoSpace = 6,
        AlreadyExists = 7,
        OtherReason = 8
    };

    /// An unknown failure without texts.
    SFileSysException() noexcept = default;

    SFileSysException(ErrorCodes code, ErrorReasons reason, const SAnsiString& file,
                      const SAnsiString& reasonText, const SAnsiString& secondText,
                      const SAnsiString& functionName) noexcept;
    SFileSysException(const SFileSysException&) noexcept = default;
    SFileSysException& operator=(const SFileSysException&) noexcept = default;

    /// One sentence for a person; where the size of a file couldn't be determined, the second text follows it.
    virtual SAnsiString toString() const;

    /// `toString()`, ":" and the name of the operation.
    virtual SAnsiString summary() const;

    virtual ~SFileSysException();

    ErrorCodes ErrCode() const noexcept { return m_code; }
    ErrorReasons ErrReason() const noexcept { return m_reason; }

    /// The system's own words.
    const SAnsiString& reason() const noexcept { return m_reasonText; }

private:
    friend class SDirectoryChangeWatcher;
    friend class SFileSys;

    static ErrorReasons mapErrno(int errorNumber) noexcept;
    static ErrorReasons mapError(unsigned long windowsError) noexcept;

    ErrorCodes m_code = UnknownError;
    SAnsiString m_file;
    SAnsiString m_reasonText;
    SAnsiString m_secondText;
    SAnsiString m_functionName;
    ErrorReasons m_reason = OtherReason;
};

} // namespace MorvexA106
