#pragma once

/// @file
/// The steps of loading and saving a buffer. Each throws SFileException.

#include "morvex/sfile.h"

#include <cstdint>
#include <span>

namespace MorvexA106::SimpleBufferFile
{

/// Opens the file and returns its size, which fits a buffer.
unsigned openToLoad(SFile& file);

/// `mapped` is the handle of the file that the content is a view of, or -1: to empty that one would be to lose the
/// content.
void openToSave(SFile& file, bool overwrite, std::intptr_t mapped);

/// All of the bytes: a file that gives or takes only a part has failed.
void readAll(SFile& file, std::span<unsigned char> bytes);
void writeAll(SFile& file, std::span<const unsigned char> bytes);

} // namespace MorvexA106::SimpleBufferFile
