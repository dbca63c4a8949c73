#pragma once

/// @file
/// The locale's collation and its mapping of case, as the system sees them. Locales are met as in text.h.

#include "platform/text.h"

namespace MorvexA106::Platform
{

/// Maps one character by the current locale; a character without a counterpart is returned as it is.
WideCode toUpper(WideCode character) noexcept;
WideCode toLower(WideCode character) noexcept;

/// True when the letters of ASCII have each other for their two cases, as everywhere but where I has another small
/// letter.
bool foldsLikeAscii() noexcept;

/// True when collation is the order of the bytes, so that no collation call is needed.
bool collationIsByteOrder() noexcept;

/// Collates two terminated texts by the locale; the sign tells the order.
///
/// POSIX: texts that the locale calls equal though their bytes differ are put in byte order, so that 0 means
/// identical. Windows: as the C runtime answers.
int collate(const char* left, const char* right) noexcept;

/// Whether `collate` gives 0.
bool collatesEqual(const char* left, const char* right) noexcept;
bool collatesEqualWide(const unsigned short* left, const unsigned short* right);

/// The same number for all texts that collate as equal. Throws std::bad_alloc.
std::size_t collationHash(const char* text);
std::size_t collationHashWide(const unsigned short* text);

/// The same without regard to case. Both texts are folded to small letters first where the system has no such
/// call of its own. Throws std::bad_alloc.
int collateNoCase(const char* left, const char* right);

/// The same two for 16-bit text; surrogate pairs are one character where the system can see them so.
/// Throws std::bad_alloc.
int collateWide(const unsigned short* left, const unsigned short* right);
int collateWideNoCase(const unsigned short* left, const unsigned short* right);

/// Maps terminated 16-bit text in place; a surrogate pair is mapped as one character.
void makeUpperWide(unsigned short* text) noexcept;
void makeLowerWide(unsigned short* text) noexcept;

/// Maps one 16-bit unit by itself.
unsigned short toUpperUnit(unsigned short unit) noexcept;
unsigned short toLowerUnit(unsigned short unit) noexcept;

} // namespace MorvexA106::Platform
