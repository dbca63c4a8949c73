#include "morvex/simplebufferfile.h"

#include "platform/filemapping.h"
#include "platform/systemerror.h"

#include <cerrno>
#include <cstdint>

namespace MorvexA106::SimpleBufferFile
{

namespace
{

SFileException failure(SFileException::ErrorCodes code, const SFile& file, int errorNumber)
{
    return {code,
            errorNumber,
            file.getFilename(),
            SFileException::MapErrno(errorNumber),
            Platform::errorText(Platform::runtimeError(errorNumber)).c_str(),
            SAnsiString()};
}

SFileException failure(SFileException::ErrorCodes code, const SFile& file, const char* reason)
{
    return {code, 0, file.getFilename(), SFileException::Other, reason, SAnsiString()};
}

unsigned checkedSize(SFile& file)
{
    const __int64 size = file.sizeEx();
    const bool tooLarge = size >= UINT32_MAX;
    // A folder's size says nothing, and some devices and the system's own files have content but no size.
    unsigned char first;
    if ((size == 0 || tooLarge) && file.read(&first, 1) != 0 && !tooLarge) {
        throw failure(SFileException::ReadFailed, file, "The system does not tell its size.");
    }
    if (tooLarge) {
        throw failure(SFileException::ReadFailed, file, EFBIG);
    }
    return static_cast<unsigned>(size);
}

} // namespace

unsigned openToLoad(SFile& file)
{
    // Its opening would wait for a writer, and in the end it has no size.
    if (Platform::isPipe(file.getFilename())) {
        throw failure(SFileException::ReadFailed, file, ESPIPE);
    }
    file.open(SFile::readOnly, SFile::ownerRWXMask | SFile::groupRWXMask | SFile::othersRWXMask,
              SFile::denyNothing);
    return checkedSize(file);
}

void openToSave(SFile& file, bool overwrite, std::intptr_t mapped)
{
    // Where the file system has no locks, nothing else stands in the way.
    if (overwrite && mapped != -1 && Platform::isMappedAt(mapped, file.getFilename())) {
        throw failure(SFileException::OpenFailed, file, EBUSY);
    }
    const int existing = overwrite ? SFile::truncate : SFile::exclusive;
    file.open(SFile::writeOnly | SFile::create | existing, SFile::ownerRWXMask, SFile::denyNothing);
}

void readAll(SFile& file, std::span<unsigned char> bytes)
{
    while (!bytes.empty()) {
        const int count = file.read(bytes.data(), static_cast<unsigned>(bytes.size()));
        if (count <= 0) {
            throw failure(SFileException::ReadFailed, file, "It has become shorter.");
        }
        bytes = bytes.subspan(static_cast<unsigned>(count));
    }
}

void writeAll(SFile& file, std::span<const unsigned char> bytes)
{
    while (!bytes.empty()) {
        const int count = file.write(bytes.data(), static_cast<unsigned>(bytes.size()));
        if (count <= 0) {
            throw failure(SFileException::WriteFailed, file, "It takes no more bytes.");
        }
        bytes = bytes.subspan(static_cast<unsigned>(count));
    }
}

} // namespace MorvexA106::SimpleBufferFile
