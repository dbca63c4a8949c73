#pragma once

/// @file
/// How exhausted memory travels.

#include <new>

namespace MorvexA106
{

/// The standard class has no text of its own on every system.
class SBadAlloc : public std::bad_alloc
{
public:
    const char* what() const noexcept override { return "bad allocation"; }
};

} // namespace MorvexA106
