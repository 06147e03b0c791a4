#include "VTSafeFs.h"

#include <cerrno>
#include <cstring>

#include <dirent.h>
#include <fcntl.h>
#include <linux/fs.h>
#include <linux/openat2.h>
#include <stdio.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace VTSafeFs {

Fd &Fd::operator=(Fd &&other) noexcept
{
    if (this != &other) {
        if (m_fd >= 0)
            ::close(m_fd);
        m_fd = other.release();
    }
    return *this;
}

Fd::~Fd()
{
    if (m_fd >= 0)
        ::close(m_fd);
}

int Fd::release()
{
    const int fd = m_fd;
    m_fd = -1;
    return fd;
}

bool isCleanAbsolutePath(const std::string &path)
{
    if (path.empty() || path[0] != '/' || path.find('\0') != std::string::npos)
        return false;
    if (path == "/")
        return true;
    std::size_t start = 1;
    while (start <= path.size()) {
        const std::size_t end = std::min(path.find('/', start), path.size());
        const std::string part = path.substr(start, end - start);
        if (part.empty() || part == "." || part == "..")
            return false;
        start = end + 1;
    }
    return true;
}

std::vector<std::string> components(const std::string &path)
{
    std::vector<std::string> parts;
    std::size_t start = 0;
    while (start < path.size()) {
        const std::size_t end = std::min(path.find('/', start), path.size());
        if (end > start)
            parts.push_back(path.substr(start, end - start));
        start = end + 1;
    }
    return parts;
}

namespace {

constexpr int FolderFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

int openFolderNoSymlinks(const std::string &path)
{
    Fd root(::open("/", FolderFlags));
    if (!root.valid())
        return -errno;
    const std::string relative = path.substr(1);
    if (relative.empty())
        return root.release();
#ifdef SYS_openat2
    open_how how{};
    how.flags = FolderFlags | O_NOFOLLOW;
    how.resolve = RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS;
    const long fd = ::syscall(SYS_openat2, root.get(), relative.c_str(), &how, sizeof how);
    if (fd >= 0)
        return static_cast<int>(fd);
    if (errno != ENOSYS)
        return -errno;
#endif
    // Kernels before 5.6: one O_NOFOLLOW step per component.
    Fd current = std::move(root);
    for (const std::string &part : components(relative)) {
        Fd next(::openat(current.get(), part.c_str(), FolderFlags | O_NOFOLLOW));
        if (!next.valid())
            return -errno;
        current = std::move(next);
    }
    return current.release();
}

} // namespace

int openFolder(const std::string &path, bool noSymlinks)
{
    if (!isCleanAbsolutePath(path))
        return -EINVAL;
    if (noSymlinks)
        return openFolderNoSymlinks(path);
    const int fd = ::open(path.c_str(), FolderFlags);
    return fd >= 0 ? fd : -errno;
}

int makeFolders(const std::string &path, bool noSymlinks, mode_t mode)
{
    Fd current(openFolder("/", noSymlinks));
    if (!current.valid())
        return -current.get();
    if (!isCleanAbsolutePath(path))
        return EINVAL;
    for (const std::string &part : components(path)) {
        // Another process may make the same folder at the same time.
        if (::mkdirat(current.get(), part.c_str(), mode) != 0 && errno != EEXIST)
            return errno;
        // O_PATH: passing through needs only the right to search a folder.
        Fd next(::openat(current.get(), part.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC | (noSymlinks ? O_NOFOLLOW : 0)));
        if (!next.valid())
            return errno;
        current = std::move(next);
    }
    return 0;
}

int openParent(const std::string &path, bool noSymlinks, std::string &leaf)
{
    if (!isCleanAbsolutePath(path) || path == "/")
        return -EINVAL;
    const std::size_t slash = path.rfind('/');
    leaf = path.substr(slash + 1);
    return openFolder(slash == 0 ? std::string("/") : path.substr(0, slash), noSymlinks);
}

int statAt(int dirFd, const std::string &name, struct stat &st)
{
    return ::fstatat(dirFd, name.c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0 ? 0 : errno;
}

bool existsAt(int dirFd, const std::string &name)
{
    struct stat st {};
    return statAt(dirFd, name, st) == 0;
}

std::vector<std::string> listFolder(int dirFd, int *error)
{
    std::vector<std::string> names;
    // A fresh descriptor, so the caller's keeps its own offset.
    const int fd = ::openat(dirFd, ".", FolderFlags);
    if (fd < 0) {
        if (error)
            *error = errno;
        return names;
    }
    DIR *dir = ::fdopendir(fd);
    if (!dir) {
        if (error)
            *error = errno;
        ::close(fd);
        return names;
    }
    errno = 0;
    while (const dirent *entry = ::readdir(dir)) {
        if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0)
            names.emplace_back(entry->d_name);
    }
    if (error)
        *error = errno;
    ::closedir(dir);
    return names;
}

namespace {

// Opens a regular file or folder in `dirFd` for attribute work without
// following a link, and checks that it is still the item `st` described.
int openItem(int dirFd, const std::string &name, const struct stat &st)
{
    const int flags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC | (S_ISDIR(st.st_mode) ? O_DIRECTORY : 0);
    const int fd = ::openat(dirFd, name.c_str(), flags);
    if (fd < 0)
        return -errno;
    struct stat now {};
    if (::fstat(fd, &now) != 0 || now.st_dev != st.st_dev || now.st_ino != st.st_ino) {
        ::close(fd);
        return -EAGAIN;
    }
    return fd;
}

bool flagsUnsupported(int error)
{
    return error == ENOTTY || error == EOPNOTSUPP || error == EINVAL || error == ENOSYS;
}

} // namespace

int isImmutableAt(int dirFd, const std::string &name, bool &locked)
{
    locked = false;
    struct stat st {};
    if (const int error = statAt(dirFd, name, st))
        return error;
    if (!S_ISREG(st.st_mode) && !S_ISDIR(st.st_mode))
        return 0;
    Fd fd(openItem(dirFd, name, st));
    if (!fd.valid())
        return -fd.get();
    int flags = 0;
    if (::ioctl(fd.get(), FS_IOC_GETFLAGS, &flags) != 0)
        return flagsUnsupported(errno) ? 0 : errno;
    locked = (flags & FS_IMMUTABLE_FL) != 0;
    return 0;
}

int setImmutableAt(int dirFd, const std::string &name, bool locked)
{
    struct stat st {};
    if (const int error = statAt(dirFd, name, st))
        return error;
    if (!S_ISREG(st.st_mode) && !S_ISDIR(st.st_mode))
        return locked ? EOPNOTSUPP : 0;
    Fd fd(openItem(dirFd, name, st));
    if (!fd.valid())
        return -fd.get();
    int flags = 0;
    if (::ioctl(fd.get(), FS_IOC_GETFLAGS, &flags) != 0)
        return (flagsUnsupported(errno) && !locked) ? 0 : errno;
    // A file with another name elsewhere may be someone else's locked file:
    // its lock is not lifted through this name.
    if (!locked && (flags & FS_IMMUTABLE_FL) && S_ISREG(st.st_mode) && st.st_nlink > 1)
        return EPERM;
    const int wanted = locked ? (flags | FS_IMMUTABLE_FL) : (flags & ~FS_IMMUTABLE_FL);
    // Only a real change needs the capability; unlocking an unlocked file
    // succeeds for everyone.
    if (wanted == flags)
        return 0;
    return ::ioctl(fd.get(), FS_IOC_SETFLAGS, &wanted) == 0 ? 0 : errno;
}

int isImmutable(int fd, bool &locked)
{
    int flags = 0;
    locked = false;
    if (::ioctl(fd, FS_IOC_GETFLAGS, &flags) != 0)
        return flagsUnsupported(errno) ? 0 : errno;
    locked = (flags & FS_IMMUTABLE_FL) != 0;
    return 0;
}

int setImmutable(int fd, bool locked)
{
    int flags = 0;
    if (::ioctl(fd, FS_IOC_GETFLAGS, &flags) != 0)
        return (flagsUnsupported(errno) && !locked) ? 0 : errno;
    const int wanted = locked ? (flags | FS_IMMUTABLE_FL) : (flags & ~FS_IMMUTABLE_FL);
    if (wanted == flags)
        return 0;
    return ::ioctl(fd, FS_IOC_SETFLAGS, &wanted) == 0 ? 0 : errno;
}

namespace {

bool holdsLockedItem(int dirFd, const std::string &name, int depth)
{
    struct stat st {};
    if (statAt(dirFd, name, st) != 0 || (!S_ISREG(st.st_mode) && !S_ISDIR(st.st_mode)))
        return false;
    if (depth > 256)
        return true;
    Fd item(openItem(dirFd, name, st));
    if (!item.valid())
        return false;
    bool locked = false;
    if (isImmutable(item.get(), locked) == 0 && locked)
        return true;
    if (!S_ISDIR(st.st_mode))
        return false;
    for (const std::string &entry : listFolder(item.get(), nullptr)) {
        if (holdsLockedItem(item.get(), entry, depth + 1))
            return true;
    }
    return false;
}

} // namespace

bool holdsLockedItem(int dirFd, const std::string &name)
{
    return holdsLockedItem(dirFd, name, 0);
}

namespace {

int foreignInTree(int dirFd, const std::string &name, uid_t owner, int depth)
{
    struct stat st {};
    if (const int error = statAt(dirFd, name, st))
        return error;
    if (st.st_uid != 0 && st.st_uid != owner)
        return EPERM;
    if (S_ISLNK(st.st_mode))
        return 0;
    if (st.st_mode & (S_IWGRP | S_IWOTH))
        return EPERM;
    if (!S_ISDIR(st.st_mode))
        return 0;
    if (depth >= 256)
        return ELOOP;
    Fd folder(::openat(dirFd, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!folder.valid())
        return errno;
    int listError = 0;
    for (const std::string &entry : listFolder(folder.get(), &listError)) {
        if (const int error = foreignInTree(folder.get(), entry, owner, depth + 1))
            return error;
    }
    return listError;
}

} // namespace

bool linksRefused()
{
    return ::geteuid() == 0;
}

int beyondOthers(int dirFd, const std::string &name, uid_t owner)
{
    struct stat folder {};
    if (::fstat(dirFd, &folder) != 0)
        return errno;
    const bool othersMayWrite = (folder.st_mode & (S_IWGRP | S_IWOTH)) && !(folder.st_mode & S_ISVTX);
    if ((folder.st_uid != 0 && folder.st_uid != owner) || othersMayWrite)
        return EPERM;
    return foreignInTree(dirFd, name, owner, 0);
}

namespace {

// A folder where something is mounted, also a bind mount of a folder of the
// same file system (whose device number is the same). Unknown counts as one.
bool isMountRoot(int dirFd, const std::string &name)
{
    struct statx sx {};
    if (::statx(dirFd, name.c_str(), AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT, 0, &sx) != 0)
        return true;
    return (sx.stx_attributes_mask & STATX_ATTR_MOUNT_ROOT) && (sx.stx_attributes & STATX_ATTR_MOUNT_ROOT);
}

} // namespace

namespace {

// A mount point below the top is not emptied: what is mounted there is not
// part of the tree. Too deep a tree is an error.
int removeTreeOn(int dirFd, const std::string &name, bool unlockEach, dev_t device, int depth)
{
    struct stat st {};
    if (const int error = statAt(dirFd, name, st))
        return error;
    if (depth > 0 && (st.st_dev != device || (S_ISDIR(st.st_mode) && isMountRoot(dirFd, name))))
        return EXDEV;
    if (unlockEach)
        (void)setImmutableAt(dirFd, name, false);
    if (!S_ISDIR(st.st_mode))
        return ::unlinkat(dirFd, name.c_str(), 0) == 0 ? 0 : errno;
    if (depth >= MaxTreeDepth)
        return ELOOP;

    Fd folder(openItem(dirFd, name, st));
    if (!folder.valid())
        return -folder.get();
    int firstError = 0;
    int listError = 0;
    for (const std::string &entry : listFolder(folder.get(), &listError)) {
        const int error = removeTreeOn(folder.get(), entry, unlockEach, st.st_dev, depth + 1);
        if (error && error != ENOENT && !firstError)
            firstError = error;
    }
    if (listError && !firstError)
        firstError = listError;
    if (::unlinkat(dirFd, name.c_str(), AT_REMOVEDIR) != 0 && !firstError)
        firstError = errno;
    return firstError;
}

} // namespace

int removeTree(int dirFd, const std::string &name, bool unlockEach)
{
    return removeTreeOn(dirFd, name, unlockEach, 0, 0);
}

int syncFolder(int dirFd)
{
    return ::fsync(dirFd) == 0 ? 0 : errno;
}

int renameNoReplace(int fromDir, const std::string &from, int toDir, const std::string &to)
{
    if (::renameat2(fromDir, from.c_str(), toDir, to.c_str(), RENAME_NOREPLACE) == 0)
        return 0;
    if (errno != EINVAL && errno != ENOSYS)
        return errno;
    // File systems without the flag: a checked rename, the best they allow.
    if (existsAt(toDir, to))
        return EEXIST;
    return ::renameat(fromDir, from.c_str(), toDir, to.c_str()) == 0 ? 0 : errno;
}

mode_t ModeChange::apply(mode_t mode, bool isFolder) const
{
    mode_t result = mode & 07777;
    if (absolute) {
        result = absoluteMode & 07777;
    } else {
        for (const Clause &clause : clauses) {
            mode_t bits = clause.perms & (clause.who | S_ISVTX);
            if (clause.conditionalExecute && (isFolder || (mode & 0111)))
                bits |= 0111 & clause.who;
            if (clause.op == '+')
                result |= bits;
            else if (clause.op == '-')
                result &= ~bits;
            else
                result = (result & ~(clause.who | S_ISVTX)) | bits;
        }
    }
    if (isFolder && (result & S_IWOTH))
        result |= S_ISVTX;
    return result;
}

bool parseModeChange(const std::string &text, ModeChange &change)
{
    change = ModeChange{};
    if (text.empty())
        return false;
    if (text.find_first_not_of("01234567") == std::string::npos) {
        if (text.size() > 4)
            return false;
        change.absolute = true;
        change.absoluteMode = static_cast<mode_t>(std::stoul(text, nullptr, 8));
        // Set-id bits are never handed out by the helper.
        return (change.absoluteMode & 06000) == 0;
    }
    std::size_t i = 0;
    while (i < text.size()) {
        ModeChange::Clause clause;
        for (; i < text.size() && std::strchr("ugoa", text[i]); ++i) {
            switch (text[i]) {
            case 'u': clause.who |= 0700; break;
            case 'g': clause.who |= 0070; break;
            case 'o': clause.who |= 0007; break;
            default: clause.who |= 0777; break;
            }
        }
        if (clause.who == 0)
            clause.who = 0777;
        if (i >= text.size() || !std::strchr("+-=", text[i]))
            return false;
        clause.op = text[i++];
        for (; i < text.size() && text[i] != ','; ++i) {
            switch (text[i]) {
            case 'r': clause.perms |= 0444; break;
            case 'w': clause.perms |= 0222; break;
            case 'x': clause.perms |= 0111; break;
            case 'X': clause.conditionalExecute = true; break;
            case 't': clause.perms |= S_ISVTX; break;
            default: return false; // 's' included: no set-id bits
            }
        }
        change.clauses.push_back(clause);
        if (i < text.size())
            ++i;
    }
    return !change.clauses.empty();
}

namespace {

struct Walk {
    bool recursive = false;
    bool keepHardLinks = false; // act on hard-linked files too
    dev_t device = 0;
};

// Calls `act` on a regular file or folder (never a link or device), then
// walks into folders when recursive. Regular files with several hard links
// are skipped below the top and refused as the top (another name may be a
// system file), unless the walk only takes rights away. It enters no mount
// point, and a listing it cannot finish or a tree too deep is an error,
// never a success.
template<typename Act>
int walkAt(int dirFd, const std::string &name, Walk &walk, int depth, const Act &act)
{
    struct stat st {};
    if (const int error = statAt(dirFd, name, st))
        return error;
    const bool top = depth == 0;
    if (!S_ISDIR(st.st_mode) && !S_ISREG(st.st_mode))
        return top && S_ISLNK(st.st_mode) ? ELOOP : 0;
    if (top)
        walk.device = st.st_dev;
    else if (st.st_dev != walk.device || (S_ISDIR(st.st_mode) && isMountRoot(dirFd, name)))
        return 0;
    // Another name of the same file may lie anywhere (a system file linked
    // into the tree): named as the top, the change is refused.
    if (!walk.keepHardLinks && S_ISREG(st.st_mode) && st.st_nlink > 1)
        return top ? EPERM : 0;
    Fd item(openItem(dirFd, name, st));
    if (!item.valid())
        return -item.get();
    int firstError = act(item.get(), st);
    if (!walk.recursive || !S_ISDIR(st.st_mode))
        return firstError;
    if (depth >= MaxTreeDepth)
        return firstError ? firstError : ELOOP;
    int listError = 0;
    for (const std::string &entry : listFolder(item.get(), &listError)) {
        const int error = walkAt(item.get(), entry, walk, depth + 1, act);
        if (error && !firstError)
            firstError = error;
    }
    return firstError ? firstError : listError;
}

} // namespace

int chmodAt(int dirFd, const std::string &name, const ModeChange &change, bool recursive)
{
    Walk walk{recursive};
    return walkAt(dirFd, name, walk, 0, [&change](int fd, const struct stat &st) {
        return ::fchmod(fd, change.apply(st.st_mode, S_ISDIR(st.st_mode))) == 0 ? 0 : errno;
    });
}

int chownAt(int dirFd, const std::string &name, uid_t uid, gid_t gid, bool recursive)
{
    Walk walk{recursive};
    return walkAt(dirFd, name, walk, 0, [uid, gid](int fd, const struct stat &) {
        return ::fchown(fd, uid, gid) == 0 ? 0 : errno;
    });
}

int handToRootAt(int dirFd, const std::string &name)
{
    struct stat st {};
    if (const int error = statAt(dirFd, name, st))
        return error;
    if (S_ISLNK(st.st_mode))
        return ::fchownat(dirFd, name.c_str(), 0, 0, AT_SYMLINK_NOFOLLOW) == 0 ? 0 : errno;
    Walk walk{true, true};
    return walkAt(dirFd, name, walk, 0, [](int fd, const struct stat &st) {
        if (::fchown(fd, 0, 0) != 0)
            return errno;
        return ::fchmod(fd, st.st_mode & 07777 & ~(S_ISUID | S_ISGID | S_IWGRP | S_IWOTH)) == 0 ? 0 : errno;
    });
}

} // namespace VTSafeFs
