#include "platform/pidfile.h"

#include "platform/posix/owned.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <string_view>
#include <system_error>

namespace MorvexA106::Platform
{

namespace
{

std::system_error failureOf(const std::string& operation, int number = errno)
{
    return std::system_error(number, std::generic_category(), operation);
}

Descriptor openFile(const std::string& path, int flags)
{
    return Descriptor(uninterrupted([&] { return open(path.c_str(), flags | O_CLOEXEC, 0644); }));
}

bool lockNow(const Descriptor& file)
{
    if (uninterrupted([&] { return flock(file.get(), LOCK_EX | LOCK_NB); }) == 0) {
        return true;
    }
    if (errno == EWOULDBLOCK) {
        return false;
    }
    throw failureOf("flock");
}

bool isAt(const Descriptor& file, const std::string& path)
{
    struct stat own = {};
    struct stat there = {};
    return fstat(file.get(), &own) == 0 && lstat(path.c_str(), &there) == 0 && own.st_dev == there.st_dev &&
           own.st_ino == there.st_ino;
}

void requireRegular(const Descriptor& file)
{
    struct stat own = {};
    if (fstat(file.get(), &own) != 0) {
        throw failureOf("fstat");
    }
    if (!S_ISREG(own.st_mode)) {
        throw failureOf("not an ordinary file", EINVAL);
    }
}

std::string processIn(const Descriptor& file)
{
    std::array<char, 20> text{};
    const ssize_t count = uninterrupted([&] { return pread(file.get(), text.data(), text.size(), 0); });
    const std::string_view content(text.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
    return std::string(content.substr(0, content.find_first_not_of("0123456789")));
}

void writeProcess(const Descriptor& file)
{
    const std::string text = std::to_string(getpid()) + "\n";
    if (ftruncate(file.get(), 0) != 0) {
        throw failureOf("ftruncate");
    }
    const ssize_t count = uninterrupted([&] { return write(file.get(), text.data(), text.size()); });
    if (count != static_cast<ssize_t>(text.size())) {
        throw failureOf("write", count == -1 ? errno : ENOSPC);
    }
}

// The file under its first name, locked. Whoever holds it is the only one to look at the final name, so
// between that look and the renaming nobody else comes.
Descriptor lockedDraft(const std::string& path)
{
    for (;;) {
        Descriptor draft = openFile(path, O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK);
        if (!draft) {
            throw failureOf("open");
        }
        requireRegular(draft);
        if (!lockNow(draft)) {
            throw PidFileInUse(processIn(draft));
        }
        if (isAt(draft, path)) {
            return draft;
        } // else its maker has just renamed or removed it
    }
}

void requireNoHolder(const std::string& path)
{
    const Descriptor present = openFile(path, O_RDONLY | O_NONBLOCK);
    if (!present && errno == ENOENT) {
        return;
    }
    if (!present) {
        throw failureOf("open");
    }
    requireRegular(present);
    if (!lockNow(present)) {
        throw PidFileInUse(processIn(present));
    }
}

} // namespace

class PidFile::Held
{
public:
    explicit Held(const std::string& path)
        : m_path(std::filesystem::absolute(path).string()),
          m_draft(m_path + ".new"),
          m_file(lockedDraft(m_draft))
    {
        try {
            install();
        } catch (...) {
            unlink(m_draft.c_str());
            throw;
        }
    }

    ~Held()
    {
        if (isAt(m_file, m_path)) {
            unlink(m_path.c_str());
        }
    }
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;

private:
    void install()
    {
        writeProcess(m_file);
        requireNoHolder(m_path);
        if (std::rename(m_draft.c_str(), m_path.c_str()) != 0) {
            throw failureOf("rename");
        }
    }

    std::string m_path;
    std::string m_draft;
    Descriptor m_file;
};

PidFile::PidFile(const std::string& path) : m_held(new Held(path)) {}

PidFile::~PidFile() = default;

} // namespace MorvexA106::Platform
