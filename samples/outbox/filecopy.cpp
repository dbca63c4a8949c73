#include "filecopy.h"

#include "failures.h"

#include <morvex/sfile.h>
#include <morvex/sfilesys.h>
#include <morvex/sstringhelper.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <initializer_list>
#include <vector>

namespace Outbox
{

using namespace MorvexA106;

namespace
{

constexpr unsigned chunkSize = 1 << 20;

// Flushing as we go keeps each wait for the disk short, and with it the answer to a stop.
constexpr __int64 flushInterval = 16 << 20;

constexpr int newFile = SFile::writeOnly | SFile::create | SFile::truncate;

bool isOneOf(int number, std::initializer_list<int> numbers)
{
    return std::find(numbers.begin(), numbers.end(), number) != numbers.end();
}

// The process or the drop folder is in trouble, not this file.
bool concernsAllSources(const SFileException& failure)
{
    return isOneOf(failure.getErrno(), {ENOENT, ENOMEM, EMFILE, ENFILE});
}

bool concernsNameOnly(const SFileException& failure, const SAnsiString& folder)
{
    if (isOneOf(failure.getErrno(), {ENAMETOOLONG, EINVAL, EILSEQ})) {
        return true;
    }
    // Windows calls a path that is too long "not found" as well.
    return failure.getErrno() == ENOENT && SFileSys::exists(folder);
}

void openSource(SFile& source)
{
    try {
        source.open(SFile::readOnly | SFile::sequential, SFile::defaultPermissions, SFile::denyNothing);
    } catch (const SFileException& failure) {
        if (concernsAllSources(failure)) {
            throw;
        }
        throw FileFault{failure.toString()};
    }
}

unsigned readChunk(SFile& source, std::vector<char>& chunk)
{
    try {
        return static_cast<unsigned>(source.read(chunk.data(), chunkSize));
    } catch (const SFileException& failure) {
        throw FileFault{failure.toString()};
    }
}

SAnsiString folderOf(const SAnsiString& path)
{
    SAnsiString folder, name, extension;
    SStringHelper::SplitPathEx(path, folder, name, extension);
    return folder;
}

void openTarget(SFile& target)
{
    try {
        target.open(newFile, SFile::defaultPermissions, SFile::denyNothing);
    } catch (const SFileException& failure) {
        if (!concernsNameOnly(failure, folderOf(target.getFilename()))) {
            throw;
        }
        throw FileFault{SAnsiString("The target folder can't hold a file of this name. ") +
                        failure.toString()};
    }
}

// A disk that fills up takes what fits, and refuses the rest.
void writeAll(SFile& target, const char* bytes, unsigned count)
{
    while (count > 0) {
        const int written = target.write(bytes, count);
        if (written <= 0) {
            throw Trouble{SAnsiString("Nothing can be written to ") + target.getFilename()};
        }
        bytes += written;
        count -= static_cast<unsigned>(written);
    }
}

bool isZero(const char* bytes, unsigned count)
{
    return bytes[0] == 0 && std::memcmp(bytes, bytes + 1, count - 1) == 0;
}

void putChunk(SFile& target, const std::vector<char>& chunk, unsigned count)
{
    if (count == chunkSize && isZero(chunk.data(), count)) {
        target.seekEx(SFile::seekCurrent, count);
    } else {
        writeAll(target, chunk.data(), count);
    }
}

// A hole at the end is nothing without a byte behind it.
void endHole(SFile& target, __int64 size)
{
    if (target.sizeEx() < size) {
        target.seekEx(SFile::seekBegin, size - 1);
        writeAll(target, "", 1);
    }
}

// A file system refuses a write past its largest file with the first, a move to there with the second.
bool concernsSizeOnly(const SFileException& failure)
{
    return failure.getErrno() == EFBIG ||
           (failure.ErrCode() == SFileException::SeekFailed && failure.getErrno() == EINVAL);
}

void copyContent(SFile& source, SFile& target, const std::function<bool()>& stopRequested)
{
    std::vector<char> chunk(chunkSize);
    __int64 size = 0;
    __int64 flushed = 0;
    for (unsigned count = readChunk(source, chunk); count > 0; count = readChunk(source, chunk)) {
        putChunk(target, chunk, count);
        size += count;
        if (size - flushed >= flushInterval) {
            target.flush();
            flushed = size;
        }
        if (stopRequested()) {
            throw Stopped{};
        }
    }
    endHole(target, size);
    target.flush();
}

} // namespace

void copyFlushed(const SAnsiString& from, const SAnsiString& to, const std::function<bool()>& stopRequested)
{
    SFile source(from);
    openSource(source);
    SFile target(to);
    openTarget(target);
    try {
        copyContent(source, target, stopRequested);
    } catch (const SFileException& failure) {
        if (!concernsSizeOnly(failure)) {
            throw;
        }
        throw FileFault{SAnsiString("The target folder can't hold a file of this size. ") +
                        SAnsiString(std::strerror(failure.getErrno()))};
    }
}

void writeFlushed(const SAnsiString& path, const SAnsiString& text)
{
    SFile file(path, newFile, SFile::defaultPermissions, SFile::denyNothing);
    writeAll(file, text.getString(), static_cast<unsigned>(text.view().size()));
    file.flush();
}

} // namespace Outbox
