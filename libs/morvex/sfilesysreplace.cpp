#include "morvex/badalloc.h"
#include "morvex/sfilesyswork.h"
#include "platform/replacefile.h"

namespace MorvexA106
{

void SFileSys::replaceFile(const SAnsiString& path, std::span<const unsigned char> content, int permissions)
{
    const auto error = sayingBadAllocation([&] { return Platform::replaceFile(path, content, permissions); });
    Work::check(error, SFileSysException::ReplaceFailed, path, SAnsiString(), "replaceFile");
}

void SFileSys::replaceFile(const SAnsiString& path, std::string_view content, int permissions)
{
    const auto* bytes = reinterpret_cast<const unsigned char*>(content.data());
    replaceFile(path, std::span(bytes, content.size()), permissions);
}

} // namespace MorvexA106
