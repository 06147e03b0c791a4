#pragma once

#include <QString>
#include <QStringList>

#include <chrono>
#include <functional>

// File operations of the program, as stateless static functions. Every
// mutating operation first tries as the current user; when that fails it logs
// a line ending in "Authorizing..." and, when `shouldAuth` allows (the short
// forms always do), repeats the step with administrator rights through
// VTAuthorization. The timeout forms (std::chrono::seconds) also wait until
// the result shows on disk, because the privileged step returns before it is
// done.
class VTFileManager
{
public:
    using Seconds = std::chrono::seconds;

    // Existence (following links), folders and packages.
    [[nodiscard]] static bool fileExistsAtPath(const QString &path);
    [[nodiscard]] static bool isDirectoryAtPath(const QString &path);
    // A folder with a bundle extension (app, bundle, plugin, component,
    // fxplug, vst, vst3, framework, kext, avx, dpm, aaxplugin) or one that
    // holds Contents/Info.plist.
    [[nodiscard]] static bool isPackageAtPath(const QString &path);
    // An extension (any case) that makes a folder a bundle: app, bundle,
    // plugin, component, fxplug, vst, vst3, framework, kext, avx, dpm, aaxplugin.
    [[nodiscard]] static bool isBundleExtension(const QString &extension);

    // The Trash. A missing item counts as trashed.
    static bool trashFile(const QString &path);
    static bool trashFile(const QString &path, bool shouldAuth);
    static bool trashFile(const QString &path, Seconds timeout);
    static bool trashDirectoryContents(const QString &folder);
    static bool trashDirectoryContents(const QString &folder, bool shouldAuth);

    // Removal outright. A missing item counts as removed.
    static bool removeFile(const QString &path);
    static bool removeFile(const QString &path, bool shouldAuth);
    static bool removeFile(const QString &path, Seconds timeout);
    // True when the folder holds nothing but ".DS_Store", "Icon\r" and
    // folders that are empty by the same rule.
    [[nodiscard]] static bool isFolderEmpty(const QString &folder);
    static bool removeFolderIfEmpty(const QString &folder);

    // Folders, with intermediate folders.
    static bool createDirectory(const QString &path);
    static bool createDirectory(const QString &path, bool shouldAuth);
    static bool createDirectory(const QString &path, Seconds timeout);

    // Copies of files or whole folders; the destination must not exist.
    static bool copyFile(const QString &source, const QString &destination);
    static bool copyFile(const QString &source, const QString &destination, bool shouldAuth);
    static bool copyFile(const QString &source, const QString &destination, Seconds timeout);

    // Moves to a full destination path (not a folder to move into). A rename
    // that changes only letter case goes through a unique temporary name.
    // Across file systems the move copies, then removes (see VTTreeCopy.h).
    static bool moveFile(const QString &oldPath, const QString &newPath);
    static bool moveFile(const QString &oldPath, const QString &newPath, bool shouldAuth);
    static bool moveFile(const QString &oldPath, const QString &newPath, Seconds timeout);

    // The immutable attribute (chattr +i); on a file system without it no
    // file is locked. The folder forms act on everything inside, not on the
    // folder itself.
    static bool lockFile(const QString &path);
    static bool unlockFile(const QString &path);
    static void lockFolder(const QString &folder);
    static void unlockFolder(const QString &folder);
    [[nodiscard]] static bool isFileLocked(const QString &path);

    // Writable: write permission on the item. Deletable: write permission on
    // the folder holding it, and in a sticky folder only for the owner (of
    // the item or the folder) or the superuser.
    [[nodiscard]] static bool isWritableFileAtPath(const QString &path);
    [[nodiscard]] static bool isDeletableFileAtPath(const QString &path);

    // False only for a path under /Volumes whose volume is not there.
    [[nodiscard]] static bool isDriveMountedForPath(const QString &path);
    // `path`, or the first free of "name 2.ext", "name 3.ext", ...
    [[nodiscard]] static QString uniqueFilename(const QString &path);
    static bool touchFile(const QString &path);
    // Linux keeps no settable creation date; `setCreationDate` is accepted
    // and has no effect.
    static bool touchFile(const QString &path, bool setCreationDate);
    // Archives `source` with the managed system's ditto tool; an existing
    // destination is trashed first. True when the archive exists afterwards.
    static bool compressFile(const QString &source, const QString &destination, bool includeParent = true);
    // A proposed file name made safe: no leading ".", no surrounding white
    // space, and "/", ":", NUL and control characters replaced by "-".
    [[nodiscard]] static QString validateFilename(const QString &name);
    [[nodiscard]] static bool isPathSystemDirectory(const QString &path, bool exactMatch = false);

    // The entries of a folder whose names match the last component of
    // `wildcardPath`, in which "*" stands for any run of characters
    // ("/Apps/Host *.app"). Full paths, sorted by name; empty when the folder
    // cannot be read. Only the last component may hold a wildcard.
    [[nodiscard]] static QStringList filesMatchingWildcardPath(const QString &wildcardPath);
    // True when `name` matches `pattern`, where "*" matches any run of
    // characters (including none) and everything else matches itself.
    [[nodiscard]] static bool nameMatchesWildcard(const QString &name, const QString &pattern);

    // A folder's entries as full paths, read at byte level. A name that does
    // not survive the trip through text (not valid UTF-8) is logged and left
    // out, so nothing acts on it by a wrong name; the listing goes on.
    [[nodiscard]] static QStringList contentsOfDirectory(const QString &folder);

    // Resolves what interrupted moves left in these folders (one level).
    // The source a journal names is finished off only when it is exactly
    // the mirror counterpart, under `disabledRoot`, of the journal's
    // destination (a disable or an enable); other moves are left whole at
    // both ends. Returns the number of leftovers resolved.
    static int cleanUpInterruptedMoves(const QStringList &folders, const QString &disabledRoot);

    // Waits until `condition` holds or `timeout` passes, keeping a window
    // responsive on the main thread; returns the condition's last value.
    static bool waitUntil(const std::function<bool()> &condition, Seconds timeout);

private:
    [[nodiscard]] static bool itemExists(const QString &path);
    [[nodiscard]] static int moveItem(const QString &oldPath, const QString &newPath);
};
