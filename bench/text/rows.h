#pragma once

/// @file
/// The rows of this benchmark, and how a peer library takes part in them.

#include "bench.h"
#include "texts.h"

#include <deque>
#include <string>
#include <vector>

namespace TextBench
{

namespace Name
{

inline const std::string share = "share and drop a string";
inline const std::string build = "default construct and drop";
inline const std::string appendCharacters = "append a character, 1000 times";
inline const std::string appendPieces = "append 16 bytes up to 1 MB";
inline const std::string find = "find in 64 KB";
/// No target of ours, but what a short cut for equal bytes alone would hide.
inline const std::string unequal = "differ in the last of 100 bytes";
inline const std::string integerToText = "integer to text";
inline const std::string textToInteger = "text to integer";
inline const std::string split = "split 12 fields";

inline std::string equal(const std::string& text)
{
    return "equal, " + std::to_string(text.size()) + " bytes";
}
inline std::string noCase(const std::string& text)
{
    return "compare without case, " + std::to_string(text.size()) + " bytes";
}
inline std::string walk(const UnicodeText& text)
{
    return "walk " + text.name + ", a character";
}
inline std::string count(const UnicodeText& text)
{
    return "count characters of 64 KB " + text.name;
}
inline std::string toUtf16(const UnicodeText& text)
{
    return "UTF-8 to UTF-16, 64 KB " + text.name;
}
inline std::string toUtf8(const UnicodeText& text)
{
    return "UTF-16 to UTF-8, 64 KB " + text.name;
}
inline std::string toText(const Doubles& numbers)
{
    return "double to text, " + numbers.name;
}
inline std::string fromText(const Doubles& numbers)
{
    return "text to double, " + numbers.name;
}

} // namespace Name

/// The rows in the order of their making.
class Rows
{
public:
    Bench::Row& add(const std::string& name) { return m_rows.emplace_back(name); }

    /// The row of that name. The program ends where there is none.
    Bench::Row& operator[](const std::string& name);

    /// Measures the rows whose name has this part.
    std::vector<Bench::Verdict> run(const std::string& part);

private:
    std::deque<Bench::Row> m_rows; // whose elements stay where they are
};

/// Ends the program where what is measured would not be the work that its row tells.
void require(bool holds, const std::string& what);

/// An operation on the next of the values, in turns.
template <class Value, class Operation>
auto onEachOf(const std::vector<Value>& values, Operation operation)
{
    return [&values, operation, next = 0u]() mutable { operation(values[next++ % numberCount]); };
}

/// Pairs of texts that are the same but for their case.
std::vector<std::pair<const std::string*, const std::string*>> casePairs(const Texts& texts);

std::vector<const UnicodeText*> unicodeTexts(const Texts& texts);

/// The texts that the locale can walk: the C locale has no character above 7 bits.
std::vector<const UnicodeText*> walkableTexts(const Texts& texts, bool utf8);

// Ours, the standard library's and the C library's part; these make the rows.
void addEngineRows(Rows& rows, const Texts& texts);
void addWalkingRows(Rows& rows, const Texts& texts, bool utf8);
void addUnicodeRows(Rows& rows, const Texts& texts);
void addNumberRows(Rows& rows, const Texts& texts);
void addTokenRows(Rows& rows, const Texts& texts);

/// Walks, counts and converts the text of a double-byte locale.
void addDoubleByteRows(Rows& rows);

/// A peer library: `peers/<name>.cpp` defines one such object, and the file is built where the library is there.
class Peer
{
public:
    using Part = void (*)(Rows&, const Texts&);
    struct Parts
    {
        Part engine = nullptr;
        Part walking = nullptr; ///< walks and counts UTF-8 text
        Part unicode = nullptr;
        Part numbers = nullptr;
        Part tokens = nullptr;
    };

    explicit Peer(const Parts& parts);

    /// Lets all peers take part in the rows of one kind.
    static void addAll(Part Parts::*part, Rows& rows, const Texts& texts);
};

} // namespace TextBench
