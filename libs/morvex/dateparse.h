#pragma once

/// @file
/// Dates and times of day from text, by the patterns that write them.

#include "morvex/sdate.h"
#include "morvex/stime.h"

#include <cstddef>
#include <string_view>

namespace MorvexA106::DateParse
{

/// A day and a wall-clock time. Both are valid when the text was taken; else they are not, and `mismatch` is the byte
/// from which on it differs.
struct Parsed
{
    SDate date;
    STime time;
    std::size_t mismatch = 0;
};

/// A pattern that does not tell enough is reported as an assertion.
Parsed parse(std::string_view text, const char* pattern);

} // namespace MorvexA106::DateParse
