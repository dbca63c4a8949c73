#include "platform/moduleversion.h"

#include <cstdlib>
#include <memory>

namespace MorvexA106::Platform
{

namespace
{

struct Free
{
    void operator()(char* text) const noexcept { std::free(text); }
};

} // namespace

std::optional<ModuleFile> lookAtModule(const std::string& path)
{
    const std::unique_ptr<char, Free> real(realpath(path.c_str(), nullptr));
    if (!real) {
        return std::nullopt;
    }
    const std::string full = real.get();
    return ModuleFile{full.substr(full.rfind('/') + 1), std::nullopt};
}

} // namespace MorvexA106::Platform
