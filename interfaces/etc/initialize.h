#pragma once

/// @file
/// Start and end of the threading library.

#include "etc/export.h"
#include "etc/handle.h"
#include "etc/threadgroup.h"

namespace Etc10012
{

/// Starts the library for the process and ends it. One stands around all use of threads, most simply in
/// `main`; more may nest or stand side by side on any threads, only the first and the last count.
///
///     int main()
///     {
///         JTCInitialize threads;
///         ...
///     }
///
/// The last one to go waits until no thread of its group runs any more, so ask the threads to stop before.
/// Destroyed on a thread of the group, it does not wait for that one.
class ETC_EXPORT JTCInitialize
{
public:
    JTCInitialize();
    ~JTCInitialize();
    JTCInitialize(const JTCInitialize&) = delete;
    JTCInitialize& operator=(const JTCInitialize&) = delete;

    /// The group whose threads the end of the library waits for. Throws `JTCNotInitialized` when no
    /// `JTCInitialize` is alive.
    static JTCHandleT<JTCThreadGroup> getTermGroup();
};

} // namespace Etc10012
