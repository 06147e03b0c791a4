#include "VTHelperActions.h"

#include "VTSafeFs.h"
#include "VTTreeCopy.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

using VTSafeFs::Fd;

namespace VTHelperActions {

namespace {

constexpr bool NoSymlinks = true;

struct Parsed {
    std::string tool;
    std::string flags;
    std::vector<std::string> operands;
};

// Splits the vector into the tool's name, its option letters and operands.
bool parse(const std::vector<std::string> &arguments, Parsed &parsed)
{
    if (arguments.empty())
        return false;
    const std::string &path = arguments[0];
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos)
        return false;
    const std::string folder = path.substr(0, slash);
    if (folder != "/bin" && folder != "/usr/bin" && folder != "/sbin" && folder != "/usr/sbin")
        return false;
    parsed.tool = path.substr(slash + 1);
    bool optionsEnded = false;
    for (std::size_t i = 1; i < arguments.size(); ++i) {
        const std::string &argument = arguments[i];
        if (!optionsEnded && argument == "--") {
            optionsEnded = true;
        } else if (!optionsEnded && argument.size() > 1 && argument[0] == '-') {
            parsed.flags += argument.substr(1);
        } else {
            optionsEnded = true;
            parsed.operands.push_back(argument);
        }
    }
    return true;
}

bool flagsAllowed(const std::string &flags, const char *allowed)
{
    return flags.find_first_not_of(allowed) == std::string::npos;
}

bool has(const std::string &flags, const char *any)
{
    return flags.find_first_of(any) != std::string::npos;
}

bool validPath(const std::string &path)
{
    return VTSafeFs::isCleanAbsolutePath(path) && path != "/";
}

// Whole-tree actions never start at the top level ("/usr", "/home").
bool deepEnough(const std::string &path)
{
    return VTSafeFs::components(path).size() >= 2;
}

// A folder that only root or the requester can change, reached without
// links: what lies below it cannot be swapped by anyone else.
bool heldByRootOrRequester(const std::vector<std::string> &parts, std::size_t count, uid_t requester)
{
    std::string folder;
    for (std::size_t i = 0; i < count; ++i)
        folder += "/" + parts[i];
    Fd fd(VTSafeFs::openFolder(folder.empty() ? "/" : folder, NoSymlinks));
    struct stat st {};
    return fd.valid() && ::fstat(fd.get(), &st) == 0 && (st.st_uid == 0 || st.st_uid == requester)
        && (st.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

// Recursive changes and removals stay inside the folders this program
// manages: below a folder of a Library (plug-in folders, the vendor folder)
// or inside a Trash's files, where the Library or Trash lies in a folder that
// only root or the requester can change. A forged request cannot walk /etc
// or another user's home.
bool withinManagedFolders(const std::string &path, uid_t requester)
{
    const std::vector<std::string> parts = VTSafeFs::components(path);
    for (std::size_t i = 0; i < parts.size(); ++i) {
        std::size_t owner = parts.size(); // components before the managed folder
        std::size_t needed = 0;
        if (parts[i] == "Library") {
            owner = i;
            needed = i + 3; // Library/<folder>/<item>
        } else if (parts[i] == "files" && i >= 1 && (parts[i - 1] == "Trash" || parts[i - 1].rfind(".Trash-", 0) == 0)) {
            owner = i - 1;
            needed = i + 2;
        } else if (parts[i] == "files" && i >= 2 && parts[i - 2] == ".Trash") {
            owner = i - 2;
            needed = i + 2;
        }
        if (owner < parts.size() && parts.size() >= needed && heldByRootOrRequester(parts, owner, requester))
            return true;
    }
    return false;
}

struct Target {
    Fd folder;
    std::string name;
};

int resolve(const std::string &path, Target &target)
{
    target.folder = Fd(VTSafeFs::openParent(path, NoSymlinks, target.name));
    return target.folder.valid() ? 0 : -target.folder.get();
}

// The place an item goes for mv and cp: DEST always names the item itself.
// A folder already there is never a folder to move into: another user who
// puts one there in time must not receive the item.
int resolveDestination(const std::string &dest, Target &target)
{
    if (const int error = resolve(dest, target))
        return error;
    struct stat st {};
    if (VTSafeFs::statAt(target.folder.get(), target.name, st) == 0 && S_ISDIR(st.st_mode))
        return EEXIST;
    return 0;
}

// What lands in a root-owned folder is for all users: it becomes root's and
// nobody else may write it, whoever owned the source.
bool forAllUsers(const Target &dest)
{
    struct stat folder {};
    return ::fstat(dest.folder.get(), &folder) == 0 && folder.st_uid == 0;
}

// Replacing is what mv -f and cp -f do to an existing file; a folder is
// never replaced.
bool replaces(int sourceDir, const std::string &source, const Target &dest)
{
    struct stat from {}, to {};
    if (VTSafeFs::statAt(dest.folder.get(), dest.name, to) != 0)
        return false;
    return VTSafeFs::statAt(sourceDir, source, from) == 0 && !S_ISDIR(from.st_mode) && !S_ISDIR(to.st_mode);
}

// What goes into a folder that is not the requester's own must be beyond
// the reach of other users, where it comes from and all the way down.
int checkArrival(const Target &source, const Target &dest, uid_t requester)
{
    struct stat to {};
    if (::fstat(dest.folder.get(), &to) != 0)
        return errno;
    if (requester != 0 && to.st_uid == requester)
        return 0;
    return VTSafeFs::beyondOthers(source.folder.get(), source.name, requester);
}

// A folder whose entries this step changes: an immutable attribute on it is
// its owner's lock, lifted for the step and put back afterwards, so that a
// locked folder does not stop a step taken with administrator rights.
class FolderUnlock
{
public:
    explicit FolderUnlock(int folderFd) : m_fd(folderFd)
    {
        bool locked = false;
        m_relock = VTSafeFs::isImmutable(m_fd, locked) == 0 && locked && VTSafeFs::setImmutable(m_fd, false) == 0;
    }
    ~FolderUnlock()
    {
        if (m_relock)
            (void)VTSafeFs::setImmutable(m_fd, true);
    }
    FolderUnlock(const FolderUnlock &) = delete;
    FolderUnlock &operator=(const FolderUnlock &) = delete;

private:
    int m_fd;
    bool m_relock = false;
};

int moveAction(const Parsed &p, uid_t requester)
{
    if (!flagsAllowed(p.flags, "fn") || p.operands.size() != 2 || !validPath(p.operands[0]) || !validPath(p.operands[1]))
        return EINVAL;
    Target source, dest;
    if (const int error = resolve(p.operands[0], source))
        return error;
    if (!VTSafeFs::existsAt(source.folder.get(), source.name))
        return ENOENT;
    if (const int error = resolveDestination(p.operands[1], dest))
        return error;
    // -n: nothing already there is ever replaced (the Trash asks for that).
    if (has(p.flags, "n") && VTSafeFs::existsAt(dest.folder.get(), dest.name))
        return EEXIST;
    if (const int error = checkArrival(source, dest, requester))
        return error;
    const bool replace = replaces(source.folder.get(), source.name, dest);
    (void)VTSafeFs::setImmutableAt(source.folder.get(), source.name, false);
    if (replace)
        (void)VTSafeFs::setImmutableAt(dest.folder.get(), dest.name, false);
    const FolderUnlock from(source.folder.get());
    const FolderUnlock to(dest.folder.get());
    return VTTreeCopy::moveItem(source.folder.get(), source.name, dest.folder.get(), dest.name, replace, p.operands[0],
                                forAllUsers(dest));
}

int copyAction(const Parsed &p, uid_t requester)
{
    if (!flagsAllowed(p.flags, "fpRr") || p.operands.size() != 2 || !validPath(p.operands[0]) || !validPath(p.operands[1]))
        return EINVAL;
    Target source, dest;
    if (const int error = resolve(p.operands[0], source))
        return error;
    struct stat st {};
    if (const int error = VTSafeFs::statAt(source.folder.get(), source.name, st))
        return error;
    if (S_ISDIR(st.st_mode) && !has(p.flags, "Rr"))
        return EISDIR;
    if (const int error = resolveDestination(p.operands[1], dest))
        return error;
    if (const int error = checkArrival(source, dest, requester))
        return error;
    const bool replace = replaces(source.folder.get(), source.name, dest);
    const FolderUnlock to(dest.folder.get());
    return VTTreeCopy::copyItem(source.folder.get(), source.name, dest.folder.get(), dest.name, replace, forAllUsers(dest));
}

int removeAction(const Parsed &p, uid_t requester)
{
    if (!flagsAllowed(p.flags, "Rrdf") || p.operands.empty())
        return EINVAL;
    const bool recursive = has(p.flags, "Rr");
    const bool force = has(p.flags, "f");
    int firstError = 0;
    for (const std::string &path : p.operands) {
        int error = 0;
        Target target;
        struct stat st {};
        if (!validPath(path) || (recursive && !deepEnough(path))) {
            error = EINVAL;
        } else if (recursive && !withinManagedFolders(path, requester)) {
            error = EPERM;
        } else if ((error = resolve(path, target)) == 0
                   && (error = VTSafeFs::statAt(target.folder.get(), target.name, st)) == 0) {
            const FolderUnlock parent(target.folder.get());
            if (!S_ISDIR(st.st_mode) || recursive) {
                // The item named is unlocked as asked; a locked item inside
                // a tree is its owner's protection: the whole removal is
                // refused before anything goes.
                bool wasLocked = false;
                (void)VTSafeFs::isImmutableAt(target.folder.get(), target.name, wasLocked);
                (void)VTSafeFs::setImmutableAt(target.folder.get(), target.name, false);
                if (VTSafeFs::holdsLockedItem(target.folder.get(), target.name)) {
                    if (wasLocked)
                        (void)VTSafeFs::setImmutableAt(target.folder.get(), target.name, true);
                    error = EPERM;
                } else {
                    error = VTSafeFs::removeTree(target.folder.get(), target.name, false);
                }
            } else if (has(p.flags, "d")) {
                (void)VTSafeFs::setImmutableAt(target.folder.get(), target.name, false);
                error = ::unlinkat(target.folder.get(), target.name.c_str(), AT_REMOVEDIR) == 0 ? 0 : errno;
            } else {
                error = EISDIR;
            }
        }
        if (error == ENOENT && force)
            error = 0;
        if (error && !firstError)
            firstError = error;
    }
    return firstError;
}

int makeFolderAction(const Parsed &p)
{
    if (!flagsAllowed(p.flags, "p") || p.operands.empty())
        return EINVAL;
    int firstError = 0;
    for (const std::string &path : p.operands) {
        int error = 0;
        Target target;
        if (!validPath(path))
            error = EINVAL;
        else if (has(p.flags, "p"))
            error = VTSafeFs::makeFolders(path, NoSymlinks, 0755);
        else if ((error = resolve(path, target)) == 0)
            error = ::mkdirat(target.folder.get(), target.name.c_str(), 0755) == 0 ? 0 : errno;
        if (error && !firstError)
            firstError = error;
    }
    return firstError;
}

bool lookUpOwner(const std::string &spec, uid_t &uid, gid_t &gid)
{
    uid = static_cast<uid_t>(-1);
    gid = static_cast<gid_t>(-1);
    const std::size_t colon = spec.find(':');
    const std::string user = spec.substr(0, colon);
    const std::string group = colon == std::string::npos ? std::string() : spec.substr(colon + 1);
    char buffer[8192];
    if (!user.empty()) {
        struct passwd entry {};
        struct passwd *found = nullptr;
        if (getpwnam_r(user.c_str(), &entry, buffer, sizeof buffer, &found) != 0 || !found)
            return false;
        uid = found->pw_uid;
    }
    if (!group.empty()) {
        struct group entry {};
        struct group *found = nullptr;
        if (getgrnam_r(group.c_str(), &entry, buffer, sizeof buffer, &found) != 0 || !found)
            return false;
        gid = found->gr_gid;
    }
    return !user.empty() || !group.empty();
}

// chown and chmod share their shape: an owner or mode, then paths.
template<typename Change>
int changeAction(const Parsed &p, uid_t requester, const Change &change)
{
    if (!flagsAllowed(p.flags, "R") || p.operands.size() < 2)
        return EINVAL;
    const bool recursive = has(p.flags, "R");
    int firstError = 0;
    for (std::size_t i = 1; i < p.operands.size(); ++i) {
        const std::string &path = p.operands[i];
        int error = 0;
        Target target;
        if (!validPath(path) || (recursive && !deepEnough(path)))
            error = EINVAL;
        else if (recursive && !withinManagedFolders(path, requester))
            error = EPERM;
        else if ((error = resolve(path, target)) == 0)
            error = change(target.folder.get(), target.name, recursive);
        if (error && !firstError)
            firstError = error;
    }
    return firstError;
}

int touchAction(const Parsed &p)
{
    if (!flagsAllowed(p.flags, "c") || p.operands.empty())
        return EINVAL;
    int firstError = 0;
    for (const std::string &path : p.operands) {
        int error = 0;
        Target target;
        if (!validPath(path)) {
            error = EINVAL;
        } else if ((error = resolve(path, target)) == 0) {
            if (::utimensat(target.folder.get(), target.name.c_str(), nullptr, AT_SYMLINK_NOFOLLOW) != 0) {
                error = errno;
                if (error == ENOENT) {
                    if (has(p.flags, "c")) {
                        error = 0;
                    } else {
                        const int fd = ::openat(target.folder.get(), target.name.c_str(),
                                                O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
                        error = fd >= 0 ? 0 : errno;
                        if (fd >= 0)
                            ::close(fd);
                    }
                }
            }
        }
        if (error && !firstError)
            firstError = error;
    }
    return firstError;
}

} // namespace

int run(const std::vector<std::string> &arguments, uid_t requester)
{
    Parsed p;
    if (!parse(arguments, p))
        return EPERM;
    if (p.tool == "mv")
        return moveAction(p, requester);
    if (p.tool == "cp")
        return copyAction(p, requester);
    if (p.tool == "rm")
        return removeAction(p, requester);
    if (p.tool == "mkdir")
        return makeFolderAction(p);
    if (p.tool == "chown") {
        uid_t uid;
        gid_t gid;
        if (p.operands.empty() || !lookUpOwner(p.operands[0], uid, gid))
            return EINVAL;
        return changeAction(p, requester, [uid, gid](int dir, const std::string &name, bool recursive) {
            return VTSafeFs::chownAt(dir, name, uid, gid, recursive);
        });
    }
    if (p.tool == "chmod") {
        VTSafeFs::ModeChange mode;
        if (p.operands.empty() || !VTSafeFs::parseModeChange(p.operands[0], mode))
            return EINVAL;
        return changeAction(p, requester, [&mode](int dir, const std::string &name, bool recursive) {
            return VTSafeFs::chmodAt(dir, name, mode, recursive);
        });
    }
    if (p.tool == "touch")
        return touchAction(p);
    return EPERM;
}

} // namespace VTHelperActions
