#include "platform/filemapping.h"

#include "platform/windows/owned.h"

#include <windows.h>

#include <algorithm>

namespace MorvexA106::Platform
{

namespace
{

std::intptr_t numberOf(HANDLE handle) noexcept
{
    return reinterpret_cast<std::intptr_t>(handle);
}

HANDLE handleOf(std::intptr_t number) noexcept
{
    return reinterpret_cast<HANDLE>(number);
}

MappingOutcome failed(MappingStep step) noexcept
{
    return {step, lastWindowsError()};
}

/// One read at a position, which leaves nothing behind in the handle that another thread could meet.
bool readAt(HANDLE file, std::uint64_t offset, void* bytes, DWORD count, DWORD& moved) noexcept
{
    OVERLAPPED place{};
    place.Offset = static_cast<DWORD>(offset);
    place.OffsetHigh = static_cast<DWORD>(offset >> 32);
    return ReadFile(file, bytes, count, &moved, &place) != 0;
}

} // namespace

MappingOutcome mapFile(const char* path, FileMapping& mapped) noexcept
{
    FileHandle file(validOrNull(CreateFileA(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                            FILE_ATTRIBUTE_NORMAL | FILE_FLAG_SEQUENTIAL_SCAN, nullptr)));
    if (!file) {
        return failed(MappingStep::open);
    }
    LARGE_INTEGER size;
    if (!GetFileSizeEx(file.get(), &size)) {
        return failed(MappingStep::size);
    }
    if (size.QuadPart >= UINT32_MAX) {
        return {MappingStep::mapping, {ErrorKind::windows, ERROR_FILE_TOO_LARGE, ERROR_FILE_TOO_LARGE}};
    }
    FileHandle mapping(CreateFileMappingA(file.get(), nullptr, PAGE_READONLY, 0, 0, nullptr));
    if (!mapping) {
        return failed(MappingStep::mapping);
    }
    void* const view = MapViewOfFile(mapping.get(), FILE_MAP_READ, 0, 0, 0);
    if (view == nullptr) {
        return failed(MappingStep::view);
    }
    mapped = {static_cast<unsigned char*>(view), static_cast<std::uint32_t>(size.QuadPart),
              numberOf(file.release()), numberOf(mapping.release())};
    return {};
}

void unmapFile(const FileMapping& mapped) noexcept
{
    UnmapViewOfFile(mapped.view);
    CloseHandle(handleOf(mapped.mapping));
    CloseHandle(handleOf(mapped.file));
}

MappedBytes readMapped(std::intptr_t file, std::uint64_t offset, void* bytes, std::size_t count) noexcept
{
    constexpr std::size_t step = std::size_t{1} << 30;
    MappedBytes result;
    while (result.count < count) {
        DWORD moved = 0;
        const bool read =
            readAt(handleOf(file), offset + result.count, static_cast<char*>(bytes) + result.count,
                   static_cast<DWORD>(std::min(count - result.count, step)), moved);
        if (!read && GetLastError() != ERROR_HANDLE_EOF) {
            result.error = lastWindowsError();
            break;
        }
        if (!read || moved == 0) {
            break;
        }
        result.count += moved;
    }
    return result;
}

bool isMappedAt(std::intptr_t, const char*) noexcept
{
    return false;
}

bool isPipe(const char*) noexcept
{
    return false;
}

} // namespace MorvexA106::Platform
