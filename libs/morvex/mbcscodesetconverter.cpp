#include "morvex/mbcscodesetconverter.h"

#include "morvex/badalloc.h"
#include "morvex/checks.h"
#include "morvex/codepages.h"
#include "morvex/textbuilder.h"
#include "morvex/utfconverter.h"
#include "morvex/utfkernels.h"
#include "platform/text.h"

#include <cstdint>
#include <cstring>
#include <string_view>

namespace MorvexA106
{

namespace
{

using CodePages::CodePage;

SAnsiString nativeOf(const SQCAString& wide)
{
    SAnsiString text;
    return text.copyFrom(wide.getString()) ? text : SAnsiString("?");
}

SQCAString wideOf(const SAnsiString& text)
{
    constexpr unsigned short unknown[] = {'?', 0};
    SQCAString wide;
    return wide.copyFrom(text.getString()) ? wide : SQCAString(unknown);
}

/// Whether the locale has the same bytes for the same characters.
bool isNativeAlready(std::string_view utf8) noexcept
{
    const auto locale = Platform::LocaleText::current();
    if (!locale.isUtf8() && !locale.isAscii()) {
        return false;
    }
    const auto* const begin = reinterpret_cast<const unsigned char*>(utf8.data());
    const UtfKernels::Counted counted = UtfKernels::countUtf8(begin, begin + utf8.size());
    const bool isWhole = counted.stop == begin + utf8.size();
    return isWhole && (locale.isUtf8() || counted.characters == utf8.size());
}

SAnsiString fromUtf8(const char* text)
{
    const std::string_view bytes(text != nullptr ? text : "");
    if (isNativeAlready(bytes)) {
        return SAnsiString(bytes);
    }
    SQCAString wide;
    if (CUTFConverter::UTF8ToUTF16(reinterpret_cast<const unsigned char*>(text), wide)) {
        return nativeOf(wide);
    }
    MORVEX_TRACE("failed UTF8 -> UCS2 conversion");
    return SAnsiString(text);
}

SAnsiString fromCodePage(const char* text, CodePage page)
{
    const std::string_view bytes(text != nullptr ? text : "");
    TextBuilder<unsigned short, 1> wide;
    wide.cutTo(CodePages::decode(page, bytes, wide.extend(bytes.size())));
    return nativeOf(wide.take());
}

/// A buffer of what `fill` writes, who is given the block and returns the bytes; `room` is never 0.
template <class Fill>
SSimpleBuffer filled(std::uint64_t room, Fill fill)
{
    SSimpleBuffer made;
    unsigned char* const block =
        room < SSimpleBuffer::none ? made.getBuffer(static_cast<unsigned>(room)) : nullptr;
    if (block == nullptr) {
        throw SBadAlloc();
    }
    made.releaseBuffer(static_cast<unsigned>(fill(block)));
    return made;
}

SSimpleBuffer copyOf(const void* bytes, std::size_t count)
{
    return filled(count, [&](unsigned char* block) {
        std::memcpy(block, bytes, count);
        return count;
    });
}

SSimpleBuffer toUtf8(const SAnsiString& text)
{
    const CUTFConverter converter(text);
    return converter.getLength() != 0 ? copyOf(converter.getBuffer(), converter.getLength()) : copyOf("", 1);
}

SSimpleBuffer toCodePage(const SAnsiString& text, CodePage page)
{
    const SQCAString wide = wideOf(text);
    const std::uint64_t units = std::uint64_t(wide.getNChars()) + 1; // with the terminator
    return filled(CodePages::maxBytes * units, [&](unsigned char* block) {
        return CodePages::encode(page, wide.getString(), static_cast<std::size_t>(units), block);
    });
}

} // namespace

SAnsiString MBCSCodesetConverter::ExplicitCodesetToT(const char* const text, ExplicitCodeset codeset)
{
    switch (codeset) {
    case Native:
        return SAnsiString(text);
    case UTF8:
        return fromUtf8(text);
    case Windows1252:
        return fromCodePage(text, CodePage::windows1252);
    case Windows932:
        return fromCodePage(text, CodePage::windows932);
    }
    MORVEX_FAIL("unknown code set");
    return SAnsiString();
}

SSimpleBuffer MBCSCodesetConverter::TToExplicitCodeset(const SAnsiString& text, ExplicitCodeset codeset)
{
    switch (codeset) {
    case Native:
        return copyOf(text.getString(), text.getNBytesForMBCS());
    case UTF8:
        return toUtf8(text);
    case Windows1252:
        return toCodePage(text, CodePage::windows1252);
    case Windows932:
        return toCodePage(text, CodePage::windows932);
    }
    MORVEX_FAIL("unknown code set");
    return SSimpleBuffer();
}

} // namespace MorvexA106
