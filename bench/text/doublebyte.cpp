// A locale of two-byte characters, against the C library's own walk.

#include "rows.h"

#include <morvex/codesetconverter.h>
#include <morvex/sstring.h>

#include <cstdlib>
#include <cwchar>

using namespace MorvexA106;

namespace TextBench
{

namespace
{

using Bench::keep;

/// 64 KB as the locale's bytes, with its characters as wide text. Hiragana, katakana and common ideographs with
/// words and numbers between, as a log has them.
struct LocaleText
{
    std::string bytes;
    std::wstring wide;
    std::vector<unsigned short> units;
};

LocaleText localeText()
{
    static constexpr const wchar_t* words[] = {L"\u30B5\u30FC\u30D0\u30FC",
                                               L" server7 ",
                                               L"\u3067\u3059\u3002",
                                               L"2026-11-21 10:15:33 ",
                                               L"\u63A5\u7D9A",
                                               L"\u304C",
                                               L"\u5931\u6557\u3057\u307E\u3057\u305F",
                                               L"error, "};
    LocaleText text;
    std::vector<char> bytes(65536 + 64);
    for (unsigned i = 0; text.bytes.size() < 65536; ++i) {
        const wchar_t* word = words[i * 5 % 8];
        const std::size_t size = std::wcstombs(bytes.data(), word, bytes.size());
        text.bytes.append(bytes.data(), size);
        text.wide += word;
    }
    text.units.assign(text.wide.begin(), text.wide.end());
    text.units.push_back(0);
    return text;
}

std::size_t walk(const SAnsiString& text)
{
    std::size_t characters = 0;
    for (SAnsiString::iterator at(text); !at.isAtEnd(); ++at) {
        ++characters;
    }
    return characters;
}

/// With a state of its own, as a thread-safe caller must.
std::size_t walkByMbrlen(const std::string& text)
{
    const char* at = text.c_str();
    const char* const end = at + text.size();
    std::mbstate_t state{};
    std::size_t characters = 0;
    while (at < end) {
        at += std::mbrlen(at, static_cast<std::size_t>(end - at), &state);
        ++characters;
    }
    return characters;
}

void addWalk(Rows& rows, const LocaleText& text)
{
    Bench::Row& row = rows.add("walk 64 KB, a character");
    row.ours([ours = SAnsiString(text.bytes.c_str())] { keep(walk(ours)); });
    row.peer("mbrlen", [&text] { keep(walkByMbrlen(text.bytes)); });
    row.per(text.wide.size());
    row.target(1.0, {"mbrlen"});
}

void addCount(Rows& rows, const LocaleText& text)
{
    Bench::Row& row = rows.add("count characters of 64 KB");
    row.ours([ours = SAnsiString(text.bytes.c_str())] { keep(ours.getNChars()); });
    row.peer("mbrlen", [&text] { keep(walkByMbrlen(text.bytes)); });
    row.peer("mbstowcs", [&text] { keep(std::mbstowcs(nullptr, text.bytes.c_str(), 0)); });
    row.target(1.0);
}

void addToWide(Rows& rows, const LocaleText& text)
{
    static std::vector<unsigned short> units(70000);
    static std::vector<wchar_t> wide(70000);
    Bench::Row& row = rows.add("64 KB to 16-bit text");
    row.ours([ours = SAnsiString(text.bytes.c_str())] {
        keep(CodesetConverter::mbstoucs2(units.data(), ours.getString(), units.size()));
    });
    row.variant("a string", [ours = SAnsiString(text.bytes.c_str())] {
        SQCAString made;
        keep(made.fromMBCS(ours.getString()));
        keep(made);
    });
    row.peer("mbstowcs", [&text] { keep(std::mbstowcs(wide.data(), text.bytes.c_str(), wide.size())); });
    row.target(1.0);
}

void addFromWide(Rows& rows, const LocaleText& text)
{
    static std::vector<char> bytes(200000);
    Bench::Row& row = rows.add("16-bit text to 64 KB");
    row.ours([&text] { keep(CodesetConverter::ucs2tombs(bytes.data(), text.units.data(), bytes.size())); });
    row.variant("a string", [ours = SQCAString(text.units.data())] {
        SAnsiString made;
        keep(made.fromQCA(ours.getString()));
        keep(made);
    });
    row.peer("wcstombs", [&text] { keep(std::wcstombs(bytes.data(), text.wide.c_str(), bytes.size())); });
    row.target(1.0);
}

} // namespace

void addDoubleByteRows(Rows& rows)
{
    static const LocaleText text = localeText();
    addWalk(rows, text);
    addCount(rows, text);
    addToWide(rows, text);
    addFromWide(rows, text);
}

} // namespace TextBench
