#include "morvex/sversion.h"

#include "morvex/versiontext.h"
#include "scratch.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

using namespace MorvexA106;

TEST(SVersion, ComparesNumberByNumber)
{
    const SVersion rising[] = {{},           {0, 0, 0, 1},     {0, 1},    {1, 0},
                               {1, 6},       {1, 6, 0, 1},     {1, 6, 2}, {1, 10},
                               {2, 0, 0, 0}, {2, 0, 65535, 0}, {65535, 0}};
    for (std::size_t i = 1; i < std::size(rising); ++i) {
        EXPECT_LT(rising[i - 1], rising[i]) << i;
    }
    EXPECT_EQ(SVersion(1, 6), SVersion(1, 6, 0, 0));
}

TEST(SVersion, ReadsWhatItWrites)
{
    for (const SVersion& version :
         {SVersion(), SVersion(1, 6), SVersion(1, 2, 3, 4), SVersion(65535, 0, 0, 1)}) {
        SVersion read(9, 9);
        EXPECT_TRUE(SVersion::FromString(version.ToString(), read));
        EXPECT_EQ(read, version);
    }
    EXPECT_STREQ(SVersion(1, 6).ToString(), "1.6.0");
    EXPECT_STREQ(SVersion(1, 0, 12, 1).ToString(), "1.0.12.1");
}

TEST(SVersion, RefusesOtherText)
{
    for (const char* text : {"", ".", "1.", ".1", "1..2", "1.2.3.4.5", "1.2.3.4.", "65536", "1.-2", "+1",
                             " 1", "1 ", "1,2", "v1", "1.x", "99999999999999999999"}) {
        SVersion version(9, 9);
        EXPECT_FALSE(SVersion::FromString(text, version)) << text;
        EXPECT_EQ(version, SVersion(9, 9)) << text;
    }
    SVersion version;
    EXPECT_FALSE(SVersion::FromString(nullptr, version));
}

TEST(SVersion, ReadsTheNamesOfFiles)
{
    struct Row
    {
        const char* name;
        std::optional<VersionNumbers> version;
    };
    const Row rows[] = {
        {"libname.so.6.0.30", VersionNumbers{6, 0, 30, 0}},
        {"libname.so.6", VersionNumbers{6}},
        {"libname-2.31.so.1.2", VersionNumbers{1, 2}},
        {"libname-1-6.so", VersionNumbers{1, 6}},
        {"libc-2.31.so", VersionNumbers{2, 31}},
        {"name-1.0.12.1.exe", VersionNumbers{1, 0, 12, 1}},
        {"name_3_4.dll", VersionNumbers{3, 4}},
        {"name-1.2", VersionNumbers{1, 2}},
        {"libname.so", {}},
        {"name-64", {}},
        {"name-64.dll", {}},
        {"tool-x86-64", {}},
        {"name1.2.dll", {}},
        {"libname.so.", {}},
        {"libname.so.1.x", {}},
        {"name-1-2-3-4-5.dll", {}},
        {"name-1.70000.dll", {}},
        {"1.2.dll", {}},
        {"-", {}},
        {"", {}},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(versionInName(row.name), row.version) << row.name;
    }
}

TEST(SVersion, FileWithoutAResourceIsKnownByItsName)
{
    const Scratch scratch;
    putFile(scratch / "libname-1-6.so", "no library");
    putFile(scratch / "plain.txt", "no library");
    SVersion version(9, 9);
    EXPECT_FALSE(SVersion::OfModule(scratch.path("plain.txt"), version));
    EXPECT_FALSE(SVersion::OfModule(scratch.path("missing-1-6.so"), version));
    EXPECT_FALSE(SVersion::OfModule("", version));
    EXPECT_EQ(version, SVersion(9, 9));
    EXPECT_TRUE(SVersion::OfModule(scratch.path("libname-1-6.so"), version));
    EXPECT_EQ(version, SVersion(1, 6));
}

TEST(SVersion, LibraryTellsItsOwn)
{
    EXPECT_STREQ(SVersion::Library().ToString(), MORVEX_TEST_VERSION);
}
