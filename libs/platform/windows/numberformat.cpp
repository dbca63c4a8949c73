#include "platform/numberformat.h"

#include <clocale>
#include <cstring>

namespace MorvexA106::Platform
{

DecimalSign decimalSign() noexcept
{
    const char* const text = std::localeconv()->decimal_point;
    DecimalSign sign{".", 1};
    const std::size_t length = std::strlen(text);
    if (length > 0 && length <= sizeof sign.bytes) {
        std::memcpy(sign.bytes, text, length);
        sign.length = length;
    }
    return sign;
}

} // namespace MorvexA106::Platform
