#pragma once

/// @file
/// Times small operations against their peers, and says whether ours is where it should be.
///
///     Bench::Row row("find in 64 KB");
///     row.ours([&] { Bench::keep(text.find(wanted)); });
///     row.peer("strstr", [&] { Bench::keep(std::strstr(plain, "needle")); });
///     row.limit("one pass of memchr", [&] { ... });
///     row.target(1.0, {"strstr"});
///     row.measure().print();
///
/// A figure is the median of the processor's time over several rounds, in which all contenders take turns, so that a
/// slow moment of the machine meets every one alike. Ratios hold better than figures.

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace Bench
{

/// Keeps a result from being optimised away, and what the next turn reads from being known from this one.
template <class T>
inline void keep(T&& value)
{
    asm volatile("" : : "g"(&value) : "memory");
}

/// Keeps a result that fits a register, without a trip through memory.
template <class T>
requires std::is_scalar_v<std::remove_cvref_t<T>>
inline void keep(T&& value)
{
    std::remove_cvref_t<T> held = value;
    asm volatile("" : "+r"(held) : : "memory");
}

struct Contender
{
    /// A variant is another way of ours, shown beside the one that counts. A limit is the least work that any
    /// solution must do; it is no library's.
    enum class Role
    {
        ours,
        variant,
        peer,
        limit
    };

    Role role;
    std::string name;
    std::function<void(std::size_t repeats)> run;
    double nanoseconds = 0;
};

/// What a row found out.
struct Verdict
{
    enum class Outcome
    {
        met,
        close, ///< missed by less than two runs of the same program differ
        missed,
        unknown ///< ours, or what the target goes by, is not there
    };

    std::string row;
    Outcome outcome;
    double oursToTarget;
};

/// One piece of work and everyone who does it.
class Row
{
public:
    explicit Row(std::string name) : m_name(std::move(name)) {}

    /// An operation is a lambda, not a function's name: a call through a pointer would be a part of the figure.
    template <class Operation>
    void ours(Operation operation)
    {
        add(Contender::Role::ours, "ours", operation);
    }
    template <class Operation>
    void variant(const std::string& name, Operation operation)
    {
        add(Contender::Role::variant, "ours, " + name, operation);
    }
    template <class Operation>
    void peer(const std::string& name, Operation operation)
    {
        add(Contender::Role::peer, name, operation);
    }
    template <class Operation>
    void limit(const std::string& name, Operation operation)
    {
        add(Contender::Role::limit, name, operation);
    }

    /// We want at most `factor` times the best of the named contenders; of all peers, where none is named.
    void target(double factor, std::vector<std::string> names = {});
    void targetNanoseconds(double nanoseconds) { m_targetNanoseconds = nanoseconds; }

    /// One run of an operation does this many pieces of work, and the figures are for one.
    void per(std::size_t pieces) { m_pieces = pieces; }

    /// For work that takes long, or waits for disks and for other processes: one run a round, measured by the clock
    /// on the wall, each after a preparation that isn't measured.
    void onTheWall(
        int rounds, std::function<void()> prepare = [] {})
    {
        m_wallRounds = rounds;
        m_prepare = std::move(prepare);
    }

    const std::string& name() const noexcept { return m_name; }

    Row& measure();

    /// Prints a line under the heading, and the other contenders in a second one; returns what came out.
    Verdict print() const;

private:
    template <class Operation>
    void add(Contender::Role role, const std::string& name, Operation operation)
    {
        static_assert(std::is_class_v<Operation>);
        m_contenders.push_back({role, name, [operation](std::size_t repeats) mutable {
                                    for (; repeats != 0; --repeats) {
                                        operation();
                                    }
                                }});
    }

    /// Seconds of one run, a contender and a round each.
    std::vector<std::vector<double>> timesOfProcessor();
    std::vector<std::vector<double>> timesOnTheWall();

    const Contender* bestOf(Contender::Role role) const;
    const Contender* bestOf(const std::vector<std::string>& names) const;
    std::optional<double> targetFigure() const;
    std::string targetText() const;
    Verdict verdict() const;

    std::string m_name;
    std::vector<Contender> m_contenders;
    double m_factor = 0;
    std::vector<std::string> m_targetNames;
    std::optional<double> m_targetNanoseconds;
    std::size_t m_pieces = 1;
    int m_wallRounds = 0; ///< 0: measured in the processor's time
    std::function<void()> m_prepare;
};

void printHeading();

/// Counts the outcomes and names the rows that fell short.
void printSummary(const std::string& title, const std::vector<Verdict>& verdicts);

} // namespace Bench
