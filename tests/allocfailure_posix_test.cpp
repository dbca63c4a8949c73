// Memory that runs out at every point in turn. Every operation on text is tried with its first allocation failing,
// then with its second, and so on until it passes; once with only that one failing and once with all after it as well.
// Each time it must either throw "bad allocation" and leave its text alone, or do what it does with memory enough; no
// block may stay behind.
//
// This program's own malloc, and with it operator new, stand in for everyone's: the library's calls bind to the
// program's symbols.

#include "foldermirror.h"
#include "locales.h"
#include "morvex/badalloc.h"
#include "scratch.h"

#include <morvex/mbcscodesetconverter.h>
#include <morvex/sdirectorychangewatcher.h>
#include <morvex/sfile.h>
#include <morvex/sfilesys.h>
#include <morvex/simplebuffer.h>
#include <morvex/ssfilesearch.h>
#include <morvex/sstringconv.h>
#include <morvex/sstringhelper.h>
#include <morvex/sstringkeys.h>
#include <morvex/sstrtok.h>
#include <morvex/utfconverter.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <new>
#include <optional>
#include <span>

extern "C" {
// The allocator behind malloc: the C library's, or the sanitizer's where there is one.
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void __libc_free(void* block);
__attribute__((weak)) void* __interceptor_malloc(std::size_t size);
__attribute__((weak)) void* __interceptor_calloc(std::size_t count, std::size_t size);
__attribute__((weak)) void* __interceptor_realloc(void* block, std::size_t size);
__attribute__((weak)) void __interceptor_free(void* block);
}

namespace
{

enum class Failing
{
    onlyThat,
    thatAndAllAfter
};

/// Of the one thread that the tests have; others come and go in the sanitizers only, before and after.
struct Memory
{
    long liveBlocks = 0;
    bool armed = false;
    Failing failing = Failing::onlyThat;
    int point = 0; ///< allocations that still pass
    int failures = 0;

    bool fails()
    {
        if (!armed) {
            return false;
        }
        const bool now = point == 0 || (point < 0 && failing == Failing::thatAndAllAfter);
        --point;
        failures += now ? 1 : 0;
        return now;
    }

    void* count(void* block)
    {
        liveBlocks += block != nullptr ? 1 : 0;
        return block;
    }
};

Memory memory;

} // namespace

extern "C" {

__attribute__((visibility("default"))) void* malloc(std::size_t size) noexcept
{
    if (memory.fails()) {
        return nullptr;
    }
    return memory.count(__interceptor_malloc != nullptr ? __interceptor_malloc(size) : __libc_malloc(size));
}

__attribute__((visibility("default"))) void* calloc(std::size_t count, std::size_t size) noexcept
{
    if (memory.fails()) {
        return nullptr;
    }
    return memory.count(__interceptor_calloc != nullptr ? __interceptor_calloc(count, size)
                                                        : __libc_calloc(count, size));
}

__attribute__((visibility("default"))) void* realloc(void* block, std::size_t size) noexcept
{
    if (memory.fails()) {
        return nullptr;
    }
    void* const grown =
        __interceptor_realloc != nullptr ? __interceptor_realloc(block, size) : __libc_realloc(block, size);
    return block == nullptr ? memory.count(grown) : grown;
}

__attribute__((visibility("default"))) void free(void* block) noexcept
{
    memory.liveBlocks -= block != nullptr ? 1 : 0;
    __interceptor_free != nullptr ? __interceptor_free(block) : __libc_free(block);
}
}

// Sanitizers have their own, which don't come by malloc.
void* operator new(std::size_t size)
{
    void* const block = std::malloc(size);
    return block != nullptr ? block : throw std::bad_alloc();
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return std::malloc(size);
}
void operator delete(void* block) noexcept
{
    std::free(block);
}
void operator delete(void* block, std::size_t) noexcept
{
    std::free(block);
}
void operator delete(void* block, const std::nothrow_t&) noexcept
{
    std::free(block);
}

using namespace MorvexA106;

namespace
{

/// Lets allocations fail while it lives.
class Shortage
{
public:
    Shortage(Failing failing, int point)
    {
        memory.failing = failing;
        memory.point = point;
        memory.failures = 0;
        memory.armed = true;
    }
    ~Shortage() { memory.armed = false; }
    Shortage(const Shortage&) = delete;
    Shortage& operator=(const Shortage&) = delete;
};

/// What came of one try. No allocation of ours hides in it.
struct Outcome
{
    bool threw = false;
    char what[32] = {};
};

template <class Operation>
Outcome tryWith(Failing failing, int point, Operation operation)
{
    Outcome outcome;
    const Shortage shortage(failing, point);
    try {
        operation();
    } catch (const std::bad_alloc& error) {
        outcome.threw = true;
        std::strncpy(outcome.what, error.what(), sizeof outcome.what - 1);
    }
    return outcome;
}

template <class Text>
using Operation = std::function<void(Text&)>;

template <class Text>
struct Case
{
    const char* name;
    Operation<Text> run; ///< leaves its result in the text
};

/// A text and, perhaps, another handle on its buffer.
template <class Text>
struct Fixture
{
    Fixture(const Text& source, bool shared) : text(source.getString())
    {
        if (shared) {
            other.emplace(text);
        }
    }

    Text text;
    std::optional<Text> other;
};

template <class Text>
bool same(const Text& left, const Text& right)
{
    return left.view() == right.view();
}

/// One try with the allocation at `point` failing. False once the operation asks for less than so many.
template <class Text>
bool holdsAt(const Case<Text>& row, const Text& before, bool shared, Failing failing, int point)
{
    const std::string where = std::string(row.name) + (shared ? ", shared" : ", private") +
                              (failing == Failing::onlyThat ? ", only" : ", from") + " allocation " +
                              std::to_string(point);
    Text expected(before.getString());
    row.run(expected);

    const long liveBefore = memory.liveBlocks;
    Outcome outcome;
    bool textHolds = false;
    bool otherHolds = true;
    {
        Fixture<Text> fixture(before, shared);
        outcome = tryWith(failing, point, [&] { row.run(fixture.text); });
        textHolds = same(fixture.text, outcome.threw ? before : expected);
        otherHolds = !fixture.other || same(*fixture.other, before);
    }
    const long liveAfter = memory.liveBlocks;

    EXPECT_TRUE(textHolds) << where << (outcome.threw ? ": the text is not what it was" : ": a wrong result");
    EXPECT_TRUE(otherHolds) << where << ": the other handle's text has changed";
    EXPECT_EQ(liveAfter, liveBefore) << where << ": blocks stay behind";
    if (outcome.threw) {
        EXPECT_STREQ(outcome.what, "bad allocation") << where;
        EXPECT_NE(memory.failures, 0) << where << ": threw with memory enough";
    }
    return memory.failures != 0;
}

/// The number of points at which an allocation was made to fail.
template <class Text>
int failAtEveryPoint(const Case<Text>& row, const Text& before)
{
    constexpr int tooMany = 1000;
    int failed = 0;
    for (const bool shared : {false, true}) {
        for (const Failing failing : {Failing::onlyThat, Failing::thatAndAllAfter}) {
            int point = 0;
            while (point < tooMany && holdsAt(row, before, shared, failing, point)) {
                ++point;
            }
            EXPECT_LT(point, tooMany) << row.name << ": never passes";
            failed += point;
        }
    }
    return failed;
}

template <class Text>
void failAtEveryPoint(const std::vector<Case<Text>>& rows, const Text& before)
{
    for (const Case<Text>& row : rows) {
        EXPECT_NE(failAtEveryPoint(row, before), 0)
            << row.name << ": no allocation is made, so nothing was tested";
    }
}

/// Long enough that no edit fits into the slack.
template <class Text>
Text longText(const char* pattern)
{
    Text text;
    for (int i = 0; i < 20; ++i) {
        text += Text(pattern);
    }
    return text;
}

SWCharString wide(const char* text)
{
    SWCharString made;
    made.fromAscii(text);
    return made;
}

/// What every form of text can do. `more` does not fit into the room that `before` leaves.
template <class Text>
std::vector<Case<Text>> editsOf(const Text& more)
{
    using Unit = std::remove_cvref_t<decltype(*more.getString())>;
    const typename Text::character letter(Unit('x'));
    return {
        {"construct from units", [more](Text& text) { text = Text(more.getString()); }},
        {"construct from a character", [letter](Text& text) { text = Text(letter); }},
        {"copyFrom", [more](Text& text) { text.copyFrom(more.getString()); }},
        {"copyFrom a part of itself", [](Text& text) { text.copyFrom(text.getString() + 2); }},
        {"concat", [more](Text& text) { text += more; }},
        {"concat units", [more](Text& text) { text += more.getString(); }},
        {"concat itself", [](Text& text) { text += text; }},
        {"concat a part of itself", [](Text& text) { text += text.getString() + 1; }},
        {"concat characters until there is no room",
         [letter](Text& text) {
             Text grown(text);
             for (int i = 0; i < 100; ++i) {
                 grown += letter;
             }
             text = std::move(grown);
         }},
        {"setBufferSize", [](Text& text) { text.setBufferSize(100000); }},
        {"insertChar",
         [letter](Text& text) {
             Text edited(text);
             edited.insertChar(3u, letter);
             text = std::move(edited);
         }},
        {"insertChars", [more](Text& text) { text.insertChars(2u, more); }},
        {"insertChars of itself", [](Text& text) { text.insertChars(2u, text); }},
        {"deleteChars of a shared text",
         [](Text& text) {
             Text edited(text);
             edited.deleteChars(1u, 4);
             text = std::move(edited);
         }},
        {"setAt of a shared text",
         [letter](Text& text) {
             Text edited(text);
             edited.setAt(0u, letter);
             text = std::move(edited);
         }},
        {"trim of a shared text",
         [](Text& text) {
             Text edited(text);
             edited.trim();
             text = std::move(edited);
         }},
        {"toUpper of a shared text",
         [](Text& text) {
             Text edited(text);
             edited.toUpper();
             text = std::move(edited);
         }},
        {"toLower of a shared text",
         [](Text& text) {
             Text edited(text);
             edited.toLower();
             text = std::move(edited);
         }},
        {"mid", [](Text& text) { text = Text(text.mid(2u, 5)); }},
        {"left", [](Text& text) { text = Text(text.left(7u)); }},
        {"right", [](Text& text) { text = Text(text.right(7u)); }},
        {"operator+", [more](Text& text) { text = Text(text + more + text); }},
        {"fromAscii",
         [](Text& text) { text.fromAscii("seven bits are enough for everyone, or so it was said"); }},
    };
}

const SAnsiString euros = longText<SAnsiString>("  10 \xE2\x82\xAC and \xC3\x9F, ");

} // namespace

class allocFailure : public testing::Test
{
protected:
    allocFailure() : m_locale({"en_US.UTF-8"}) {}
    void SetUp() override { ASSERT_TRUE(m_locale.found()); }

private:
    LocaleInForce m_locale;
};

TEST_F(allocFailure, reachesTheLibrary)
{
    SAnsiString text("text");
    const Outcome outcome = tryWith(Failing::onlyThat, 0, [&] { text += euros; });
    EXPECT_TRUE(outcome.threw);
    EXPECT_EQ(memory.failures, 1);
}

TEST_F(allocFailure, leavesMultibyteTextAsItWas)
{
    failAtEveryPoint(editsOf<SAnsiString>(euros), euros);
}

TEST_F(allocFailure, leavesAsciiTextAsItWas)
{
    const SAsciiString text = longText<SAsciiString>("  seven Bits ");
    failAtEveryPoint(editsOf<SAsciiString>(text), text);
}

TEST_F(allocFailure, leavesWideTextAsItWas)
{
    SWCharString text;
    text.fromMBCS(euros.getString());
    failAtEveryPoint(editsOf<SWCharString>(text), text);
}

TEST_F(allocFailure, leavesTextAsItWasWhenItGrowsInOtherCase)
{
    // U+023A has two bytes, its small form U+2C65 three.
    const SAnsiString text = longText<SAnsiString>("\xC8\xBA");
    failAtEveryPoint<SAnsiString>({{"toLower", [](SAnsiString& lower) { lower.toLower(); }},
                                   {"toUpper of a shared text",
                                    [](SAnsiString& upper) {
                                        SAnsiString edited(upper);
                                        edited.toUpper();
                                        upper = edited;
                                    }}},
                                  text);
}

TEST_F(allocFailure, leavesTextAsItWasInConversions)
{
    SQCAString wideEuros;
    wideEuros.fromMBCS(euros.getString());
    failAtEveryPoint<SAnsiString>(
        {{"fromQCA", [&](SAnsiString& text) { text.fromQCA(wideEuros.getString()); }},
         {"fromMBCS", [](SAnsiString& text) { text.fromMBCS(longText<SAnsiString>("mbcs ").getString()); }},
         {"copyFrom of the other width", [&](SAnsiString& text) { text.copyFrom(wideEuros.getString()); }},
         {"from an integer", [](SAnsiString& text) { text = StringConvFromInteger(-123456789, 2); }},
         {"from a double", [](SAnsiString& text) { text = SStringConv::ToString(-1.2345678901234567e-300); }},
         {"from a double by the locale",
          [](SAnsiString& text) { text = SStringConvByLocale::ToString(-1.2345678901234567e-300); }},
         {"MakePath",
          [](SAnsiString& text) {
              text = SStringHelper::MakePath(text, "a name that is long", "extension");
          }},
         {"to UTF-8",
          [&](SAnsiString& text) {
              CUTFConverter::Utf8Buffer bytes;
              CUTFConverter::UTF16ToUTF8(wideEuros, bytes);
              text = SAnsiString(reinterpret_cast<const char*>(bytes->getBuffer()));
          }},
         {"to UTF-8 with its text",
          [](SAnsiString& text) {
              const CUTFConverter first(text);
              const CUTFConverter copy(first);
              text = SAnsiString(reinterpret_cast<const char*>(copy.getBuffer()));
          }},
         {"to UCS-4 and back",
          [&](SAnsiString& text) {
              CUTFConverter::Ucs4Buffer units;
              CUTFConverter::UTF16ToUCS4(wideEuros, units);
              CUTFConverter::Utf8Buffer bytes;
              CUTFConverter::UCS4ToUTF8(units->getBuffer(), bytes);
              text = SAnsiString(reinterpret_cast<const char*>(bytes->getBuffer()));
          }}},
        SAnsiString("before"));
    failAtEveryPoint<SQCAString>(
        {{"fromMBCS", [](SQCAString& text) { text.fromMBCS(euros.getString()); }},
         {"copyFrom of the other width", [](SQCAString& text) { text.copyFrom(euros.getString()); }},
         {"UTF8ToUTF16",
          [](SQCAString& text) {
              CUTFConverter::UTF8ToUTF16(reinterpret_cast<const unsigned char*>(euros.getString()), text);
          }},
         {"UCS4ToUTF16",
          [](SQCAString& text) {
              const SUcs4 units[] = {0x1F600, 'a', 0x20AC, 0};
              CUTFConverter::UCS4ToUTF16(units, text);
          }}},
        SQCAString(wide("before")));
}

TEST_F(allocFailure, answersComparisonsAndSearchesOrThrows)
{
    const auto asText = [](int value) {
        return SAnsiString(value < 0 ? "less" : value > 0 ? "more" : "same");
    };
    // Results of a few bytes, so that the allocation that fails is the operation's own.
    const SAnsiString upper = [] {
        SAnsiString text(euros.getString());
        text.toUpper();
        return text;
    }();
    const std::vector<Case<SAnsiString>> rows = {
        {"compareNoCase", [&](SAnsiString& text) { text = asText(text.compareNoCase(upper)); }},
        {"equality without case",
         [&](SAnsiString& text) { text = SAnsiString(SAnsiStringCI(text) == upper ? "same" : "other"); }},
        {"find without case",
         [&](SAnsiString& text) {
             const SAnsiStringCI searched(text);
             text = SAnsiString(searched.find(upper.mid(7u, 90)).getCursor());
         }},
        {"hash", [](SAnsiString& text) {
             const auto hash = std::hash<SAnsiString>()(text);
             text = SAnsiString(hash == std::hash<SAnsiString>()(SAnsiString(text.getString())) ? "same"
                                                                                                : "other");
         }}};
    failAtEveryPoint(rows, euros);
}

TEST_F(allocFailure, leavesTextAsItWasInCodeSetsAndTokens)
{
    using Codes = MBCSCodesetConverter;
    const SAnsiString commas("first field that is long,second field that is long,third,,");
    failAtEveryPoint<SAnsiString>(
        {{"from UTF-8", [](SAnsiString& text) { text = Codes::ExplicitCodesetToT(text, Codes::UTF8); }},
         {"from 1252", [](SAnsiString& text) { text = Codes::ExplicitCodesetToT(text, Codes::Windows1252); }},
         {"from 932", [](SAnsiString& text) { text = Codes::ExplicitCodesetToT(text, Codes::Windows932); }},
         {"one delimiter",
          [](SAnsiString& text) {
              RSStrTok fields(text);
              const SAnsiString first = fields.Next(',');
              text = fields.Next(',') + first + fields.rest();
          }},
         {"a set of delimiters",
          [](SAnsiString& text) {
              SStrTok fields(text, SAnsiString(", "));
              SAnsiString all;
              for (SAnsiString field; fields.Next(field);) {
                  all += field;
              }
              text = all;
          }},
         {"a scan",
          [](SAnsiString& text) {
              SScanString scan(text);
              SAnsiString word;
              if (scan.TakeWord(word)) {
                  text = word;
              }
          }},
         {"replaceAll of a shared text",
          [](SAnsiString& text) {
              SAnsiString edited(text);
              SStringHelper::replaceAll(edited, "field", "something that is longer");
              text = std::move(edited);
          }},
         {"append numbers",
          [](SAnsiString& text) {
              SAnsiString edited(text);
              edited << -123456789 << " and " << 1.2345678901234567e-300;
              text = std::move(edited);
          }}},
        commas);
}

/// A byte buffer throws nothing: it reports an assertion, and keeps what it had.
TEST_F(allocFailure, leavesByteBuffersAsTheyWere)
{
    const std::vector<unsigned char> more(300, 0xAB);
    const struct
    {
        const char* name;
        std::function<void(SSimpleBuffer&)> run;
    } rows[] = {
        {"append", [&](SSimpleBuffer& bytes) { bytes.append(more.data(), 300, SSimpleBuffer::none); }},
        {"append a byte", [](SSimpleBuffer& bytes) { bytes.append(0x01); }},
        {"reserve", [](SSimpleBuffer& bytes) { bytes.reserve(5000); }},
    };
    for (const auto& row : rows) {
        for (const bool shared : {false, true}) {
            int point = 0;
            do {
                const long before = memory.liveBlocks;
                bool holds = false;
                Outcome outcome;
                {
                    SSimpleBuffer bytes;
                    bytes.append(more.data(), 200, SSimpleBuffer::none);
                    const SSimpleBuffer other = shared ? bytes : SSimpleBuffer();
                    SSimpleBuffer expected(bytes);
                    row.run(expected);
                    outcome = tryWith(Failing::onlyThat, point, [&] { row.run(bytes); });
                    const bool passed = memory.failures == 0;
                    holds = std::ranges::equal(bytes.view(),
                                               passed ? expected.view() : std::span(more).first(200)) &&
                            (!shared || other.getNBytes() == 200);
                }
                const long after = memory.liveBlocks;
                EXPECT_TRUE(holds) << row.name << ", allocation " << point;
                EXPECT_FALSE(outcome.threw) << row.name << ", allocation " << point;
                EXPECT_EQ(after, before) << row.name << ", allocation " << point;
                ++point;
            } while (memory.failures != 0 && point < 100);
            EXPECT_GT(point, 1) << row.name;
        }
    }
}

TEST_F(allocFailure, readsTextOfFilesOrSaysWhatIsMissing)
{
    const Scratch scratch;
    putFile(scratch / "a", std::string(100, 'a') + "\n" + std::string(70000, 'b') + "\r\n" + "c");
    const SAnsiString path = scratch.path("a");
    static_cast<void>(std::strerror(ENOMEM)); // the C library keeps what it loads for it
    const auto reading = [path](const std::function<void(SFile&, SAnsiString&)>& read) {
        return [path, read](SAnsiString& text) {
            try {
                SFile file(path, SFile::readOnly, SFile::defaultPermissions, SFile::denyNothing);
                SAnsiString found;
                read(file, found);
                text = found;
            } catch (const SFileException& failure) {
                EXPECT_EQ(failure.DetailCode(), SFileException::OutOfMemory);
                throw SBadAlloc();
            }
        };
    };
    failAtEveryPoint<SAnsiString>(
        {{"readLine", reading([](SFile& file, SAnsiString& text) {
              text = file.readLine();
              text = file.readLine();
          })},
         {"readLine into a string", reading([](SFile& file, SAnsiString& text) {
              for (SAnsiString line; file.readLine(line);) {
                  text = line;
              }
          })},
         {"readString", reading([](SFile& file, SAnsiString& text) { text = file.readString(); })}},
        euros);
}

TEST_F(allocFailure, replacesWordsWholeOrNotAtAll)
{
    for (const Failing failing : {Failing::onlyThat, Failing::thatAndAllAfter}) {
        int point = 0;
        do {
            const long before = memory.liveBlocks;
            unsigned words = 0;
            Outcome outcome;
            {
                SIArray<SAnsiString> found;
                found.Add("stood there");
                outcome =
                    tryWith(failing, point, [&] { SStringHelper::makeWords(euros, " ,", found, false); });
                words = found.GetSize();
            }
            const long after = memory.liveBlocks;
            EXPECT_EQ(words, outcome.threw ? 1u : 80u) << point;
            EXPECT_EQ(after, before) << point;
            ++point;
        } while (memory.failures != 0 && point < 1000);
        EXPECT_GT(point, 80) << "each word is an allocation";
    }
}

namespace
{

std::size_t entriesOf(const std::string& folder)
{
    std::error_code absent;
    const std::filesystem::directory_iterator entries(folder, absent);
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

} // namespace

TEST_F(allocFailure, replacesAFileOrLeavesItAndNothingBesideIt)
{
    for (const Failing failing : {Failing::onlyThat, Failing::thatAndAllAfter}) {
        const Scratch scratch;
        const SAnsiString path = scratch.path("file");
        int point = 0;
        do {
            putFile(scratch / "file", "old");
            const Outcome outcome = tryWith(failing, point, [&] { SFileSys::replaceFile(path, "new"); });
            EXPECT_EQ(contentOf(scratch / "file"), outcome.threw ? "old" : "new") << point;
            EXPECT_STREQ(outcome.what, outcome.threw ? "bad allocation" : "") << point;
            EXPECT_EQ(entriesOf(scratch / ""), 1u) << point;
        } while (memory.failures != 0 && ++point < 1000);
        EXPECT_GT(point, 2);
    }
}

TEST_F(allocFailure, makesAUniqueFileOrNone)
{
    for (const Failing failing : {Failing::onlyThat, Failing::thatAndAllAfter}) {
        int point = 0;
        do {
            const Scratch scratch;
            const SAnsiString folder = scratch.path("folder");
            const Outcome outcome = tryWith(failing, point, [&] {
                SFileSys::getUniqueFilename(folder, "n", "", true, SFile::defaultPermissions);
            });
            EXPECT_STREQ(outcome.what, outcome.threw ? "bad allocation" : "") << point;
            EXPECT_EQ(entriesOf(scratch / "folder"), outcome.threw ? 0u : 1u) << point;
        } while (memory.failures != 0 && ++point < 1000);
        EXPECT_GT(point, 2);
    }
}

namespace
{

/// Has memory enough for what it is told.
class Spared : public SDirectoryChangeReceiver
{
public:
    explicit Spared(SDirectoryChangeReceiver& receiver) : m_receiver(receiver) {}
    void changed(const SDirectoryChange& change) override
    {
        memory.armed = false;
        m_receiver.changed(change);
    }

private:
    SDirectoryChangeReceiver& m_receiver;
};

} // namespace

TEST(allocFailureOfAWatcher, costsNoChange)
{
    int point = 0;
    do {
        const Scratch scratch;
        const std::filesystem::path root = scratch / "watched";
        std::filesystem::create_directories(root / "d/e");
        for (const char* name : {"a", "d/b", "d/e/c"}) {
            putFile((root / name).string(), "old");
        }
        FolderMirror mirror(root.string());
        Spared receiver(mirror);
        SDirectoryChangeWatcher watcher(root.string().c_str(), receiver,
                                        {.m_tree = true, .m_interval = 60000});
        watcher.open();
        putFile((root / "a").string(), "new");
        std::filesystem::rename(root / "d/b", root / "b");
        std::filesystem::remove(root / "d/e/c");
        std::filesystem::rename(root / "d/e", root / "f");
        putFile((root / "f/g").string(), "made");
        tryWith(Failing::onlyThat, point, [&] { watcher.poll(0); });
        EXPECT_TRUE(becomesTrue([&] {
            watcher.poll(5);
            return mirror.equalsDisk();
        })) << point;
    } while (memory.failures != 0 && ++point < 1000);
    EXPECT_GT(point, 20);
}

TEST_F(allocFailure, leavesNothingOpenOrHalfDoneInTrees)
{
    const Scratch scratch(SFileSys::exists("/dev/shm") ? "/dev/shm" : std::filesystem::temp_directory_path());
    const SAnsiString tree = scratch.path("tree");
    const SAnsiString copy = scratch.path("copy");
    const SAnsiString file = scratch.path("tree/file");
    const SAnsiString copied = scratch.path("copy/file");
    const struct
    {
        const char* name;
        std::function<void()> act;
    } rows[] = {
        {"copyFile of a folder", [&] { SFileSys::copyFile(tree, copy, true); }},
        {"copyFile of a file", [&] { SFileSys::copyFile(file, copied, true); }},
        {"listing",
         [&] {
             SIArray<FileProp> found;
             SFileSys::listing(tree, "*", found);
         }},
        {"search",
         [&] {
             SSFileSearch search(tree);
             SAnsiString name;
             for (bool found = search.FindFirst(name); found; found = search.FindNext(name)) {}
         }},
        {"rsizeEx", [&] { SFileSys::rsizeEx(tree); }},
        {"countAll", [&] { SFileSys::countAll(tree); }},
        {"rremove", [&] { SFileSys::rremove(tree); }},
        {"rremoveContent", [&] { SFileSys::rremoveContent(tree); }},
    };
    const auto putTree = [&] {
        std::filesystem::create_directories(scratch / "tree/a folder with a long name/inner");
        putFile(scratch / "tree/a folder with a long name/file", "text");
        putFile(scratch / "tree/file", "text");
    };
    for (const auto& row : rows) {
        for (const Failing failing : {Failing::onlyThat, Failing::thatAndAllAfter}) {
            int point = 0;
            do {
                SCOPED_TRACE(row.name + (", allocation " + std::to_string(point)));
                putTree();
                row.act(); // what is kept from the first time on
                putTree();
                const std::size_t openBefore = entriesOf("/proc/self/fd");
                const long before = memory.liveBlocks;
                const Outcome outcome = tryWith(failing, point, row.act);
                const long after = memory.liveBlocks;
                EXPECT_LE(after, before); // the sanitizer's realpath makes a block that isn't counted
                EXPECT_EQ(entriesOf("/proc/self/fd"), openBefore);
                EXPECT_STREQ(outcome.what, outcome.threw ? "bad allocation" : "");
                for (const char* folder : {"tree", "copy", "copy/a folder with a long name"}) {
                    EXPECT_LE(entriesOf(scratch / folder), 2u) << folder << " has what is half a copy";
                }
            } while (memory.failures != 0 && ++point < 1000);
            EXPECT_GT(point, 2) << row.name;
        }
    }
}
