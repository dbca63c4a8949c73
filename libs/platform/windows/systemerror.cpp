#include "platform/systemerror.h"

#include <windows.h>

#include <cerrno>
#include <cstring>

namespace MorvexA106::Platform
{

namespace
{

SystemError windowsError(unsigned long number) noexcept
{
    return {ErrorKind::windows, number, number};
}

std::string windowsText(unsigned long number)
{
    char text[400];
    const DWORD length = FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_ARGUMENT_ARRAY, nullptr,
                                        number, 0, text, sizeof text, nullptr);
    return length != 0 ? std::string(text, length) : "Windows error " + std::to_string(number);
}

} // namespace

SystemError runtimeError(int number) noexcept
{
    const auto native = static_cast<unsigned long>(number);
    return {ErrorKind::runtime, native, native};
}

SystemError lastRuntimeError() noexcept
{
    return runtimeError(errno);
}

SystemError lastWindowsError() noexcept
{
    const DWORD number = GetLastError();
    return windowsError(number != 0 ? number : ERROR_GEN_FAILURE);
}

SystemError fileInUse() noexcept
{
    return windowsError(ERROR_SHARING_VIOLATION);
}

std::string errorText(const SystemError& error)
{
    if (error.kind == ErrorKind::windows) {
        return windowsText(error.native);
    }
    return std::strerror(static_cast<int>(error.native));
}

} // namespace MorvexA106::Platform
