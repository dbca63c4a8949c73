#pragma once

/// @file
/// Ownership of what the system hands out.

#include <windows.h>

#include <memory>
#include <type_traits>

namespace MorvexA106::Platform
{

template <auto close>
struct CloseHandleBy
{
    void operator()(HANDLE handle) const noexcept { close(handle); }
};

template <auto close>
using Handle = std::unique_ptr<std::remove_pointer_t<HANDLE>, CloseHandleBy<close>>;
using FileHandle = Handle<&CloseHandle>;
using FindHandle = Handle<&FindClose>;

/// The calls that open something have two ways of saying that they did not.
inline HANDLE validOrNull(HANDLE handle) noexcept
{
    return handle != INVALID_HANDLE_VALUE ? handle : nullptr;
}

} // namespace MorvexA106::Platform
