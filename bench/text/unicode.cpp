// UTF-8 to UTF-16 and back.

#include "rows.h"

#include <morvex/utfconverter.h>

#include <cstring>
#include <iconv.h>

using namespace MorvexA106;

namespace TextBench
{

namespace
{

using Bench::keep;

const unsigned char* bytesOf(const std::string& text)
{
    return reinterpret_cast<const unsigned char*>(text.data());
}

const unsigned short* unitsOf(const std::u16string& text)
{
    return reinterpret_cast<const unsigned short*>(text.data());
}

void convert(const std::string& source, std::vector<unsigned short>& target)
{
    const unsigned char* from = bytesOf(source);
    unsigned short* to = target.data();
    keep(ConvertUTF8toUTF16(&from, from + source.size(), &to, to + target.size()));
    keep(to);
}

void convert(const std::u16string& source, std::vector<unsigned char>& target)
{
    const unsigned short* from = unitsOf(source);
    unsigned char* to = target.data();
    keep(ConvertUTF16toUTF8(&from, from + source.size(), &to, to + target.size()));
    keep(to);
}

/// The C library's converter; opened once, as its callers do.
class Iconv
{
public:
    Iconv(const char* to, const char* from) : m_converter(iconv_open(to, from)) {}
    ~Iconv() { iconv_close(m_converter); }
    Iconv(const Iconv&) = delete;
    Iconv& operator=(const Iconv&) = delete;

    std::size_t convert(const void* source, std::size_t bytes, void* target, std::size_t room) const
    {
        auto* from = static_cast<char*>(const_cast<void*>(source));
        auto* to = static_cast<char*>(target);
        iconv(m_converter, &from, &bytes, &to, &room);
        return room;
    }

private:
    iconv_t m_converter;
};

void addToUtf16(Rows& rows, const UnicodeText& text, double factor)
{
    static std::vector<unsigned short> target(text.utf8.size() + 64);
    static const Iconv converter("UTF-16LE", "UTF-8");
    Bench::Row& row = rows.add(Name::toUtf16(text));
    row.ours([&text] { convert(text.utf8, target); });
    row.variant("a string", [&text] {
        SQCAString made;
        keep(CUTFConverter::UTF8ToUTF16(bytesOf(text.utf8), made));
        keep(made);
    });
    row.peer("iconv", [&text] {
        keep(converter.convert(text.utf8.data(), text.utf8.size(), target.data(), target.size() * 2));
    });
    convert(text.utf8, target);
    require(std::memcmp(target.data(), text.utf16.data(), text.utf16.size() * 2) == 0, "the text in 16 bits");
    row.limit("memcpy of the result",
              [&text] { keep(std::memcpy(target.data(), text.utf16.data(), text.utf16.size() * 2)); });
    row.target(factor, {"QString", "QStringDecoder", "u_strFromUTF8"});
}

void addToUtf8(Rows& rows, const UnicodeText& text)
{
    static std::vector<unsigned char> target(text.utf8.size() + 64);
    static const Iconv converter("UTF-8", "UTF-16LE");
    Bench::Row& row = rows.add(Name::toUtf8(text));
    row.ours([&text] { convert(text.utf16, target); });
    row.variant("a buffer of its own", [made = SQCAString(std::u16string_view(text.utf16))] {
        CUTFConverter::Utf8Buffer buffer;
        keep(CUTFConverter::UTF16ToUTF8(made, buffer));
        keep(buffer);
    });
    row.peer("iconv", [&text] {
        keep(converter.convert(text.utf16.data(), text.utf16.size() * 2, target.data(), target.size()));
    });
    convert(text.utf16, target);
    require(std::memcmp(target.data(), text.utf8.data(), text.utf8.size()) == 0, "the text in UTF-8");
    row.limit("memcpy of the result",
              [&text] { keep(std::memcpy(target.data(), text.utf8.data(), text.utf8.size())); });
    row.target(1.0, {"QString", "QStringEncoder", "u_strToUTF8"});
}

} // namespace

void addUnicodeRows(Rows& rows, const Texts& texts)
{
    addToUtf16(rows, texts.ascii, 1.0);
    addToUtf16(rows, texts.latin, 0.5);
    addToUtf16(rows, texts.cjk, 1.0);
    for (const UnicodeText* text : unicodeTexts(texts)) {
        addToUtf8(rows, *text);
    }
}

} // namespace TextBench
