#include "platform/numberformat.h"

#include <cstring>
#include <langinfo.h>

namespace MorvexA106::Platform
{

DecimalSign decimalSign() noexcept
{
    // Unlike the whole set of conventions, one item can be had without a buffer that all threads share.
    const char* const text = nl_langinfo(RADIXCHAR);
    DecimalSign sign{".", 1};
    const std::size_t length = std::strlen(text);
    if (length > 0 && length <= sizeof sign.bytes) {
        std::memcpy(sign.bytes, text, length);
        sign.length = length;
    }
    return sign;
}

} // namespace MorvexA106::Platform
