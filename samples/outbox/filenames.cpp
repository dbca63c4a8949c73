#include "filenames.h"

#include "failures.h"

#include <morvex/sfilesys.h>
#include <morvex/ssfilesearch.h>
#include <morvex/sstringhelper.h>

#include <algorithm>
#include <string_view>

namespace Outbox
{

using namespace MorvexA106;

namespace
{

constexpr std::size_t longestEnding = 17;

SAnsiString cutTo(SAnsiString text, std::size_t bytes)
{
    while (text.view().size() > bytes) {
        text = text.left(text.getNChars() - 1);
    }
    return text;
}

bool isDots(const SAnsiString& name)
{
    return name.view() == "." || name.view() == "..";
}

} // namespace

SAnsiString numberedName(const SAnsiString& stem, const SAnsiString& ending, unsigned number)
{
    SAnsiString tail;
    if (number > 1) {
        tail = (" (" + std::to_string(number) + ")").c_str();
    }
    tail += ending;
    return cutTo(stem, longestName - std::min(longestName, tail.view().size())) + tail;
}

std::size_t endingOf(const SAnsiString& name)
{
    // No multibyte character holds the byte of the dot.
    const std::size_t dot = name.view().rfind('.');
    const bool isEnding =
        dot != std::string_view::npos && dot > 0 && name.view().size() - dot <= longestEnding;
    return isEnding ? dot : name.view().size();
}

SAnsiString freeName(const SAnsiString& folder, const SAnsiString& name)
{
    const std::size_t ending = endingOf(name);
    return freeName(folder, SAnsiString(name.view().substr(0, ending)),
                    SAnsiString(name.view().substr(ending)));
}

SAnsiString freeName(const SAnsiString& folder, const SAnsiString& stem, const SAnsiString& ending)
{
    for (unsigned number = 1;; ++number) {
        const SAnsiString name = numberedName(stem, ending, number);
        if (!SFileSys::exists(SStringHelper::MakePath(folder, name))) {
            return name;
        }
    }
}

std::vector<SAnsiString> namesIn(const SAnsiString& folder)
{
    std::vector<SAnsiString> names;
    SSFileSearch search(folder);
    SAnsiString name;
    for (bool found = search.FindFirst(name); found; found = search.FindNext(name)) {
        if (!isDots(name)) {
            names.push_back(name);
        }
    }
    if (search.failed()) {
        throw Trouble{SAnsiString("Can't read the folder ") + folder + ": " + search.getErrorText()};
    }
    return names;
}

std::string printable(const SAnsiString& text)
{
    std::string shown(text.view());
    std::replace_if(
        shown.begin(), shown.end(), [](unsigned char byte) { return byte < 0x20 || byte == 0x7F; }, '?');
    return shown;
}

} // namespace Outbox
