#include "platform/numberformat.h"

#include <langinfo.h>

namespace MorvexA106::Platform
{

DecimalSign decimalSign() noexcept
{
    // Unlike the whole set of conventions, one item can be had without a buffer that all threads share.
    return decimalSignFrom(nl_langinfo(RADIXCHAR));
}

} // namespace MorvexA106::Platform
