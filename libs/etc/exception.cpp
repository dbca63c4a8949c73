#include "etc/exception.h"

#include <system_error>

namespace Etc10012
{

JTCException::JTCException(const std::string& text) : std::runtime_error(text) {}

JTCException::~JTCException() = default;
JTCIllegalMonitorState::~JTCIllegalMonitorState() = default;
JTCIllegalThreadState::~JTCIllegalThreadState() = default;
JTCNotInitialized::~JTCNotInitialized() = default;
JTCNullHandle::~JTCNullHandle() = default;
JTCSystemFailure::~JTCSystemFailure() = default;

JTCSystemFailure::JTCSystemFailure(const std::string& text, int number)
    : JTCException(text + " (" + std::to_string(number) + ": " + std::generic_category().message(number) +
                   ")"),
      m_number(number)
{}

} // namespace Etc10012
