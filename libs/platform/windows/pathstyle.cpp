#include "platform/pathstyle.h"

namespace MorvexA106::Platform
{

PathStyle nativePathStyle() noexcept
{
    return PathStyle::windows;
}

} // namespace MorvexA106::Platform
