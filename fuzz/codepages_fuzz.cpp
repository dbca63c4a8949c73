// The code pages 1252 and 932 in both directions, and the named code sets by way of the locale's text.

#include "fuzz.h"

#include "morvex/codepages.h"

#include <morvex/mbcscodesetconverter.h>

#include <memory>
#include <vector>

using namespace MorvexA106;
using CodePages::CodePage;

namespace
{

using Units = std::u16string;

/// Blocks of exactly the promised size, so that the sanitizer sees what goes past it.
Units decoded(CodePage page, const std::string& bytes)
{
    const std::vector<char> source(bytes.begin(), bytes.end());
    const std::unique_ptr<unsigned short[]> units(new unsigned short[bytes.size()]);
    const std::size_t count = CodePages::decode(page, {source.data(), source.size()}, units.get());
    Fuzz::require(count <= bytes.size(), "no more units than bytes");
    return Units(units.get(), units.get() + count);
}

std::string encoded(CodePage page, const Units& units)
{
    const std::vector<unsigned short> source(units.begin(), units.end());
    const std::unique_ptr<unsigned char[]> bytes(new unsigned char[CodePages::maxBytes * units.size()]);
    const std::size_t count = CodePages::encode(page, source.data(), source.size(), bytes.get());
    Fuzz::require(count <= CodePages::maxBytes * units.size(), "no more bytes than promised");
    return std::string(bytes.get(), bytes.get() + count);
}

/// Bytes of the character at the front.
std::size_t lengthOf(CodePage page, const std::string& bytes)
{
    const unsigned char first = static_cast<unsigned char>(bytes[0]);
    const bool lead = (first >= 0x81 && first <= 0x9F) || (first >= 0xE0 && first <= 0xFC);
    return page == CodePage::windows932 && lead && bytes.size() > 1 && bytes[1] != 0 ? 2 : 1;
}

void checkDecoding(CodePage page, const std::string& bytes)
{
    const Units units = decoded(page, bytes);
    Units pieces;
    for (std::string rest = bytes; !rest.empty(); rest.erase(0, lengthOf(page, rest))) {
        pieces += decoded(page, rest.substr(0, lengthOf(page, rest)));
    }
    Fuzz::require(units == pieces, "text decodes character by character");
    Fuzz::require(decoded(page, encoded(page, units)) == units, "what was decoded has a form");
}

void checkEncoding(CodePage page, const Units& units)
{
    const std::string bytes = encoded(page, units);
    std::string pieces;
    for (const char16_t unit : units) {
        pieces += encoded(page, Units(1, unit));
    }
    Fuzz::require(bytes == pieces, "text encodes unit by unit");
    Fuzz::require(decoded(page, bytes).size() == units.size(), "a unit becomes one character");
    Fuzz::require(encoded(page, decoded(page, bytes)) == bytes, "what was encoded is encoded again alike");
}

Units unitsOf(const std::string& bytes)
{
    Fuzz::Input input(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
    Units units;
    while (units.size() < bytes.size() / 2) {
        units += static_cast<char16_t>(input.unit());
    }
    return units;
}

using Codeset = MBCSCodesetConverter::ExplicitCodeset;

/// The text as it comes back from the code set.
SAnsiString throughCodeset(const SAnsiString& text, Codeset codeset)
{
    const SSimpleBuffer bytes = MBCSCodesetConverter::TToExplicitCodeset(text, codeset);
    Fuzz::require(!bytes.isEmpty() && bytes.view().back() == 0, "the bytes end in a zero");
    const auto* const terminated = reinterpret_cast<const char*>(bytes.view().data());
    return MBCSCodesetConverter::ExplicitCodesetToT(terminated, codeset);
}

/// Once what has no form is gone, text stays as it is. Other locales than those of Unicode have characters that
/// stand twice, some of them elsewhere than here.
void checkNamed(Codeset codeset, const std::string& bytes, bool unicode)
{
    const SAnsiString text = MBCSCodesetConverter::ExplicitCodesetToT(bytes.c_str(), codeset);
    const SAnsiString once = throughCodeset(text, codeset);
    const SAnsiString twice = throughCodeset(once, codeset);
    Fuzz::require(once.view() == twice.view() || !unicode, "clean text comes back");
    Fuzz::require(once.view() == text.view() || codeset != MBCSCodesetConverter::Native,
                  "native text comes back");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, std::size_t size)
{
    Fuzz::Input input(bytes, size);
    const std::string locale = Fuzz::useLocale(input.byte());
    const auto codeset = static_cast<Codeset>(input.byte() % 4);
    const std::string text = input.rest();
    for (const CodePage page : {CodePage::windows1252, CodePage::windows932}) {
        checkDecoding(page, text);
        checkEncoding(page, unitsOf(text));
    }
    checkNamed(codeset, text, locale.ends_with("UTF-8"));
    return 0;
}
