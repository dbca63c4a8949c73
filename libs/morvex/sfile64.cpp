#include "morvex/checks.h"
#include "morvex/sfile.h"

namespace MorvexA106
{

__int64 SFile::seekEx(int whence, __int64 offset) const
{
    requireOpen(SFileException::SeekFailed);
    MORVEX_CHECK(m_fd != -1, "m_fd != -1");
    return move(whence, offset);
}

__int64 SFile::sizeEx() const
{
    requireOpen(SFileException::SeekFailed);
    MORVEX_CHECK(m_fd != -1, "m_fd != -1");
    return measure().end;
}

} // namespace MorvexA106
