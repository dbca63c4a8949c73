#include "morvex/sversion.h"

#include "morvex/badalloc.h"
#include "morvex/sresstring.h"
#include "morvex/versiontext.h"
#include "platform/moduleversion.h"

#include <algorithm>
#include <charconv>
#include <string>

namespace MorvexA106
{

namespace
{

constexpr std::string_view digits = "0123456789";
constexpr std::string_view nameSeparators = "-._";

/// Without an extension, which is what follows the last point unless it is a number.
std::string_view stemOf(std::string_view name) noexcept
{
    const std::size_t point = name.rfind('.');
    const bool isExtension = point != std::string_view::npos &&
                             name.find_first_not_of(digits, point + 1) != std::string_view::npos;
    return isExtension ? name.substr(0, point) : name;
}

/// The numbers at the end, with the separator before them; empty where there is none.
std::string_view tailOf(std::string_view stem) noexcept
{
    const std::size_t end = stem.find_last_not_of("0123456789-._");
    return end == std::string_view::npos ? std::string_view() : stem.substr(end + 1);
}

bool store(const std::optional<VersionNumbers>& numbers, SVersion& version) noexcept
{
    if (numbers) {
        const auto& [first, second, third, fourth] = *numbers;
        version = SVersion(first, second, third, fourth);
    }
    return numbers.has_value();
}

} // namespace

std::optional<VersionNumbers> readVersion(std::string_view text, std::string_view separators,
                                          std::size_t atLeast) noexcept
{
    VersionNumbers numbers{};
    const char* at = text.data();
    const char* const end = at + text.size();
    for (std::size_t count = 0; count < numbers.size(); ++count) {
        const auto [behind, problem] = std::from_chars(at, end, numbers[count]);
        if (problem != std::errc()) {
            return std::nullopt;
        }
        if (behind == end) {
            return count + 1 >= atLeast ? std::optional(numbers) : std::nullopt;
        }
        if (separators.find(*behind) == std::string_view::npos) {
            return std::nullopt;
        }
        at = behind + 1;
    }
    return std::nullopt;
}

std::optional<VersionNumbers> versionInName(std::string_view name) noexcept
{
    constexpr std::string_view sharedObject = ".so.";
    const std::size_t found = name.rfind(sharedObject);
    if (found != std::string_view::npos) {
        return readVersion(name.substr(found + sharedObject.size()));
    }
    const std::string_view tail = tailOf(stemOf(name));
    return tail.empty() || digits.find(tail.front()) != std::string_view::npos
               ? std::nullopt
               : readVersion(tail.substr(1), nameSeparators, 2);
}

SVersion SVersion::Library()
{
    SVersion version;
    store(readVersion(MORVEX_VERSION), version);
    return version;
}

bool SVersion::OfModule(const SAnsiString& path, SVersion& version)
{
    const auto module = sayingBadAllocation([&] { return Platform::lookAtModule(std::string(path.view())); });
    return module && store(module->version ? module->version : versionInName(module->name), version);
}

bool SVersion::FromString(const SAnsiString& text, SVersion& version)
{
    return store(readVersion(text.view()), version);
}

SAnsiString SVersion::ToString() const
{
    const char* const form = GetBuild() != 0 ? "%1.%2.%3.%4" : "%1.%2.%3";
    return SResString(form, '%', GetMajor(), GetMinor(), GetPatch(), GetBuild());
}

} // namespace MorvexA106
