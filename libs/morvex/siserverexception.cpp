#include "morvex/siserverexception.h"

#include "morvex/resourcetexts.h"
#include "morvex/sresstring.h"

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
    return SResString::Load(serverFailureCode, m_code);
}

SAnsiString SIServerException::summary() const
{
    return toString() + ":" + m_extra;
}

} // namespace MorvexA106
