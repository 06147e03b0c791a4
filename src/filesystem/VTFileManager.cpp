#include "VTFileManager.h"

#include "VTAuthorization.h"
#include "VTLocalPaths.h"
#include "VTLog.h"
#include "VTPath.h"
#include "VTSafeFs.h"
#include "VTTaskEx.h"
#include "VTTrash.h"
#include "VTTreeCopy.h"

#include <QCoreApplication>
#include <QThread>

#include <cerrno>
#include <cstring>

#include <sys/stat.h>
#include <unistd.h>

using VTSafeFs::Fd;

namespace {

std::string native(const QString &path)
{
    return VTPath::toNative(VTPath::normalize(path)).toStdString();
}

QString describe(int error, const QString &path)
{
    return QStringLiteral("%1 (%2)").arg(QString::fromLocal8Bit(std::strerror(error)), path);
}

VTAuthorization *authorization()
{
    return VTAuthorization::sharedController();
}

// errno of making the folder and its missing parents; 0 when it exists.
int makeFolderWithParents(const QString &path)
{
    const int error = VTSafeFs::makeFolders(native(path), VTSafeFs::linksRefused(), 0777);
    struct stat st {};
    return error == ENOTDIR && ::lstat(native(path).c_str(), &st) == 0 && !S_ISDIR(st.st_mode) ? EEXIST : error;
}

int copyItem(const QString &source, const QString &destination)
{
    std::string from, to;
    Fd fromDir(VTSafeFs::openParent(native(source), VTSafeFs::linksRefused(), from));
    if (!fromDir.valid())
        return -fromDir.get();
    Fd toDir(VTSafeFs::openParent(native(destination), VTSafeFs::linksRefused(), to));
    if (!toDir.valid())
        return -toDir.get();
    return VTTreeCopy::copyItem(fromDir.get(), from, toDir.get(), to, false);
}

int removeItem(const QString &path)
{
    std::string leaf;
    Fd folder(VTSafeFs::openParent(native(path), VTSafeFs::linksRefused(), leaf));
    if (!folder.valid())
        return -folder.get();
    const int error = VTSafeFs::removeTree(folder.get(), leaf);
    return error == ENOENT ? 0 : error;
}

// The first free of "name 2.ext", "name 3.ext", ...
QString numberedFilename(const QString &path)
{
    const QString extension = VTPath::extension(path);
    const QString stem = VTPath::removeExtension(path);
    for (int n = 2;; ++n) {
        QString candidate = stem + QStringLiteral(" %1").arg(n);
        if (!extension.isEmpty())
            candidate += u'.' + extension;
        struct stat st {};
        if (::lstat(native(candidate).c_str(), &st) != 0)
            return candidate;
    }
}

} // namespace

bool VTFileManager::itemExists(const QString &path)
{
    struct stat st {};
    return !path.isEmpty() && ::lstat(native(path).c_str(), &st) == 0;
}

int VTFileManager::moveItem(const QString &oldPath, const QString &newPath)
{
    std::string from, to;
    Fd fromDir(VTSafeFs::openParent(native(oldPath), VTSafeFs::linksRefused(), from));
    if (!fromDir.valid())
        return -fromDir.get();
    Fd toDir(VTSafeFs::openParent(native(newPath), VTSafeFs::linksRefused(), to));
    if (!toDir.valid())
        return -toDir.get();
    return VTTreeCopy::moveItem(fromDir.get(), from, toDir.get(), to, false, native(oldPath));
}

bool VTFileManager::waitUntil(const std::function<bool()> &condition, Seconds timeout)
{
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    QCoreApplication *app = QCoreApplication::instance();
    const bool onMainThread = app && QThread::currentThread() == app->thread();
    while (!condition() && std::chrono::steady_clock::now() < deadline) {
        if (onMainThread) {
            // Keep the window alive in short turns.
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
            QThread::msleep(10);
        } else {
            QThread::msleep(300);
        }
    }
    return condition();
}

bool VTFileManager::trashFile(const QString &path)
{
    return trashFile(path, true);
}

bool VTFileManager::trashFile(const QString &path, bool shouldAuth)
{
    (void)unlockFile(path);
    if (!itemExists(path))
        return true;
    if (VTTrash::trashItem(path))
        return true;
    if (!shouldAuth)
        return false;
    VTLog::appendLog(QStringLiteral("Error trashing file: %1. Authorizing...").arg(path));
    return authorization()->authTrashFile(path);
}

bool VTFileManager::trashFile(const QString &path, Seconds timeout)
{
    if (!trashFile(path))
        return false;
    return waitUntil([&path] { return !itemExists(path); }, timeout);
}

bool VTFileManager::trashDirectoryContents(const QString &folder)
{
    return trashDirectoryContents(folder, true);
}

bool VTFileManager::trashDirectoryContents(const QString &folder, bool shouldAuth)
{
    bool allTrashed = true;
    for (const QString &entry : contentsOfDirectory(folder)) {
        if (!trashFile(entry, shouldAuth))
            allTrashed = false;
    }
    return allTrashed;
}

bool VTFileManager::removeFile(const QString &path)
{
    return removeFile(path, true);
}

bool VTFileManager::removeFile(const QString &path, bool shouldAuth)
{
    (void)unlockFile(path);
    if (!itemExists(path))
        return true;
    const int error = removeItem(path);
    if (error == 0)
        return true;
    VTLog::appendLog(QStringLiteral("Error removing file: %1. Authorizing...").arg(describe(error, path)));
    return shouldAuth && authorization()->authRemoveFile(path);
}

bool VTFileManager::removeFile(const QString &path, Seconds timeout)
{
    if (!removeFile(path, true))
        return false;
    return waitUntil([&path] { return !itemExists(path); }, timeout);
}

bool VTFileManager::removeFolderIfEmpty(const QString &folder)
{
    return isFolderEmpty(folder) && removeFile(folder);
}

bool VTFileManager::createDirectory(const QString &path)
{
    return createDirectory(path, true);
}

bool VTFileManager::createDirectory(const QString &path, bool shouldAuth)
{
    if (!isDriveMountedForPath(path)) {
        VTAuthorization::consoleLog(QStringLiteral("Unable to create directory. Drive is not mounted."));
        return false;
    }
    const int error = makeFolderWithParents(path);
    if (error == 0)
        return true;
    VTLog::appendLog(QStringLiteral("Error creating folder: %1. Authorizing...").arg(describe(error, path)));
    return shouldAuth && authorization()->authCreateDir(path);
}

bool VTFileManager::createDirectory(const QString &path, Seconds timeout)
{
    if (!createDirectory(path))
        return false;
    return waitUntil([&path] { return itemExists(path); }, timeout);
}

bool VTFileManager::copyFile(const QString &source, const QString &destination)
{
    return copyFile(source, destination, true);
}

bool VTFileManager::copyFile(const QString &source, const QString &destination, bool shouldAuth)
{
    if (source.isEmpty()) {
        VTLog::appendLogAndPrint(QStringLiteral("Error copying file: source path is nil"));
        return false;
    }
    if (destination.isEmpty()) {
        VTLog::appendLogAndPrint(QStringLiteral("Error copying file %1: destination path is nil").arg(source));
        return false;
    }
    (void)unlockFile(VTPath::removeLastComponent(destination));
    const int error = copyItem(source, destination);
    if (error == 0)
        return true;
    VTLog::appendLog(QStringLiteral("Error copying file: %1. Authorizing...").arg(describe(error, source)));
    return shouldAuth && authorization()->authCopyFile(source, destination);
}

bool VTFileManager::copyFile(const QString &source, const QString &destination, Seconds timeout)
{
    if (!copyFile(source, destination))
        return false;
    return waitUntil([&destination] { return itemExists(destination); }, timeout);
}

bool VTFileManager::moveFile(const QString &oldPath, const QString &newPath)
{
    return moveFile(oldPath, newPath, true);
}

bool VTFileManager::moveFile(const QString &oldPath, const QString &newPath, bool shouldAuth)
{
    if (itemExists(newPath))
        (void)unlockFile(newPath);
    unlockFolder(VTPath::join(newPath, VTPath::lastComponent(oldPath)));

    if (oldPath != newPath && oldPath.compare(newPath, Qt::CaseInsensitive) == 0) {
        // A case-only rename passes through a free name, so that a file
        // system that ignores case sees two real renames.
        const QString temporary = numberedFilename(newPath);
        if (moveItem(oldPath, temporary) == 0 && moveItem(temporary, newPath) == 0)
            return true;
    }
    const int error = moveItem(oldPath, newPath);
    if (error == 0)
        return true;
    VTLog::appendLog(QStringLiteral("Error moving file: %1.").arg(describe(error, oldPath)));
    if (!shouldAuth)
        return false;
    VTLog::appendLog(QStringLiteral("Authorizing..."));
    return authorization()->authMoveFile(oldPath, newPath);
}

bool VTFileManager::moveFile(const QString &oldPath, const QString &newPath, Seconds timeout)
{
    if (!moveFile(oldPath, newPath))
        return false;
    if (oldPath.compare(newPath, Qt::CaseInsensitive) == 0) {
        ::usleep(500);
        return true;
    }
    return waitUntil([&oldPath] { return !itemExists(oldPath); }, timeout);
}

bool VTFileManager::touchFile(const QString &path)
{
    return touchFile(path, false);
}

bool VTFileManager::touchFile(const QString &path, bool setCreationDate)
{
    Q_UNUSED(setCreationDate);
    const QString touch = QStringLiteral("/usr/bin/touch");
    const QStringList arguments = {QStringLiteral("-c"), QStringLiteral("--"), path};
    if (isWritableFileAtPath(path)) {
        (void)VTTaskEx::runTask(touch, arguments, Seconds(5));
        return true;
    }
    return authorization()->authExecTask(touch, arguments, false) == VTAuthorization::StatusSuccess;
}

bool VTFileManager::compressFile(const QString &source, const QString &destination, bool includeParent)
{
    if (itemExists(destination))
        (void)trashFile(destination);
    QStringList arguments = {QStringLiteral("-ck")};
    if (includeParent)
        arguments << QStringLiteral("--keepParent");
    arguments << source << destination;
    // ditto belongs to the managed system; where it is missing the run fails
    // and so does the result test.
    (void)VTTaskEx::runTask(VTLocalPaths::systemPath(QStringLiteral("/usr/bin/ditto")), arguments);
    return itemExists(destination);
}

int VTFileManager::cleanUpInterruptedMoves(const QStringList &folders, const QString &disabledRoot)
{
    int resolved = 0;
    for (const QString &folder : folders) {
        Fd fd(VTSafeFs::openFolder(native(folder), VTSafeFs::linksRefused()));
        if (!fd.valid())
            continue;
        const auto mirrorCounterpart = [&folder, &disabledRoot](const std::string &source, const std::string &name) {
            const QString destination =
                VTPath::normalize(VTPath::join(folder, VTPath::fromNative(QByteArray::fromStdString(name))));
            const QString counterpart = VTPath::isInside(destination, disabledRoot)
                ? VTLocalPaths::unmirrorPath(disabledRoot, destination)
                : VTLocalPaths::mirrorPath(disabledRoot, destination);
            const bool accepted = !counterpart.isEmpty()
                && VTPath::normalize(VTPath::fromNative(QByteArray::fromStdString(source))) == counterpart;
            if (!accepted)
                VTLog::appendLog(QStringLiteral("Left alone: a move journal in %1 names %2, not the counterpart of %3")
                                     .arg(folder, VTPath::fromNative(QByteArray::fromStdString(source)), destination));
            return accepted;
        };
        const int count = VTTreeCopy::cleanUpFolder(fd.get(), mirrorCounterpart);
        if (count > 0)
            VTLog::appendLog(QStringLiteral("Resolved %1 leftovers of interrupted moves in %2").arg(count).arg(folder));
        resolved += count;
    }
    return resolved;
}
