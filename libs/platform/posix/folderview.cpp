#include "platform/posix/folderview.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/vfs.h>

#include <algorithm>
#include <cstring>
#include <ctime>
#include <iterator>
#include <new>
#include <utility>

namespace MorvexA106::Platform
{

namespace
{

constexpr std::int64_t nanoseconds = 1000000000;

struct CloseFolder
{
    void operator()(DIR* folder) const noexcept { ::closedir(folder); }
};

SystemError outcome(int result) noexcept
{
    return result >= 0 ? SystemError{} : lastWindowsError();
}

std::int64_t nanosecondsOf(const struct statx_timestamp& moment) noexcept
{
    return moment.tv_sec * nanoseconds + moment.tv_nsec;
}

SystemError lookAt(int folder, const char* name, int flags, EntryLook& look) noexcept
{
    constexpr unsigned wanted = STATX_TYPE | STATX_INO | STATX_SIZE | STATX_MTIME | STATX_BTIME;
    struct statx status;
    const auto call = [&] {
        return ::statx(folder, name, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT | flags, wanted, &status);
    };
    if (uninterrupted(call) != 0) {
        return lastWindowsError();
    }
    look.identity.device = makedev(status.stx_dev_major, status.stx_dev_minor);
    look.identity.index = status.stx_ino;
    look.identity.birth = (status.stx_mask & STATX_BTIME) != 0 ? nanosecondsOf(status.stx_btime) : 0;
    look.folder = S_ISDIR(status.stx_mode);
    look.size = look.folder ? 0 : status.stx_size;
    look.modified = nanosecondsOf(status.stx_mtime);
    return {};
}

int openFolder(int parent, const char* name, int flags) noexcept
{
    return uninterrupted([&] { return ::openat(parent, name, flags | O_DIRECTORY | O_CLOEXEC); });
}

bool isDotEntry(const char* name) noexcept
{
    return std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0;
}

/// File systems whose content others change, or that change without anybody's writing.
constexpr std::uint32_t sharedKinds[] = {
    NFS_SUPER_MAGIC,   SMB_SUPER_MAGIC,  CIFS_SUPER_MAGIC, SMB2_SUPER_MAGIC, AFS_SUPER_MAGIC,
    AFS_FS_MAGIC,      CODA_SUPER_MAGIC, CEPH_SUPER_MAGIC, V9FS_MAGIC,       FUSE_SUPER_MAGIC,
    OCFS2_SUPER_MAGIC, PROC_SUPER_MAGIC, SYSFS_MAGIC,
    0x01161970, // GFS2
    0x0BD00BD0, // Lustre
    0x47504653, // GPFS
    0x786F4256, // a folder of a virtual machine's host
};

} // namespace

bool meansAbsent(const SystemError& error) noexcept
{
    // A link where a folder was gives ELOOP or ENOTDIR; a folder that another machine has removed, ESTALE.
    constexpr unsigned long absent[] = {ENOENT, ENOTDIR, ELOOP, ESTALE};
    return std::ranges::find(absent, error.native) != std::end(absent);
}

std::int64_t fileClock() noexcept
{
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    return now.tv_sec * nanoseconds + now.tv_nsec;
}

FolderView::FolderView() noexcept = default;
FolderView::FolderView(FolderView&& other) noexcept = default;
FolderView& FolderView::operator=(FolderView&& other) noexcept = default;
FolderView::~FolderView() = default;

SystemError FolderView::open(const std::string& path)
{
    m_state.reset();
    Descriptor folder(openFolder(AT_FDCWD, path.c_str(), O_PATH));
    if (!folder) {
        return lastWindowsError();
    }
    m_state = std::make_unique<State>(State{std::move(folder)});
    return {};
}

SystemError FolderView::openIn(const FolderView& parent, const std::string& name)
{
    Descriptor folder(openFolder(parent.m_state->folder.get(), name.c_str(), O_PATH | O_NOFOLLOW));
    if (!folder) {
        m_state.reset();
        return lastWindowsError();
    }
    m_state = std::make_unique<State>(State{std::move(folder)});
    return {};
}

SystemError FolderView::look(EntryLook& look) const
{
    return lookAt(m_state->folder.get(), "", AT_EMPTY_PATH, look);
}

SystemError FolderView::look(const std::string& name, EntryLook& look) const
{
    return lookAt(m_state->folder.get(), name.c_str(), 0, look);
}

SystemError FolderView::list(std::vector<std::string>& names) const
{
    Descriptor opened(openFolder(m_state->folder.get(), ".", O_RDONLY));
    if (!opened) {
        return lastWindowsError();
    }
    const std::unique_ptr<DIR, CloseFolder> entries(::fdopendir(opened.get()));
    if (!entries) {
        return lastWindowsError();
    }
    opened.release();
    for (errno = 0; const dirent* entry = ::readdir(entries.get()); errno = 0) {
        if (!isDotEntry(entry->d_name)) {
            names.emplace_back(entry->d_name);
        }
    }
    return outcome(errno == 0 ? 0 : -1);
}

bool FolderView::isShared() const noexcept
{
    struct statfs kind;
    if (uninterrupted([&] { return ::fstatfs(m_state->folder.get(), &kind); }) != 0) {
        return true; // who knows
    }
    const auto magic = static_cast<std::uint32_t>(kind.f_type);
    return std::ranges::find(sharedKinds, magic) != std::end(sharedKinds);
}

} // namespace MorvexA106::Platform
