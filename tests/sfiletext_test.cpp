#include "morvex/sfile.h"

#include "morvex/mbcscodesetconverter.h"

#include "locales.h"
#include "scratch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <random>
#include <string>
#include <vector>

using namespace MorvexA106;

namespace
{

constexpr int usual = SFile::defaultPermissions;

std::string lineOf(SFile& file)
{
    return std::string(file.readLine().view());
}

std::vector<std::string> linesOf(const std::string& path)
{
    SFile file(path.c_str(), SFile::readOnly, usual, SFile::denyNothing);
    std::vector<std::string> lines;
    while (!file.eof()) {
        lines.push_back(lineOf(file));
    }
    return lines;
}

/// Into one string; what was copied from it is kept.
std::vector<SAnsiString> linesByOneString(const std::string& path)
{
    SFile file(path.c_str(), SFile::readOnly, usual, SFile::denyNothing);
    std::vector<SAnsiString> lines;
    for (SAnsiString line("before"); file.readLine(line);) {
        lines.push_back(line);
    }
    return lines;
}

/// A line as reading byte by byte gives it.
std::string lineByBytes(SFile& file)
{
    std::string line;
    __int64 remaining = file.sizeEx() - file.getPositionEx();
    for (char byte = 0; remaining > 0 && byte != '\n' && !file.eof(); --remaining) {
        if (file.read(&byte, 1) == 1 && byte != '\n' && byte != '\r') {
            line += byte;
        }
    }
    return std::string(
        MBCSCodesetConverter::ExplicitCodesetToT(line.c_str(), MBCSCodesetConverter::UTF8).view());
}

void append(const std::string& path, const std::string& bytes)
{
    std::ofstream(path, std::ios::binary | std::ios::app) << bytes;
}

std::string randomBytes(std::mt19937& random, std::size_t size)
{
    // whole characters, a part of one, and bytes that are none
    static const std::string pieces[] = {"\n",   "\n",  "\n", "\r", {'\0'}, "\xC3\xBC", "\xF0\x9F\x98\x80",
                                         "\xE3", "\xC0"};
    const unsigned rarity = 1 << random() % 12;
    std::string bytes;
    while (bytes.size() < size) {
        bytes += random() % rarity == 0 ? pieces[random() % std::size(pieces)] : "x";
    }
    return bytes;
}

} // namespace

TEST(SFileText, LinesEndAtTheLineEndAndLoseEveryCarriageReturn)
{
    struct Row
    {
        const char* name;
        std::string content;
        std::vector<std::string> lines;
    };
    const std::string block(65536, 'b');
    const Row rows[] = {
        {"empty", "", {}},
        {"last line without an end", "one\ntwo", {"one", "two"}},
        {"last line with an end", "one\ntwo\n", {"one", "two"}},
        {"empty lines", "\n\none\n\n", {"", "", "one", ""}},
        {"both bytes", "one\r\ntwo\r\n", {"one", "two"}},
        {"anywhere", "\ro\rn\r\re\r\n\r\n\r", {"one", "", ""}},
        {"a zero ends the text", std::string("one\0more\ntwo", 12), {"one", "two"}},
        {"a zero and a carriage return", std::string("o\rne\0\r\n\0\n!", 10), {"one", "", "!"}},
        {"longer than what is read ahead",
         block + block + "\r\n" + block + "x\ny",
         {block + block, block + "x", "y"}},
        {"the end of the line begins a block",
         std::string(4095, 'a') + "\r\nb",
         {std::string(4095, 'a'), "b"}},
    };
    const Scratch scratch;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        putFile(scratch / "a", row.content);
        EXPECT_EQ(linesOf(scratch / "a"), row.lines);
        const std::vector<SAnsiString> again = linesByOneString(scratch / "a");
        EXPECT_TRUE(std::ranges::equal(again, row.lines, {}, &SAnsiString::view));
    }
}

TEST(SFileText, TextIsUtf8InTheFileAndTheLocalesInTheProgram)
{
    struct Row
    {
        const char* name;
        std::vector<const char*> locales;
        std::string native;
        std::string stored;
        std::string readAgain;
    };
    const Row rows[] = {
        {"C", {"C"}, "plain", "plain", "plain"},
        {"CP1252", {"de_DE.CP1252", "German_Germany.1252"}, "Gr\xFC\xDF", "Gr\xC3\xBC\xC3\x9F", "Gr\xFC\xDF"},
        {"CP932", {"ja_JP.CP932", "Japanese_Japan.932"}, "\x83\x5C!", "\xE3\x82\xBD!", "\x83\x5C!"},
        {"UTF-8", {"en_US.UTF-8", "C.UTF-8"}, "\xF0\x9F\x98\x80", "\xF0\x9F\x98\x80", "\xF0\x9F\x98\x80"},
        {"up to a zero", {"C"}, std::string("ab\0cd", 5), "ab", "ab"},
    };
    const Scratch scratch;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const LocaleInForce locale(row.locales);
        if (!locale.found()) {
            continue;
        }
        SFile file(scratch.path("a"), SFile::readAndWrite | SFile::create | SFile::truncate, usual,
                   SFile::denyNothing);
        EXPECT_EQ(file.writeString(SAnsiString(std::string_view(row.native))),
                  static_cast<int>(row.stored.size()));
        EXPECT_EQ(contentOf(scratch / "a"), row.stored);
        file.seekToBegin();
        EXPECT_EQ(file.readString().view(), row.readAgain);
        file.seekToBegin();
        EXPECT_EQ(file.readLine().view(), row.readAgain);
    }
}

TEST(SFileText, CharactersThatTheLocaleLacksBecomeQuestionMarks)
{
    const LocaleInForce locale({"C"});
    const Scratch scratch;
    putFile(scratch / "a", "1 \xE3\x82\xBD 2\n\xE3\x82\xBD");
    SFile file(scratch.path("a"), SFile::readOnly, usual, SFile::denyNothing);
    EXPECT_EQ(file.readLine().view(), "1 ? 2");
    EXPECT_EQ(file.readString().view(), "?");
}

TEST(SFileText, ReadStringTakesTheRestAndNothingAtTheEnd)
{
    const Scratch scratch;
    const std::string text = "first\r\n" + std::string(300000, 't') + "\n";
    putFile(scratch / "a", text);
    SFile file(scratch.path("a"), SFile::readOnly, usual, SFile::denyNothing);
    EXPECT_EQ(lineOf(file), "first");
    EXPECT_EQ(file.readString().view(), text.substr(7));
    EXPECT_EQ(file.readString().view(), "");
    file.seek(SFile::seekEnd, 100);
    EXPECT_EQ(file.readString().view(), "");
    EXPECT_EQ(lineOf(file), "");
    EXPECT_EQ(file.getPosition(), static_cast<long>(text.size()) + 100);
}

TEST(SFileText, EmptyTextAsksNothingOfTheFile)
{
    SFile closed;
    EXPECT_EQ(closed.writeString(""), 0);
    EXPECT_EQ(closed.writeString(SAnsiString(std::string_view("\0hidden", 7))), 0);
}

TEST(SFileText, LinesStandPast32BitsToo)
{
    constexpr __int64 far = 5LL << 30;
    const Scratch scratch;
    SFile file(scratch.path("big"), SFile::readAndWrite | SFile::create, usual, SFile::denyNothing);
    file.seekEx(SFile::seekBegin, far);
    ASSERT_EQ(file.writeString("one\r\ntwo\nrest"), 13);
    file.seekEx(SFile::seekBegin, far + 1);
    EXPECT_EQ(lineOf(file), "ne");
    EXPECT_EQ(file.getPositionEx(), far + 5);
    EXPECT_EQ(lineOf(file), "two");
    EXPECT_EQ(file.readString().view(), "rest");
}

TEST(SFileText, WhatIsReadAheadNeverReachesAnotherFile)
{
    const Scratch scratch;
    putFile(scratch / "a", "a1\na2\n");
    putFile(scratch / "b", "b1\nb2\n");
    SFile file(scratch.path("a"), SFile::readOnly, usual, SFile::denyNothing);
    EXPECT_EQ(lineOf(file), "a1");
    file.open(scratch.path("b"), SFile::readOnly, usual, SFile::denyNothing);
    EXPECT_EQ(lineOf(file), "b1");
    file.close();
    file.open(SFile::readOnly, usual, SFile::denyNothing);
    EXPECT_EQ(lineOf(file), "b1");
}

// Two files with the same bytes, one of which is read by single bytes. Whatever else happens to the objects and the
// files must come to the same, and leave the positions alike.
TEST(SFileText, LinesReadAheadAreThoseOfReadingByteByByte)
{
    const unsigned seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    std::string bytes;
    __int64 number = 0;
    const std::function<std::string(SFile&, const std::string& path)> operations[] = {
        [&](SFile& file, auto&) { return std::to_string(file.seekEx(SFile::seekBegin, number)); },
        [&](SFile& file, auto&) { return std::to_string(file.seekEx(SFile::seekCurrent, number % 100)); },
        [&](SFile& file, auto&) { return std::to_string(file.seek(SFile::seekEnd, 0)); },
        [&](SFile& file, auto&) {
            std::string read(bytes.size(), ' ');
            read.resize(static_cast<std::size_t>(file.read(read.data(), static_cast<unsigned>(read.size()))));
            return read;
        },
        [&](SFile& file, auto&) {
            return std::to_string(file.write(bytes.data(), static_cast<unsigned>(bytes.size())));
        },
        [](SFile& file, auto&) { return std::to_string(file.sizeEx()) + std::to_string(file.size()); },
        [](SFile& file, auto&) { return std::to_string(file.eof()); },
        [](SFile& file, auto&) { return std::to_string(file.getFd() == -1); },
        [](SFile& file, auto&) { return file.flush(), std::string(); },
        [&](SFile&, auto& path) { return append(path, bytes), std::string(); },
        [&](SFile& file, auto& path) { // noticed when somebody asks
            std::filesystem::resize_file(path, static_cast<std::uintmax_t>(number));
            return std::to_string(file.sizeEx());
        },
    };
    const Scratch scratch;
    for (int round = 0; round < 10; ++round) {
        const LocaleInForce locale(round % 2 == 0 ? std::vector{"C"} : std::vector{"C.UTF-8", "C"});
        const std::string content = randomBytes(random, random() % 20000);
        putFile(scratch / "ahead", content);
        putFile(scratch / "bytes", content);
        SFile ahead(scratch.path("ahead"), SFile::readAndWrite, usual, SFile::denyNothing);
        SFile single(scratch.path("bytes"), SFile::readAndWrite, usual, SFile::denyNothing);
        for (int step = 0; step < 300 && !HasFailure(); ++step) {
            bytes = randomBytes(random, random() % 100);
            number = static_cast<__int64>(random() % 20000);
            const std::size_t picked = random() % (3 * std::size(operations));
            if (picked < std::size(operations)) {
                const auto& operation = operations[picked];
                EXPECT_EQ(operation(ahead, scratch / "ahead"), operation(single, scratch / "bytes"))
                    << picked;
            } else {
                EXPECT_EQ(lineOf(ahead), lineByBytes(single));
            }
            if (random() % 4 == 0) {
                EXPECT_EQ(ahead.getPositionEx(), single.getPositionEx());
            }
        }
        EXPECT_EQ(ahead.seekEx(SFile::seekCurrent, 1), single.seekEx(SFile::seekCurrent, 1));
        EXPECT_EQ(contentOf(scratch / "ahead"), contentOf(scratch / "bytes"));
    }
}
