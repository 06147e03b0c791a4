#pragma once

#include <QString>

// Standard folders of the managed system. The all-users ("local") domain lives
// under TESSARY_SYSTEM_ROOT (default "/"), the current user's domain under the
// user's home. This class is the only reader of TESSARY_SYSTEM_ROOT, HOME and
// TESSARY_ESCALATE; it keeps no state of its own.
class VTLocalPaths
{
public:
    enum class Directory {
        Applications,
        AdminApplications,
        Documents,
        Library,
        Caches,
        ApplicationSupport,
        Movies,
        Desktop,
        Documentation,
    };

    // The folder that stands for "/" of the all-users domain, without a
    // trailing separator ("/" itself when unset).
    [[nodiscard]] static QString systemRoot();
    // A macOS absolute path ("/Library/Plug-Ins") placed under the system root.
    [[nodiscard]] static QString systemPath(const QString &macPath);
    // The inverse: a path under the system root as the managed system sees it
    // ("/tmp/sb/Library" gives "/Library"); other paths come back unchanged.
    [[nodiscard]] static QString stripSystemRoot(const QString &path);

    // The mirror tree under the disabled-plugins root records each path as
    // the managed system itself would: the path within the system root, or,
    // for a path outside it (a HOME elsewhere), the whole path. So a mounted
    // volume stays consistent with itself and a sandbox can be moved.
    // mirrorPath("/sb/Library/AS/Disabled", "/sb/Library/Plug-Ins/A") is
    // "/sb/Library/AS/Disabled/Library/Plug-Ins/A".
    [[nodiscard]] static QString mirrorPath(const QString &disabledRoot, const QString &path);
    // The inverse for a path inside the mirror tree; empty for any other
    // path and for the root itself. A recorded path that lies in a HOME
    // outside the system root is that path; every other one is below the root.
    [[nodiscard]] static QString unmirrorPath(const QString &disabledRoot, const QString &mirrored);
    // The same with the system root and the user's home given, for callers
    // that unmirror many paths (finding the home may ask the system).
    [[nodiscard]] static QString unmirrorPath(const QString &disabledRoot, const QString &mirrored,
                                              const QString &systemRoot, const QString &home);

    // The command that starts the privileged helper (default "pkexec").
    [[nodiscard]] static QString escalateCommand();
    [[nodiscard]] static bool isSuperuser();

    // The first folder the standard-directory search gives for a kind and
    // domain, with the root correction for a superuser run; empty when the
    // domain has no such folder.
    [[nodiscard]] static QString pathForDirectory(Directory directory, bool forUser);

    [[nodiscard]] static QString applicationDirectory(bool forUser);
    [[nodiscard]] static QString adminApplicationDirectory(bool forUser);
    [[nodiscard]] static QString documentDirectory(bool forUser);
    [[nodiscard]] static QString libraryDirectory(bool forUser);
    [[nodiscard]] static QString prefsDirectory(bool forUser);
    [[nodiscard]] static QString cacheDirectory(bool forUser);
    [[nodiscard]] static QString appSupportDirectory(bool forUser);
    [[nodiscard]] static QString logDirectory(bool forUser);
    [[nodiscard]] static QString darwinCacheDirectory();
    [[nodiscard]] static QString movieDirectory();
    [[nodiscard]] static QString desktopDirectory();
    [[nodiscard]] static QString systemLibraryDirectory();
    [[nodiscard]] static QString localDocumentationDirectory();

    // The home folder: the console user's when running as superuser with a
    // console user, otherwise the process's own (HOME).
    [[nodiscard]] static QString userDirectory();
    // The console user's name as superuser (when there is one), else the
    // process's account name.
    [[nodiscard]] static QString username();
    // The user who invoked a superuser run (sudo, pkexec) or the user of the
    // active login session; empty when there is none.
    [[nodiscard]] static QString currentConsoleUser();

    // The home trash's "files" folder ($XDG_DATA_HOME/Trash/files, by default
    // below userDirectory()).
    [[nodiscard]] static QString trashDirectory();
    [[nodiscard]] static QString tempDirectory();
    // tempDirectory() joined with uuid() followed by randomString(8).
    [[nodiscard]] static QString tempFile();
    [[nodiscard]] static QString uuid();
    // `length` characters from "abcdefghijklmnopqrstuvwxyz0123456789".
    [[nodiscard]] static QString randomString(int length);

    // True for the folders that must never be moved or removed: "/", the
    // standard folders of both domains, Users/Shared and Volumes; without
    // exactMatch also anything below usr, var, private/var and System. A
    // trailing separator makes a path match nothing (two characters are cut).
    [[nodiscard]] static bool isPathSystemDirectory(const QString &path, bool exactMatch = false);
    // True for a path on a backup volume: below Volumes, with a
    // "Backups.backupdb" component.
    [[nodiscard]] static bool isPathOnTimeMachineVolume(const QString &path);

private:
    [[nodiscard]] static QString processHome();
    [[nodiscard]] static QString searchPath(Directory directory, bool forUser);
};
