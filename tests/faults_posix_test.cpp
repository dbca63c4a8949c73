#include "faults_posix.h"

#include "scratch.h"

#include <morvex/sfile.h>

#include <cerrno>
#include <set>

using namespace MorvexA106;

namespace
{

int writeAndFlush(const std::string& path, int& error)
{
    try {
        SFile file(path.c_str(), SFile::writeOnly | SFile::create, SFile::defaultPermissions,
                   SFile::denyNothing);
        const int count = file.write("12345678", 8);
        file.flush();
        return count;
    } catch (const SFileException& failure) {
        error = failure.getErrno();
        return -1;
    }
}

} // namespace

TEST(faults, reach_the_calls_of_the_library_one_by_one)
{
    const Scratch scratch;
    const unsigned before = Faults::openDescriptors();
    std::set<std::string> met;
    Faults::eachCall({.error = EIO}, [&](Faults::Injection& injection) {
        int error = 0;
        injection.arm();
        const int count = writeAndFlush(scratch / "file", error);
        injection.disarm();
        met.insert(injection.call());
        if (injection.call() == std::string("write") || injection.call() == std::string("fsync")) {
            EXPECT_EQ(count, -1);
            EXPECT_EQ(error, EIO);
        }
    });
    for (const char* call : {"open", "write", "fsync", "close"}) {
        EXPECT_TRUE(met.contains(call)) << call;
    }
    EXPECT_EQ(Faults::openDescriptors(), before);
}

TEST(faults, shorten_what_is_moved)
{
    const Scratch scratch;
    int error = 0;
    Faults::Injection half({.count = Faults::Fault::Count::half}, 0);
    half.arm();
    EXPECT_EQ(writeAndFlush(scratch / "half", error), 4);
    half.disarm();
    EXPECT_EQ(contentOf(scratch / "half"), "1234");

    Faults::Injection interrupted({.error = EINTR, .only = Faults::interruptible}, 0);
    interrupted.arm();
    EXPECT_EQ(writeAndFlush(scratch / "whole", error), 8);
    interrupted.disarm();
    EXPECT_TRUE(interrupted.happened());
}
