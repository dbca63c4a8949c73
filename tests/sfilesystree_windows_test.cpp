#include "morvex/sfilesys.h"
#include "scratch.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <string>

using namespace MorvexA106;

namespace
{

std::wstring wide(const std::string& path)
{
    return LR"(\\?\)" + std::filesystem::path(path).wstring();
}

bool isThere(const std::wstring& path)
{
    return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

bool putWideFile(const std::wstring& path)
{
    const HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr);
    DWORD written = 0;
    const bool put = file != INVALID_HANDLE_VALUE && WriteFile(file, "text", 4, &written, nullptr);
    CloseHandle(file);
    return put;
}

/// Some systems say that they have made a link, and haven't.
bool putFolderLink(const std::string& link, const std::string& target)
{
    constexpr DWORD folderForAnybody = 0x3;
    const std::wstring leadsTo = std::filesystem::path(target).wstring();
    CreateSymbolicLinkW(wide(link).c_str(), leadsTo.c_str(), folderForAnybody);
    const DWORD attributes = GetFileAttributesW(wide(link).c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

} // namespace

TEST(SFileSysTreeWindows, PathsMayBeLongAndNamesOutsideOfTheCodePage)
{
    const Scratch scratch;
    std::wstring path = wide(scratch / "tree");
    constexpr int depth = 20;
    ASSERT_TRUE(CreateDirectoryW(path.c_str(), nullptr));
    for (int i = 1; i < depth; ++i) {
        path += L"\\" + std::wstring(50, L'n');
        ASSERT_TRUE(CreateDirectoryW(path.c_str(), nullptr)) << i;
    }
    ASSERT_TRUE(putWideFile(path + L"\\\x4E2D\x0416"));
    EXPECT_EQ(SFileSys::countAll(scratch.path("tree")), static_cast<unsigned long>(depth));
    EXPECT_EQ(SFileSys::rsize(scratch.path("tree")), 4U);
    SFileSys::copyFile(scratch.path("tree"), scratch.path("copy"), false);
    for (const char* top : {"tree", "copy"}) {
        EXPECT_EQ(SFileSys::rsize(scratch.path(top)), 4U) << top;
        SFileSys::rremove(scratch.path(top));
        EXPECT_FALSE(isThere(wide(scratch / top))) << top;
    }
}

TEST(SFileSysTreeWindows, FolderThatSomebodyIsInStaysAndTheRestGoes)
{
    const Scratch scratch;
    std::filesystem::create_directories(scratch / "tree/a");
    std::filesystem::create_directories(scratch / "tree/b");
    putFile(scratch / "tree/a/held", "text");
    putFile(scratch / "tree/b/free", "text");
    {
        const SFile held(scratch.path("tree/a/held"), SFile::readOnly, SFile::defaultPermissions,
                         SFile::denyWrite);
        const SFileSysException failure =
            failureOf<SFileSysException>([&] { SFileSys::rremove(scratch.path("tree")); });
        EXPECT_EQ(failure.ErrCode(), SFileSysException::RemoveTreeFailed);
        EXPECT_EQ(failure.ErrReason(), SFileSysException::AccessDenied);
        EXPECT_NE(failure.toString().view().find(scratch / "tree/a/held"), std::string_view::npos);
    }
    EXPECT_EQ(contentOf(scratch / "tree/a/held"), "text");
    EXPECT_FALSE(isThere(wide(scratch / "tree/b")));
}

TEST(SFileSysTreeWindows, LinksToFoldersAreNotFollowed)
{
    const Scratch scratch;
    std::filesystem::create_directories(scratch / "victim");
    std::filesystem::create_directories(scratch / "tree");
    putFile(scratch / "victim/file", "text");
    for (const char* link : {"tree/link", "link"}) {
        if (!putFolderLink(scratch / link, scratch / "victim")) {
            GTEST_SKIP() << "the system makes no links";
        }
    }
    EXPECT_EQ(SFileSys::countFiles(scratch.path("tree")), 1U);
    EXPECT_THROW(SFileSys::rremoveContent(scratch.path("link")), SFileSysException);
    SFileSys::rremove(scratch.path("link"));
    SFileSys::rremove(scratch.path("tree"));
    EXPECT_FALSE(isThere(wide(scratch / "link")));
    EXPECT_FALSE(isThere(wide(scratch / "tree")));
    EXPECT_EQ(contentOf(scratch / "victim/file"), "text");
}
