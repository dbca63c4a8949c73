#pragma once

/// @file
/// A gate between two phases of a server's life. Not installed.

#include <etc/monitor.h>

namespace MorvexA106
{

/// A gate that opens once. Both fields are guarded by the monitor itself.
///
/// | state    | `signalled` | waiter                        | opener            |
/// |----------|-------------|-------------------------------|-------------------|
/// | closed   | false       | waits once, for the opener    | opens, notifies   |
/// | open     | true        | goes through                  | sets the result anew |
class SIServerControllerMonitor : public Etc10012::JTCMonitor
{
public:
    bool result = true;
    bool signalled = false;
};

} // namespace MorvexA106
