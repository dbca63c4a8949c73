#pragma once

#include <morvex/sstring.h>

namespace Outbox
{

/// Something around the files is not as it should be: a folder that is away, a disk that is full or may not be
/// written. No file is to blame. What was begun stays as it is, and is taken up again later. What `SFile` and
/// `SFileSys` throw means the same, unless it is turned into a `FileFault`.
struct Trouble
{
    MorvexA106::SAnsiString text;
};

/// This file can't be delivered, now or later.
struct FileFault
{
    MorvexA106::SAnsiString reason;
};

/// The process was asked to end in the middle of a copy.
struct Stopped
{};

} // namespace Outbox
