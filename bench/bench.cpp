#include "bench.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>

namespace Bench
{

namespace
{

using Role = Contender::Role;
using Outcome = Verdict::Outcome;

constexpr int rounds = 15;
constexpr double roundSeconds = 0.006;

/// Two runs of the same program on a quiet machine differ by about this much.
constexpr double closeFactor = 1.05;

/// Of the processor, so that what else runs on the machine takes no part.
double secondsOf(const Contender& contender, std::size_t repeats)
{
    const std::clock_t begin = std::clock();
    contender.run(repeats);
    return static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC;
}

/// How often the operation fits into a round.
std::size_t repeatsOf(const Contender& contender)
{
    std::size_t count = 1;
    double seconds = 0;
    while ((seconds = secondsOf(contender, count)) < roundSeconds / 10) {
        count *= 4;
    }
    const double fitting = static_cast<double>(count) * roundSeconds / seconds;
    return std::max<std::size_t>(1, static_cast<std::size_t>(fitting));
}

double medianOf(std::vector<double>& values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

std::string figure(double nanoseconds)
{
    char text[32];
    if (nanoseconds < 10000) {
        std::snprintf(text, sizeof text, nanoseconds < 100 ? "%.2f ns" : "%.0f ns", nanoseconds);
    } else if (nanoseconds < 10000000) {
        std::snprintf(text, sizeof text, "%.1f us", nanoseconds / 1000);
    } else {
        std::snprintf(text, sizeof text, "%.1f ms", nanoseconds / 1000000);
    }
    return text;
}

std::string ratio(double value)
{
    char text[32];
    std::snprintf(text, sizeof text, "x%.2f", value);
    return text;
}

const char* wordOf(Outcome outcome)
{
    switch (outcome) {
    case Outcome::met:
        return "met";
    case Outcome::close:
        return "close";
    case Outcome::missed:
        return "MISSED";
    case Outcome::unknown:
        break;
    }
    return "-";
}

const Contender* faster(const Contender* best, const Contender& each)
{
    return best == nullptr || each.nanoseconds < best->nanoseconds ? &each : best;
}

std::string joined(const std::vector<std::string>& names)
{
    std::string text;
    for (const std::string& name : names) {
        text += (text.empty() ? "" : " or ") + name;
    }
    return text;
}

} // namespace

void Row::target(double factor, std::vector<std::string> names)
{
    m_factor = factor;
    m_targetNames = std::move(names);
}

std::vector<std::vector<double>> Row::timesOfProcessor()
{
    std::vector<std::size_t> repeats;
    for (const Contender& each : m_contenders) {
        repeats.push_back(repeatsOf(each));
    }
    std::vector<std::vector<double>> times(m_contenders.size());
    for (int round = 0; round < rounds; ++round) {
        for (std::size_t i = 0; i < m_contenders.size(); ++i) {
            times[i].push_back(secondsOf(m_contenders[i], repeats[i]) / static_cast<double>(repeats[i]));
        }
    }
    return times;
}

std::vector<std::vector<double>> Row::timesOnTheWall()
{
    using Clock = std::chrono::steady_clock;
    std::vector<std::vector<double>> times(m_contenders.size());
    for (int round = 0; round < m_wallRounds; ++round) {
        for (std::size_t i = 0; i < m_contenders.size(); ++i) {
            m_prepare();
            const Clock::time_point begin = Clock::now();
            m_contenders[i].run(1);
            times[i].push_back(std::chrono::duration<double>(Clock::now() - begin).count());
        }
    }
    return times;
}

Row& Row::measure()
{
    std::vector<std::vector<double>> times = m_wallRounds != 0 ? timesOnTheWall() : timesOfProcessor();
    for (std::size_t i = 0; i < m_contenders.size(); ++i) {
        m_contenders[i].nanoseconds = medianOf(times[i]) * 1e9 / static_cast<double>(m_pieces);
    }
    return *this;
}

const Contender* Row::bestOf(Role role) const
{
    const Contender* best = nullptr;
    for (const Contender& each : m_contenders) {
        best = each.role == role ? faster(best, each) : best;
    }
    return best;
}

const Contender* Row::bestOf(const std::vector<std::string>& names) const
{
    const Contender* best = nullptr;
    for (const Contender& each : m_contenders) {
        const bool named = std::find(names.begin(), names.end(), each.name) != names.end();
        best = named ? faster(best, each) : best;
    }
    return best;
}

std::optional<double> Row::targetFigure() const
{
    if (m_targetNanoseconds) {
        return m_targetNanoseconds;
    }
    const Contender* measure = m_targetNames.empty() ? bestOf(Role::peer) : bestOf(m_targetNames);
    return measure != nullptr && m_factor > 0 ? std::optional(m_factor * measure->nanoseconds) : std::nullopt;
}

std::string Row::targetText() const
{
    if (m_targetNanoseconds) {
        return "fixed";
    }
    char factor[32];
    std::snprintf(factor, sizeof factor, "%.4g of ", m_factor);
    return factor + (m_targetNames.empty() ? std::string("the best peer") : joined(m_targetNames));
}

Verdict Row::verdict() const
{
    const Contender* ours = bestOf(Role::ours);
    const std::optional<double> wanted = targetFigure();
    if (ours == nullptr || !wanted) {
        return {m_name, Outcome::unknown, 0};
    }
    const double share = ours->nanoseconds / *wanted;
    const Outcome outcome = share <= 1             ? Outcome::met
                            : share <= closeFactor ? Outcome::close
                                                   : Outcome::missed;
    return {m_name, outcome, share};
}

Verdict Row::print() const
{
    const Verdict result = verdict();
    const Contender* ours = bestOf(Role::ours);
    const double own = ours != nullptr ? ours->nanoseconds : 0;
    const auto told = [own](const Contender* each) {
        return each == nullptr
                   ? std::string("-")
                   : figure(each->nanoseconds) + " " + ratio(own / each->nanoseconds) + " " + each->name;
    };
    const std::optional<double> wanted = targetFigure();
    std::printf("%-7s %-32s %10s %10s  %-40s %-44s %s\n", wordOf(result.outcome), m_name.c_str(),
                ours != nullptr ? figure(own).c_str() : "-", wanted ? figure(*wanted).c_str() : "-",
                told(bestOf(Role::peer)).c_str(), told(bestOf(Role::limit)).c_str(), targetText().c_str());

    std::vector<const Contender*> others;
    for (const Contender& each : m_contenders) {
        if (&each != ours && &each != bestOf(Role::peer) && &each != bestOf(Role::limit)) {
            others.push_back(&each);
        }
    }
    std::sort(others.begin(), others.end(),
              [](auto left, auto right) { return left->nanoseconds < right->nanoseconds; });
    std::string line;
    for (const Contender* each : others) {
        line += (line.empty() ? "" : "; ") + told(each) + (each->role == Role::limit ? " (limit)" : "");
    }
    std::printf("%s", line.empty() ? "" : ("        " + line + "\n").c_str());
    std::fflush(stdout);
    return result;
}

void printHeading()
{
    std::printf("%-7s %-32s %10s %10s  %-40s %-44s %s\n", "", "row", "ours", "target", "best peer", "limit",
                "the target goes by");
}

void printSummary(const std::string& title, const std::vector<Verdict>& verdicts)
{
    const auto count = [&](Outcome outcome) {
        return std::count_if(verdicts.begin(), verdicts.end(),
                             [outcome](const Verdict& each) { return each.outcome == outcome; });
    };
    std::printf("== %s: %td met, %td close (within %.0f%%), %td missed, %td with no answer, of %zu rows\n",
                title.c_str(), count(Outcome::met), count(Outcome::close), (closeFactor - 1) * 100,
                count(Outcome::missed), count(Outcome::unknown), verdicts.size());
    for (const Verdict& each : verdicts) {
        if (each.outcome == Outcome::missed || each.outcome == Outcome::close) {
            std::printf("   %-7s %-34s %.2f of the target\n", wordOf(each.outcome), each.row.c_str(),
                        each.oursToTarget);
        }
    }
}

} // namespace Bench
