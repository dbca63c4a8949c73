#include "morvex/sstring.h"

#include "recorder.h"

using namespace MorvexA106;

TEST(SString, smoke)
{
    SAnsiString a("abc");
    a += "def";
    EXPECT_STREQ(a.mid(1, 3), "bcd");
}
