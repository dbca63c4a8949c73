#pragma once

#include <morvex/sstring.h>
#include <morvex/types.h>

#include <cstddef>

namespace Outbox
{

/// How far a file has come; see `Delivery`.
enum class Step
{
    claimed,
    copied,
    ready,
    delivering,
    placed,
    sent,
    reasonWritten,
    failing,
    reasonMoved,
    failed
};

/// What the work tells, and asks, the server around it.
class Events
{
public:
    virtual ~Events() = default;

    /// Whether a copy should be given up.
    virtual bool stopRequested() = 0;

    /// A file is in the target, and its original in `sent`. `placedAs` is its name in the target; empty when
    /// a process that died has placed it.
    virtual void delivered(const MorvexA106::SAnsiString& name, const MorvexA106::SAnsiString& placedAs,
                           __int64 bytes) = 0;

    /// A file is in `failed`. The reason is empty when a process that died has found it.
    virtual void failed(const MorvexA106::SAnsiString& name, const MorvexA106::SAnsiString& reason) = 0;

    /// Something is in disorder that was not before.
    virtual void troubled(const MorvexA106::SAnsiString& text) = 0;

    /// Nothing is in disorder any more.
    virtual void recovered() = 0;

    /// How many files are in the drop folder.
    virtual void waiting(std::size_t files) = 0;

    /// A step has been made and is on the disk.
    virtual void reached(Step) {}
};

} // namespace Outbox
