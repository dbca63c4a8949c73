#pragma once

/// @file
/// The `VARIANT` of OLE automation, on every system, as far as dates go.

#include <cstddef>
#include <type_traits>

struct tagVARIANT;

namespace MorvexA106
{

/// Layout as published for `VARIANT`, of its values only the dates. Clear all of it, then fill in type and value:
///
///     SVariant variant{};
///     variant.vt = SVariant::VT_DATE;
///     variant.date = 36526.25;
struct SVariant
{
    /// Types of values, with their published numbers.
    enum : unsigned short
    {
        VT_EMPTY = 0,
        VT_DATE = 7,      ///< the date is in `date`
        VT_BYREF = 0x4000 ///< with another type: the value is where `pdate` points
    };

    unsigned short vt;
    unsigned short wReserved1;
    unsigned short wReserved2;
    unsigned short wReserved3;
    union
    {
        double date;
        double* pdate;
        void* others[2]; ///< the room of the largest of the published values
    };
};

static_assert(sizeof(SVariant) == 8 + 2 * sizeof(void*) && offsetof(SVariant, date) == 8);

/// POSIX: the structure above.
///
/// Windows, told by its wide characters of 16 bits: the system's own, so that the name means the same whether or not
/// the system's headers are included, which are needed to make one.
using VARIANT = std::conditional_t<sizeof(wchar_t) == 2, ::tagVARIANT, SVariant>;

} // namespace MorvexA106
