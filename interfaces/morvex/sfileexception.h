#pragma once

/// @file
/// What a file reports.

#include "morvex/export.h"
#include "morvex/sstring.h"

namespace MorvexA106
{

/// A failure of `SFile`, thrown by value: which operation, which class of cause, the runtime's error number and
/// the texts.
///
///     try {
///         file.open(SFile::readOnly, SFile::defaultPermissions, SFile::denyNothing);
///     } catch (const SFileException& failure) {
///         if (failure.DetailCode() != SFileException::FileNotFound)
///             report(failure.toString());
///     }
class MORVEX_EXPORT SFileException
{
public:
    /// Which operation failed.
    enum ErrorCodes
    {
        OpenFailed = 0,
        ReadFailed = 1,
        WriteFailed = 2,
        FlushFailed = 3,
        SeekFailed = 4, ///< also asking for the end
        UnknownError = 5
    };

    /// The class of the cause.
    enum DetailCodes
    {
        AccessDenied = 0,
        FileNotFound = 1,
        NotOpen = 2,
        OutOfMemory = 3,
        Other = 5
    };

    /// An unknown failure without texts.
    SFileException() noexcept = default;

    SFileException(ErrorCodes code, int errorNumber, const SAnsiString& fileName, DetailCodes detail,
                   const SAnsiString& reason, const SAnsiString& extra) noexcept;
    SFileException(const SFileException&) noexcept = default;
    SFileException& operator=(const SFileException&) noexcept = default;

    /// One sentence for a person. A failed seek reads as "Unknown error (exception).  ", without file and
    /// reason: ask `getErrno` and `DetailCode`.
    virtual SAnsiString toString() const;

    /// `toString()`, ":" and the extra text.
    virtual SAnsiString summary() const;

    virtual ~SFileException();

    ErrorCodes ErrCode() const noexcept { return m_code; }
    DetailCodes DetailCode() const noexcept { return m_detail; }

    /// The `errno` of the failed call, or 0 where no call was made.
    int getErrno() const noexcept { return m_errno; }

    /// 13 is `AccessDenied`, 2 `FileNotFound`, 12 `OutOfMemory`, everything else `Other`.
    static DetailCodes MapErrno(int errorNumber) noexcept;

protected:
    /// A numbered text with the file and the reason in it.
    SAnsiString sentence(unsigned long textNumber) const;

private:
    ErrorCodes m_code = UnknownError;
    SAnsiString m_fileName;
    SAnsiString m_reason;
    SAnsiString m_extra;
    DetailCodes m_detail = Other;
    int m_errno = 0;
};

} // namespace MorvexA106
