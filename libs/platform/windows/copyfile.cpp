#include "platform/copyfile.h"

#include "platform/filesystem.h"

#include <windows.h>

namespace MorvexA106::Platform
{

SystemError copyFile(const char* from, const char* to, bool overwrite)
{
    if (overwrite && isSameFile(from, to)) {
        return fileInUse(); // not every system notices before it has emptied the target
    }
    return CopyFileA(from, to, overwrite ? FALSE : TRUE) ? SystemError{} : lastWindowsError();
}

} // namespace MorvexA106::Platform
