#pragma once

#include <morvex/sstring.h>

#include <cstdint>
#include <ctime>
#include <map>
#include <string>
#include <vector>

namespace Outbox
{

/// How a file looked at one moment; a file that looks the same twice stood still in between.
struct Stamp
{
    std::uint32_t size = 0;
    std::time_t time = 0;

    bool operator==(const Stamp&) const = default;
};

/// A file and how it looked.
struct Sighting
{
    MorvexA106::SAnsiString name;
    Stamp stamp;
};

/// The files in a folder that may be taken: no folders, and none of those whose name begins with a dot, under
/// which a writer hides what it has not finished. Oldest first, then by name. Other kinds of entries that are
/// no file (pipes, sockets, devices, symbolic links) are left out as well. An entry that goes away while we
/// look is not there.
std::vector<Sighting> filesIn(const MorvexA106::SAnsiString& folder);

/// Whether something else than a file or folder has the path: a symbolic link, a pipe, a socket or a device.
bool isSpecial(const MorvexA106::SAnsiString& path);

/// Tells which files are complete: those that look the same as when `completeOf` was called before. A writer
/// that renames its finished file into the folder is only delayed by that; from the outside its file can't
/// be told from one that was just begun.
class Scanner
{
public:
    /// Those of the sightings that were seen before just like this. The next call compares with these.
    std::vector<Sighting> completeOf(const std::vector<Sighting>& sightings);

private:
    std::map<std::string, Stamp> m_before;
};

} // namespace Outbox
