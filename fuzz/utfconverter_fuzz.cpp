// The Unicode conversions against slow ones, for any room, and the loops of all processor levels against each other.
//
// Input: the form of the text (0 UTF-8, 1 UTF-16, 2 UCS-4), its distance from an aligned place, the room of the
// target (16 bits, modulo 1024), the text.

#include "../tests/utforacle.h"

#include "fuzz.h"

#include <morvex/utfconverter.h>
#include <morvex/utfkernels.h>

#include <cstring>

using namespace MorvexA106;
using UtfOracle::Byte;
using UtfOracle::Outcome;
using UtfOracle::Unit;

namespace
{

/// The text of an input as units; bytes that are no whole unit are left out.
template <class T>
std::vector<T> unitsOf(const std::string& bytes)
{
    std::vector<T> units(bytes.size() / sizeof(T));
    if (!units.empty()) {
        std::memcpy(units.data(), bytes.data(), units.size() * sizeof(T));
    }
    return units;
}

/// A text somewhere in a block that ends with it, so that the address sanitizer sees a read past its end.
template <class T>
struct Placed
{
    Placed(const std::vector<T>& text, std::size_t offset) : block(offset)
    {
        block.insert(block.end(), text.begin(), text.end());
        begin = block.data() + offset;
        end = block.data() + block.size();
    }

    std::vector<T> block;
    const T* begin = nullptr;
    const T* end = nullptr;
};

struct Place
{
    std::size_t offset;
    std::size_t room;
};

template <class S, class T>
void checkConversion(ConversionResult (*convert)(const S**, const S*, T**, const T*) noexcept,
                     const Outcome<T>& expected, const std::vector<S>& text, Place place)
{
    const Placed<S> source(text, place.offset);
    std::vector<T> target(place.room);
    const S* from = source.begin;
    T* to = target.data();
    const ConversionResult result = convert(&from, source.end, &to, target.data() + target.size());
    Fuzz::require(result == expected.result, "the result of the slow conversion");
    Fuzz::require(static_cast<std::size_t>(from - source.begin) == expected.consumed,
                  "its place in the source");
    Fuzz::require(std::vector<T>(target.data(), to) == expected.written, "its text");
}

template <class S, class T>
using Loop = UtfKernels::Converted<S, T> (*UtfKernels::Kernels::*)(const S*, const S*, T*, const T*) noexcept;

template <class S, class T>
void checkLoop(Loop<S, T> loop, const UtfKernels::Kernels& kernels, const std::vector<S>& text, Place place)
{
    const Placed<S> source(text, place.offset);
    std::vector<T> expected(place.room);
    std::vector<T> target(place.room);
    const auto& scalar = *UtfKernels::kernelsOf(UtfKernels::Level::scalar);
    const auto slow = (scalar.*loop)(source.begin, source.end, expected.data(), expected.data() + place.room);
    const auto fast = (kernels.*loop)(source.begin, source.end, target.data(), target.data() + place.room);
    Fuzz::require(fast.source == slow.source, "the loops stop at the same place");
    Fuzz::require(std::equal(expected.data(), slow.target, target.data(), fast.target), "and write the same");
}

void checkBytes(const UtfKernels::Kernels& kernels, const std::vector<Byte>& text, Place place)
{
    checkLoop(&UtfKernels::Kernels::utf8ToUtf16, kernels, text, place);
    checkLoop(&UtfKernels::Kernels::widenAscii, kernels, text, place);
    const Placed<Byte> source(text, place.offset);
    const auto& scalar = *UtfKernels::kernelsOf(UtfKernels::Level::scalar);
    const auto slow = scalar.countUtf8(source.begin, source.end);
    const auto fast = kernels.countUtf8(source.begin, source.end);
    Fuzz::require(fast.stop == slow.stop && fast.characters == slow.characters &&
                      fast.units16 == slow.units16,
                  "the loops count the same");
}

void checkUnits(const UtfKernels::Kernels& kernels, const std::vector<Unit>& text, Place place)
{
    checkLoop(&UtfKernels::Kernels::utf16ToUtf8, kernels, text, place);
    checkLoop(&UtfKernels::Kernels::narrowAscii, kernels, text, place);
    const Placed<Unit> source(text, place.offset);
    const auto& scalar = *UtfKernels::kernelsOf(UtfKernels::Level::scalar);
    const auto slow = scalar.utf8SizeOfUtf16(source.begin, source.end);
    const auto fast = kernels.utf8SizeOfUtf16(source.begin, source.end);
    Fuzz::require(fast.stop == slow.stop && fast.bytes == slow.bytes, "the loops measure the same");
    Fuzz::require(kernels.findZero(source.begin, source.end) == scalar.findZero(source.begin, source.end),
                  "the loops find the same zero");
}

template <class Check, class Text>
void checkLevels(Check check, const Text& text, Place place)
{
    for (const auto level : {UtfKernels::Level::scalar, UtfKernels::Level::sse2, UtfKernels::Level::avx2}) {
        const UtfKernels::Kernels* kernels = UtfKernels::kernelsOf(level);
        if (kernels != nullptr) {
            check(*kernels, text, place);
        }
    }
}

/// Up to the first zero, with one behind it.
template <class T>
std::vector<T> terminated(std::vector<T> text)
{
    text.erase(std::find(text.begin(), text.end(), T()), text.end());
    text.push_back(0);
    return text;
}

/// A whole text becomes what the slow conversion makes of it, up to a zero that it may have made.
void checkWholeUtf8(const std::vector<Byte>& text)
{
    std::vector<Byte> source = terminated(text);
    SQCAString target;
    const bool converted = CUTFConverter::UTF8ToUTF16(source.data(), target);
    source.pop_back();
    const Outcome<Unit> expected = UtfOracle::utf8ToUtf16(source, source.size());
    Fuzz::require(converted == (expected.result == conversionSuccess), "only cut text fails");
    const std::vector<Unit> made = terminated(converted ? expected.written : std::vector<Unit>());
    Fuzz::require(std::equal(made.begin(), made.end(), target.getString()),
                  "the text of the slow conversion");
}

void checkWholeUtf16(const std::vector<Unit>& text)
{
    std::vector<Unit> source = terminated(text);
    CUTFConverter::Utf8Buffer target;
    Fuzz::require(CUTFConverter::UTF16ToUTF8(SQCAString(source.data()), target), "16-bit text never fails");
    source.pop_back();
    const std::vector<Byte> expected = UtfOracle::utf16ToUtf8(source, 3 * source.size()).written;
    Fuzz::require(target->getLength() == expected.size(), "as many bytes as the slow conversion makes");
    Fuzz::require(std::equal(expected.begin(), expected.end(), target->getBuffer()), "and the same");
    SQCAString back;
    Fuzz::require(CUTFConverter::UTF8ToUTF16(target->getBuffer(), back), "what was encoded can be decoded");
    Fuzz::require(std::equal(source.begin(), source.end(), back.getString()) &&
                      back.getNChars() == source.size(),
                  "and is the same text");
}

void fuzzUtf8(const std::vector<Byte>& text, Place place)
{
    checkConversion(ConvertUTF8toUTF16, UtfOracle::utf8ToUtf16(text, place.room), text, place);
    checkConversion(ConvertUTF8toUCS4, UtfOracle::utf8ToUcs4(text, place.room), text, place);
    checkLevels(checkBytes, text, place);
    checkWholeUtf8(text);
}

void fuzzUtf16(const std::vector<Unit>& text, Place place)
{
    checkConversion(ConvertUTF16toUTF8, UtfOracle::utf16ToUtf8(text, place.room), text, place);
    checkConversion(ConvertUTF16toUCS4, UtfOracle::utf16ToUcs4(text, place.room), text, place);
    checkLevels(checkUnits, text, place);
    checkWholeUtf16(text);
}

void fuzzUcs4(const std::vector<SUcs4>& text, Place place)
{
    checkConversion(ConvertUCS4toUTF8, UtfOracle::ucs4ToUtf8(text, place.room), text, place);
    checkConversion(ConvertUCS4toUTF16, UtfOracle::ucs4ToUtf16(text, place.room), text, place);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, std::size_t size)
{
    Fuzz::Input input(bytes, size);
    const unsigned form = input.byte() % 3;
    const std::size_t offset = input.byte() % 64;
    const Place place = {offset, input.unit() % 1024};
    const std::string text = input.rest();
    if (form == 0) {
        fuzzUtf8(unitsOf<Byte>(text), place);
    } else if (form == 1) {
        fuzzUtf16(unitsOf<Unit>(text), place);
    } else {
        fuzzUcs4(unitsOf<SUcs4>(text), place);
    }
    return 0;
}
