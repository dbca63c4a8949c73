#pragma once

/// @file
/// Reading the bytes of a buffer where they may stand in a file.

#include "platform/filemapping.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace MorvexA106
{

/// Where the bytes of a buffer are.
struct SimpleBufferContent
{
    std::uint64_t bytes;
    const unsigned char* data;

    /// The file behind `data` when that is a view.
    bool mapped;
    std::intptr_t file;
};

/// Reads a content from its beginning, that of a file by blocks and never through its view: when somebody has cut
/// the file short, a touch of the view ends the process, and a read is only shorter.
class SimpleBufferReader
{
public:
    /// Without memory for a block of the usual size a small one does.
    explicit SimpleBufferReader(const SimpleBufferContent& content) noexcept;

    /// The next bytes, at most as many as asked for, and no more than a step; valid until the next call. Less than
    /// that at the end and after a failure.
    std::span<const unsigned char> next(std::uint64_t limit = UINT64_MAX) noexcept;

    /// How many bytes are given at once: of a file a block, otherwise all.
    std::uint64_t step() const noexcept;

    /// The stated length.
    std::uint64_t bytes() const noexcept { return m_content.bytes; }
    std::uint64_t position() const noexcept { return m_position; }

    /// The file did not give what it had at first; no error where it has ended.
    bool failed() const noexcept { return m_failed; }
    const Platform::SystemError& error() const noexcept { return m_error; }

private:
    std::span<const unsigned char> readBlock(std::size_t count) noexcept;

    static constexpr std::size_t usualBytes = std::size_t{64} * 1024;

    SimpleBufferContent m_content;
    std::uint64_t m_position = 0;
    bool m_failed = false;
    Platform::SystemError m_error;
    std::unique_ptr<unsigned char[]> m_usual;
    std::array<unsigned char, 256> m_small;
};

/// -1, 0 or 1, as if a content that can't be read to its end ended there; of two that are equal so far, the one
/// with the shorter stated length is the lesser. So this is an order whatever happens to the files.
int compareContents(SimpleBufferReader& left, SimpleBufferReader& right) noexcept;

/// Whether the content could be read and the same bytes stand there.
bool isContentAt(SimpleBufferReader& content, const unsigned char* bytes) noexcept;

} // namespace MorvexA106
