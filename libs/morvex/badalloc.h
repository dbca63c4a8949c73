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

/// Calls what may exhaust the memory in another's name, and has it say so in ours.
template <class Operation>
decltype(auto) sayingBadAllocation(Operation operation)
{
    try {
        return operation();
    } catch (const std::bad_alloc&) {
        throw SBadAlloc();
    }
}

} // namespace MorvexA106
