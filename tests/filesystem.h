#pragma once

#include "scratch.h"

#include "morvex/sfile.h"
#include "morvex/sfilesysexception.h"

#include <filesystem>
#include <functional>
#include <set>
#include <string>

namespace MorvexA106
{

/// The permissions with which most tests make what they need.
inline constexpr int usual = SFile::defaultPermissions;

inline SFileSysException thrownBy(const std::function<void()>& operation)
{
    return failureOf<SFileSysException>(operation);
}

/// The last word of the summary: the operation that reports.
inline std::string operationOf(const SFileSysException& failure)
{
    const std::string summary(failure.summary().view());
    return summary.substr(summary.rfind(':') + 1);
}

inline std::set<std::string> namesIn(const std::string& folder)
{
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        names.insert(entry.path().filename().string());
    }
    return names;
}

} // namespace MorvexA106
