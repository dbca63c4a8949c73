#include "morvex/simplebuffercontent.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace MorvexA106
{

SimpleBufferReader::SimpleBufferReader(const SimpleBufferContent& content) noexcept
    : m_content(content),
      m_usual(content.mapped ? new (std::nothrow) unsigned char[usualBytes] : nullptr)
{}

std::uint64_t SimpleBufferReader::step() const noexcept
{
    if (!m_content.mapped) {
        return UINT64_MAX;
    }
    return m_usual ? usualBytes : m_small.size();
}

std::span<const unsigned char> SimpleBufferReader::next(std::uint64_t limit) noexcept
{
    const std::uint64_t count = m_failed ? 0 : std::min({limit, step(), m_content.bytes - m_position});
    if (count == 0) {
        return {};
    }
    const auto bytes = m_content.mapped ? readBlock(count) : std::span(m_content.data + m_position, count);
    m_position += bytes.size();
    return bytes;
}

std::span<const unsigned char> SimpleBufferReader::readBlock(std::size_t count) noexcept
{
    unsigned char* const block = m_usual ? m_usual.get() : m_small.data();
    const auto read = Platform::readMapped(m_content.file, m_position, block, count);
    m_failed = read.count < count;
    m_error = read.error;
    return {block, read.count};
}

int compareContents(SimpleBufferReader& left, SimpleBufferReader& right) noexcept
{
    std::uint64_t missing = std::min(left.bytes(), right.bytes());
    while (missing > 0 && !left.failed() && !right.failed()) {
        const std::uint64_t step = std::min({missing, left.step(), right.step()});
        const auto mine = left.next(step);
        const auto others = right.next(step);
        if (const int order = std::memcmp(mine.data(), others.data(), std::min(mine.size(), others.size()))) {
            return order < 0 ? -1 : 1;
        }
        if (mine.size() != others.size()) {
            return mine.size() < others.size() ? -1 : 1;
        }
        missing -= mine.size();
    }
    return left.bytes() == right.bytes() ? 0 : left.bytes() < right.bytes() ? -1 : 1;
}

bool isContentAt(SimpleBufferReader& content, const unsigned char* bytes) noexcept
{
    for (auto part = content.next(); !part.empty(); part = content.next()) {
        if (std::memcmp(part.data(), bytes + (content.position() - part.size()), part.size()) != 0) {
            return false;
        }
    }
    return !content.failed();
}

} // namespace MorvexA106
