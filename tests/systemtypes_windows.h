#pragma once

// The tests that Windows' own structures are taken, for the two orders in which its headers and ours can be included:
// whoever includes this has included both, and has named the order as MORVEX_ORDER.

#include "recorder.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <type_traits>

namespace MorvexA106
{

static_assert(std::is_same_v<SYSTEMTIME, ::SYSTEMTIME> && std::is_same_v<VARIANT, ::VARIANT>);
static_assert(sizeof(::SYSTEMTIME) == sizeof(SSystemTime) && sizeof(::VARIANT) == sizeof(SVariant));
static_assert(offsetof(::VARIANT, date) == offsetof(SVariant, date) &&
              offsetof(::VARIANT, pdate) == offsetof(SVariant, pdate));
static_assert(int{VT_DATE} == int{SVariant::VT_DATE} && int{VT_BYREF} == int{SVariant::VT_BYREF});

TEST(MORVEX_ORDER, SystemsTimeComesBackWithItsDayOfTheWeek)
{
    ::SYSTEMTIME now{};
    GetSystemTime(&now);
    const SDateTime moment(&now, STimeZone::TZ_UTC());
    ::SYSTEMTIME back{};
    ASSERT_TRUE(moment.GetSYSTEMTIME(&back, STimeZone::TZ_UTC()));
    EXPECT_EQ(std::memcmp(&now, &back, sizeof(now)), 0);
}

TEST(MORVEX_ORDER, SystemsDatesAreOurs)
{
    const STimeZone& utc = STimeZone::TZ_UTC();
    for (const SDateTime& moment :
         {SDateTime(1601, 1, 1, 6, 0, 0, 0, utc), SDateTime(1899, 12, 29, 18, 30, 15, 0, utc),
          SDateTime(1899, 12, 30, 0, 0, 0, 0, utc), SDateTime(2000, 2, 29, 23, 59, 59, 0, utc),
          SDateTime(9999, 12, 31, 12, 0, 0, 0, utc)}) {
        const SAnsiString text = moment.Format("yyyy-MM-dd HH:mm:ss", utc);
        ::SYSTEMTIME fields{};
        ASSERT_TRUE(moment.GetSYSTEMTIME(&fields, utc));
        ::VARIANT variant{};
        variant.vt = VT_DATE;
        ASSERT_TRUE(SystemTimeToVariantTime(&fields, &variant.date)) << text;
        EXPECT_NEAR(variant.date, moment.GetOleDate(utc), 1e-9)
            << text; // the system's sum may differ in its last bit
        EXPECT_EQ(sicVariantDateToSString(variant).view(), text.view());

        double date = variant.date;
        variant.vt = VT_DATE | VT_BYREF;
        variant.pdate = &date;
        EXPECT_EQ(sicVariantDateToSString(variant).view(), text.view());
    }
    const Recorder recorder;
    ::VARIANT number{};
    number.vt = VT_I4;
    EXPECT_EQ(sicVariantDateToSString(number).view(), "");
    EXPECT_EQ(recorder.count("(0 : Input SDateTime value is NULL or not valid)"), 1);
}

} // namespace MorvexA106
