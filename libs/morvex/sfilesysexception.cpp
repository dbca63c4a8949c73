#include "morvex/sfilesysexception.h"

#include "morvex/resourcetexts.h"
#include "morvex/sresstring.h"

#include <algorithm>
#include <cerrno>
#include <iterator>

namespace MorvexA106
{

namespace
{

constexpr unsigned long codeCount = SFileSysException::SetOwnerFailed + 1;

unsigned long textOf(SFileSysException::ErrorCodes code) noexcept
{
    const auto offset = static_cast<unsigned long>(code);
    if (code == SFileSysException::ReplaceFailed) {
        return fileReplaceText;
    }
    return offset < codeCount ? fileSystemTexts + offset : fileSystemUnknownText;
}

using Reasons = SFileSysException::ErrorReasons;

struct Row
{
    unsigned long number;
    Reasons reason;
};

// The numbers are told, and are those of every system, but for the name that is too long: 38 stands for it in
// one runtime only.
constexpr Row runtimeRows[] = {
    {12, Reasons::NoMemory},        {2, Reasons::NotFound},       {22, Reasons::InvalidArgument},
    {38, Reasons::InvalidArgument}, {1, Reasons::AccessDenied},   {13, Reasons::AccessDenied},
    {28, Reasons::NoSpace},         {17, Reasons::AlreadyExists}, {ENAMETOOLONG, Reasons::InvalidArgument},
};

constexpr Row windowsRows[] = {
    {1816, Reasons::NoMemory},  {2, Reasons::NotFound},      {3, Reasons::NotFound},
    {15, Reasons::NotFound},    {18, Reasons::NotFound},     {53, Reasons::NotFound},
    {67, Reasons::NotFound},    {161, Reasons::NotFound},    {206, Reasons::NotFound},
    {5, Reasons::AccessDenied}, {32, Reasons::AccessDenied}, {112, Reasons::NoSpace},
};

template <std::size_t count>
Reasons reasonOf(const Row (&rows)[count], unsigned long number) noexcept
{
    const Row* row = std::ranges::find(rows, number, &Row::number);
    return row != std::end(rows) ? row->reason : Reasons::OtherReason;
}

} // namespace

SFileSysException::SFileSysException(ErrorCodes code, ErrorReasons reason, const SAnsiString& file,
                                     const SAnsiString& reasonText, const SAnsiString& secondText,
                                     const SAnsiString& functionName) noexcept
    : m_code(code),
      m_file(file),
      m_reasonText(reasonText),
      m_secondText(secondText),
      m_functionName(functionName),
      m_reason(reason)
{}

SFileSysException::~SFileSysException() = default;

SAnsiString SFileSysException::toString() const
{
    if (m_code == CopyFailed || m_code == RenameFailed) {
        return SResString::Load(textOf(m_code), m_file, m_secondText, m_reasonText);
    }
    if (m_code == GetSizeFailed && !m_secondText.isEmpty()) {
        return SResString::Load(textOf(m_code), m_file, m_reasonText + ".  " + m_secondText);
    }
    return SResString::Load(textOf(m_code), m_file, m_reasonText);
}

SAnsiString SFileSysException::summary() const
{
    return toString() + ":" + m_functionName;
}

SFileSysException::ErrorReasons SFileSysException::mapErrno(int errorNumber) noexcept
{
    return reasonOf(runtimeRows, static_cast<unsigned long>(errorNumber));
}

SFileSysException::ErrorReasons SFileSysException::mapError(unsigned long windowsError) noexcept
{
    return reasonOf(windowsRows, windowsError);
}

} // namespace MorvexA106
