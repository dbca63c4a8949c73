#include "morvex/badalloc.h"
#include "morvex/mbcscodesetconverter.h"
#include "morvex/sfile.h"
#include "morvex/textbuilder.h"
#include "morvex/utfkernels.h"
#include "platform/file.h"
#include "platform/systemerror.h"
#include "platform/text.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <new>
#include <string>
#include <utility>

namespace MorvexA106
{

namespace
{

using Block = std::unique_ptr<char[]>;

/// Whoever reads one line of a file and goes on in another way shall not pay for a whole block.
constexpr unsigned firstReadAhead = 4096;
constexpr unsigned readAheadSize = 65536;

/// A system may answer a read before the end of a file with no bytes. It is asked again, but not for ever.
constexpr int retries = 10;

SAnsiString noMemoryText()
{
    const std::string text =
        sayingBadAllocation([] { return Platform::errorText(Platform::runtimeError(ENOMEM)); });
    return text.c_str();
}

/// With one more for a terminator; null without memory.
Block makeBlock(__int64 bytes) noexcept
{
    const bool fits = static_cast<std::uint64_t>(bytes) < SIZE_MAX / 2;
    return Block(fits ? new (std::nothrow) char[static_cast<std::size_t>(bytes) + 1] : nullptr);
}

SAnsiString textOf(const char* terminated)
{
    return MBCSCodesetConverter::ExplicitCodesetToT(terminated, MBCSCodesetConverter::UTF8);
}

/// In the memory of a text that isn't needed any more. Empty text takes none.
SAnsiString textIn(SAnsiString used, const char* bytes, std::size_t n)
{
    if (n == 0) {
        return SAnsiString();
    }
    TextBuilder<char, 0> builder(std::move(used), n);
    std::memcpy(builder.extend(n), bytes, n);
    return SAnsiString(builder.take());
}

/// Of bytes that aren't needed any more, with room for a terminator behind them.
SAnsiString textOfLine(char* begin, char* end)
{
    const auto length = static_cast<std::size_t>(end - begin);
    auto* const dropped = static_cast<char*>(std::memchr(begin, '\r', length));
    *(dropped == nullptr ? end : std::remove(dropped, end, '\r')) = 0;
    return textOf(begin);
}

} // namespace

/// A line that comes in parts.
class SFile::Line
{
public:
    /// At most `limit` bytes of the file belong to it.
    explicit Line(__int64 limit) noexcept : m_limit(limit) {}

    bool isWhole() const noexcept { return m_limit <= 0; }

    /// Takes what belongs to it, and returns how much that is.
    unsigned take(const char* bytes, unsigned n)
    {
        const auto looked = static_cast<unsigned>(std::min<__int64>(n, m_limit));
        const auto* const lineEnd = static_cast<const char*>(std::memchr(bytes, '\n', looked));
        m_bytes.append(bytes, lineEnd != nullptr ? lineEnd : bytes + looked);
        m_limit = lineEnd != nullptr ? 0 : m_limit - looked;
        return lineEnd != nullptr ? static_cast<unsigned>(lineEnd - bytes) + 1 : looked;
    }

    SAnsiString text() { return textOfLine(m_bytes.data(), m_bytes.data() + m_bytes.size()); }

private:
    std::string m_bytes;
    __int64 m_limit;
};

SAnsiString SFile::readString()
{
    requireOpen(SFileException::ReadFailed);
    const Extent extent = measure();
    const __int64 missing = extent.end - extent.position;
    if (missing <= 0) {
        return SAnsiString();
    }
    const Block block = makeBlock(missing);
    if (block == nullptr) {
        failToReadText(SFileException::OutOfMemory, noMemoryText());
    }
    leaveReadAhead(SFileException::ReadFailed);
    readWhole(block.get(), missing);
    block[static_cast<std::size_t>(missing)] = 0;
    return textOf(block.get());
}

SAnsiString SFile::readLine()
{
    SAnsiString line;
    static_cast<void>(readLine(line));
    return line;
}

bool SFile::readLine(SAnsiString& line)
{
    requireOpen(SFileException::ReadFailed);
    char* const begin = m_ahead.get() + m_aheadNext;
    auto* const end = unread() != 0 ? static_cast<char*>(std::memchr(begin, '\n', unread())) : nullptr;
    if (end == nullptr) {
        return readLongLine(line);
    }
    m_aheadNext = static_cast<unsigned>(end + 1 - m_ahead.get());
    if (isPlain(end)) {
        line = textIn(std::move(line), begin, static_cast<std::size_t>(end - begin));
    } else {
        line = textOfLine(begin, end);
    }
    return true;
}

/// One that is not in the block, or only its beginning is.
bool SFile::readLongLine(SAnsiString& line)
{
    line.empty();
    const Extent extent = measure();
    if (extent.position >= extent.end) {
        return false;
    }
    Line parts(extent.end - extent.position);
    try {
        collect(parts);
    } catch (const std::bad_alloc&) {
        failToReadText(SFileException::OutOfMemory, noMemoryText());
    }
    line = parts.text();
    return true;
}

int SFile::writeString(const SAnsiString& text)
{
    const SSimpleBuffer bytes = MBCSCodesetConverter::TToExplicitCodeset(text, MBCSCodesetConverter::UTF8);
    if (bytes.getNBytes() <= 1) { // the terminator alone
        return 0;
    }
    return std::max(write(bytes, bytes.getNBytes() - 1), 0);
}

void SFile::failToReadText(SFileException::DetailCodes detail, const SAnsiString& reason) const
{
    throw SFileException(SFileException::ReadFailed, 0, m_filename, detail, reason, SAnsiString());
}

/// At most `n` bytes past the block that was read ahead.
unsigned SFile::readText(char* bytes, __int64 n)
{
    const auto asked = static_cast<unsigned>(std::min<__int64>(n, INT32_MAX));
    const auto count = Platform::readFile(m_fd, bytes, asked);
    if (count.failed()) {
        fail(SFileException::ReadFailed, count.error);
    }
    return static_cast<unsigned>(count.value);
}

/// What goes wrong in the middle of text is a failed reading, whatever it was.
bool SFile::isAtEndOfText() const
{
    try {
        return isAtEnd();
    } catch (const SFileException& failure) {
        fail(SFileException::ReadFailed, failure.getErrno());
    }
}

void SFile::readWhole(char* bytes, __int64 n)
{
    for (int left = retries; n != 0;) {
        const unsigned count = readText(bytes, n);
        bytes += count;
        n -= count;
        left -= count == 0 ? 1 : 0;
        if (n != 0 && (left == 0 || isAtEndOfText())) {
            failToReadText(SFileException::Other, "The file has become shorter.");
        }
    }
}

/// Into the block, which must have been used up.
void SFile::readAhead()
{
    if (m_ahead == nullptr) {
        m_ahead = makeBlock(readAheadSize);
    }
    if (m_ahead == nullptr) {
        throw std::bad_alloc();
    }
    const unsigned count = readText(m_ahead.get(), m_aheadEnd == 0 ? firstReadAhead : readAheadSize);
    m_aheadNext = 0;
    m_aheadEnd = count;
    findPlainText();
}

/// One look at the whole block costs less than a look at each of its lines.
void SFile::findPlainText() noexcept
{
    const char* const begin = m_ahead.get();
    const char* end = begin + m_aheadEnd;
    for (const char special : {'\0', '\r'}) {
        const void* const found = std::memchr(begin, special, static_cast<std::size_t>(end - begin));
        end = found != nullptr ? static_cast<const char*>(found) : end;
    }
    const auto* const bytes = reinterpret_cast<const unsigned char*>(begin);
    const auto counted = UtfKernels::countUtf8(bytes, bytes + (end - begin));
    m_plainEnd = static_cast<unsigned>(counted.stop - bytes);
    m_plainIsAscii = counted.characters == m_plainEnd;
}

/// Whether the bytes of a line that ends there are its text.
bool SFile::isPlain(const char* end) const noexcept
{
    if (end > m_ahead.get() + m_plainEnd) {
        return false;
    }
    const auto locale = Platform::LocaleText::current();
    return locale.isUtf8() || (m_plainIsAscii && locale.isAscii());
}

void SFile::collect(Line& line)
{
    for (int left = retries; !line.isWhole();) {
        if (unread() == 0) {
            readAhead();
        }
        if (unread() == 0 && (--left == 0 || isAtEndOfText())) {
            return;
        }
        m_aheadNext += line.take(m_ahead.get() + m_aheadNext, unread());
    }
}

} // namespace MorvexA106
