#include "morvex/codesetconverter.h"

#include "morvex/codesetwalk.h"
#include "morvex/textunits.h"
#include "morvex/utfkernels.h"
#include "platform/utf16.h"

#include <algorithm>
#include <cstring>

namespace MorvexA106
{

using Platform::LocaleText;
using Platform::WideCode;
using TextUnits::lengthOf;
using TextUnits::orEmpty;

namespace
{

/// No character has more bytes in any locale.
constexpr std::size_t maxEncodedBytes = 16;

/// How many characters are taken singly before a run is tried again, where a failed run costs as much as a good one.
constexpr int singlesAfterRun = 64;

constexpr std::size_t scratchSize = 512;

const unsigned char* asBytes(const char* text) noexcept
{
    return reinterpret_cast<const unsigned char*>(text);
}

/// Fills the target in runs, and singly where no run begins, until nothing more fits.
template <class Walk, class Unit, class Run, class Single>
std::size_t fill(Walk& walk, Unit* target, std::size_t room, Run run, Single single) noexcept
{
    std::size_t filled = 0;
    while (!walk.isAtEnd()) {
        std::size_t step = (walk.*run)(target + filled, room - filled);
        filled += step;
        for (int i = 0; step == 0 && i < singlesAfterRun && !walk.isAtEnd(); ++i) {
            const std::size_t unit = (walk.*single)(target + filled, room - filled);
            if (unit == 0) {
                return filled;
            }
            filled += unit;
        }
    }
    return filled;
}

/// Counts what a walk has left by walking it into a scratch buffer.
template <class Unit, class Walk>
std::size_t countByWalking(Walk& walk) noexcept
{
    Unit scratch[scratchSize];
    std::size_t count = 0;
    while (!walk.isAtEnd()) {
        count += walk.next(scratch, scratchSize);
    }
    return count;
}

/// Copies up to the source's terminator, which is written too where room remains.
std::size_t copyTerminated(unsigned short* target, const unsigned short* source, std::size_t count) noexcept
{
    const std::size_t length = target != nullptr ? TextUnits::lengthWithin(source, count) : lengthOf(source);
    if (target != nullptr) {
        TextUnits::copyUnits(target, source, length);
        if (length < count) {
            target[length] = 0;
        }
    }
    return length;
}

int storeUnit(unsigned short* target, unsigned short source) noexcept
{
    if (target != nullptr) {
        *target = source;
    }
    return 1;
}

/// Terminates what a walk wrote. What it left, for want of room, is made up with `?`.
template <class Walk, class Unit>
std::size_t finish(const Walk& walk, Unit* target, std::size_t written, std::size_t room) noexcept
{
    if (!walk.isAtEnd()) {
        std::fill(target + written, target + room, Unit{'?'});
        return room;
    }
    if (written < room) {
        target[written] = 0;
    }
    return written;
}

} // namespace

// --- reading

std::size_t UnitReader::readRun(unsigned short* units, std::size_t room) noexcept
{
    if (!m_locale.isUtf8() && !m_locale.isAscii()) {
        return m_locale.decodeRun(m_text, units, room);
    }
    const auto run = m_locale.isUtf8() ? UtfKernels::utf8ToUtf16 : UtfKernels::widenAscii;
    const auto done = run(asBytes(m_text), asBytes(m_end), units, units + room);
    m_text += done.source - asBytes(m_text);
    return static_cast<std::size_t>(done.target - units);
}

std::size_t UnitReader::readSingle(unsigned short* units, std::size_t room) noexcept
{
    WideCode character = 0;
    const int length = m_locale.decode(m_text, character);
    const bool hasForm = length > 0 && character <= 0x10FFFF;
    const std::size_t count = hasForm && character > 0xFFFF ? 2 : 1;
    if (count > room) {
        return 0;
    }
    if (count == 2) {
        Platform::writePair(character, units);
    } else {
        *units = hasForm ? static_cast<unsigned short>(character) : u'?';
    }
    m_text += length > 0 ? length : 1;
    return count;
}

std::size_t UnitReader::next(unsigned short* units, std::size_t room) noexcept
{
    return fill(*this, units, room, &UnitReader::readRun, &UnitReader::readSingle);
}

std::size_t UnitReader::count() noexcept
{
    if (m_locale.isAscii()) {
        return static_cast<std::size_t>(m_end - m_text);
    }
    if (!m_locale.isUtf8()) {
        return countByWalking<unsigned short>(*this);
    }
    std::size_t count = 0;
    while (!isAtEnd()) {
        const auto run = UtfKernels::countUtf8(asBytes(m_text), asBytes(m_end));
        m_text += run.stop - asBytes(m_text);
        count += run.units16;
        unsigned short scratch[2];
        count += isAtEnd() ? 0 : readSingle(scratch, 2);
    }
    return count;
}

// --- writing

std::size_t ByteWriter::writeRun(char* bytes, std::size_t room) noexcept
{
    if (!m_locale.isUtf8() && !m_locale.isAscii()) {
        return m_locale.encodeRun(m_units, m_end, bytes, room);
    }
    auto* target = reinterpret_cast<unsigned char*>(bytes);
    const auto run = m_locale.isUtf8() ? UtfKernels::utf16ToUtf8 : UtfKernels::narrowAscii;
    const auto done = run(m_units, m_end, target, target + room);
    m_units = done.source;
    return static_cast<std::size_t>(done.target - target);
}

std::size_t ByteWriter::writeSingle(char* bytes, std::size_t room) noexcept
{
    const bool pair =
        Platform::isHighSurrogate(*m_units) && m_end - m_units > 1 && Platform::isLowSurrogate(m_units[1]);
    char encoded[maxEncodedBytes];
    int length = m_locale.encode(pair ? Platform::joinSurrogates(m_units[0], m_units[1]) : *m_units, encoded);
    const bool hasForm = length > 0;
    if (!hasForm) {
        *encoded = '?'; // for this unit; the other half of a pair comes to the same end
        length = 1;
    }
    if (static_cast<std::size_t>(length) > room) {
        return 0;
    }
    std::copy_n(encoded, length, bytes);
    m_units += pair && hasForm ? 2 : 1;
    return static_cast<std::size_t>(length);
}

std::size_t ByteWriter::next(char* bytes, std::size_t room) noexcept
{
    return fill(*this, bytes, room, &ByteWriter::writeRun, &ByteWriter::writeSingle);
}

std::size_t ByteWriter::count() noexcept
{
    if (m_locale.isAscii()) {
        return static_cast<std::size_t>(m_end - m_units);
    }
    if (!m_locale.isUtf8()) {
        return countByWalking<char>(*this);
    }
    std::size_t count = 0;
    while (!isAtEnd()) {
        const auto run = UtfKernels::utf8SizeOfUtf16(m_units, m_end);
        m_units = run.stop;
        count += run.bytes;
        char scratch[maxEncodedBytes];
        count += isAtEnd() ? 0 : writeSingle(scratch, sizeof scratch);
    }
    return count;
}

// --- the interface

std::size_t CodesetConverter::mbstoucs2(unsigned short* target, const char* source, std::size_t count)
{
    const char* text = orEmpty(source);
    UnitReader reader(text, text + std::strlen(text));
    return target == nullptr ? reader.count() : finish(reader, target, reader.next(target, count), count);
}

std::size_t CodesetConverter::ucs2tombs(char* target, const unsigned short* source, std::size_t size)
{
    const unsigned short* text = orEmpty(source);
    ByteWriter writer(text, text + lengthOf(text));
    return target == nullptr ? writer.count() : finish(writer, target, writer.next(target, size), size);
}

std::size_t CodesetConverter::wcstoucs2(unsigned short* target, const unsigned short* source,
                                        std::size_t count) noexcept
{
    return copyTerminated(target, source, count);
}

std::size_t CodesetConverter::ucs2towcs(unsigned short* target, const unsigned short* source,
                                        std::size_t count) noexcept
{
    return copyTerminated(target, source, count);
}

int CodesetConverter::mbtoucs2(unsigned short* target, const char* source) noexcept
{
    if (source == nullptr) {
        return 0;
    }
    WideCode character = 0;
    const int length = LocaleText::current().decode(source, character);
    if (length < 0 || character > 0xFFFF) {
        return -1;
    }
    storeUnit(target, static_cast<unsigned short>(character));
    return length;
}

int CodesetConverter::ucs2tomb(char* target, unsigned short source) noexcept
{
    return target != nullptr ? LocaleText::current().encode(source, target) : 0;
}

int CodesetConverter::wctoucs2(unsigned short* target, unsigned short source) noexcept
{
    return storeUnit(target, source);
}

int CodesetConverter::ucs2towc(unsigned short* target, unsigned short source) noexcept
{
    return storeUnit(target, source);
}

} // namespace MorvexA106
