#pragma once

/// @file
/// The least that some of the work takes on this processor: no checks, no errors, no terminator.

#include <cstddef>
#include <string>

namespace TextBench
{

bool hasAvx2();

/// Characters of well-formed UTF-8.
std::size_t countBySse2(const std::string& text);
std::size_t countByAvx2(const std::string& text);

/// Characters of well-formed UTF-8, one step each.
std::size_t walkByLeadByte(const char* text);

/// Splits at commas into one allocated block, and gives the number of fields.
std::size_t splitIntoOneBlock(const std::string& line);

} // namespace TextBench
