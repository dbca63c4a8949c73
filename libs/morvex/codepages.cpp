#include "morvex/codepages.h"

#include "morvex/utfkernels.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <iterator>

namespace MorvexA106::CodePages
{

namespace
{

constexpr unsigned firstTrail = 0x40;
constexpr unsigned trails = 0xFC - firstTrail + 1;
constexpr unsigned noTrail = 0x7F;
constexpr char16_t undefinedPair = 0x30FB;
constexpr std::uint16_t noForm = '?';

/// The characters of one lead byte, terminated; what is none is the undefined pair's.
struct PairRow
{
    unsigned char lead;
    char16_t units[trails + 1];
};

struct BestFit
{
    char16_t unit;
    std::uint16_t code;
};

#include "morvex/codepagetables.inc"

constexpr bool isLead(unsigned byte)
{
    return (byte >= 0x81 && byte <= 0x9F) || (byte >= 0xE0 && byte <= 0xFC);
}

/// NEC's selection of IBM's extensions, which decodes to characters that stand elsewhere as well: they are
/// encoded there.
constexpr bool isSecondChoice(unsigned lead)
{
    return lead == 0xED || lead == 0xEE;
}

constexpr char16_t single1252(unsigned byte)
{
    return byte >= 0x80 && byte <= 0x9F ? controls1252[byte - 0x80] : static_cast<char16_t>(byte);
}

/// A byte on its own; a lead byte is no character.
constexpr char16_t single932(unsigned byte)
{
    if (byte <= 0x80) {
        return static_cast<char16_t>(byte);
    }
    if (byte == 0xA0) {
        return 0xF8F0;
    }
    if (byte >= 0xFD) {
        return static_cast<char16_t>(0xF8F1 + byte - 0xFD);
    }
    return isLead(byte) ? undefinedPair : static_cast<char16_t>(0xFF61 + byte - 0xA1);
}

constexpr std::size_t userRows = 0xF9 - 0xF0 + 1;

/// The user's own area: 188 units a lead byte in a row.
constexpr char16_t userUnit(unsigned row, unsigned trail)
{
    const unsigned beforeGap = trail < noTrail ? 0 : 1;
    return trail == noTrail
               ? undefinedPair
               : static_cast<char16_t>(0xE000 + row * (trails - 1) + trail - firstTrail - beforeGap);
}

/// Row 0 is that of all lead bytes without characters.
struct Decoding932
{
    std::uint16_t singles[256];
    std::uint8_t rowOf[256];
    std::uint16_t rows[1 + std::size(pairRows) + userRows][trails];
};

constexpr Decoding932 makeDecoding932()
{
    Decoding932 made{};
    for (unsigned byte = 0; byte < 256; ++byte) {
        made.singles[byte] = single932(byte);
    }
    std::fill_n(made.rows[0], trails, undefinedPair);
    std::uint8_t row = 0;
    for (const PairRow& source : pairRows) {
        made.rowOf[source.lead] = ++row;
        std::copy_n(source.units, trails, made.rows[row]);
    }
    for (unsigned user = 0; user < userRows; ++user) {
        made.rowOf[0xF0 + user] = ++row;
        for (unsigned at = 0; at < trails; ++at) {
            made.rows[row][at] = userUnit(user, firstTrail + at);
        }
    }
    return made;
}

constexpr std::array<std::uint16_t, 256> makeDecoding1252()
{
    std::array<std::uint16_t, 256> made{};
    for (unsigned byte = 0; byte < 256; ++byte) {
        made[byte] = single1252(byte);
    }
    return made;
}

constexpr Decoding932 decoding932 = makeDecoding932();
constexpr std::array<std::uint16_t, 256> decoding1252 = makeDecoding1252();

/// Calls `visit(unit, code)` for all that the code page gives, the preferred code of a unit first.
template <class Visit>
constexpr void visit1252(Visit visit)
{
    for (unsigned byte = 0; byte < 256; ++byte) {
        visit(single1252(byte), byte);
    }
    for (const BestFit& fit : bestFits1252) {
        visit(fit.unit, fit.code);
    }
}

template <class Visit>
constexpr void visitPairs(bool secondChoice, Visit visit)
{
    for (unsigned lead = 0x81; lead <= 0xFC; ++lead) {
        const unsigned row = decoding932.rowOf[lead];
        if (row == 0 || isSecondChoice(lead) != secondChoice) {
            continue;
        }
        for (unsigned at = 0; at < trails; ++at) {
            visit(decoding932.rows[row][at], lead << 8 | (firstTrail + at));
        }
    }
}

template <class Visit>
constexpr void visit932(Visit visit)
{
    for (unsigned byte = 0; byte < 256; ++byte) {
        if (!isLead(byte)) {
            visit(single932(byte), byte);
        }
    }
    // The undefined pair's unit is a character of its own, and the first place that has it is the real one.
    visitPairs(false, visit);
    visitPairs(true, visit);
    for (const BestFit& fit : bestFits932) {
        visit(fit.unit, fit.code);
    }
}

/// Codes by the unit's upper and lower half. Page 0 is that of all units without a form. A code below 0x100 is
/// one byte.
template <std::size_t pages>
struct Encoding
{
    std::uint8_t pageOf[256];
    std::uint16_t codes[pages][256];

    constexpr std::uint16_t operator[](unsigned short unit) const
    {
        return codes[pageOf[unit >> 8]][unit & 0xFF];
    }
};

template <class VisitAll>
constexpr std::size_t countPages(VisitAll visitAll)
{
    bool used[256] = {};
    visitAll([&](unsigned unit, unsigned) { used[unit >> 8] = true; });
    return 1 + static_cast<std::size_t>(std::count(std::begin(used), std::end(used), true));
}

template <std::size_t pages, class VisitAll>
constexpr Encoding<pages> makeEncoding(VisitAll visitAll)
{
    Encoding<pages> made{};
    for (auto& page : made.codes) {
        std::fill_n(page, 256, noForm);
    }
    std::uint8_t last = 0;
    visitAll([&](unsigned unit, unsigned code) {
        std::uint8_t& page = made.pageOf[unit >> 8];
        page = page != 0 ? page : ++last;
        std::uint16_t& place = made.codes[page][unit & 0xFF];
        place = place == noForm ? static_cast<std::uint16_t>(code) : place;
    });
    return made;
}

constexpr auto all1252 = [](auto visit) { visit1252(visit); };
constexpr auto all932 = [](auto visit) { visit932(visit); };
constexpr auto encoding1252 = makeEncoding<countPages(all1252)>(all1252);
constexpr auto encoding932 = makeEncoding<countPages(all932)>(all932);

using Byte = unsigned char;
using Unit = unsigned short;

/// True where it pays to hand the text to the loop for ASCII.
bool beginsAscii(const Byte* source, const Byte* end) noexcept
{
    std::uint64_t eight = 0x80;
    if (end - source >= std::ptrdiff_t(sizeof eight)) {
        std::memcpy(&eight, source, sizeof eight);
    }
    return (eight & 0x8080808080808080u) == 0;
}

bool beginsAscii(const Unit* source, const Unit* end) noexcept
{
    std::uint64_t four = 0x80;
    if (end - source >= std::ptrdiff_t(sizeof four / sizeof *source)) {
        std::memcpy(&four, source, sizeof four);
    }
    return (four & 0xFF80FF80FF80FF80u) == 0;
}

/// Moves both cursors over a run of ASCII; false where none begins that pays. The target has room for all of the source.
bool takeAscii(const Byte*& source, const Byte* end, Unit*& target) noexcept
{
    const bool pays = beginsAscii(source, end);
    if (pays) {
        const auto stopped = UtfKernels::widenAscii(source, end, target, target + (end - source));
        source = stopped.source;
        target = stopped.target;
    }
    return pays;
}

bool takeAscii(const Unit*& source, const Unit* end, Byte*& target) noexcept
{
    const bool pays = beginsAscii(source, end);
    if (pays) {
        const auto stopped = UtfKernels::narrowAscii(source, end, target, target + (end - source));
        source = stopped.source;
        target = stopped.target;
    }
    return pays;
}

Unit* decode1252(const Byte* source, const Byte* end, Unit* target) noexcept
{
    while (source != end) {
        if (takeAscii(source, end, target)) {
            continue;
        }
        *target++ = decoding1252[*source++];
    }
    return target;
}

Unit pairOf(Byte lead, Byte trail) noexcept
{
    const unsigned at = trail - firstTrail;
    return at < trails ? decoding932.rows[decoding932.rowOf[lead]][at] : undefinedPair;
}

Unit* decode932(const Byte* source, const Byte* end, Unit* target) noexcept
{
    while (source != end) {
        if (takeAscii(source, end, target)) {
            continue;
        }
        const Byte first = *source++;
        const bool isPair = isLead(first) && source != end && *source != 0;
        *target++ = isPair ? pairOf(first, *source++) : decoding932.singles[first];
    }
    return target;
}

template <class Codes>
Byte* encodeWith(const Codes& codes, const Unit* source, const Unit* end, Byte* target) noexcept
{
    while (source != end) {
        if (takeAscii(source, end, target)) {
            continue;
        }
        const std::uint16_t code = codes[*source++];
        if (code > 0xFF) {
            *target++ = static_cast<Byte>(code >> 8);
        }
        *target++ = static_cast<Byte>(code & 0xFF);
    }
    return target;
}

} // namespace

std::size_t decode(CodePage page, std::string_view bytes, unsigned short* units) noexcept
{
    const Byte* const begin = reinterpret_cast<const Byte*>(bytes.data());
    const Byte* const end = begin + bytes.size();
    Unit* const stop =
        page == CodePage::windows1252 ? decode1252(begin, end, units) : decode932(begin, end, units);
    return static_cast<std::size_t>(stop - units);
}

std::size_t encode(CodePage page, const unsigned short* units, std::size_t count,
                   unsigned char* bytes) noexcept
{
    Byte* const stop = page == CodePage::windows1252 ? encodeWith(encoding1252, units, units + count, bytes)
                                                     : encodeWith(encoding932, units, units + count, bytes);
    return static_cast<std::size_t>(stop - bytes);
}

} // namespace MorvexA106::CodePages
