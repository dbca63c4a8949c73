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

void tellOccupant(void* occupant)
{
    static_cast<ThreadSlot::Occupant*>(occupant)->threadEnds();
}

bool continuesCharacter(char byte) noexcept
{
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

std::size_t lengthThatFits(const std::string& name) noexcept
{
    const std::size_t room = Name().size() - 1;
    if (name.size() <= room) {
        return name.size();
    }
    std::size_t length = room;
    while (length > 0 && continuesCharacter(name[length])) {
        --length;
    }
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
    if (pthread_getname_np(pthread_self(), kept.data(), kept.size()) != 0) {
        return {};
    }
    return kept.data();
}

ThreadSlot::ThreadSlot() noexcept
{
    pthread_key_t key{};
    m_usable = pthread_key_create(&key, &tellOccupant) == 0;
    m_key = key;
}

ThreadSlot::Occupant* ThreadSlot::get() const noexcept
{
    return m_usable ? static_cast<Occupant*>(pthread_getspecific(static_cast<pthread_key_t>(m_key)))
                    : nullptr;
}

bool ThreadSlot::set(Occupant* occupant) noexcept
{
    return m_usable && pthread_setspecific(static_cast<pthread_key_t>(m_key), occupant) == 0;
}

} // namespace MorvexA106::Platform
