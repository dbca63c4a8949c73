#include "workbench.h"

#include <QByteArray>

namespace
{

void add(Bench::Row& row)
{
    row.peer("QByteArray", [] {
        QByteArray bytes;
        for (std::size_t i = 0; i < FilesBench::appendedPieces; ++i) {
            bytes.append(FilesBench::appendedPiece, sizeof FilesBench::appendedPiece);
        }
        Bench::keep(bytes);
    });
}

const FilesBench::AppendingPeer qt(add);

} // namespace
