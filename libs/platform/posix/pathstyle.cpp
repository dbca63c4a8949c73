#include "platform/pathstyle.h"

namespace MorvexA106::Platform
{

PathStyle nativePathStyle() noexcept
{
    return PathStyle::posix;
}

} // namespace MorvexA106::Platform
