#include "morvex/pathrules.h"

#include "morvex/characters.h"

#include <algorithm>

namespace MorvexA106::PathRules
{

namespace
{

using Platform::LocaleText;

/// Calls `visit(offset, size)` for each character.
template <class Visit>
void eachCharacter(std::string_view text, Visit visit)
{
    const LocaleText locale = LocaleText::current();
    const bool bytewise = locale.isSingleByte() || locale.isUtf8(); // no byte of a character looks like ASCII
    for (std::size_t offset = 0; offset < text.size();) {
        const std::size_t size =
            bytewise ? 1 : Characters::sizeAt(text.data() + offset, text.data() + text.size(), locale);
        visit(offset, size);
        offset += size;
    }
}

template <class Test>
std::size_t lengthUpToLast(std::string_view text, Test test) noexcept
{
    std::size_t length = 0;
    eachCharacter(text, [&](std::size_t offset, std::size_t size) {
        if (test(size == 1 ? text[offset] : '\0')) {
            length = offset + size;
        }
    });
    return length;
}

/// The length up to the end of the last character that is no separator.
std::size_t lengthWithoutEnd(std::string_view path, PathStyle style) noexcept
{
    return lengthUpToLast(path, [=](char byte) { return !isSeparator(byte, style); });
}

/// The segment that begins at an offset.
std::string_view segmentAt(std::string_view path, std::size_t offset, PathStyle style) noexcept
{
    const std::string_view rest = path.substr(std::min(offset, path.size()));
    std::size_t end = rest.size();
    eachCharacter(rest, [&](std::size_t at, std::size_t size) {
        if (size == 1 && isSeparator(rest[at], style)) {
            end = std::min(end, at);
        }
    });
    return rest.substr(0, end);
}

/// Server and share with the separators in front of them; empty when one is missing.
std::string_view serverAndShare(std::string_view path, PathStyle style) noexcept
{
    const std::string_view server = segmentAt(path, 2, style);
    const std::string_view share = segmentAt(path, 2 + server.size() + 1, style);
    if (server.empty() || share.empty()) {
        return {};
    }
    return path.substr(0, 2 + server.size() + 1 + share.size());
}

bool beginsAsUnc(std::string_view path, PathStyle style) noexcept
{
    return style == PathStyle::windows && path.size() >= 2 && isSeparator(path[0], style) &&
           isSeparator(path[1], style);
}

std::size_t extensionBegin(std::string_view name) noexcept
{
    const std::size_t first = name.find_first_not_of('.');
    const std::size_t dot = name.rfind('.');
    return first == std::string_view::npos || dot == std::string_view::npos || dot < first ? name.size()
                                                                                           : dot;
}

void applySegment(std::vector<std::string_view>& segments, std::string_view segment)
{
    if (segment == "..") {
        if (!segments.empty()) {
            segments.pop_back();
        }
    } else if (!segment.empty() && segment != ".") {
        segments.push_back(segment);
    }
}

std::vector<std::string_view> segmentsOf(std::string_view path, PathStyle style)
{
    std::vector<std::string_view> segments;
    std::size_t begin = 0;
    eachCharacter(path, [&](std::size_t offset, std::size_t size) {
        if (size == 1 && isSeparator(path[offset], style)) {
            applySegment(segments, path.substr(begin, offset - begin));
            begin = offset + 1;
        }
    });
    applySegment(segments, path.substr(begin));
    return segments;
}

} // namespace

bool endsInSeparator(std::string_view path, PathStyle style, char extra) noexcept
{
    const auto isNone = [=](char byte) { return !isSeparator(byte, style) && byte != extra; };
    return lengthUpToLast(path, isNone) < path.size();
}

std::string_view withoutEndSeparators(std::string_view path, PathStyle style) noexcept
{
    return path.substr(0, lengthWithoutEnd(path, style));
}

std::string_view trimmed(std::string_view path, PathStyle style) noexcept
{
    const std::string_view stripped = withoutEndSeparators(path, style);
    return stripped.empty() || isDrive(stripped, style) ? path : stripped;
}

std::string unified(std::string_view path, char separator)
{
    std::string result(path);
    eachCharacter(path, [&](std::size_t offset, std::size_t size) {
        if (size == 1 && (path[offset] == '/' || path[offset] == '\\')) {
            result[offset] = separator;
        }
    });
    return result;
}

bool isFullPath(std::string_view path, PathStyle style)
{
    const std::string copy = unified(path, separatorOf(style));
    return style == PathStyle::posix ? copy.starts_with('/')
                                     : isUncPath(copy, style) || hasDrive(copy, style);
}

Parts split(std::string_view path, PathStyle style) noexcept
{
    Parts parts;
    parts.drive = path.substr(0, hasDrive(path, style) ? 2 : 0);
    const std::string_view rest = path.substr(parts.drive.size());
    parts.folder = rest.substr(0, lengthUpToLast(rest, [=](char byte) { return isSeparator(byte, style); }));
    const std::string_view name = rest.substr(parts.folder.size());
    parts.name = name.substr(0, extensionBegin(name));
    parts.extension = name.substr(parts.name.size());
    return parts;
}

std::string join(const Parts& parts, PathStyle style)
{
    std::string path(parts.drive);
    path += parts.folder;
    if (!parts.folder.empty() && !endsInSeparator(parts.folder, style) && !isDrive(path, style)) {
        path += separatorOf(style);
    }
    path += parts.name;
    if (!parts.extension.empty() && parts.extension.front() != '.') {
        path += '.';
    }
    path += parts.extension;
    return path;
}

bool foldersOnTheWay(std::string_view path, PathStyle style, std::vector<std::size_t>& lengths)
{
    const bool unc = beginsAsUnc(path, style);
    const std::size_t root = unc ? serverAndShare(path, style).size() : 0;
    if (unc && root == 0) {
        return false;
    }
    std::size_t end = root; // of the last character that is no separator
    eachCharacter(path.substr(root), [&](std::size_t offset, std::size_t size) {
        if (size != 1 || !isSeparator(path[root + offset], style)) {
            end = root + offset + size;
        } else if (end == root + offset && end > root) {
            lengths.push_back(end);
        }
    });
    if (end == path.size() && end > root) {
        lengths.push_back(end);
    }
    return true;
}

std::string_view rootOf(std::string_view unifiedPath, PathStyle style) noexcept
{
    if (isUncPath(unifiedPath, style)) {
        const std::string_view root = serverAndShare(unifiedPath, style);
        return root.empty() ? unifiedPath : root;
    }
    return unifiedPath.substr(0, hasDrive(unifiedPath, style) ? 2 : 0);
}

std::string withoutDots(std::string_view fullPath, PathStyle style)
{
    const std::string_view root = rootOf(fullPath, style);
    const std::string_view rest = fullPath.substr(root.size());
    std::string result(root);
    for (const std::string_view segment : segmentsOf(rest, style)) {
        result += separatorOf(style);
        result += segment;
    }
    const bool bareRoot = result.size() == root.size() && !rest.empty();
    if (bareRoot || (result.size() > root.size() && endsInSeparator(rest, style))) {
        result += separatorOf(style);
    }
    return result;
}

} // namespace MorvexA106::PathRules
