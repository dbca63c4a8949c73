#include "platform/moduleversion.h"

#include <windows.h>

#include <vector>

namespace MorvexA106::Platform
{

namespace
{

std::optional<std::array<unsigned short, 4>> versionOf(const char* path)
{
    DWORD ignored = 0;
    const DWORD size = GetFileVersionInfoSizeA(path, &ignored);
    std::vector<unsigned char> resource(size);
    void* found = nullptr;
    UINT length = 0;
    if (size == 0 || !GetFileVersionInfoA(path, 0, size, resource.data()) ||
        !VerQueryValueA(resource.data(), "\\", &found, &length) || length < sizeof(VS_FIXEDFILEINFO)) {
        return std::nullopt;
    }
    const auto& info = *static_cast<const VS_FIXEDFILEINFO*>(found);
    return std::array<unsigned short, 4>{HIWORD(info.dwFileVersionMS), LOWORD(info.dwFileVersionMS),
                                         HIWORD(info.dwFileVersionLS), LOWORD(info.dwFileVersionLS)};
}

} // namespace

std::optional<ModuleFile> lookAtModule(const std::string& path)
{
    if (GetFileAttributesA(path.c_str()) == INVALID_FILE_ATTRIBUTES) {
        return std::nullopt;
    }
    return ModuleFile{path.substr(path.find_last_of("/\\:") + 1), versionOf(path.c_str())};
}

} // namespace MorvexA106::Platform
