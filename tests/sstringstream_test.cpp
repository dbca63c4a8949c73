#include "morvex/sstringstream.h"

#include "locales.h"

#include <gtest/gtest.h>

#include <iomanip>
#include <sstream>
#include <string>

using namespace MorvexA106;

namespace
{

template <class Text>
std::string written(const Text& text)
{
    std::ostringstream stream;
    stream << '[' << std::setfill('.') << std::setw(6) << text << text << std::left << std::setw(6) << text
           << ']';
    return stream.str();
}

/// Words and lines alternately, and how the stream stood after each.
template <class Text>
std::string readBack(const std::string& input)
{
    std::istringstream stream(input);
    std::string seen;
    for (bool line = false; stream; line = !line) {
        Text text("before");
        if (line) {
            getline(stream, text);
        } else {
            stream >> std::setw(line ? 0 : 4) >> text;
        }
        std::ostringstream out;
        out << '<' << text << '>' << stream.rdstate();
        seen += out.str();
    }
    return seen;
}

SWCharString wide(const char* ascii)
{
    SWCharString text;
    text.fromAscii(ascii);
    return text;
}

} // namespace

TEST(SStringStream, WritesAsStandardStringsAreWritten)
{
    for (const char* text : {"", "ab", "longer than it"}) {
        const std::string expected = written(std::string(text));
        EXPECT_EQ(written(SAnsiString(text)), expected);
        EXPECT_EQ(written(SAsciiString(text)), expected);
        EXPECT_EQ(written(wide(text)), expected);
    }
    EXPECT_EQ(written(SAnsiString::character('a')), written(std::string("a")));
    EXPECT_EQ(written(SAnsiString::character()), written(std::string()));
}

TEST(SStringStream, ReadsAsStandardStringsAreRead)
{
    for (const char* input : {"", "one two\nthree four\n", "  \n", "longword rest\n\nlast", "a\n"}) {
        EXPECT_EQ(readBack<SAnsiString>(input), readBack<std::string>(input)) << input;
        EXPECT_EQ(readBack<SAsciiString>(input), readBack<std::string>(input)) << input;
    }
    std::istringstream record("a;b");
    SAnsiString field;
    EXPECT_TRUE(getline(record, field, ';'));
    EXPECT_EQ(field.view(), "a");
}

TEST(SStringStream, WideTextIsWrittenInTheLocalesBytes)
{
    const LocaleInForce locale({"de_DE.CP1252", "German_Germany.1252"});
    ASSERT_TRUE(locale.found());
    const unsigned short units[] = {'a', 0xE4, 0x20AC, 0x3042, 0};
    std::ostringstream stream;
    stream << SWCharString(units) << SWCharString::character(0xFC);
    EXPECT_EQ(stream.str(), "a\xE4\x80?\xFC");
}
