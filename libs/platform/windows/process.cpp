#include "platform/process.h"

#include <windows.h>

namespace MorvexA106::Platform
{

unsigned long processId() noexcept
{
    return GetCurrentProcessId();
}

SystemError temporaryFolder(std::string& folder)
{
    folder.resize(256);
    DWORD length = GetTempPathA(static_cast<DWORD>(folder.size()), folder.data());
    while (length >= folder.size()) { // the room that it takes; the variable may grow meanwhile
        folder.resize(length + std::size_t{1});
        length = GetTempPathA(static_cast<DWORD>(folder.size()), folder.data());
    }
    folder.resize(length);
    return length != 0 ? SystemError{} : lastWindowsError();
}

} // namespace MorvexA106::Platform
