// The byte buffer.

#include "session.h"

#include <morvex/simplebuffer.h>

#include <vector>

using namespace MorvexA106;

namespace FilesBench
{

namespace
{

using Bench::keep;

const unsigned char* piece() noexcept
{
    return reinterpret_cast<const unsigned char*>(appendedPiece);
}

void addAppending(Session& session)
{
    Bench::Row row("append 16 bytes up to 1 MB");
    row.ours([] {
        SSimpleBuffer bytes;
        for (std::size_t i = 0; i < appendedPieces; ++i) {
            bytes.append(piece(), sizeof appendedPiece, bytes.getNBytes());
        }
        keep(bytes);
    });
    row.peer("std::vector", [] {
        std::vector<unsigned char> bytes;
        for (std::size_t i = 0; i < appendedPieces; ++i) {
            bytes.insert(bytes.end(), piece(), piece() + sizeof appendedPiece);
        }
        keep(bytes);
    });
    AppendingPeer::addAll(row);
    row.target(1);
    session.run(row);
}

const Group group(addAppending);

} // namespace

} // namespace FilesBench
