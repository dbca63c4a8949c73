#include "morvex/simplebuffer.h"

namespace MorvexA106
{

SSimpleBuffer::SSimpleInternalBuffer::SSimpleInternalBuffer(long count, unsigned used, unsigned allocated,
                                                            unsigned char* content) noexcept
    : refCount(static_cast<std::int32_t>(count)),
      bytesUsed(used),
      bytesAllocated(allocated),
      data(content)
{}

SSimpleBuffer::SSimpleInternalBuffer::SSimpleInternalBuffer(const SSimpleInternalBuffer& other) noexcept
    : refCount(other.refCount.load()),
      bytesUsed(other.bytesUsed),
      bytesAllocated(other.bytesAllocated),
      data(other.data),
      mapped(other.mapped),
      deleteBackingFile(other.deleteBackingFile),
      backingFileName(other.backingFileName),
      fileHandle(other.fileHandle),
      mappingHandle(other.mappingHandle),
      mappedFileName(other.mappedFileName)
{}

SSimpleBuffer::SSimpleInternalBuffer&
SSimpleBuffer::SSimpleInternalBuffer::operator=(const SSimpleInternalBuffer& other) noexcept
{
    refCount.store(other.refCount.load());
    bytesUsed = other.bytesUsed;
    bytesAllocated = other.bytesAllocated;
    data = other.data;
    mapped = other.mapped;
    deleteBackingFile = other.deleteBackingFile;
    backingFileName = other.backingFileName;
    fileHandle = other.fileHandle;
    mappingHandle = other.mappingHandle;
    mappedFileName = other.mappedFileName;
    return *this;
}

SSimpleBuffer::_EmptyBuffer::_EmptyBuffer(long count, unsigned used, unsigned allocated,
                                          unsigned char last) noexcept
    : SSimpleInternalBuffer(count, used, allocated, nullptr),
      terminator(last)
{}

} // namespace MorvexA106
