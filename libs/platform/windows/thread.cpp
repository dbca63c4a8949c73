#include "platform/thread.h"

#include <windows.h>

#include <memory>

namespace MorvexA106::Platform
{

namespace
{

using SetDescription = HRESULT(WINAPI*)(HANDLE, PCWSTR);
using GetDescription = HRESULT(WINAPI*)(HANDLE, PWSTR*);

struct LocalMemory
{
    void operator()(wchar_t* text) const noexcept { LocalFree(text); }
};

void WINAPI tellOccupant(void* occupant)
{
    if (occupant) {
        static_cast<ThreadSlot::Occupant*>(occupant)->threadEnds();
    }
}

// Newer than the oldest Windows that we run on, so it is looked up; and it stands in one or the other
// library, depending on the version.
template <class Function>
Function systemFunction(const char* name) noexcept
{
    for (const char* library : {"kernelbase.dll", "kernel32.dll"}) {
        const HMODULE module = GetModuleHandleA(library);
        if (const FARPROC found = module ? GetProcAddress(module, name) : nullptr) {
            return reinterpret_cast<Function>(reinterpret_cast<void*>(found));
        }
    }
    return nullptr;
}

std::wstring widened(const std::string& text)
{
    const int bytes = static_cast<int>(text.size());
    std::wstring wide(
        static_cast<std::size_t>(MultiByteToWideChar(CP_ACP, 0, text.data(), bytes, nullptr, 0)), L'\0');
    MultiByteToWideChar(CP_ACP, 0, text.data(), bytes, wide.data(), static_cast<int>(wide.size()));
    return wide;
}

std::string narrowed(const wchar_t* text)
{
    const int bytes = WideCharToMultiByte(CP_ACP, 0, text, -1, nullptr, 0, nullptr, nullptr);
    if (bytes <= 1) {
        return {};
    }
    std::string narrow(static_cast<std::size_t>(bytes), '\0');
    WideCharToMultiByte(CP_ACP, 0, text, -1, narrow.data(), bytes, nullptr, nullptr);
    narrow.pop_back();
    return narrow;
}

} // namespace

void nameThisThread(const std::string& name) noexcept
try {
    static const auto set = systemFunction<SetDescription>("SetThreadDescription");
    if (set) {
        set(GetCurrentThread(), widened(name).c_str());
    }
} catch (const std::bad_alloc&) {
    // The thread runs without a name.
}

std::string nameOfThisThread()
{
    static const auto get = systemFunction<GetDescription>("GetThreadDescription");
    wchar_t* text = nullptr;
    if (!get || FAILED(get(GetCurrentThread(), &text))) {
        return {};
    }
    const std::unique_ptr<wchar_t, LocalMemory> owned(text);
    return narrowed(text);
}

ThreadSlot::ThreadSlot() noexcept : m_key(FlsAlloc(&tellOccupant)), m_usable(m_key != FLS_OUT_OF_INDEXES) {}

ThreadSlot::Occupant* ThreadSlot::get() const noexcept
{
    return m_usable ? static_cast<Occupant*>(FlsGetValue(m_key)) : nullptr;
}

bool ThreadSlot::set(Occupant* occupant) noexcept
{
    return m_usable && FlsSetValue(m_key, occupant) != 0;
}

} // namespace MorvexA106::Platform
