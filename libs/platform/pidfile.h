#pragma once

#include <memory>
#include <stdexcept>
#include <string>

namespace MorvexA106::Platform
{

/// The file is held by a process that lives. `what()` is that process's id as far as the file tells it.
class PidFileInUse : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// A file that holds the id of this process, in decimal and with a line end, as long as the object lives.
///
/// It appears whole, under a name of its own first (the path with ".new" behind), and is locked while the
/// object lives: the lock, and not the content, tells whether its process does. A file that a dead process
/// left is replaced. Of several processes that try at once one gets it; it may be that none does which came
/// while another was leaving. On destruction the file is removed, if it is still the one that was made.
///
/// POSIX: the lock is that of `flock` on the file, and goes with the process.
///
/// Windows: the file is held open, and readers must allow writers, as those of the C library do. While it is
/// being made or removed, a second file stands beside it (the path with ".lock" behind).
class PidFile
{
public:
    /// A relative path is one of the current folder as it is now. Throws `PidFileInUse`, and
    /// `std::system_error` when the file can't be made.
    explicit PidFile(const std::string& path);
    ~PidFile();
    PidFile(const PidFile&) = delete;
    PidFile& operator=(const PidFile&) = delete;

private:
    class Held;

    std::unique_ptr<Held> m_held;
};

} // namespace MorvexA106::Platform
