#pragma once

#include "etc/export.h"

#include <thread>

namespace Etc10012
{

class JTCThread;

using ThreadEntry = void (*)(JTCThread*) noexcept;

/// Makes the system's thread that calls `entry(thread)`; throws `std::system_error` when there is none.
using ThreadStarter = std::thread (*)(ThreadEntry entry, JTCThread* thread);

/// Puts a starter in place of the present one, which it returns: so a test can let the system refuse.
ETC_EXPORT ThreadStarter exchangeThreadStarter(ThreadStarter starter) noexcept;

} // namespace Etc10012
