#pragma once

/// @file
/// The route from the assertion and trace entry points to whoever keeps the lines: the logger, or a test's
/// recorder. Not installed.

#include "morvex/export.h"
#include "morvex/sstring.h"

#include <span>

namespace MorvexA106::Diagnostics
{

/// Receives everything that the entry points have to say. Calls come from any thread and at once.
class Sink
{
public:
    virtual bool shouldTrace(int channel, const char* file) = 0;
    virtual bool shouldAssert(const char* file) = 0;
    virtual void trace(int channel, const SAnsiString& text) = 0;
    virtual void log(int level, int category, unsigned long id, std::span<const char* const> parameters) = 0;

    virtual bool canStackDump() = 0;
    virtual bool isNativeAssert() = 0;

    /// The stacks of all threads as text; asked only where `canStackDump` said yes.
    virtual SAnsiString stackWalkAll() = 0;

protected:
    ~Sink() = default;
};

/// Puts a sink in place (null: none) and returns the one that stood there. The caller sees to it that no
/// other thread is still inside a call when the old sink goes away.
MORVEX_EXPORT Sink* exchangeSink(Sink* sink) noexcept;

} // namespace MorvexA106::Diagnostics
