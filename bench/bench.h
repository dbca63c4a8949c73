#pragma once

/// @file
/// Times small operations against their peers: medians over several rounds, all of one row taken in turns so
/// that a slow moment of the machine meets every one alike.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace Bench
{

/// Keeps a value from being optimised away.
template <class T>
inline void keep(T&& value)
{
    asm volatile("" : : "g"(&value) : "memory");
}

/// One contender: repeats its operation as often as it is told.
struct Contender
{
    std::string name;
    std::function<void(std::size_t repeats)> run;
};

inline double secondsOf(const Contender& contender, std::size_t repeats)
{
    const auto begin = std::chrono::steady_clock::now();
    contender.run(repeats);
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

/// Prints the row's medians in nanoseconds; the first contender is ours, and the ratios are ours to each peer.
inline void row(const std::string& name, const std::vector<Contender>& contenders)
{
    constexpr int rounds = 15;
    constexpr double roundSeconds = 0.01;
    std::vector<std::size_t> repeats;
    for (const Contender& each : contenders) {
        std::size_t count = 1;
        double seconds = 0;
        while ((seconds = secondsOf(each, count)) < roundSeconds / 10) {
            count *= 4;
        }
        repeats.push_back(std::max<std::size_t>(
            1, static_cast<std::size_t>(static_cast<double>(count) * roundSeconds / seconds)));
    }
    std::vector<std::vector<double>> times(contenders.size());
    for (int round = 0; round < rounds; ++round) {
        for (std::size_t i = 0; i < contenders.size(); ++i) {
            times[i].push_back(secondsOf(contenders[i], repeats[i]) / static_cast<double>(repeats[i]) * 1e9);
        }
    }
    std::printf("%-34s", name.c_str());
    double ours = 0;
    for (std::size_t i = 0; i < contenders.size(); ++i) {
        std::nth_element(times[i].begin(), times[i].begin() + rounds / 2, times[i].end());
        const double median = times[i][rounds / 2];
        if (i == 0) {
            ours = median;
            std::printf(" %s %.2f ns", contenders[i].name.c_str(), median);
        } else {
            std::printf(" | %s %.2f (x%.2f)", contenders[i].name.c_str(), median, ours / median);
        }
    }
    std::printf("\n");
}

} // namespace Bench
