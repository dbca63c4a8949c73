#include "morvex/sfile.h"

#include "morvex/checks.h"
#include "platform/file.h"
#include "platform/systemerror.h"

namespace MorvexA106
{

namespace
{

SAnsiString reasonOf(int errorNumber)
{
    return Platform::errorText(Platform::runtimeError(errorNumber)).c_str();
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
    m_fd = -1;
    m_opened = false;
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
        Platform::closeFile(m_fd);
        m_opened = false;
    }
}

int SFile::read(void* bytes, unsigned n)
{
    requireOpen(SFileException::ReadFailed);
    const auto count = Platform::readFile(m_fd, bytes, n);
    if (count.failed()) {
        fail(SFileException::ReadFailed, count.error);
    }
    return static_cast<int>(count.value);
}

int SFile::write(const void* bytes, unsigned n)
{
    requireOpen(SFileException::WriteFailed);
    const auto count = Platform::writeFile(m_fd, bytes, n);
    if (count.failed()) {
        fail(SFileException::WriteFailed, count.error);
    }
    return static_cast<int>(count.value);
}

void SFile::flush()
{
    if ((m_mode & Platform::FileWord::accessMask) == readOnly) {
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
    return shortForm(measure());
}

bool SFile::eof()
{
    const __int64 position = seekEx(seekCurrent, 0);
    const __int64 end = seekEx(seekEnd, 0);
    seekEx(seekBegin, position);
    return position >= end;
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

__int64 SFile::move(int whence, __int64 offset) const
{
    const auto position = Platform::seekFile(m_fd, offset, whence);
    if (position.failed()) {
        fail(SFileException::SeekFailed, position.error);
    }
    return position.value;
}

/// In 64 bits for both widths: a position that was cut to 32 could not be restored.
__int64 SFile::measure() const
{
    const __int64 position = move(seekCurrent, 0);
    const __int64 end = move(seekEnd, 0);
    move(seekBegin, position);
    return end;
}

} // namespace MorvexA106
