#include "platform/process.h"

#include <unistd.h>

#include <cstdlib>

namespace MorvexA106::Platform
{

unsigned long processId() noexcept
{
    return static_cast<unsigned long>(::getpid());
}

SystemError temporaryFolder(std::string& folder)
{
    const char* told = ::secure_getenv("TMPDIR");
    folder = told != nullptr && *told != 0 ? told : "/tmp";
    if (folder.back() != '/') {
        folder += '/';
    }
    return {};
}

} // namespace MorvexA106::Platform
