#include "morvex/sfile.h"

#include "morvex/badalloc.h"
#include "morvex/checks.h"
#include "platform/file.h"
#include "platform/systemerror.h"

#include <string>

namespace MorvexA106
{

namespace
{

SAnsiString reasonOf(int errorNumber)
{
    const std::string text =
        sayingBadAllocation([&] { return Platform::errorText(Platform::runtimeError(errorNumber)); });
    return text.c_str();
}

/// The 32-bit form of a position or a size.
long shortForm(__int64 position) noexcept
{
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(position));
}

} // namespace

const int SFile::writeMask = SFile::readWriteMask;

SFile::SFile(const SAnsiString& path) noexcept : m_filename(path) {}

SFile::SFile(const SAnsiString& path, int flags, int permissions, int sharing) : m_filename(path)
{
    open(flags, permissions, sharing);
}

SFile::~SFile()
{
    close();
}

void SFile::open(int flags, int permissions, int sharing)
{
    close();
    m_fd = -1;
    if (flags == -1) {
        throw SFileException(SFileException::OpenFailed, 0, m_filename, SFileException::Other,
                             "No file access mode provided.", SAnsiString());
    }
    const int mode = flags | Platform::FileWord::binary;
    const auto opened = Platform::openFile(m_filename, mode, permissions, sharing);
    if (opened.failed()) {
        fail(SFileException::OpenFailed, opened.error);
    }
    m_fd = static_cast<int>(opened.value);
    m_mode = mode;
    m_opened = true;
}

void SFile::open(const SAnsiString& path, int flags, int permissions, int sharing)
{
    m_filename = path;
    open(flags, permissions, sharing);
}

void SFile::close() noexcept
{
    if (m_opened) {
        static_cast<void>(putBackPosition()); // for others who share the descriptor
        m_ahead.reset();
        m_aheadNext = m_aheadEnd = 0;
        Platform::closeFile(m_fd);
        m_opened = false;
    }
}

int SFile::getFd() const noexcept
{
    static_cast<void>(putBackPosition());
    return m_fd;
}

int SFile::read(void* bytes, unsigned n)
{
    requireOpen(SFileException::ReadFailed);
    leaveReadAhead(SFileException::ReadFailed);
    const auto count = Platform::readFile(m_fd, bytes, n);
    if (count.failed()) {
        fail(SFileException::ReadFailed, count.error);
    }
    return static_cast<int>(count.value);
}

int SFile::write(const void* bytes, unsigned n)
{
    requireOpen(SFileException::WriteFailed);
    leaveReadAhead(SFileException::WriteFailed);
    const auto count = Platform::writeFile(m_fd, bytes, n);
    if (count.failed()) {
        fail(SFileException::WriteFailed, count.error);
    }
    return static_cast<int>(count.value);
}

void SFile::flush()
{
    static_cast<void>(putBackPosition());
    if (!m_opened || (m_mode & Platform::FileWord::accessMask) == readOnly) {
        return;
    }
    const auto flushed = Platform::commitFile(m_fd);
    if (flushed.failed()) {
        fail(SFileException::FlushFailed, flushed.error);
    }
}

long SFile::seek(int whence, long offset) const
{
    requireOpen(SFileException::SeekFailed);
    MORVEX_CHECK(m_fd != -1, "m_fd != -1");
    return shortForm(move(whence, offset));
}

long SFile::size() const
{
    requireOpen(SFileException::SeekFailed);
    MORVEX_CHECK(m_fd != -1, "m_fd != -1");
    return shortForm(measure().end);
}

bool SFile::eof()
{
    requireOpen(SFileException::SeekFailed);
    MORVEX_CHECK(m_fd != -1, "m_fd != -1");
    return isAtEnd();
}

void SFile::requireOpen(SFileException::ErrorCodes code) const
{
    if (!m_opened) {
        throw SFileException(code, 0, m_filename, SFileException::NotOpen, "File not opened yet.",
                             SAnsiString());
    }
}

void SFile::fail(SFileException::ErrorCodes code, int errorNumber) const
{
    throw SFileException(code, errorNumber, m_filename, SFileException::MapErrno(errorNumber),
                         reasonOf(errorNumber), SAnsiString());
}

/// The descriptor goes where reading byte by byte would have left it. Returns the `errno` of a failure, after which
/// all is as it was.
int SFile::putBackPosition() const noexcept
{
    if (unread() == 0) {
        return 0;
    }
    const auto moved = Platform::seekFile(m_fd, -static_cast<__int64>(unread()), seekCurrent);
    if (!moved.failed()) {
        m_aheadNext = m_aheadEnd = 0;
    }
    return moved.error;
}

void SFile::leaveReadAhead(SFileException::ErrorCodes code) const
{
    const int error = putBackPosition();
    if (error != 0) {
        fail(code, error);
    }
    m_aheadNext = m_aheadEnd = 0;
}

__int64 SFile::moveDescriptor(int whence, __int64 offset) const
{
    const auto position = Platform::seekFile(m_fd, offset, whence);
    if (position.failed()) {
        fail(SFileException::SeekFailed, position.error);
    }
    return position.value;
}

/// Asking for the position leaves the block as it is.
__int64 SFile::move(int whence, __int64 offset) const
{
    if (whence == seekCurrent && offset == 0) {
        return moveDescriptor(seekCurrent, 0) - unread();
    }
    leaveReadAhead(SFileException::SeekFailed);
    return moveDescriptor(whence, offset);
}

/// In 64 bits for both widths: a position that was cut to 32 could not be restored.
SFile::Extent SFile::measure() const
{
    const __int64 reached = moveDescriptor(seekCurrent, 0);
    const __int64 end = moveDescriptor(seekEnd, 0);
    const auto restored = Platform::seekFile(m_fd, reached, seekBegin);
    if (restored.failed()) {
        m_aheadNext = m_aheadEnd = 0; // the position is lost, and the block has no place any more
        fail(SFileException::SeekFailed, restored.error);
    }
    const __int64 position = reached - unread();
    if (end < reached) {
        leaveReadAhead(SFileException::SeekFailed); // the file was cut, and what was read ahead is gone
    }
    return {position, end};
}

bool SFile::isAtEnd() const
{
    if (unread() != 0) {
        return false;
    }
    const Extent extent = measure();
    return extent.position >= extent.end;
}

} // namespace MorvexA106
