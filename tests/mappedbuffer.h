#pragma once

#include "morvex/simplebuffer.h"

#include "scratch.h"

#include <string>
#include <string_view>

namespace MorvexA106
{

/// Opens the record of a buffer to a test of its file.
class FileBuffer : public SSimpleBuffer
{
public:
    using SSimpleBuffer::concat;
    using SSimpleBuffer::setBufferProtected;
    using SSimpleBuffer::SSimpleBuffer;
    using SSimpleBuffer::terminateBuffer;

    bool isMapped() const { return buffer->IsMapped(); }
    bool ownsFile() const { return buffer->deleteBackingFile; }
    bool onEmptyRecord() const { return buffer == &GetEmptyBuffer(); }
    SSimpleInternalBuffer& record() { return *buffer; }
};

inline std::string text(const SSimpleBuffer& buffer)
{
    return {buffer.view().begin(), buffer.view().end()};
}

inline void put(SSimpleBuffer& buffer, std::string_view text)
{
    buffer.append(reinterpret_cast<const unsigned char*>(text.data()), static_cast<unsigned>(text.size()),
                  SSimpleBuffer::none);
}

inline FileBuffer holding(std::string_view text)
{
    FileBuffer buffer;
    put(buffer, text);
    return buffer;
}

inline FileBuffer loaded(const SAnsiString& file, bool useMapping, bool deleteWhenReleased = false)
{
    FileBuffer buffer;
    EXPECT_TRUE(buffer.loadFromFile(file, useMapping, deleteWhenReleased));
    EXPECT_EQ(buffer.isMapped(), useMapping);
    return buffer;
}

/// Text that differs from block to block.
inline std::string longText(std::size_t bytes)
{
    std::string text(bytes, '\0');
    for (std::size_t i = 0; i < bytes; ++i) {
        text[i] = static_cast<char>(i * 131 + i / 251);
    }
    return text;
}

} // namespace MorvexA106
