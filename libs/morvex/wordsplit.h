#pragma once

/// @file
/// Splits text into words.

#include "morvex/siarray.h"
#include "morvex/sstring.h"

#include <string_view>

namespace MorvexA106::WordSplit
{

/// Replaces `words` by the words of `text`, which end at any character of `separators`; separators in a row
/// count as one, and those at either end as none. With `quotes`, a word that begins with a double quote runs
/// to the next one, or to the end where there is none, without the quotes and perhaps empty; and a word that
/// begins otherwise ends at a double quote too. Linear in the text.
void makeWords(const SAnsiString& text, const SAnsiString& separators, SIArray<SAnsiString>& words,
               bool quotes);

/// The same with words that refer to the text.
void makeWords(std::string_view text, const SAnsiString& separators, SIArray<std::string_view>& words,
               bool quotes);

} // namespace MorvexA106::WordSplit
