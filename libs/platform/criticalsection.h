#pragma once

/// @file
/// The system's recursive lock, made in storage that the caller gives.

#include <cstddef>

namespace MorvexA106::Platform
{

inline constexpr std::size_t criticalSectionBytes = 48;

void makeCriticalSection(void* storage);
void destroyCriticalSection(void* storage) noexcept;
void enterCriticalSection(void* storage);
void leaveCriticalSection(void* storage) noexcept;

} // namespace MorvexA106::Platform
