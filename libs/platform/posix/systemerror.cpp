#include "platform/systemerror.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>

namespace MorvexA106::Platform
{

namespace
{

struct Row
{
    int runtime;
    unsigned long windows;
};

/// The one place where `errno` becomes a Windows error. What memory and quota failures become is chosen for the
/// class that the library puts the number in: 1816 is its "out of memory", 112 its "no space".
constexpr Row table[] = {
    {EPERM, 5},           // access denied
    {ENOENT, 2},          // file not found
    {EIO, 1117},          // input/output device error
    {ENXIO, 55},          // device no longer there
    {EBADF, 6},           // invalid handle
    {EAGAIN, 33},         // locked
    {ENOMEM, 1816},       // not enough quota
    {EACCES, 5},          //
    {EBUSY, 32},          // in use
    {EEXIST, 80},         // file exists
    {EXDEV, 17},          // not the same device
    {ENODEV, 55},         //
    {ENOTDIR, 3},         // path not found
    {EISDIR, 5},          //
    {EINVAL, 87},         // invalid parameter
    {ENFILE, 4},          // too many open files
    {EMFILE, 4},          //
    {ETXTBSY, 32},        //
    {EFBIG, 223},         // file too large
    {ENOSPC, 112},        // disk full
    {EROFS, 19},          // write protected
    {EMLINK, 1142},       // too many links
    {ENAMETOOLONG, 206},  // name too long
    {ENOSYS, 50},         // not supported
    {ENOTEMPTY, 145},     // folder not empty
    {ELOOP, 1921},        // name can't be resolved
    {EOPNOTSUPP, 50},     //
    {EDQUOT, 112},        //
    {ECANCELED, 995},     // aborted
    {ETIMEDOUT, 121},     // time is up
    {ESTALE, 64},         // the network name is gone
    {EHOSTUNREACH, 1232}, // host unreachable
};

constexpr unsigned long generalFailure = 31;

unsigned long windowsNumber(int runtime) noexcept
{
    const Row* row = std::ranges::find(table, runtime, &Row::runtime);
    return row != std::end(table) ? row->windows : generalFailure;
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
    const int number = errno;
    return {ErrorKind::windows, windowsNumber(number), static_cast<unsigned long>(number)};
}

SystemError fileInUse() noexcept
{
    errno = EBUSY;
    return lastWindowsError();
}

std::string errorText(const SystemError& error)
{
    char text[256];
    return strerror_r(static_cast<int>(error.native), text, sizeof text);
}

} // namespace MorvexA106::Platform
