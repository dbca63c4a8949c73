#include "morvex/sfileexception.h"

#include "morvex/messageformat.h"

#include <array>

namespace MorvexA106
{

namespace
{

const char* messageOf(SFileException::ErrorCodes code) noexcept
{
    switch (code) {
    case SFileException::OpenFailed:
        return "Failed to open the file %1.  Reason: %2";
    case SFileException::ReadFailed:
        return "Fail to read file %1.  Reason given: %2";
    case SFileException::WriteFailed:
        return "Fail to write file %1.  Reason given: %2";
    case SFileException::FlushFailed:
        return "Fail to flush file %1.  Reason given: %2.  File may not be completely written to disk.";
    default: // a failed seek too: callers know it by this text
        return "Unknown error (exception).  ";
    }
}

} // namespace

SFileException::SFileException(ErrorCodes code, int errorNumber, const SAnsiString& fileName,
                               DetailCodes detail, const SAnsiString& reason,
                               const SAnsiString& extra) noexcept
    : m_code(code),
      m_fileName(fileName),
      m_reason(reason),
      m_extra(extra),
      m_detail(detail),
      m_errno(errorNumber)
{}

SFileException::~SFileException() = default;

SAnsiString SFileException::toString() const
{
    const std::array values = {m_fileName, m_reason};
    return replaceMarkers(messageOf(m_code), values);
}

SAnsiString SFileException::summary() const
{
    return toString() + ":" + m_extra;
}

SFileException::DetailCodes SFileException::MapErrno(int errorNumber) noexcept
{
    switch (errorNumber) {
    case 13:
        return AccessDenied;
    case 2:
        return FileNotFound;
    case 12:
        return OutOfMemory;
    default:
        return Other;
    }
}

} // namespace MorvexA106
