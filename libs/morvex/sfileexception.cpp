#include "morvex/sfileexception.h"

#include "morvex/resourcetexts.h"
#include "morvex/sresstring.h"

namespace MorvexA106
{

namespace
{

unsigned long textOf(SFileException::ErrorCodes code) noexcept
{
    // A failed seek is unknown too: callers know it by this text.
    const auto offset = static_cast<unsigned long>(code);
    return offset < SFileException::SeekFailed ? fileTexts + offset : fileUnknownText;
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
    return sentence(textOf(m_code));
}

SAnsiString SFileException::sentence(unsigned long textNumber) const
{
    return SResString::Load(textNumber, m_fileName, m_reason);
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
