// Numbers read from any text, against the plain rules and the C library; what is read is written and read back.

#include "fuzz.h"

#include <morvex/sstringconv.h>

#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

using namespace MorvexA106;

namespace
{

/// The text in all the forms that numbers are read from. The view ends where its block ends.
class Forms
{
public:
    explicit Forms(const std::string& text)
        : m_text(text),
          m_block(text.begin(), text.end()),
          m_units(text.begin(), text.end())
    {
        for (char16_t& unit : m_units) {
            unit &= 0xFF;
        }
    }

    template <class N, class... Base>
    std::optional<N> read(Base... base) const
    {
        const std::optional<N> value = readFrom<SStringConv, N>(m_text.c_str(), base...);
        const std::string_view view(m_block.data(), m_block.size());
        require(value, readFrom<SStringConv, N>(view, base...));
        require(value, readFrom<SStringConv, N>(SAnsiString(m_text.c_str()), base...));
        require(value,
                readFrom<SWCharStringConv, N>(std::u16string_view(m_units.data(), m_units.size()), base...));
        return value;
    }

private:
    template <class Conv, class N, class Text, class... Base>
    static std::optional<N> readFrom(const Text& text, Base... base)
    {
        N value{};
        const N before = value;
        const bool taken = Conv::FromString(text, value, base...);
        Fuzz::require(taken || value == before, "what is refused leaves the target alone");
        return taken ? std::optional(value) : std::nullopt;
    }

    template <class N>
    static void require(const std::optional<N>& left, const std::optional<N>& right)
    {
        const bool same = left == right || (left && right && *left != *left && *right != *right);
        Fuzz::require(same, "all forms of a text read alike");
    }

    std::string m_text;
    std::vector<char> m_block;
    std::vector<char16_t> m_units;
};

template <class N>
void checkInteger(const Forms& forms, std::string text, unsigned base)
{
    const bool secondSign = text.starts_with("+-");
    if (text.starts_with('+')) {
        text.erase(0, 1);
    }
    N expected = 0;
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, expected, static_cast<int>(base));
    const bool takes = result.ec == std::errc() && result.ptr == end && !secondSign;

    const std::optional<N> value = forms.read<N>(base);
    Fuzz::require(value.has_value() == takes, "the plain rules tell what is a number");
    if (value) {
        Fuzz::require(*value == expected, "the number that the standard reads");
        const SAnsiString written = SStringConv::ToString(*value, base);
        Fuzz::require(Forms(std::string(written.view())).read<N>(base) == value,
                      "what is written reads back");
    }
}

std::size_t skipDigits(const std::string& text, std::size_t at)
{
    return std::min(text.find_first_not_of("0123456789", at), text.size());
}

/// Digits with at most one point among them, then perhaps an exponent.
bool isDecimal(const std::string& text)
{
    const std::size_t whole = skipDigits(text, 0);
    std::size_t at = whole;
    std::size_t digits = whole;
    if (text[at] == '.') {
        at = skipDigits(text, whole + 1);
        digits += at - whole - 1;
    }
    if (digits == 0) {
        return false;
    }
    if (text[at] == 'e' || text[at] == 'E') {
        const std::size_t begin = at + (text[at + 1] == '+' || text[at + 1] == '-' ? 2 : 1);
        at = skipDigits(text, begin);
        if (at == begin) {
            return false;
        }
    }
    return at == text.size();
}

std::string lowered(std::string text)
{
    for (char& byte : text) {
        byte = byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte + 32) : byte;
    }
    return text;
}

void readBySystem(const char* text, double& value)
{
    value = std::strtod(text, nullptr);
}
void readBySystem(const char* text, float& value)
{
    value = std::strtof(text, nullptr);
}

/// By the grammar, and by the C library, which must have no locale.
template <class F>
std::optional<F> slowReal(const std::string& text)
{
    const std::string amount = lowered(text.substr(text.starts_with('+') || text.starts_with('-') ? 1 : 0));
    const bool word = amount == "inf" || amount == "infinity" || amount == "nan";
    if (!word && !isDecimal(amount)) {
        return std::nullopt;
    }
    F value = 0;
    readBySystem(text.c_str(), value);
    const std::string digits = amount.substr(0, amount.find('e'));
    const bool tooSmall = value == 0 && digits.find_first_of("123456789") != std::string::npos;
    return !word && (tooSmall || std::isinf(value)) ? std::nullopt : std::optional(value);
}

template <class F>
bool isSame(F left, F right)
{
    return (left != left && right != right) || std::memcmp(&left, &right, sizeof left) == 0;
}

template <class F>
void checkReal(const Forms& forms, const std::optional<F>& expected)
{
    const std::optional<F> value = forms.read<F>();
    Fuzz::require(value.has_value() == expected.has_value(), "the grammar tells what is a real number");
    if (!value) {
        return;
    }
    Fuzz::require(isSame(*value, *expected), "the nearest number, as the C library reads it");
    F back = 0;
    Fuzz::require(NeutralString::FromString(NeutralString::ToString(*value), back) && isSame(back, *value),
                  "a real number reads back bit by bit");
    Fuzz::require(SStringConvByLocale::FromString(SStringConvByLocale::ToString(*value), back) &&
                      isSame(back, *value),
                  "and so by locale");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, std::size_t size)
{
    Fuzz::Input input(bytes, size);
    const unsigned char locale = input.byte();
    const unsigned base = 2 + input.byte() % 35u;
    const std::string text = input.rest().c_str();
    std::setlocale(LC_ALL, "C");
    const std::optional<double> expectedDouble = slowReal<double>(text);
    const std::optional<float> expectedFloat = slowReal<float>(text);

    Fuzz::useLocale(locale);
    const Forms forms(text);
    checkInteger<signed char>(forms, text, base);
    checkInteger<unsigned short>(forms, text, base);
    checkInteger<int>(forms, text, 10);
    checkInteger<unsigned>(forms, text, 10);
    checkInteger<long long>(forms, text, base);
    checkInteger<unsigned long long>(forms, text, base);
    checkReal(forms, expectedDouble);
    checkReal(forms, expectedFloat);
    forms.read<bool>();
    return 0;
}
