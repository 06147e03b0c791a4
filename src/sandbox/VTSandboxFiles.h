#pragma once

#include <QByteArray>
#include <QSet>
#include <QString>

// Direct file-system calls for building sandboxes fast: tens of thousands of
// small files are written with plain open/write/close and folders are made
// once (remembered), so a large sandbox costs no process spawns and few
// redundant system calls. Every failure is kept as text in lastError().
class VTSandboxFiles
{
public:
    // Creates the folder and any missing parents (mode 0755).
    [[nodiscard]] bool makePath(const QString &path);
    // Creates or truncates a file and writes the bytes; creates no folders.
    [[nodiscard]] bool writeFile(const QString &path, const QByteArray &bytes, unsigned mode = 0644);
    // Creates a new file, failing when anything exists at the path already.
    [[nodiscard]] bool createFile(const QString &path, const QByteArray &bytes, unsigned mode = 0644);
    // Sets a user extended attribute ("user.com.apple.FinderInfo").
    [[nodiscard]] bool setAttribute(const QString &path, const QByteArray &name, const QByteArray &value);
    // Renames without replacing anything at the destination.
    [[nodiscard]] bool moveNoReplace(const QString &from, const QString &to);
    // Removes an empty folder.
    [[nodiscard]] bool removeEmptyFolder(const QString &path);
    // Creates a symbolic link at `path` pointing to `target`.
    [[nodiscard]] bool makeLink(const QString &target, const QString &path);

    // True when anything (also a dangling link) exists at the path.
    [[nodiscard]] static bool exists(const QString &path);
    [[nodiscard]] static bool isFolder(const QString &path);

    [[nodiscard]] QString lastError() const { return m_lastError; }

private:
    bool fail(const char *what, const QString &path);
    void forgetFoldersInside(const QString &path);

    QSet<QString> m_madeFolders;
    QString m_lastError;
};
