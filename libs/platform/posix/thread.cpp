#include "platform/thread.h"

#include <pthread.h>

#include <algorithm>
#include <array>
#include <cstring>

namespace MorvexA106::Platform
{

namespace
{

using Name = std::array<char, 16>; // what the kernel keeps, the terminator included

bool continuesCharacter(char byte) noexcept { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

std::size_t lengthThatFits(const std::string& name) noexcept
{
    const std::size_t room = Name().size() - 1;
    if (name.size() <= room)
        return name.size();
    std::size_t length = room;
    while (length > 0 && continuesCharacter(name[length]))
        --length;
    return length > 0 ? length : room;
}

} // namespace

void nameThisThread(const std::string& name) noexcept
{
    Name kept{};
    std::copy_n(name.data(), lengthThatFits(name), kept.data());
    pthread_setname_np(pthread_self(), kept.data());
}

std::string nameOfThisThread()
{
    Name kept{};
    if (pthread_getname_np(pthread_self(), kept.data(), kept.size()) != 0)
        return {};
    return kept.data();
}

} // namespace MorvexA106::Platform
