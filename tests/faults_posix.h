#pragma once

/// @file
/// Calls of the system that fail. A program that links `test_faults` has the library call the functions of this file
/// in place of the C library's, and each of them can be made to fail, or to do half of what it was asked for.
///
///     Faults::eachCall({.error = ENOSPC}, [&](Faults::Injection& injection) {
///         putFile(path, "old");                     // not counted: nothing fails until it is armed
///         injection.arm();
///         const bool saved = buffer.saveToFile(path, true);
///         injection.disarm();
///         EXPECT_EQ(saved ? "new" : "old", contentOf(path));
///     });
///
/// Counts and fails the calls of the thread that armed it only. Memory is another matter: see the tests of failing
/// allocations.

#include <gtest/gtest.h>

#include <span>
#include <string>
#include <string_view>

namespace MorvexA106::Faults
{

/// What becomes of the call.
struct Fault
{
    /// The call does nothing and fails with this `errno`. `close` closes all the same.
    int error = 0;

    /// Without an error: of the bytes asked for, half are moved (one of one), or none at all.
    enum class Count
    {
        half,
        none
    };
    Count count = Count::half;

    /// Only calls of these names are counted; empty: all, or, for a count, those that move bytes.
    std::span<const std::string_view> only = {};

    /// All later calls of the same name fail as well, as on a disk that stays full.
    bool lasts = false;
};

/// One fault, at one call. Several may be armed at once; a call is then counted by each of them, and meets the fault of
/// the one that was armed last.
class Injection
{
public:
    Injection(const Fault& fault, unsigned passing) : m_fault(fault), m_passing(passing) {}
    Injection(const Injection&) = delete;
    Injection& operator=(const Injection&) = delete;
    ~Injection() { disarm(); }

    void arm() noexcept;
    void disarm() noexcept;

    bool happened() const noexcept { return m_name != nullptr; }

    /// The name of the call that was hit, "" before.
    const char* call() const noexcept { return m_name != nullptr ? m_name : ""; }

    /// For the functions that stand in for the system's.
    bool hits(const char* name, bool movesBytes) noexcept;
    const Fault& fault() const noexcept { return m_fault; }

private:
    friend Injection* firstHit(const char* name, bool movesBytes) noexcept;

    Fault m_fault;
    Injection* m_before = nullptr; ///< armed before this one
    bool m_armed = false;
    unsigned m_passing; ///< calls that still pass
    const char* m_name = nullptr;
};

/// The calls that a signal may interrupt, for the error EINTR.
extern const std::span<const std::string_view> interruptible;

/// Runs the operation with the fault at its first call, then at its second, and so on until it comes to its end
/// without meeting the fault. Returns at how many calls it was met.
template <class Operation>
unsigned eachCall(const Fault& fault, Operation operation)
{
    constexpr unsigned endless = 100000;
    for (unsigned passing = 0; passing < endless; ++passing) {
        Injection injection(fault, passing);
        const testing::ScopedTrace trace(__FILE__, __LINE__, "fault at call " + std::to_string(passing));
        operation(injection);
        if (!injection.happened()) {
            return passing;
        }
    }
    ADD_FAILURE() << "always one call more";
    return endless;
}

/// Descriptors that this process has open, to tell that none was lost.
unsigned openDescriptors();

} // namespace MorvexA106::Faults
