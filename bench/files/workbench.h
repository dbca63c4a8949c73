#pragma once

/// @file
/// The rows of this benchmark, in groups: a source file defines one `Group`, whose function makes its rows one after
/// the other, so that what a row prepared is gone before the next begins.

#include "bench.h"

#include <string>
#include <vector>

namespace FilesBench
{

/// What the rows work with: a folder of the benchmark's own, and which rows are asked for.
class Workbench
{
public:
    Workbench(std::string folder, std::string part);

    /// Without a separator at the end. It goes away with all that is in it.
    const std::string& folder() const noexcept { return m_folder; }

    bool wants(const std::string& row) const { return row.find(m_part) != std::string::npos; }

    /// Measures and prints the row. Ask `wants` before any preparation that costs.
    void run(Bench::Row& row);

    /// For what is no race between contenders, but a promise that is kept or not; prints the words too.
    void add(const std::string& row, bool kept, const std::string& words);

    const std::vector<Bench::Verdict>& verdicts() const noexcept { return m_verdicts; }

private:
    std::string m_folder;
    std::string m_part;
    std::vector<Bench::Verdict> m_verdicts;
};

class Group
{
public:
    explicit Group(void (*makeRows)(Workbench& workbench));

    static void runAll(Workbench& workbench);
};

/// What is appended, and how often.
inline constexpr char appendedPiece[16] = {'1', '5', ' ', 'b', 'y', 't', 'e', 's',
                                           ',', ' ', 'o', 'r', ' ', '1', '6'};
inline constexpr std::size_t appendedPieces = 65536;

/// A peer library takes part in the row of appending: `peers/<name>.cpp` defines one, and the file is built where the
/// library is there.
class AppendingPeer
{
public:
    explicit AppendingPeer(void (*add)(Bench::Row& row));

    static void addAll(Bench::Row& row);
};

/// Runs a command of the system and waits for it; what it prints is thrown away. Ends the program when it fails.
void runCommand(const std::vector<std::string>& words);

/// Ends the program where what is measured would not be the work that its row tells.
void require(bool holds, const std::string& what);

} // namespace FilesBench
