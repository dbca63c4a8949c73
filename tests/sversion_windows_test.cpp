#include "morvex/sversion.h"

#include "scratch.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace MorvexA106
{

namespace
{

/// This program's file, which carries the resource that is built into it.
std::string ownPath()
{
    std::string path(MAX_PATH, '\0');
    path.resize(GetModuleFileNameA(nullptr, path.data(), MAX_PATH));
    return path;
}

} // namespace

TEST(SVersionResource, TellsTheVersionOfTheFileAndNotOfItsProduct)
{
    SVersion version;
    ASSERT_TRUE(SVersion::OfModule(ownPath().c_str(), version));
    EXPECT_EQ(version, SVersion(1, 2, 3, 65535));
}

TEST(SVersionResource, GoesBeforeTheNameOfTheFile)
{
    const Scratch scratch;
    std::filesystem::copy_file(ownPath(), scratch / "name-7-8.dll");
    SVersion version;
    ASSERT_TRUE(SVersion::OfModule(scratch.path("name-7-8.dll"), version));
    EXPECT_EQ(version, SVersion(1, 2, 3, 65535));
}

} // namespace MorvexA106
