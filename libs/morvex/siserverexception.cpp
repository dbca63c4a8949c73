#include "morvex/siserverexception.h"

#include <string>

namespace MorvexA106
{

SIServerException::SIServerException(int code, const SAnsiString& message, const SAnsiString& extra)
    : m_code(code),
      m_message(message),
      m_extra(extra)
{}

SIServerException::~SIServerException() = default;

SAnsiString SIServerException::toString() const
{
    if (!m_message.isEmpty()) {
        return m_message;
    }
    return SAnsiString(("Server failure " + std::to_string(m_code)).c_str());
}

SAnsiString SIServerException::summary() const
{
    return toString() + ":" + m_extra;
}

} // namespace MorvexA106
