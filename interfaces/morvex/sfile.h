#pragma once

/// @file
/// A file: a path, a descriptor of the C runtime and an open flag.

#include "morvex/export.h"
#include "morvex/sfileexception.h"
#include "morvex/sstring.h"
#include "morvex/types.h"

#include <memory>

namespace MorvexA106
{

/// A file on disk, read and written in bytes, and in lines of text. Every failure is thrown as `SFileException`.
///
///     SFile file("report.txt");
///     file.open(SFile::writeOnly | SFile::create | SFile::truncate, SFile::defaultPermissions,
///               SFile::denyWrite);
///     file.write("done\n", 5);
///     file.flush();
///     file.open(SFile::readOnly, SFile::defaultPermissions, SFile::denyNothing);
///     while (!file.eof()) {
///         process(file.readLine());
///     }
///
/// | state  | `open`                                    | `close` | `flush`             | all other operations    |
/// |--------|-------------------------------------------|---------|---------------------|-------------------------|
/// | closed | open; after a failure closed              | nothing | nothing             | throw, detail `NotOpen` |
/// | open   | closes, then open; after a failure closed | closed  | to the disk         | work                    |
///
/// The object owns its descriptor and closes it when it ends. One object belongs to one thread at a time: there
/// is no lock, and `size`, `sizeEx` and `eof` move the position and bring it back, although the first two are
/// const.
///
/// Nothing is buffered, and each call is a call of the system, but for `readLine`, which keeps a block of the file
/// that it has read ahead. Nobody sees that from the object: every other operation works as if only the bytes of
/// the lines had been read, and puts the descriptor's position there where that counts. What can be seen: what
/// others do to bytes that are in the block comes too late for `readLine` and `eof`, be it a change or that the file is
/// cut (`size` and `sizeEx` notice that); and who shares the descriptor, a process forked off or a duplicate, finds
/// its position ahead, until `getFd`, `flush` or `close` is called.
///
/// POSIX: a call that a signal interrupts is taken up again. A write past the process's limit of file size is
/// reported as an error only where the program ignores SIGXFSZ, which otherwise ends it.
class MORVEX_EXPORT SFile
{
public:
    /// @name Access, one of the first three, and what may be added to it
    /// @{
    static constexpr int readOnly = 0x0;
    static constexpr int writeOnly = 0x1;
    static constexpr int readAndWrite = 0x2;

    /// Every write goes to the end of the file, wherever the position stands.
    static constexpr int append = 0x8;
    static constexpr int create = 0x100;

    /// Empties the file once it is open; refused with error number 22 when it is not opened for writing. An
    /// open that is refused for any reason empties nothing.
    static constexpr int truncate = 0x200;

    /// With `create`: the file must not exist. Without it: no effect.
    static constexpr int exclusive = 0x400;

    /// The file goes away with its last descriptor. POSIX: its name is gone as soon as it is open.
    static constexpr int temporary = 0x40;

    /// Child processes do not inherit the descriptor. POSIX: they never do.
    static constexpr int noInherit = 0x80;

    /// Advice on how the file will be read.
    static constexpr int sequential = 0x20;
    static constexpr int random = 0x10;
    /// @}

    /// @name Permissions of a file that is created
    /// Groups and others have no say in these words: their masks are 0. POSIX: the owner's masks are the
    /// permission bits, `defaultPermissions` stands for all but the process's file mode mask takes away, and
    /// any permission bits may be given in place of the words.
    /// @{
    static constexpr int ownerRWXMask = 0x1C0;
    static constexpr int ownerRMask = 0x100;
    static constexpr int ownerWMask = 0x80;
    static constexpr int ownerXMask = 0x40;
    static constexpr int groupRWXMask = 0x0;
    static constexpr int groupRMask = 0x0;
    static constexpr int groupWMask = 0x0;
    static constexpr int groupXMask = 0x0;
    static constexpr int othersRWXMask = 0x0;
    static constexpr int othersRMask = 0x0;
    static constexpr int othersWMask = 0x0;
    static constexpr int othersXMask = 0x0;
    static constexpr int readMask = 0x100;
    static constexpr int readWriteMask = 0x1C0;

    /// All of the owner's bits, 0x1C0, and not the bit for writing alone.
    static const int writeMask;

    /// Whatever is usual; a marker, not a combination of masks.
    static constexpr int defaultPermissions = 0x60000000;
    /// @}

    /// @name Sharing: what others may not do while the file is open
    /// An open that somebody's sharing forbids, or that forbids what somebody is doing, fails with error number
    /// 13. Any other value fails with 22.
    ///
    /// POSIX: holds among the users of this library, in whatever process; two calls of the system are spent
    /// on it. On a file system without locks `denyNothing` works and the others fail.
    /// @{
    static constexpr int denyReadAndWrite = 0x10;
    static constexpr int denyWrite = 0x20;
    static constexpr int denyRead = 0x30;
    static constexpr int denyNothing = 0x40;
    /// @}

    /// @name Where a position is counted from
    /// @{
    static constexpr int seekBegin = 0;
    static constexpr int seekSet = 0;
    static constexpr int seekCurrent = 1;
    static constexpr int seekEnd = 2;
    /// @}

    /// @name Words for locking bytes
    /// @{
    static constexpr int lockUnlock = 0;
    static constexpr int lockRetryLock = 1;
    static constexpr int lockNoRetryLock = 2;
    /// @}

    /// No path, closed. The descriptor of a new object reads as 0.
    SFile() noexcept = default;

    /// Keeps the path and opens nothing.
    explicit SFile(const SAnsiString& path) noexcept;

    /// Keeps the path and opens. Throws as `open`.
    SFile(const SAnsiString& path, int flags, int permissions, int sharing);

    SFile(const SFile&) = delete;
    SFile& operator=(const SFile&) = delete;
    virtual ~SFile();

    /// Opens the file at the kept path, in binary.
    ///
    /// Throws code `OpenFailed`: with detail `Other` and error number 0 when `flags` is -1, before the system
    /// is asked; else with the runtime's number. An object that is open already is closed first, and the file
    /// that it had is no obstacle. The object is closed after any failure and its descriptor reads as -1.
    void open(int flags, int permissions, int sharing);

    /// Keeps the path, failure or not, and opens.
    void open(const SAnsiString& path, int flags, int permissions, int sharing);

    /// Closes an open file. What the system says to it is not reported: `flush` before, where it matters. The
    /// descriptor keeps its last value.
    void close() noexcept;

    const SAnsiString& getFilename() const noexcept { return m_filename; }

    /// Replaces the path for the next `open`; an open descriptor stays as it is.
    void setFilePath(const SAnsiString& path) noexcept { m_filename = path; }

    /// Its position is where the object's is. Whoever moves it, by the number, does so between two operations.
    int getFd() const noexcept;
    bool isOpened() const noexcept { return m_opened; }

    /// Reads at most `n` bytes and returns their count, which may be short; 0 at the end of the file. Throws
    /// code `ReadFailed`.
    int read(void* bytes, unsigned n);

    /// Writes at most `n` bytes and returns their count. A short count is no failure: a disk that fills up
    /// takes what fits, and refuses the next call. Throws code `WriteFailed`.
    [[nodiscard]] int write(const void* bytes, unsigned n);

    /// Returns when what was written has reached the disk. Does nothing on a file that was opened for reading, nor on a
    /// closed object. Throws code `FlushFailed`.
    void flush();

    /// Moves the position and returns the new one, counted in bytes from the beginning, as a signed 32-bit
    /// value: above 2 GiB it is the position less a multiple of 4 GiB, and may be -1 without a failure. The
    /// offset is used in full. A position past the end is allowed. Throws code `SeekFailed`, whose message says
    /// nothing of the file or the reason; the error number does.
    long seek(int whence, long offset) const;
    long getPosition() const { return seek(seekCurrent, 0); }
    long seekToBegin() { return seek(seekBegin, 0); }
    long seekToEnd() { return seek(seekEnd, 0); }

    /// The same in 64 bits.
    __int64 seekEx(int whence, __int64 offset) const;
    __int64 getPositionEx() const { return seekEx(seekCurrent, 0); }

    /// Bytes in the file, as a signed 32-bit value with the same limits as `seek`. Throws as `seek`.
    long size() const;

    /// The same in 64 bits.
    __int64 sizeEx() const;

    /// True when the position is at the end or past it. Throws code `SeekFailed`, also on what has no
    /// position, such as a pipe.
    bool eof();

    /// @name Text
    /// In the file it is UTF-8, in the program the current locale's: `MBCSCodesetConverter` tells what becomes of
    /// characters that one side doesn't have. A zero byte ends the text of a line or file, though not the reading.
    ///
    /// Reading needs a position and an end. On what has none, such as a pipe, or a file of /proc on Linux, it throws
    /// code `SeekFailed`. From a position past the end on, there is no text. Else it throws code `ReadFailed`: with error
    /// number 0 and detail `OutOfMemory` where there is no memory for the bytes, and `std::bad_alloc` where there is none
    /// for the text.
    /// @{

    /// The rest of the file. A file that is cut short while it is being read is a failure, with error number 0.
    /// Takes memory for the bytes and the text.
    SAnsiString readString();

    /// Up to the next "\n", which is read too and is no part of the result, or to the end. Every "\r" is dropped,
    /// wherever it stands. The end is where the file ended when the call began. A line that grows at the end of the
    /// file is thus returned in the parts in which it was found. Empty at the end of the file: `eof` tells it from
    /// an empty line.
    ///
    /// Costs no call of the system as long as lines come from the block that was read ahead, of 64 KiB; other
    /// operations but `eof`, `size`, `sizeEx`, `getPosition` and `getPositionEx` give the block up.
    SAnsiString readLine();

    /// The same into a string whose memory is used again, which is quicker. False, with an empty line, at the end of
    /// the file; when it throws, the line is empty or what it was.
    ///
    ///     for (SAnsiString line; file.readLine(line);) { ... }
    bool readLine(SAnsiString& line);

    /// Writes the text, up to a zero byte in it, and returns the count of UTF-8 bytes written, which may be short, as
    /// with `write`. Empty text asks nothing of the file, be it open or not. Throws code `WriteFailed`.
    [[nodiscard]] int writeString(const SAnsiString& text);
    /// @}

protected:
    SAnsiString m_filename;

    /// The flags of the last open, the binary flag 0x8000 included.
    int m_mode = 0;
    int m_fd = 0;
    bool m_opened = false;

private:
    class Line;
    struct Extent
    {
        __int64 position;
        __int64 end;
    };

    void requireOpen(SFileException::ErrorCodes code) const;
    [[noreturn]] void fail(SFileException::ErrorCodes code, int errorNumber) const;
    [[noreturn]] void failToReadText(SFileException::DetailCodes detail, const SAnsiString& reason) const;

    __int64 moveDescriptor(int whence, __int64 offset) const;
    __int64 move(int whence, __int64 offset) const;
    Extent measure() const;
    bool isAtEnd() const;

    unsigned readText(char* bytes, __int64 n);
    bool isAtEndOfText() const;
    void readWhole(char* bytes, __int64 n);

    unsigned unread() const noexcept { return m_aheadEnd - m_aheadNext; }
    int putBackPosition() const noexcept;
    void leaveReadAhead(SFileException::ErrorCodes code) const;
    void readAhead();
    void findPlainText() noexcept;
    bool isPlain(const char* end) const noexcept;
    bool readLongLine(SAnsiString& line);
    void collect(Line& line);

    // What readLine has read ahead and not yet returned stands between the two offsets; the descriptor's position
    // is at the second.
    mutable std::unique_ptr<char[]> m_ahead;
    mutable unsigned m_aheadNext = 0;
    mutable unsigned m_aheadEnd = 0;

    // Lines of the block that end up to here need no conversion in a UTF-8 locale, nor, if all of it is ASCII, in an
    // ASCII locale.
    unsigned m_plainEnd = 0;
    bool m_plainIsAscii = false;
};

} // namespace MorvexA106
