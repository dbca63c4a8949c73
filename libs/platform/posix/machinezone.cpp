#include "platform/machinezone.h"

#include "owned.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <cstdlib>
#include <optional>

namespace MorvexA106::Platform
{

namespace
{

constexpr off_t largestFile = 1 << 20;
constexpr const char* systemZone = "/etc/localtime";
constexpr const char* systemFolder = "/usr/share/zoneinfo";

bool isReadable(int descriptor) noexcept
{
    struct stat status
    {};
    return ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) && status.st_size <= largestFile;
}

/// The whole file. The open doesn't wait: the name may be a pipe's.
std::optional<std::string> contentOf(const std::string& path)
{
    const Descriptor file(
        uninterrupted([&] { return ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY); }));
    if (!file || !isReadable(file.get())) {
        return std::nullopt;
    }
    std::string content;
    std::array<char, 4096> block;
    ssize_t count = 0;
    while ((count = uninterrupted([&] { return ::read(file.get(), block.data(), block.size()); })) > 0) {
        content.append(block.data(), static_cast<std::size_t>(count));
        if (content.size() > static_cast<std::size_t>(largestFile)) {
            return std::nullopt; // it grows while it is read
        }
    }
    return count == 0 ? std::optional(std::move(content)) : std::nullopt;
}

std::string pathOf(const std::string& name)
{
    if (name.front() == '/') {
        return name;
    }
    const char* const folder = std::getenv("TZDIR");
    return std::string(folder != nullptr && *folder != '\0' ? folder : systemFolder) + '/' + name;
}

MachineZone zoneNamed(std::string name)
{
    if (name.starts_with(':')) {
        name.erase(0, 1);
    }
    if (name.empty()) {
        return std::monostate();
    }
    if (std::optional<std::string> content = contentOf(pathOf(name))) {
        return ZoneFile{std::move(*content)};
    }
    return ZoneText{std::move(name)};
}

} // namespace

MachineZone machineZone()
{
    if (const char* const name = std::getenv("TZ")) {
        return zoneNamed(name);
    }
    if (std::optional<std::string> content = contentOf(systemZone)) {
        return ZoneFile{std::move(*content)};
    }
    return std::monostate();
}

} // namespace MorvexA106::Platform
