#pragma once

#include <morvex/sstring.h>

#include <cstddef>
#include <string>
#include <vector>

namespace Outbox
{

/// What the file systems of this world take for one name.
constexpr std::size_t longestName = 255;

/// A name with a number, cut to `longestName` bytes where it is too long. Number 1 is not written. The ending
/// (see `endingOf`) stays whole; the stem is cut between characters of the current locale.
///
/// | stem    | ending | number | name          |
/// |---------|--------|--------|---------------|
/// | `order` | `.xml` | 1      | `order.xml`   |
/// | `order` | `.xml` | 2      | `order (2).xml` |
MorvexA106::SAnsiString numberedName(const MorvexA106::SAnsiString& stem,
                                     const MorvexA106::SAnsiString& ending, unsigned number);

/// Where the ending of a name begins: at its last dot, or at its end when there is no dot, the dot is the
/// first character or more than 16 bytes follow.
std::size_t endingOf(const MorvexA106::SAnsiString& name);

/// The first name that is free in the folder: the name itself, then with the numbers from 2 on. It is free for
/// whom nobody else puts files there at the same time.
MorvexA106::SAnsiString freeName(const MorvexA106::SAnsiString& folder, const MorvexA106::SAnsiString& name);

/// The same with the whole name as the stem.
MorvexA106::SAnsiString freeName(const MorvexA106::SAnsiString& folder, const MorvexA106::SAnsiString& stem,
                                 const MorvexA106::SAnsiString& ending);

/// All names in the folder but `.` and `..`, in no order. Throws `Trouble` when it can't be read to the end.
std::vector<MorvexA106::SAnsiString> namesIn(const MorvexA106::SAnsiString& folder);

/// A name as it may be shown on a terminal: control characters become `?`.
std::string printable(const MorvexA106::SAnsiString& text);

} // namespace Outbox
