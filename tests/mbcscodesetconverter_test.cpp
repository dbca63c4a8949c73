#include "morvex/mbcscodesetconverter.h"

#include "locales.h"
#include "recorder.h"

#include <string>
#include <vector>

using namespace MorvexA106;

namespace
{

using Converter = MBCSCodesetConverter;
constexpr Converter::ExplicitCodeset everyCodeset[] = {Converter::Native, Converter::UTF8,
                                                       Converter::Windows1252, Converter::Windows932};

const std::vector<const char*> japanese = {"ja_JP.CP932", "Japanese_Japan.932"};

/// The bytes without the zero that must end them.
std::string bytesIn(const SAnsiString& text, Converter::ExplicitCodeset codeset)
{
    const SSimpleBuffer buffer = Converter::TToExplicitCodeset(text, codeset);
    if (buffer.isEmpty() || buffer.view().back() != 0) {
        ADD_FAILURE() << "no zero at the end";
        return {};
    }
    return {buffer.view().begin(), buffer.view().end() - 1};
}

std::string textOf(const std::string& bytes, Converter::ExplicitCodeset codeset)
{
    return std::string(Converter::ExplicitCodesetToT(bytes.c_str(), codeset).view());
}

/// One text, as the locale has it and as the code sets do.
struct Text
{
    const char* name;
    std::vector<const char*> locales;
    std::string native;
    std::string utf8;
    std::string windows1252;
    std::string windows932;
    bool everywhere; // the locale is known to all systems' C libraries
};

const Text texts[] = {
    {"C", {"C"}, "plain \\ text", "plain \\ text", "plain \\ text", "plain \\ text", true},
    {"CP932", japanese, "\x83\x5C\x82\xA0 z", "\xE3\x82\xBD\xE3\x81\x82 z", "?? z", "\x83\x5C\x82\xA0 z",
     true},
    {"CP1252",
     {"de_DE.CP1252", "German_Germany.1252"},
     "\x80 5, Gr\xFC\xDF"
     "e",
     "\xE2\x82\xAC 5, Gr\xC3\xBC\xC3\x9F"
     "e",
     "\x80 5, Gr\xFC\xDF"
     "e",
     "? 5, Gruse",
     true},
    {"UTF-8",
     {"en_US.UTF-8"},
     "\xC4\x80\xE3\x82\xBD\xF0\x9F\x98\x80\xEF\xBC\x82",
     "\xC4\x80\xE3\x82\xBD\xF0\x9F\x98\x80\xEF\xBC\x82",
     "A???\"",
     "?\x83\x5C??\xFA\x57",
     false},
    {"EUC-JP", {"ja_JP.EUC-JP"}, "\xA5\xBD\x8E\xB1", "\xE3\x82\xBD\xEF\xBD\xB1", "??", "\x83\x5C\xB1", false},
};

} // namespace

class MBCSCodesetConverterIn : public testing::TestWithParam<Text>
{
protected:
    MBCSCodesetConverterIn() : m_locale(GetParam().locales) {}

    void SetUp() override
    {
        if (!m_locale.found()) {
            ASSERT_FALSE(GetParam().everywhere);
            GTEST_SKIP() << "this system has no such locale";
        }
    }

private:
    LocaleInForce m_locale;
};

INSTANTIATE_TEST_SUITE_P(Locales, MBCSCodesetConverterIn, testing::ValuesIn(texts), [](const auto& text) {
    std::string name = text.param.name;
    std::erase(name, '-');
    return name;
});

TEST_P(MBCSCodesetConverterIn, WritesTextInEveryCodeSet)
{
    const SAnsiString text(GetParam().native.c_str());
    EXPECT_EQ(bytesIn(text, Converter::Native), GetParam().native);
    EXPECT_EQ(bytesIn(text, Converter::UTF8), GetParam().utf8);
    EXPECT_EQ(bytesIn(text, Converter::Windows1252), GetParam().windows1252);
    EXPECT_EQ(bytesIn(text, Converter::Windows932), GetParam().windows932);
}

TEST_P(MBCSCodesetConverterIn, ReadsWhatItHasWritten)
{
    const Text& text = GetParam();
    EXPECT_EQ(textOf(text.native, Converter::Native), text.native);
    EXPECT_EQ(textOf(text.utf8, Converter::UTF8), text.native);
    for (const auto codeset : {Converter::Windows1252, Converter::Windows932}) {
        const std::string once = bytesIn(textOf(text.native, Converter::Native).c_str(), codeset);
        EXPECT_EQ(bytesIn(textOf(once, codeset).c_str(), codeset), once);
    }
}

TEST(MBCSCodesetConverter, WhatTheLocaleDoesNotHaveIsAQuestionMark)
{
    const LocaleInForce inForce(japanese);
    ASSERT_TRUE(inForce.found());
    struct Row
    {
        const char* name;
        Converter::ExplicitCodeset codeset;
        std::string bytes;
        std::string text;
    };
    const Row rows[] = {
        {"Thai", Converter::UTF8, "a\xE0\xB8\x81z", "a?z"},
        {"a character beyond 16 bits", Converter::UTF8, "a\xF0\x9F\x98\x80z", "a??z"},
        {"an undefined pair is the middle dot", Converter::Windows932, "a\x85\x40z", "a\x81\x45z"},
        {"a lead byte at the end", Converter::Windows932, "a\x83", "a\x81\x45"},
        {"an overlong form", Converter::UTF8, "..\xC0\xAF..", "../.."},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(textOf(row.bytes, row.codeset), row.text) << row.name;
    }
    EXPECT_EQ(bytesIn("a\x82", Converter::UTF8), "a?") << "a byte that is no character of the locale";
}

TEST(MBCSCodesetConverter, Utf8ThatIsCutIsTracedAndTakenAsNativeText)
{
    Recorder recorder;
    EXPECT_EQ(textOf("abc\xE3\x82", Converter::UTF8), "abc\xE3\x82");
    EXPECT_EQ(recorder.count("failed UTF8 -> UCS2 conversion"), 1);
    EXPECT_EQ(recorder.count("mbcscodesetconverter"), 1);
    EXPECT_EQ(recorder.lines().size(), 1u);
}

TEST(MBCSCodesetConverter, EmptyTextIsTheZeroAlone)
{
    for (const auto codeset : everyCodeset) {
        SCOPED_TRACE(codeset);
        const SSimpleBuffer bytes = Converter::TToExplicitCodeset(SAnsiString(), codeset);
        EXPECT_EQ(bytes.getNBytes(), 1u);
        EXPECT_EQ(bytes[0], 0);
        EXPECT_EQ(textOf("", codeset), "");
        EXPECT_TRUE(Converter::ExplicitCodesetToT(nullptr, codeset).isEmpty());
    }
}

TEST(MBCSCodesetConverter, AnotherCodeSetIsReportedAndGivesNothing)
{
    Recorder recorder;
    const auto none = static_cast<Converter::ExplicitCodeset>(7);
    EXPECT_EQ(textOf("text", none), "");
    EXPECT_EQ(recorder.askedFile(), "mbcscodesetconverter.cpp");
    EXPECT_TRUE(Converter::TToExplicitCodeset("text", none).isEmpty());
    EXPECT_EQ(recorder.count("assert failure"), 2);
}

TEST(MBCSCodesetConverter, LongTextIsConvertedWhole)
{
    const LocaleInForce inForce(japanese);
    ASSERT_TRUE(inForce.found());
    std::string native;
    std::string utf8;
    for (int i = 0; i < 50000; ++i) {
        native += i % 3 == 0 ? "\x83\x5C" : "a";
        utf8 += i % 3 == 0 ? "\xE3\x82\xBD" : "a";
    }
    EXPECT_EQ(bytesIn(native.c_str(), Converter::UTF8), utf8);
    EXPECT_EQ(textOf(utf8, Converter::UTF8), native);
    EXPECT_EQ(bytesIn(native.c_str(), Converter::Windows932), native);
    EXPECT_EQ(textOf(native, Converter::Windows932), native);
}
