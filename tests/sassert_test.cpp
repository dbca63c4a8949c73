#include "morvex/sassert.h"

#include "morvex/checks.h"
#include "recorder.h"

#include <limits>

using namespace MorvexA106;

namespace
{

const unsigned short wideText[] = {'w', 'i', 'd', 'e', ' ', '%', '1', 0};

} // namespace

TEST(Entry, WithNobodyListeningEveryQuestionIsNo)
{
    EXPECT_FALSE(ShouldAssert("any.cpp"));
    EXPECT_FALSE(ShouldTrace(0, "any.cpp"));
    int evaluated = 0;
    MORVEX_CHECK(++evaluated == 2, "never reported");
    STrace("to nobody");
    SAssert("any.cpp", 1, "to nobody");
    SLog(0, 1, 2, "to nobody");
    EXPECT_EQ(evaluated, 1);
}

TEST(Entry, AssertionsTakeTheStatedForm)
{
    Recorder recorder;
    SAssert("a.cpp", 7, "x > 0");
    SAssert("a.cpp", 8, "false", "no room");
    SAssert("a.cpp", 9, "false", SAnsiString("100%2"));
    SAssert("a.cpp", 10, "false", wideText);
    const std::vector<std::pair<int, std::string>> expected = {
        {0, "assert failure: (a.cpp:7). (x > 0 : no message)."},
        {0, "assert failure: (a.cpp:8). (false : no room)."},
        {0, "assert failure: (a.cpp:9). (false : 100%2)."},
        {0, "assert failure: (a.cpp:10). (false : wide %1)."},
    };
    EXPECT_EQ(recorder.lines(), expected);
}

TEST(Entry, AStackFollowsWhereItIsWanted)
{
    Recorder recorder;
    recorder.stackDump = true;
    SAssert("a.cpp", 7, "x");
    ASSERT_EQ(recorder.lines().size(), 2u);
    EXPECT_EQ(recorder.lines()[1].second, "Stack Dump:the stack");
}

TEST(Entry, TracesArePrefixedOnTheMainChannelOnly)
{
    Recorder recorder;
    STraceMsg(0, "f.cpp", 12, "text");
    STraceMsg(0, nullptr, 12, "text");
    STraceMsg(0, "f.cpp", 0, "text");
    STraceMsg(1, "f.cpp", 12, "text");
    STrace("%1 and %2", 1, "b");
    STrace(wideText, true);
    STrace(2, "f.cpp", 3, "warn %1", 2.5);
    const std::vector<std::pair<int, std::string>> expected = {
        {0, "(f.cpp:12): trace message: text"},
        {0, "trace message: text"},
        {0, "trace message: text"},
        {1, "text"},
        {0, "trace message: 1 and b"},
        {0, "trace message: wide true"},
        {2, "warn 2.5"},
    };
    EXPECT_EQ(recorder.lines(), expected);
}

TEST(Entry, LogTakesTheLeadingParameters)
{
    Recorder recorder;
    SLog(1, 14, 0x891C);
    SLog(2, 14, 3, "a", "b", nullptr, "dropped");
    SLog(3, 0, 1, "1", "2", "3", "4", "5", "6", "7", "8", "9", "10");
    const std::vector<std::string> expected = {"1/14/35100", "2/14/3/a/b", "3/0/1/1/2/3/4/5/6/7/8/9/10"};
    EXPECT_EQ(recorder.logs(), expected);
}

TEST(TraceHelper, ReplacesMarkersInOnePass)
{
    struct Row
    {
        const char* format;
        STraceParameter first;
        STraceParameter second;
        const char* expected;
    };
    const Row rows[] = {
        {"%2 %1", "a", "b", "b a"},
        {"%1%1", "a", {}, "aa"},
        {"%1 %2", "a", {}, "a %2"},
        {"%1 %2", {}, "b", "%1 %2"},
        {"%1", "%2", "b", "%2"},
        {"%12", "a", {}, "a2"},
        {"100% of %", "a", {}, "100% of %"},
        {"%0%x%", "a", {}, "%0%x%"},
        {"", "a", {}, ""},
        {nullptr, "a", {}, ""},
    };
    for (const Row& row : rows) {
        EXPECT_STREQ(STraceHelper(row.format, row.first, row.second), row.expected);
    }
    EXPECT_STREQ(STraceHelper("%12-%11-%10-%1", 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12), "12-11-10-1");
}

TEST(TraceParameter, ValuesAsText)
{
    const unsigned short pair[] = {0x41, 0xD83D, 0xDE00, 0x4E00, 0};
    const std::pair<STraceParameter, const char*> rows[] = {
        {-5, "-5"},
        {5u, "5"},
        {std::numeric_limits<long long>::min(), "-9223372036854775808"},
        {std::numeric_limits<unsigned long long>::max(), "18446744073709551615"},
        {static_cast<__int64>(-1), "-1"},
        {0.1, "0.1"},
        {1e300, "1e+300"},
        {false, "false"},
        {static_cast<const void*>(nullptr), "0x0"},
        {SAnsiString("text"), "text"},
        {SAsciiString("ascii"), "ascii"},
        {SChar_t<char, 0>('c'), "c"},
        {SChar_t<unsigned short, 1>('w'), "w"},
        {pair, "A???"}, // the C locale has no form for any of the three units
    };
    for (const auto& [parameter, expected] : rows) {
        EXPECT_FALSE(parameter.IsEmpty());
        EXPECT_STREQ(parameter.getText(), expected);
    }
    EXPECT_TRUE(STraceParameter().IsEmpty());
    EXPECT_TRUE(STraceParameter("").IsEmpty());
}
