#include "morvex/sfilesysexception.h"

#include "morvex/messageformat.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <iterator>

namespace MorvexA106
{

namespace
{

constexpr char cannotRemove[] =
    "Failed to remove the file %1 in a file system operation. Please check access "
    "rights or for a sharing violation.  Reason: %2";

constexpr char cannotReadAttributes[] = "Fail to get file attributes from operating system in file system "
                                        "operation on file %1.  Reason given: %2";

/// By code. 14 and everything past the end are unknown.
constexpr const char* messages[] = {
    "System is out of memory.",
    "Fail to create directory structure in file system operation on file %1.  Reason given: %2",
    "File not found",
    cannotReadAttributes,
    cannotRemove,
    "Failed to copy the file %1 to %2 in file system operation. Please check access rights. Reason given: %3",
    "The file %1 does not exist.  File system operation failed. Reason give: %2",
    "Fail to get status of file from operating system in file system operation on file %1.  Reason given: %2",
    cannotRemove,
    "Fail to set file attributes in file system operation on file %1.  Reason given: %2",
    "Failed to determine the size of the file %1 in file system operation. Reason: %2",
    "Failed to generate a unique filename in dir %1. Reason: %2",
    "Failed to retrieve disk statistics from %1. Reason: %2",
    "Failed to rename %1 to %2. Reason: %3",
    nullptr,
    "Failed to set current directory to %1.  Reason: %2",
    "Failed to change ownership to %1.  Reason: %2",
};

const char* messageOf(unsigned code) noexcept
{
    const char* known = code < std::size(messages) ? messages[code] : nullptr;
    return known != nullptr ? known : "Unknown error in file system operation on file %1. Reason: %2";
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
    const char* message = messageOf(static_cast<unsigned>(m_code));
    if (m_code == CopyFailed || m_code == RenameFailed) {
        const std::array values = {m_file, m_secondText, m_reasonText};
        return replaceMarkers(message, values);
    }
    const std::array values = {m_file, m_reasonText};
    return replaceMarkers(message, values);
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
