#pragma once

#include <clocale>
#include <string>
#include <vector>

/// Puts a locale in force while it lives. The systems call the same thing by different names: the first name
/// that is known is taken.
class LocaleInForce
{
public:
    LocaleInForce(const std::vector<const char*>& names) : m_before(std::setlocale(LC_ALL, nullptr))
    {
        for (const char* name : names) {
            m_found = m_found || std::setlocale(LC_ALL, name) != nullptr;
        }
    }
    ~LocaleInForce() { std::setlocale(LC_ALL, m_before.c_str()); }
    LocaleInForce(const LocaleInForce&) = delete;
    LocaleInForce& operator=(const LocaleInForce&) = delete;

    bool found() const { return m_found; }

private:
    std::string m_before;
    bool m_found = false;
};
