#pragma once

#include <string>
#include <vector>

#include <sys/stat.h>
#include <sys/types.h>

// File-system primitives on open folders, shared by the program and by its
// privileged helper. They work on (folder descriptor, name) pairs so that a
// folder, once opened, cannot be swapped for a symbolic link under them, and
// on raw bytes so that names which are not valid UTF-8 are handled like any
// other. No Qt here: the helper is a small root entry point.
//
// Functions return 0 on success or an errno value.
namespace VTSafeFs {

// An owned file descriptor.
class Fd
{
public:
    Fd() = default;
    explicit Fd(int fd) : m_fd(fd) {}
    Fd(const Fd &) = delete;
    Fd &operator=(const Fd &) = delete;
    Fd(Fd &&other) noexcept : m_fd(other.release()) {}
    Fd &operator=(Fd &&other) noexcept;
    ~Fd();

    [[nodiscard]] int get() const { return m_fd; }
    [[nodiscard]] bool valid() const { return m_fd >= 0; }
    int release();

private:
    int m_fd = -1;
};

// True for an absolute path without empty, "." or ".." components and
// without NUL bytes. "/" itself passes.
[[nodiscard]] bool isCleanAbsolutePath(const std::string &path);

// The path's components ("/a/b" gives "a", "b").
[[nodiscard]] std::vector<std::string> components(const std::string &path);

// Opens a folder by absolute path. With `noSymlinks` no component may be a
// symbolic link (openat2 RESOLVE_NO_SYMLINKS, or one O_NOFOLLOW step per
// component where the kernel lacks openat2). Returns the descriptor or -errno.
[[nodiscard]] int openFolder(const std::string &path, bool noSymlinks);

// The link rule of a process's own file operations: a superuser process
// takes no symbolic link on the way, as its privileged helper does, so that
// another user's link cannot steer root; anyone else may have links in the
// path to their own files (a home on another disk).
[[nodiscard]] bool linksRefused();

// Makes the folder `path` and its missing parents (as mkdir -p, with `mode`
// before the umask), one component at a time from "/"; with `noSymlinks`
// a link anywhere on the way is refused (ELOOP or ENOTDIR) instead of
// followed. 0 or errno; ENOTDIR when something else is in the way.
[[nodiscard]] int makeFolders(const std::string &path, bool noSymlinks, mode_t mode);

// Opens the folder holding the last component of `path` and gives that
// component in `leaf`. The path must be clean and not "/".
[[nodiscard]] int openParent(const std::string &path, bool noSymlinks, std::string &leaf);

// lstat of a name in a folder; 0 or errno.
[[nodiscard]] int statAt(int dirFd, const std::string &name, struct stat &st);
[[nodiscard]] bool existsAt(int dirFd, const std::string &name);

// The entries of an open folder except "." and ".."; the folder descriptor
// stays open. Returns errno through `error` when the listing failed.
[[nodiscard]] std::vector<std::string> listFolder(int dirFd, int *error = nullptr);

// The immutable attribute (as chattr +i). A file system without it has no
// locked files: reading gives false, clearing succeeds. Symbolic links are
// never locked; a locked file with more than one hard link is not unlocked
// (EPERM).
[[nodiscard]] int isImmutableAt(int dirFd, const std::string &name, bool &locked);
[[nodiscard]] int setImmutableAt(int dirFd, const std::string &name, bool locked);
// The same on an open folder or file.
[[nodiscard]] int isImmutable(int fd, bool &locked);
[[nodiscard]] int setImmutable(int fd, bool locked);
// True when the item or anything below it carries the immutable attribute
// (links are not followed; walks stop at 256 levels and answer true there).
[[nodiscard]] bool holdsLockedItem(int dirFd, const std::string &name);

// 0 when nothing of the item `name` in the open folder `dirFd` is within
// another user's reach: the folder belongs to root or `owner` and others may
// not write it (unless it is sticky), and everything in the item's tree
// belongs to root or `owner` and is not writable by group or others. EPERM
// otherwise (or the error of the walk; ELOOP past 256 levels).
[[nodiscard]] int beyondOthers(int dirFd, const std::string &name, uid_t owner);

// Removes a file, link or whole folder tree without following any link,
// without entering a mount point (EXDEV) and down to MaxTreeDepth (ELOOP).
// With `unlockEach`, clears the immutable attribute of every item first.
// (The helper never asks for that: it refuses a tree holding a locked item.)
[[nodiscard]] int removeTree(int dirFd, const std::string &name, bool unlockEach = false);

// flush of a folder's entries to disk.
int syncFolder(int dirFd);

// rename that never replaces an existing destination; falls back to a
// checked rename on file systems without RENAME_NOREPLACE.
[[nodiscard]] int renameNoReplace(int fromDir, const std::string &from, int toDir, const std::string &to);

// Permission changes over a whole tree, for the permission repair: walks
// open folders, skips symbolic links and files with more than one hard link
// (which could reach outside the tree; such a file named as the top is
// refused with EPERM, a link as the top with ELOOP), never opens devices,
// stays on the top's file system. A folder that
// ends up writable by everyone also gets the sticky bit, so others may add
// entries but not replace or remove what they do not own.
struct ModeChange {
    struct Clause {
        mode_t who = 0;     // the u/g/o bits the clause applies to
        char op = '+';      // '+', '-' or '='
        mode_t perms = 0;   // r/w/x/t bits before masking by `who`
        bool conditionalExecute = false; // 'X'
    };
    std::vector<Clause> clauses;
    bool absolute = false;
    mode_t absoluteMode = 0;
    [[nodiscard]] mode_t apply(mode_t mode, bool isFolder) const;
};
// Parses "755", "a+rw", "u+w,go-w", "o=rx" and so on; false when not understood.
[[nodiscard]] bool parseModeChange(const std::string &text, ModeChange &change);

[[nodiscard]] int chmodAt(int dirFd, const std::string &name, const ModeChange &change, bool recursive);
// uid/gid of (uid_t)-1 / (gid_t)-1 leave that part unchanged.
[[nodiscard]] int chownAt(int dirFd, const std::string &name, uid_t uid, gid_t gid, bool recursive);
// Gives a whole tree to root and takes write and set-id bits from group and
// others: for what is put into a folder all users run from.
[[nodiscard]] int handToRootAt(int dirFd, const std::string &name);

// The deepest folder the whole-tree actions walk; plug-in bundles are shallow.
inline constexpr int MaxTreeDepth = 256;

} // namespace VTSafeFs
