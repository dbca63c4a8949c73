#include "morvex/sstringhelper.h"

#include "morvex/badalloc.h"
#include "morvex/multibyte.h"
#include "morvex/pathrules.h"
#include "morvex/textbuilder.h"
#include "morvex/textunits.h"
#include "morvex/wordsplit.h"

#include <string>
#include <string_view>

namespace MorvexA106
{

namespace
{

using PathRules::PathStyle;

/// Up to the terminator, as all text is read.
std::string_view viewOf(const SAnsiString& text) noexcept
{
    return text.getString();
}

PathStyle style() noexcept
{
    return Platform::nativePathStyle();
}

/// For parts of the text itself: the copy is made before the text changes.
void replace(SAnsiString& text, std::string_view part)
{
    text = SAnsiString(part);
}

using Builder = TextBuilder<char, 0>;

void append(Builder& builder, std::string_view part)
{
    if (!part.empty()) {
        part.copy(builder.extend(part.size()), part.size());
    }
}

/// Whether a character ends there, too.
bool isWhole(const char* begin, const char* end) noexcept
{
    const TextUnits::Walker<char, 0> walker;
    while (begin < end) {
        begin += walker.step(begin);
    }
    return begin == end;
}

/// The next match of whole characters at or after the beginning of a character; null when there is none.
const char* findWhole(const char* text, std::string_view wanted) noexcept
{
    const char* hit = Multibyte::findText(text, wanted.data());
    while (*hit != 0 && !isWhole(hit, hit + wanted.size())) {
        hit = Multibyte::findText(hit + TextUnits::Walker<char, 0>().step(hit), wanted.data());
    }
    return *hit != 0 ? hit : nullptr;
}

} // namespace

char SStringHelper::getDirSeparator() noexcept
{
    return PathRules::separatorOf(style());
}

void SStringHelper::AppendSlashToDir(SAnsiString& dir)
{
    AppendSlashToDir(dir, getDirSeparator());
}

void SStringHelper::AppendSlashToDir(SAnsiString& dir, char separator)
{
    if (!dir.isEmpty() && !PathRules::endsInSeparator(viewOf(dir), style(), separator)) {
        dir += separator;
    }
}

void SStringHelper::StripSlashOffDirEnd(SAnsiString& dir)
{
    const std::string_view stripped = PathRules::withoutEndSeparators(viewOf(dir), style());
    if (stripped.size() != viewOf(dir).size()) {
        replace(dir, stripped);
    }
}

void SStringHelper::StripSlashOffDirBegin(SAnsiString& dir)
{
    if (!dir.isEmpty() && PathRules::isSeparator(dir.getString()[0], style())) {
        replace(dir, viewOf(dir).substr(1));
    }
}

void SStringHelper::StripSlashOffDirBegin(SAnsiString& dir, char separator)
{
    if (!dir.isEmpty() && dir.getString()[0] == separator) {
        replace(dir, viewOf(dir).substr(1));
    }
}

void SStringHelper::UnifyAllSlashes(SAnsiString& path)
{
    UnifyAllSlashes(path, getDirSeparator());
}

void SStringHelper::UnifyAllSlashes(SAnsiString& path, char separator)
{
    replace(path, sayingBadAllocation([&] { return PathRules::unified(viewOf(path), separator); }));
}

SAnsiString SStringHelper::MakePath(const SAnsiString& folder, const SAnsiString& name,
                                    const SAnsiString& extension)
{
    return MakePath(SAnsiString(), folder, name, extension);
}

SAnsiString SStringHelper::MakePath(const SAnsiString& drive, const SAnsiString& folder,
                                    const SAnsiString& name, const SAnsiString& extension)
{
    const PathRules::Parts parts{viewOf(drive), viewOf(folder), viewOf(name), viewOf(extension)};
    const std::string path = sayingBadAllocation([&] { return PathRules::join(parts, style()); });
    return SAnsiString(std::string_view(path));
}

void SStringHelper::SplitPath(const SAnsiString& path, SAnsiString& drive, SAnsiString& folder,
                              SAnsiString& name, SAnsiString& extension)
{
    // Any of the others may be the path: its buffer is held while it is read.
    const SAnsiString kept(path); // NOLINT(performance-unnecessary-copy-initialization)
    const PathRules::Parts parts = PathRules::split(viewOf(kept), style());
    replace(drive, parts.drive);
    replace(folder, parts.folder);
    replace(name, parts.name);
    replace(extension, parts.extension);
}

void SStringHelper::SplitPathEx(const SAnsiString& path, SAnsiString& folder, SAnsiString& name,
                                SAnsiString& extension)
{
    SAnsiString drive;
    SAnsiString rest;
    SplitPath(path, drive, rest, name, extension);
    folder = drive + rest;
}

void SStringHelper::SplitPathEx(std::string_view path, std::string_view& folder, std::string_view& name,
                                std::string_view& extension)
{
    const PathRules::Parts parts = PathRules::split(path, style());
    folder = path.substr(0, parts.drive.size() + parts.folder.size());
    name = parts.name;
    extension = parts.extension;
}

void SStringHelper::makeWords(const SAnsiString& text, const SAnsiString& separators,
                              SIArray<SAnsiString>& words, bool quotes)
{
    WordSplit::makeWords(text, separators, words, quotes);
}

void SStringHelper::makeWords(std::string_view text, const SAnsiString& separators,
                              SIArray<std::string_view>& words, bool quotes)
{
    WordSplit::makeWords(text, separators, words, quotes);
}

SAnsiString SStringHelper::joinWords(const SIArray<SAnsiString>& words, const SAnsiString& separator)
{
    std::uint64_t units = 0;
    for (const SAnsiString& word : words) {
        units += viewOf(word).size() + viewOf(separator).size();
    }
    if (units == 0) {
        return SAnsiString();
    }
    Builder joined(units);
    for (const SAnsiString& word : words) {
        if (&word != &*words.begin()) {
            append(joined, viewOf(separator));
        }
        append(joined, viewOf(word));
    }
    return SAnsiString(joined.take());
}

unsigned int SStringHelper::replaceAll(SAnsiString& text, const SAnsiString& wanted,
                                       const SAnsiString& replacement)
{
    const std::string_view pattern = viewOf(wanted);
    const char* at = text.getString();
    const char* hit = pattern.empty() ? nullptr : findWhole(at, pattern);
    if (hit == nullptr) {
        return 0;
    }
    Builder replaced;
    unsigned int count = 0;
    for (; hit != nullptr; hit = findWhole(at, pattern)) {
        append(replaced, std::string_view(at, static_cast<std::size_t>(hit - at)));
        append(replaced, viewOf(replacement));
        at = hit + pattern.size();
        ++count;
    }
    append(replaced, at);
    text = SAnsiString(replaced.take());
    return count;
}

unsigned int SStringHelper::replaceAll(SAnsiString& text, char wanted, char replacement)
{
    using Character = SAnsiString::character;
    return replaceAll(text, SAnsiString(Character(wanted)), SAnsiString(Character(replacement)));
}

} // namespace MorvexA106
