// The rules of paths in both styles, and replacing, for any text in any locale.

#include "fuzz.h"

#include <morvex/pathrules.h>
#include <morvex/sstringhelper.h>

#include <algorithm>
#include <cwchar>
#include <string>
#include <string_view>
#include <vector>

using namespace MorvexA106;
using PathRules::PathStyle;

namespace
{

std::size_t sizeAt(const std::string& text, std::size_t at)
{
    std::mbstate_t state{};
    const std::size_t length = std::mbrlen(&text[at], std::min<std::size_t>(6, text.size() - at), &state);
    return length <= 6 ? length : 1;
}

void checkParts(std::string_view path, PathStyle style)
{
    const PathRules::Parts parts = PathRules::split(path, style);
    const std::string together = std::string(parts.drive) + std::string(parts.folder) +
                                 std::string(parts.name) + std::string(parts.extension);
    Fuzz::require(together == path, "the parts one behind the other are the path");
    Fuzz::require(PathRules::join(parts, style) == path, "the parts joined are the path");
    Fuzz::require(parts.folder.empty() || PathRules::endsInSeparator(parts.folder, style),
                  "a folder ends in one");
    Fuzz::require(parts.extension.empty() || parts.extension.front() == '.',
                  "an extension begins with its dot");
}

void checkEnds(std::string_view path, PathStyle style)
{
    const std::string_view stripped = PathRules::withoutEndSeparators(path, style);
    Fuzz::require(path.starts_with(stripped), "stripping takes from the end");
    Fuzz::require(!PathRules::endsInSeparator(stripped, style), "nothing is left to strip");
    std::vector<std::size_t> lengths;
    if (PathRules::foldersOnTheWay(path, style, lengths)) {
        Fuzz::require(std::is_sorted(lengths.begin(), lengths.end()), "folders on the way grow");
        Fuzz::require(lengths.empty() || lengths.back() <= path.size(), "and are beginnings of the path");
    }
}

void checkFull(const std::string& path, PathStyle style)
{
    const std::string full = (style == PathStyle::posix ? "/" : "C:\\") + path;
    const std::string unified = PathRules::unified(full, PathRules::separatorOf(style));
    Fuzz::require(unified.size() == full.size(), "unifying changes no size");
    Fuzz::require(PathRules::unified(unified, PathRules::separatorOf(style)) == unified,
                  "and is done at once");
    const std::string clean = PathRules::withoutDots(unified, style);
    Fuzz::require(PathRules::withoutDots(clean, style) == clean, "cleaning is done at once");
    Fuzz::require(PathRules::isFullPath(clean, style), "a clean full path is full");
}

void checkHelper(const std::string& path)
{
    const SAnsiString text(path.c_str());
    SAnsiString folder;
    SAnsiString name;
    SAnsiString extension;
    SStringHelper::SplitPathEx(text, folder, name, extension);
    Fuzz::require(SStringHelper::MakePath(folder, name, extension).view() == path, "split and made again");
    std::string_view parts[3];
    SStringHelper::SplitPathEx(std::string_view(path), parts[0], parts[1], parts[2]);
    Fuzz::require(parts[0] == folder.view() && parts[1] == name.view() && parts[2] == extension.view(),
                  "views are as strings");
}

/// From the left, where the wanted text stands and ends at characters.
std::string slowReplaced(const std::string& text, const std::string& wanted, const std::string& replacement)
{
    std::string result;
    for (std::size_t at = 0; at < text.size();) {
        std::size_t end = at;
        while (end < std::min(at + wanted.size(), text.size())) {
            end += sizeAt(text, end);
        }
        const bool hit =
            !wanted.empty() && end == at + wanted.size() && text.compare(at, wanted.size(), wanted) == 0;
        const std::size_t size = hit ? wanted.size() : sizeAt(text, at);
        result += hit ? replacement : text.substr(at, size);
        at += size;
    }
    return result;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, std::size_t size)
{
    Fuzz::Input input(bytes, size);
    Fuzz::useLocale(input.byte());
    const std::string wanted = input.until('\n').c_str();
    const std::string replacement = input.until('\n').c_str();
    const std::string path = input.rest().c_str();
    const std::vector<char> block(path.begin(), path.end()); // so that a byte read behind its end is seen
    for (const PathStyle style : {PathStyle::posix, PathStyle::windows}) {
        checkParts(std::string_view(block.data(), block.size()), style);
        checkEnds(std::string_view(block.data(), block.size()), style);
        checkFull(path, style);
    }
    checkHelper(path);
    SAnsiString text(path.c_str());
    SStringHelper::replaceAll(text, wanted.c_str(), replacement.c_str());
    Fuzz::require(text.view() == slowReplaced(path, wanted, replacement), "replaced as by the slow way");
    return 0;
}
