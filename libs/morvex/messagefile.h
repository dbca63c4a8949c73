#pragma once

/// @file
/// The format of files that hold texts by number; it is told on `SResManager::AddFile`.

#include "morvex/export.h"
#include "morvex/sstring.h"

#include <cstddef>
#include <map>
#include <string_view>

namespace MorvexA106
{

using MessageTexts = std::map<unsigned long, SQCAString>;

/// Where a file breaks the format.
struct MessageFault
{
    std::size_t line = 0; ///< counted from 1; 0 for none
    const char* what = "";
};

/// Reads all texts, up to the first fault. Throws std::bad_alloc.
MORVEX_EXPORT MessageFault readMessages(std::string_view bytes, MessageTexts& texts);

} // namespace MorvexA106
