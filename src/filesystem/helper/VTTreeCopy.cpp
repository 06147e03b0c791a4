#include "VTTreeCopy.h"

#include "VTSafeFs.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <vector>

#include <fcntl.h>
#include <stdio.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

using VTSafeFs::Fd;

namespace VTTreeCopy {

namespace {

constexpr char JournalMagic[] = "VTMOVE1\n";

std::string randomToken()
{
    unsigned char bytes[8] = {};
    if (::getrandom(bytes, sizeof bytes, 0) != static_cast<ssize_t>(sizeof bytes)) {
        const unsigned long fallback = static_cast<unsigned long>(::getpid()) ^ static_cast<unsigned long>(::time(nullptr));
        std::memcpy(bytes, &fallback, std::min(sizeof bytes, sizeof fallback));
    }
    static const char hex[] = "0123456789abcdef";
    std::string token;
    for (unsigned char b : bytes) {
        token += hex[b >> 4];
        token += hex[b & 15];
    }
    return token;
}

bool endsWith(const std::string &text, const std::string &suffix)
{
    return text.size() >= suffix.size() && text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

bool writeAll(int fd, const char *data, std::size_t size)
{
    while (size > 0) {
        const ssize_t n = ::write(fd, data, size);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        data += n;
        size -= static_cast<std::size_t>(n);
    }
    return true;
}

int copyData(int from, int to)
{
    // copy_file_range lets the file system share or offload the copy; it
    // refuses some pairs of file systems, where plain reads take over.
    for (;;) {
        const ssize_t n = ::copy_file_range(from, nullptr, to, nullptr, 1 << 30, 0);
        if (n == 0)
            return 0;
        if (n < 0) {
            if (errno == EINTR)
                continue;
            if (errno == EXDEV || errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP)
                break;
            return errno;
        }
    }
    std::vector<char> buffer(1 << 16);
    for (;;) {
        const ssize_t n = ::read(from, buffer.data(), buffer.size());
        if (n == 0)
            return 0;
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return errno;
        }
        if (!writeAll(to, buffer.data(), static_cast<std::size_t>(n)))
            return errno;
    }
}

// Copies the user.* extended attributes; the other name spaces belong to the
// system and are not ours to carry.
int copyUserAttributes(int from, int to)
{
    const ssize_t size = ::flistxattr(from, nullptr, 0);
    if (size < 0)
        return (errno == ENOTSUP) ? 0 : errno;
    if (size == 0)
        return 0;
    std::vector<char> names(static_cast<std::size_t>(size));
    const ssize_t got = ::flistxattr(from, names.data(), names.size());
    if (got < 0)
        return errno;
    for (std::size_t i = 0; i < static_cast<std::size_t>(got);) {
        const std::string name(names.data() + i);
        i += name.size() + 1;
        if (name.rfind("user.", 0) != 0)
            continue;
        const ssize_t valueSize = ::fgetxattr(from, name.c_str(), nullptr, 0);
        if (valueSize < 0)
            return errno;
        std::vector<char> value(static_cast<std::size_t>(valueSize) + 1);
        const ssize_t valueGot = ::fgetxattr(from, name.c_str(), value.data(), value.size());
        if (valueGot < 0)
            return errno;
        if (::fsetxattr(to, name.c_str(), value.data(), static_cast<std::size_t>(valueGot), 0) != 0)
            return errno;
    }
    return 0;
}

int copyAt(int fromDir, const std::string &from, int toDir, const std::string &to, bool forAllUsers, int depth);

// Owner where permitted (an ordinary user can only keep its own), then the
// mode (after chown, which clears set-id bits), then the times.
int copyMetadata(int to, const struct stat &st, bool forAllUsers)
{
    const uid_t uid = forAllUsers ? 0 : st.st_uid;
    const gid_t gid = forAllUsers ? 0 : st.st_gid;
    if (::fchown(to, uid, gid) != 0 && errno != EPERM && errno != EINVAL)
        return errno;
    const mode_t mode = forAllUsers ? (st.st_mode & 07777 & ~(S_ISUID | S_ISGID | S_IWGRP | S_IWOTH)) : (st.st_mode & 07777);
    if (::fchmod(to, mode) != 0)
        return errno;
    const timespec times[2] = {st.st_atim, st.st_mtim};
    if (::futimens(to, times) != 0)
        return errno;
    return 0;
}

// Opens without waiting (a pipe swapped in for a file would block the open
// until someone writes), and only the very item that was examined.
int openChecked(int dirFd, const std::string &name, int flags, const struct stat &st)
{
    const int fd = ::openat(dirFd, name.c_str(), flags | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return -errno;
    struct stat now {};
    if (::fstat(fd, &now) != 0 || now.st_ino != st.st_ino || now.st_dev != st.st_dev
        || (now.st_mode & S_IFMT) != (st.st_mode & S_IFMT) || (!S_ISREG(now.st_mode) && !S_ISDIR(now.st_mode))) {
        ::close(fd);
        return -EAGAIN;
    }
    if (::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK) != 0) {
        const int error = errno;
        ::close(fd);
        return -error;
    }
    return fd;
}

int copyFile(int fromDir, const std::string &from, int toDir, const std::string &to, const struct stat &st, bool forAllUsers)
{
    Fd source(openChecked(fromDir, from, O_RDONLY | O_NOCTTY, st));
    if (!source.valid())
        return -source.get();
    Fd target(::openat(toDir, to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!target.valid())
        return errno;
    if (const int error = copyData(source.get(), target.get()))
        return error;
    if (const int error = copyUserAttributes(source.get(), target.get()))
        return error;
    if (const int error = copyMetadata(target.get(), st, forAllUsers))
        return error;
    return ::fsync(target.get()) == 0 ? 0 : errno;
}

int copyLink(int fromDir, const std::string &from, int toDir, const std::string &to, const struct stat &st, bool forAllUsers)
{
    std::vector<char> target(static_cast<std::size_t>(std::max<off_t>(st.st_size, 255)) + 2);
    const ssize_t n = ::readlinkat(fromDir, from.c_str(), target.data(), target.size() - 1);
    if (n < 0)
        return errno;
    target[static_cast<std::size_t>(n)] = '\0';
    if (::symlinkat(target.data(), toDir, to.c_str()) != 0)
        return errno;
    (void)::fchownat(toDir, to.c_str(), forAllUsers ? 0 : st.st_uid, forAllUsers ? 0 : st.st_gid, AT_SYMLINK_NOFOLLOW);
    const timespec times[2] = {st.st_atim, st.st_mtim};
    (void)::utimensat(toDir, to.c_str(), times, AT_SYMLINK_NOFOLLOW);
    return 0;
}

int copyFolder(int fromDir, const std::string &from, int toDir, const std::string &to, const struct stat &st,
               bool forAllUsers, int depth)
{
    if (depth >= VTSafeFs::MaxTreeDepth)
        return ELOOP;
    Fd source(openChecked(fromDir, from, O_RDONLY | O_DIRECTORY, st));
    if (!source.valid())
        return -source.get();
    if (::mkdirat(toDir, to.c_str(), 0700) != 0)
        return errno;
    Fd target(::openat(toDir, to.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!target.valid())
        return errno;
    int listError = 0;
    const std::vector<std::string> entries = VTSafeFs::listFolder(source.get(), &listError);
    if (listError)
        return listError;
    for (const std::string &entry : entries) {
        if (const int error = copyAt(source.get(), entry, target.get(), entry, forAllUsers, depth + 1))
            return error;
    }
    if (const int error = copyUserAttributes(source.get(), target.get()))
        return error;
    if (const int error = copyMetadata(target.get(), st, forAllUsers))
        return error;
    return ::fsync(target.get()) == 0 ? 0 : errno;
}

int copyAt(int fromDir, const std::string &from, int toDir, const std::string &to, bool forAllUsers, int depth)
{
    struct stat st {};
    if (const int error = VTSafeFs::statAt(fromDir, from, st))
        return error;
    if (S_ISREG(st.st_mode))
        return copyFile(fromDir, from, toDir, to, st, forAllUsers);
    if (S_ISLNK(st.st_mode))
        return copyLink(fromDir, from, toDir, to, st, forAllUsers);
    if (S_ISDIR(st.st_mode))
        return copyFolder(fromDir, from, toDir, to, st, forAllUsers, depth);
    // Devices, sockets and pipes have no place in a plug-in; refusing keeps
    // a move from silently dropping them.
    return EOPNOTSUPP;
}

// Removes a temporary copy even when it holds read-only folders.
void removeTemporary(int dirFd, const std::string &name)
{
    VTSafeFs::ModeChange writable;
    (void)VTSafeFs::parseModeChange("u+rwx", writable);
    (void)VTSafeFs::chmodAt(dirFd, name, writable, true);
    (void)VTSafeFs::removeTree(dirFd, name);
}

int renameInto(int dir, const std::string &from, const std::string &to, bool replace)
{
    if (!replace)
        return VTSafeFs::renameNoReplace(dir, from, dir, to);
    struct stat st {};
    if (VTSafeFs::statAt(dir, to, st) == 0 && S_ISDIR(st.st_mode))
        return EEXIST;
    return ::renameat(dir, from.c_str(), dir, to.c_str()) == 0 ? 0 : errno;
}

int writeJournal(int dirFd, const std::string &name, const std::string &sourcePath, const std::string &to)
{
    Fd journal(::openat(dirFd, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!journal.valid())
        return errno;
    std::string content = JournalMagic;
    content += sourcePath;
    content += '\0';
    content += to;
    content += '\0';
    if (!writeAll(journal.get(), content.data(), content.size()) || ::fsync(journal.get()) != 0) {
        const int error = errno;
        ::unlinkat(dirFd, name.c_str(), 0);
        return error;
    }
    return VTSafeFs::syncFolder(dirFd);
}

bool readJournal(int dirFd, const std::string &name, std::string &sourcePath, std::string &to)
{
    Fd journal(::openat(dirFd, name.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    if (!journal.valid())
        return false;
    std::string content(8192, '\0');
    const ssize_t n = ::read(journal.get(), content.data(), content.size());
    if (n <= 0)
        return false;
    content.resize(static_cast<std::size_t>(n));
    const std::size_t magic = std::strlen(JournalMagic);
    if (content.compare(0, magic, JournalMagic) != 0)
        return false;
    const std::size_t end1 = content.find('\0', magic);
    if (end1 == std::string::npos)
        return false;
    const std::size_t end2 = content.find('\0', end1 + 1);
    if (end2 == std::string::npos)
        return false;
    sourcePath = content.substr(magic, end1 - magic);
    to = content.substr(end1 + 1, end2 - end1 - 1);
    return VTSafeFs::isCleanAbsolutePath(sourcePath) && sourcePath != "/" && !to.empty()
        && to.find('/') == std::string::npos && to != "." && to != "..";
}

bool sameContents(int a, int b)
{
    std::vector<char> bufferA(1 << 16), bufferB(1 << 16);
    for (;;) {
        const ssize_t na = ::read(a, bufferA.data(), bufferA.size());
        if (na < 0)
            return false;
        std::size_t filled = 0;
        while (filled < static_cast<std::size_t>(na)) {
            const ssize_t nb = ::read(b, bufferB.data() + filled, static_cast<std::size_t>(na) - filled);
            if (nb <= 0)
                return false;
            filled += static_cast<std::size_t>(nb);
        }
        if (std::memcmp(bufferA.data(), bufferB.data(), filled) != 0)
            return false;
        if (na == 0) {
            char extra = 0;
            return ::read(b, &extra, 1) == 0;
        }
    }
}

} // namespace

bool isTemporaryName(const std::string &name)
{
    return name.rfind(TemporaryPrefix, 0) == 0;
}

int copyTree(int fromDir, const std::string &from, int toDir, const std::string &to, bool forAllUsers)
{
    return copyAt(fromDir, from, toDir, to, forAllUsers, 0);
}

int copyItem(int fromDir, const std::string &from, int toDir, const std::string &to, bool replace, bool forAllUsers)
{
    if (!replace && VTSafeFs::existsAt(toDir, to))
        return EEXIST;
    const std::string temporary = TemporaryPrefix + randomToken();
    int error = copyTree(fromDir, from, toDir, temporary, forAllUsers);
    if (!error)
        error = VTSafeFs::syncFolder(toDir);
    if (!error)
        error = renameInto(toDir, temporary, to, replace);
    if (error) {
        removeTemporary(toDir, temporary);
        return error;
    }
    return VTSafeFs::syncFolder(toDir);
}

namespace {

// Undoes a copy that reached its destination name while the source is whole
// (again) at its place: the copy goes back to the temporary name its journal
// names, so a crash in between still leaves a state the clean-up resolves.
void withdrawCopy(int toDir, const std::string &to, const std::string &temporary, const std::string &journal)
{
    if (VTSafeFs::renameNoReplace(toDir, to, toDir, temporary) == 0)
        removeTemporary(toDir, temporary);
    ::unlinkat(toDir, journal.c_str(), 0);
    VTSafeFs::syncFolder(toDir);
}

// Puts the source back at `from` from the complete copy `to`, when what was
// set aside could not be removed completely. What is left aside keeps its
// hidden name for the clean-up.
int restoreSource(int fromDir, const std::string &from, int toDir, const std::string &to)
{
    const std::string restored = TemporaryPrefix + randomToken();
    int error = copyTree(toDir, to, fromDir, restored);
    if (!error)
        error = VTSafeFs::syncFolder(fromDir);
    if (!error)
        error = VTSafeFs::renameNoReplace(fromDir, restored, fromDir, from);
    if (error)
        removeTemporary(fromDir, restored);
    VTSafeFs::syncFolder(fromDir);
    return error;
}

} // namespace

int moveItem(int fromDir, const std::string &from, int toDir, const std::string &to, bool replace,
             const std::string &sourcePath, bool forAllUsers)
{
    int error = replace ? (::renameat(fromDir, from.c_str(), toDir, to.c_str()) == 0 ? 0 : errno)
                        : VTSafeFs::renameNoReplace(fromDir, from, toDir, to);
    if (error == 0 && forAllUsers)
        return VTSafeFs::handToRootAt(toDir, to);
    if (error != EXDEV)
        return error;
    if (!replace && VTSafeFs::existsAt(toDir, to))
        return EEXIST;

    const std::string temporary = TemporaryPrefix + randomToken();
    const std::string journal = temporary + JournalSuffix;
    // The journal comes only after a complete, flushed copy: a crash before
    // it leaves an orphan copy the clean-up may simply remove.
    error = copyTree(fromDir, from, toDir, temporary, forAllUsers);
    if (!error)
        error = VTSafeFs::syncFolder(toDir);
    if (!error)
        error = writeJournal(toDir, journal, sourcePath, to);
    if (!error)
        error = renameInto(toDir, temporary, to, replace);
    if (error) {
        // Journal first: a crash in between leaves only an orphan copy.
        ::unlinkat(toDir, journal.c_str(), 0);
        removeTemporary(toDir, temporary);
        VTSafeFs::syncFolder(toDir);
        return error;
    }
    VTSafeFs::syncFolder(toDir);

    // The source leaves its visible name in one rename before it is removed,
    // so neither a failed removal nor a crash during it ever shows a partial
    // item there. A hidden leftover holds nothing the destination lacks.
    const std::string aside = TemporaryPrefix + randomToken();
    error = VTSafeFs::renameNoReplace(fromDir, from, fromDir, aside);
    if (error) {
        withdrawCopy(toDir, to, temporary, journal);
        return error;
    }
    VTSafeFs::syncFolder(fromDir);
    error = VTSafeFs::removeTree(fromDir, aside);
    if (error) {
        // Either the move happens whole or not at all: rebuild the source
        // from the copy and withdraw the copy. Should the source not come
        // back, the copy is the one whole item and the move stands.
        if (restoreSource(fromDir, from, toDir, to) != 0) {
            ::unlinkat(toDir, journal.c_str(), 0);
            VTSafeFs::syncFolder(toDir);
            return 0;
        }
        withdrawCopy(toDir, to, temporary, journal);
        return error;
    }
    VTSafeFs::syncFolder(fromDir);
    ::unlinkat(toDir, journal.c_str(), 0);
    VTSafeFs::syncFolder(toDir);
    return 0;
}

namespace {

// Owned by this process's user or by root; for the superuser, by root.
bool trustedOwner(uid_t owner)
{
    const uid_t me = ::geteuid();
    return owner == 0 || (me != 0 && owner == me);
}

} // namespace

int cleanUpFolder(int dirFd, const SourceCheck &mayRemoveSource)
{
    int resolved = 0;
    struct stat folder {};
    const bool trustedFolder = ::fstat(dirFd, &folder) == 0 && trustedOwner(folder.st_uid)
        && (folder.st_mode & (S_IWGRP | S_IWOTH)) == 0;
    const std::vector<std::string> entries = VTSafeFs::listFolder(dirFd);
    for (const std::string &entry : entries) {
        if (!isTemporaryName(entry) || !endsWith(entry, JournalSuffix))
            continue;
        struct stat journal {};
        if (!trustedFolder || VTSafeFs::statAt(dirFd, entry, journal) != 0 || !S_ISREG(journal.st_mode)
            || !trustedOwner(journal.st_uid))
            continue;
        const std::string temporary = entry.substr(0, entry.size() - std::strlen(JournalSuffix));
        std::string sourcePath, to;
        if (readJournal(dirFd, entry, sourcePath, to)) {
            if (VTSafeFs::existsAt(dirFd, temporary)) {
                // The copy never reached its name: the source is whole.
                removeTemporary(dirFd, temporary);
            } else if (VTSafeFs::existsAt(dirFd, to) && mayRemoveSource && mayRemoveSource(sourcePath, to)) {
                // The copy is in place; finish removing the source, as far
                // as the destination really holds all of it.
                std::string leaf;
                Fd sourceDir(VTSafeFs::openParent(sourcePath, true, leaf));
                // Set aside first, as the move itself does.
                const std::string aside = TemporaryPrefix + randomToken();
                if (sourceDir.valid() && VTSafeFs::existsAt(sourceDir.get(), leaf)
                    && containedIn(sourceDir.get(), leaf, dirFd, to)
                    && VTSafeFs::renameNoReplace(sourceDir.get(), leaf, sourceDir.get(), aside) == 0)
                    removeTemporary(sourceDir.get(), aside);
            }
        }
        ::unlinkat(dirFd, entry.c_str(), 0);
        ++resolved;
    }
    // Copies without a journal: an interrupted copy, or a move that failed
    // after dropping its journal.
    for (const std::string &entry : VTSafeFs::listFolder(dirFd)) {
        if (isTemporaryName(entry) && !endsWith(entry, JournalSuffix)) {
            removeTemporary(dirFd, entry);
            ++resolved;
        }
    }
    VTSafeFs::syncFolder(dirFd);
    return resolved;
}

namespace {

// A folder listing that fails or a tree deeper than any copy makes is not
// the same: the answer may decide that a source is deleted.
bool compareTrees(int aDir, const std::string &a, int bDir, const std::string &b, bool exact, int depth = 0)
{
    if (depth >= VTSafeFs::MaxTreeDepth)
        return false;
    struct stat sa {}, sb {};
    if (VTSafeFs::statAt(aDir, a, sa) || VTSafeFs::statAt(bDir, b, sb))
        return false;
    if ((sa.st_mode & S_IFMT) != (sb.st_mode & S_IFMT))
        return false;
    if (S_ISLNK(sa.st_mode)) {
        char ta[4096], tb[4096];
        const ssize_t na = ::readlinkat(aDir, a.c_str(), ta, sizeof ta);
        const ssize_t nb = ::readlinkat(bDir, b.c_str(), tb, sizeof tb);
        return na >= 0 && na == nb && std::memcmp(ta, tb, static_cast<std::size_t>(na)) == 0;
    }
    if (S_ISREG(sa.st_mode)) {
        if (sa.st_size != sb.st_size)
            return false;
        Fd fa(openChecked(aDir, a, O_RDONLY | O_NOCTTY, sa));
        Fd fb(openChecked(bDir, b, O_RDONLY | O_NOCTTY, sb));
        return fa.valid() && fb.valid() && sameContents(fa.get(), fb.get());
    }
    if (!S_ISDIR(sa.st_mode))
        return false;
    Fd da(openChecked(aDir, a, O_RDONLY | O_DIRECTORY, sa));
    Fd db(openChecked(bDir, b, O_RDONLY | O_DIRECTORY, sb));
    if (!da.valid() || !db.valid())
        return false;
    int listError = 0;
    std::vector<std::string> namesA = VTSafeFs::listFolder(da.get(), &listError);
    if (listError)
        return false;
    if (exact) {
        std::vector<std::string> namesB = VTSafeFs::listFolder(db.get(), &listError);
        std::sort(namesA.begin(), namesA.end());
        std::sort(namesB.begin(), namesB.end());
        if (listError || namesA != namesB)
            return false;
    }
    for (const std::string &name : namesA) {
        if (!compareTrees(da.get(), name, db.get(), name, exact, depth + 1))
            return false;
    }
    return true;
}

} // namespace

bool sameTree(int aDir, const std::string &a, int bDir, const std::string &b)
{
    return compareTrees(aDir, a, bDir, b, true);
}

bool containedIn(int aDir, const std::string &a, int bDir, const std::string &b)
{
    return compareTrees(aDir, a, bDir, b, false);
}

} // namespace VTTreeCopy
