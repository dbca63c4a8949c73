#pragma once

/// @file
/// What multibyte text needs beyond a step: counting, searching and mapping of case.

#include "platform/collation.h"
#include "platform/text.h"

#include <cstddef>

namespace MorvexA106::Multibyte
{

/// Room for one mapped character.
inline constexpr int mappedBytes = 16;

/// One mapping of case and what is said when a character resists it.
struct CaseMapping
{
    Platform::WideCode (*map)(Platform::WideCode) noexcept;
    const char* noWideForm;
    const char* noWayBack;
    const char* failedCall;
};

extern const CaseMapping upperCase;
extern const CaseMapping lowerCase;

enum class MapResult
{
    mapped,
    noWideForm,
    noWayBack
};

/// Maps the character at `text` into `bytes` and stores its new length.
MapResult mapCharacter(const Platform::LocaleText& locale, const char* text, const CaseMapping& mapping,
                       char* bytes, std::size_t& length) noexcept;

/// Reports what kept a character from being mapped.
void reportMapping(MapResult result, const CaseMapping& mapping);

/// Characters up to the terminator; a byte that is no character counts as one.
unsigned int countCharacters(const char* text) noexcept;

/// The first place where `pattern` begins at a character of `text`, or the text's terminator.
const char* findText(const char* text, const char* pattern) noexcept;

/// Compare without case: by the locale's collation, or byte by byte through the C runtime's small letters. Neither
/// text may end before `common` units.
int compareNoCase(const char* left, const char* right, std::size_t common);
int compareBytesNoCase(const char* left, const char* right, std::size_t common) noexcept;

} // namespace MorvexA106::Multibyte
