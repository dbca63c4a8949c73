#pragma once

#include <cstdint>

namespace MorvexA106::Platform
{

/// Milliseconds of a clock that never goes backwards but for its wrap: it is cut to 32 bits and starts again
/// at 0 after 49.7 days. Its zero means nothing. The step between two values may be some 16 milliseconds.
std::uint32_t tickCount() noexcept;

} // namespace MorvexA106::Platform
