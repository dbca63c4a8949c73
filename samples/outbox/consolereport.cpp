#include "consolereport.h"

#include "filenames.h"

#include <iostream>
#include <sstream>

namespace Outbox
{

using namespace MorvexA106;

SAnsiString ConsoleReport::statusText() const
{
    const std::lock_guard guard(m_mutex);
    std::ostringstream text;
    text << "waiting " << m_waiting << ", delivered " << m_delivered << " (" << m_bytes << " bytes), failed "
         << m_failed;
    if (!m_trouble.empty()) {
        text << "\ntrouble: " << m_trouble;
    }
    return text.str().c_str();
}

void ConsoleReport::delivered(const SAnsiString& name, const SAnsiString& placedAs, __int64 bytes)
{
    const std::lock_guard guard(m_mutex);
    ++m_delivered;
    m_bytes += bytes;
    std::cout << "delivered " << printable(name) << " (" << bytes << " bytes)";
    if (!placedAs.isEmpty() && placedAs.view() != name.view()) {
        std::cout << " as " << printable(placedAs);
    }
    std::cout << std::endl;
}

void ConsoleReport::failed(const SAnsiString& name, const SAnsiString& reason)
{
    const std::lock_guard guard(m_mutex);
    ++m_failed;
    std::cerr << "outbox: failed " << printable(name) << ": " << printable(reason) << std::endl;
}

void ConsoleReport::troubled(const SAnsiString& text)
{
    const std::lock_guard guard(m_mutex);
    m_trouble = printable(text);
    std::cerr << "outbox: trouble: " << m_trouble << std::endl;
}

void ConsoleReport::recovered()
{
    const std::lock_guard guard(m_mutex);
    m_trouble.clear();
    std::cerr << "outbox: the trouble is over" << std::endl;
}

void ConsoleReport::waiting(std::size_t files)
{
    const std::lock_guard guard(m_mutex);
    m_waiting = files;
}

} // namespace Outbox
