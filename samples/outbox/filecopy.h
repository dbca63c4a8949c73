#pragma once

#include <morvex/sstring.h>

#include <functional>

namespace Outbox
{

/// Copies a file's content, of any size, to a new file and flushes that to the disk. A whole chunk of zeros stays
/// a hole, so that a sparse disk image arrives as small as it was. Permissions and times are not copied.
///
/// Throws `FileFault` when the fault is the file's: it can't be read, or the target can't hold its name or its
/// size; `Stopped` when `stopRequested` says true, which is asked after each chunk; and `SFileException` for
/// everything else. The target is then not complete.
void copyFlushed(const MorvexA106::SAnsiString& from, const MorvexA106::SAnsiString& to,
                 const std::function<bool()>& stopRequested);

/// Writes a small file and flushes it. Throws `SFileException`.
void writeFlushed(const MorvexA106::SAnsiString& path, const MorvexA106::SAnsiString& text);

} // namespace Outbox
