#include "morvex/sstringhelper.h"

#include "morvex/pathrules.h"
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
    replace(path, PathRules::unified(viewOf(path), separator));
}

SAnsiString SStringHelper::MakePath(const SAnsiString& folder, const SAnsiString& name,
                                    const SAnsiString& extension)
{
    return MakePath(SAnsiString(), folder, name, extension);
}

SAnsiString SStringHelper::MakePath(const SAnsiString& drive, const SAnsiString& folder,
                                    const SAnsiString& name, const SAnsiString& extension)
{
    return SAnsiString(std::string_view(
        PathRules::join({viewOf(drive), viewOf(folder), viewOf(name), viewOf(extension)}, style())));
}

void SStringHelper::SplitPath(const SAnsiString& path, SAnsiString& drive, SAnsiString& folder,
                              SAnsiString& name, SAnsiString& extension)
{
    // Any of the others may be the path.
    const std::string kept(viewOf(path)); // NOLINT(performance-unnecessary-copy-initialization)
    const PathRules::Parts parts = PathRules::split(kept, style());
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

void SStringHelper::makeWords(const SAnsiString& text, const SAnsiString& separators,
                              SIArray<SAnsiString>& words, bool quotes)
{
    WordSplit::makeWords(text, separators, words, quotes);
}

} // namespace MorvexA106
