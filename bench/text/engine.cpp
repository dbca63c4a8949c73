// The string engine: sharing, building, comparing, searching.

#include "rows.h"

#include <morvex/sstring.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <strings.h>

using namespace MorvexA106;

namespace TextBench
{

namespace
{

using Bench::keep;

template <class Text>
void copyAndDrop(const Text& source)
{
    Text copy(source);
    keep(copy);
}

template <class Text>
void buildAndDrop()
{
    Text text;
    keep(text);
}

template <class Text>
void appendCharacters()
{
    Text text;
    for (int i = 0; i < 1000; ++i) {
        text += static_cast<char>('a' + (i & 15));
    }
    keep(text);
}

/// A buffer that is large enough from the start, with the check that it is.
void storeCharacters()
{
    constexpr std::size_t room = 1024;
    const auto buffer = std::make_unique_for_overwrite<char[]>(room);
    std::size_t used = 0;
    for (int i = 0; i < 1000; ++i) {
        if (used == room) {
            std::abort();
        }
        buffer[used++] = static_cast<char>('a' + (i & 15));
        asm volatile("" : : : "memory");
    }
    keep(used);
}

constexpr int pieces = 65536;

void addSharing(Rows& rows, const Texts& texts)
{
    Bench::Row& row = rows.add(Name::share);
    const SAnsiString text(texts.letters100.c_str());
    row.ours([text] { copyAndDrop(text); });
    row.peer("std::string", [&texts] { copyAndDrop(texts.letters100); });
    row.limit("one atomic pair", [] {
        static std::atomic<int> count{1};
        count.fetch_add(1, std::memory_order_relaxed);
        count.fetch_sub(1, std::memory_order_acq_rel);
    });
    row.target(1.15, {"one atomic pair"});
}

void addBuilding(Rows& rows)
{
    Bench::Row& row = rows.add(Name::build);
    row.ours([] { buildAndDrop<SAnsiString>(); });
    row.peer("std::string", [] { buildAndDrop<std::string>(); });
    row.limit("a pointer to a static buffer", [] {
        static int empty;
        int* buffer = &empty;
        keep(buffer);
    });
    row.targetNanoseconds(1.0);
}

void addAppending(Rows& rows, const Texts& texts)
{
    Bench::Row& characters = rows.add(Name::appendCharacters);
    characters.ours([] { appendCharacters<SAnsiString>(); });
    characters.peer("std::string", [] { appendCharacters<std::string>(); });
    characters.limit("stores with a check of the room", [] { storeCharacters(); });
    characters.target(1.2, {"std::string"});

    Bench::Row& row = rows.add(Name::appendPieces);
    row.ours([] {
        SAnsiString text;
        for (int i = 0; i < pieces; ++i) {
            text += "0123456789abcdef";
        }
        keep(text);
    });
    row.peer("std::string", [] {
        std::string text;
        for (int i = 0; i < pieces; ++i) {
            text.append("0123456789abcdef", 16);
        }
        keep(text);
    });
    row.limit("stores into a warm buffer", [&texts] {
        static std::vector<char> buffer(16 * pieces);
        for (int i = 0; i < pieces; ++i) {
            std::memcpy(&buffer[16u * static_cast<unsigned>(i)], texts.piece.data(), 16);
            asm volatile("" : : : "memory");
        }
    });
    row.target(1.0, {"std::string"});
}

void addEquality(Rows& rows, const std::string& name, const std::string& left, const std::string& right)
{
    Bench::Row& row = rows.add(name);
    row.ours([ours = SAnsiString(left.c_str()), other = SAnsiString(right.c_str())] { keep(ours == other); });
    row.peer("std::string", [left, right] { keep(left == right); });
    row.peer("strcoll", [left, right] { keep(std::strcoll(left.c_str(), right.c_str())); });
    row.limit("memcmp", [left, right] { keep(std::memcmp(left.data(), right.data(), left.size())); });
    row.target(1.3, {"std::string"});
}

void addNoCase(Rows& rows, const std::string& left, const std::string& right)
{
    Bench::Row& row = rows.add(Name::noCase(left));
    row.ours([ours = SAnsiString(left.c_str()), other = SAnsiString(right.c_str())] {
        keep(ours.compareNoCase(other));
    });
    row.peer("strcasecmp", [left, right] { keep(strcasecmp(left.c_str(), right.c_str())); });
    row.target(1.5, {"strcasecmp"});
}

void addSearching(Rows& rows, const Texts& texts)
{
    Bench::Row& row = rows.add(Name::find);
    row.ours([text = SAnsiString(texts.haystack.c_str()), wanted = SAnsiString(texts.needle.c_str())] {
        const SAnsiString::iterator found = text.find(wanted);
        keep(found);
    });
    row.peer("std::string", [&texts] { keep(texts.haystack.find(texts.needle)); });
    row.peer("strstr", [&texts] { keep(std::strstr(texts.haystack.c_str(), texts.needle.c_str())); });
    row.peer("memmem", [&texts] {
        keep(memmem(texts.haystack.data(), texts.haystack.size(), texts.needle.data(), texts.needle.size()));
    });
    row.limit("one memchr over it",
              [&texts] { keep(std::memchr(texts.haystack.data(), '\x01', texts.haystack.size())); });
    row.target(1.0, {"strstr"});
}

} // namespace

void addEngineRows(Rows& rows, const Texts& texts)
{
    addSharing(rows, texts);
    addBuilding(rows);
    addAppending(rows, texts);
    for (const std::string* text : {&texts.letters10, &texts.letters100, &texts.letters1000}) {
        addEquality(rows, Name::equal(*text), *text, *text);
    }
    std::string other = texts.letters100;
    other.back() = '!';
    addEquality(rows, Name::unequal, texts.letters100, other);
    for (const auto& [lower, mixed] : casePairs(texts)) {
        addNoCase(rows, *lower, *mixed);
    }
    addSearching(rows, texts);
}

} // namespace TextBench
