#include "platform/numberformat.h"

#include <clocale>

namespace MorvexA106::Platform
{

DecimalSign decimalSign() noexcept
{
    return decimalSignFrom(std::localeconv()->decimal_point);
}

} // namespace MorvexA106::Platform
