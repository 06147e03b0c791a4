#include "VTInstallOperation.h"

#include "OutlineViewController.h"
#include "VTAuthorization.h"
#include "VTException.h"
#include "VTFileManager.h"
#include "VTFolderCleanup.h"
#include "VTGroupItem.h"
#include "VTInstallDestination.h"
#include "VTLog.h"
#include "VTMainThread.h"
#include "VTOperationContext.h"
#include "VTOperationFrame.h"
#include "VTPath.h"
#include "VTPlainFiles.h"
#include "VTPluginFolders.h"
#include "VTReplaceInPlace.h"
#include "VTUserInterface.h"

#include <sys/stat.h>

#include <chrono>
#include <cstdio>

using namespace std::chrono_literals;

namespace {

// The group a target item stands for: itself, or a plug-in's parent group.
GroupPtr targetGroup(const ItemPtr &item)
{
    if (!item)
        return nullptr;
    if (GroupPtr group = item->asGroup())
        return group;
    return item->parent();
}

// True when both paths name the same file-system object (links followed).
bool sameItem(const QString &a, const QString &b)
{
    struct stat first {};
    struct stat second {};
    return ::stat(VTPath::toNative(a).constData(), &first) == 0 && ::stat(VTPath::toNative(b).constData(), &second) == 0
        && first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

// A folder's entries as full paths, in name order, so that a run does not
// depend on the order the file system keeps; 0 or an errno value.
int folderEntries(const QString &folder, QStringList &paths)
{
    QStringList names;
    const int error = VTPlainFiles::list(folder, names);
    names.sort();
    paths.clear();
    for (const QString &name : std::as_const(names))
        paths.append(VTPath::join(folder, name));
    return error;
}

void printLine(const QString &text)
{
    const QByteArray bytes = text.toLocal8Bit() + '\n';
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stdout);
    std::fflush(stdout);
}

} // namespace

VTInstallOperation::VTInstallOperation(const VTOperationContext &context, VTFolderCleanup &cleanup)
    : m_context(context)
    , m_cleanup(cleanup)
{
}

int VTInstallOperation::countTotalFilesInPathArray(const QStringList &paths)
{
    int count = 0;
    for (const QString &path : paths) {
        QStringList entries;
        if (VTInstallDestination::forPath(path, true).action == VTInstallDestination::Action::MakeGroup
            && folderEntries(path, entries) == 0) {
            count += countTotalFilesInPathArray(entries);
        } else {
            ++count;
        }
    }
    return count;
}

void VTInstallOperation::updateInstallList(const QStringList &paths)
{
    std::lock_guard lock(m_pendingMutex);
    m_pendingInstallList = paths;
}

QStringList VTInstallOperation::pendingInstallList() const
{
    std::lock_guard lock(m_pendingMutex);
    return m_pendingInstallList;
}

void VTInstallOperation::installPlugins(const QStringList &paths, const ItemPtr &item, bool forUser, bool showProgress,
                                        bool reload)
{
    Run outer;
    installList(paths, item, forUser, showProgress, reload, outer);
}

void VTInstallOperation::installList(const QStringList &paths, const ItemPtr &item, bool forUser, bool showProgress,
                                     bool reload, Run &outer)
{
    if (paths.isEmpty())
        return;
    VTOperationFrame &frame = m_context.frame();
    const int count = countTotalFilesInPathArray(paths);
    const bool progressShown = showProgress && count > 3;
    if (progressShown) {
        frame.showProgressWindow();
        frame.setDeterminateProgress(count);
        frame.updateProgressText(QStringLiteral("Installing plugins..."));
    }
    VTLog::appendLog((forUser ? QStringLiteral("Installing plugins for current user: %1")
                              : QStringLiteral("Installing plugins for all users: %1"))
                         .arg(paths.join(QStringLiteral(", "))));

    // Whether Final Cut Express is installed was sampled when the folder
    // dictionary was built; its FxScript folders already say so.
    const GroupPtr target = targetGroup(item);
    Run run;
    try {
        for (const QString &path : paths) {
            const QString name = VTPath::lastComponent(path);
            const VTInstallDestination destination = VTInstallDestination::forPath(path, forUser);
            if (destination.action == VTInstallDestination::Action::Skip) {
                frame.incrementProgress();
                continue;
            }
            if (!VTPlainFiles::exists(path)) {
                sourceMissing(path, run);
                continue;
            }
            switch (destination.action) {
            case VTInstallDestination::Action::Skip:
                break;
            case VTInstallDestination::Action::Unrecognized:
                m_context.postAndLog(QStringLiteral("Unrecognized format. Plugin not installed: %1").arg(path));
                run.failures.append(name);
                frame.incrementProgress();
                break;
            case VTInstallDestination::Action::MakeGroup:
                installGroupFolder(path, target, forUser, run);
                break;
            case VTInstallDestination::Action::Install:
                installPlugin(path, destination, target, run);
                break;
            }
            if (run.ended)
                break;
        }
    } catch (...) {
        VTException::logCurrentException("installPlugins");
    }

    if (run.ended) {
        // The sheet would otherwise stay up with nothing left to end it.
        outer.ended = true;
        if (progressShown)
            frame.endProgressWindow();
        return;
    }
    if (!reload)
        return;
    m_context.reloadData();
    if (showProgress)
        frame.endProgressWindow();
    if (!run.failures.isEmpty())
        reportFailures(run.failures);
    updateInstallList({});
}

void VTInstallOperation::installGroupFolder(const QString &path, const GroupPtr &target, bool forUser, Run &run)
{
    const QString name = VTPath::lastComponent(path);
    const QString subdir = target ? VTPath::join(target->subdir(), name) : name;
    VTLog::appendLog(QStringLiteral("Creating new group from %1").arg(path));

    OutlineViewController &catalogue = m_context.catalogue();
    const QString base = m_context.disabledPath();
    GroupPtr group;
    // The chain may grow below a group that the tree shows, so it is made
    // where the tree is changed, and the tree is told.
    VTMainThread::runAndWait([&] {
        const bool existed = catalogue.groupMatchingSubdir(subdir) != nullptr;
        bool madeTopLevel = false;
        group = catalogue.createGroupPath(subdir, base, true, &madeTopLevel);
        if (!existed && !madeTopLevel)
            catalogue.notifyTreeReset();
    });

    QStringList entries;
    if (const int error = folderEntries(path, entries)) {
        const QString reason = VTPlainFiles::describe(error);
        m_context.post(QStringLiteral("Error getting contents of directory %1 - %2.").arg(path, reason));
        VTLog::appendLog(QStringLiteral("Error getting contents of directory %1 - %2").arg(path, reason));
        m_context.frame().incrementProgress();
        return;
    }
    // The nested call keeps and reports nothing of its own failures; only
    // an ended installation travels up.
    installList(entries, group, forUser, false, false, run);
    if (!run.ended)
        m_context.frame().incrementProgress();
}

void VTInstallOperation::installPlugin(const QString &source, const VTInstallDestination &destination,
                                       const GroupPtr &target, Run &run)
{
    VTOperationFrame &frame = m_context.frame();
    const QString fileName = VTPath::lastComponent(source);
    const QString subdir = target ? target->subdir() : QString();

    QString folder = destination.folderIn(*m_context.catalogue().pluginFolderDict());
    if (target && VTPath::lastComponent(folder) != subdir)
        folder = VTPath::join(folder, subdir);
    const QString installed = VTPath::join(folder, fileName);
    VTLog::appendLog(QStringLiteral("Installing plugin %1 to %2...").arg(source, installed));
    m_cleanup.unlockItemsInPath(installed);

    if (!VTPlainFiles::exists(folder) && !VTFileManager::createDirectory(folder, 20s)) {
        VTLog::appendLog(QStringLiteral("Unable to create directory %1....").arg(folder));
        if (!VTPlainFiles::exists(folder)) {
            VTLog::appendLog(QStringLiteral("Unable to auth create directory %1").arg(folder));
            reportUnmadeFolder(folder);
            run.ended = true;
            return;
        }
    }

    // A copy in a category folder of the templates is not among the places
    // searched, so the destination itself counts as an existing copy too.
    QString existing = m_context.catalogue().pathForPlugin(fileName, subdir);
    if (existing.isEmpty() && VTPlainFiles::exists(installed))
        existing = installed;
    if (!existing.isEmpty()) {
        if (sameItem(existing, source)) {
            // Replacing it would send the only copy to the Trash.
            if (sameItem(installed, source)) {
                VTLog::appendLog(QStringLiteral("Plugin %1 is already installed.").arg(source));
            } else {
                VTLog::appendLog(
                    QStringLiteral("Plugin %1 is the existing copy it would replace. Plugin not installed.").arg(source));
                run.failures.append(fileName);
            }
            frame.incrementProgress();
            return;
        }
        if (!confirmOverwrite(fileName, existing)) {
            run.failures.append(fileName);
            frame.incrementProgress();
            return;
        }
        // The old copy goes only when there is something to put in its place.
        if (!VTPlainFiles::exists(source)) {
            sourceMissing(source, run);
            return;
        }
        // Where this user may change the destination, the new copy goes in
        // first, so that any failure leaves the old one installed.
        const bool atDestination = VTPlainFiles::exists(installed);
        if (atDestination ? VTFileManager::isDeletableFileAtPath(installed) : VTFileManager::isWritableFileAtPath(folder)) {
            if (!(atDestination ? replaceInPlace(source, installed) : copyPlugin(source, installed))) {
                run.failures.append(fileName);
            } else if (existing != installed && !trashOldCopy(existing)) {
                if (!atDestination)
                    (void)VTFileManager::removeFile(installed, false);
                m_context.postAndLog(
                    QStringLiteral("Unable to trash old file %1. Plugin not installed: %2").arg(existing, source));
                run.failures.append(fileName);
            }
            frame.incrementProgress();
            return;
        }
        const bool cleared = trashOldCopy(existing)
            && (existing == installed || !VTPlainFiles::exists(installed) || trashOldCopy(installed));
        if (!cleared) {
            // Copying onto a folder that is still there would nest the copy
            // inside the old one.
            m_context.postAndLog(
                QStringLiteral("Unable to trash old file %1. Plugin not installed: %2").arg(existing, source));
            run.failures.append(fileName);
            frame.incrementProgress();
            return;
        }
    }

    if (!copyPlugin(source, installed))
        run.failures.append(fileName);
    frame.incrementProgress();
}

bool VTInstallOperation::confirmOverwrite(const QString &fileName, const QString &existing)
{
    VTLog::appendLog(QStringLiteral("Destination plugin %1 already exists. Asking user to overwrite...").arg(existing));
    if (!m_context.hasGUI()) {
        VTLog::appendLog(QStringLiteral("The file %1 already exists. Overwriting..").arg(existing));
        return true;
    }
    const int answer =
        m_context.runSheet(QStringLiteral("The file %1 already exists. Would you like to overwrite it?").arg(fileName),
                           QString(), {QStringLiteral("Overwrite"), QStringLiteral("Ignore")});
    if (answer == VTUserInterface::FirstButton)
        return true;
    VTLog::appendLog(QStringLiteral("The user chose not to overwrite %1.").arg(existing));
    return false;
}

bool VTInstallOperation::trashOldCopy(const QString &path)
{
    VTLog::appendLog(QStringLiteral("Trashing old file %1...").arg(path));
    if (VTFileManager::trashFile(path, false))
        return true;
    VTLog::appendLog(QStringLiteral("Unable to trash file. Authorizing..."));
    // The privileged trash answers once the item is in the Trash or has
    // stayed where it was.
    VTAuthorization *authorization = VTAuthorization::sharedController();
    return authorization && authorization->authTrashFile(path) && !VTPlainFiles::exists(path);
}

bool VTInstallOperation::replaceInPlace(const QString &source, const QString &installed)
{
    const QString failure = VTReplaceInPlace::replace(source, installed);
    if (failure.isEmpty())
        return true;
    m_context.postAndLog(failure);
    return false;
}

bool VTInstallOperation::copyPlugin(const QString &source, const QString &destination)
{
    if (VTFileManager::copyFile(source, destination, false))
        return true;
    VTLog::appendLog(QStringLiteral("Unable to copy file %1 to %2. Authorizing...").arg(source, destination));
    VTAuthorization *authorization = VTAuthorization::sharedController();
    if (!authorization || !authorization->authCopyFile(source, destination))
        VTLog::appendLog(QStringLiteral("User cancelled authorization."));
    // The privileged copy answers once it has finished.
    if (VTPlainFiles::exists(destination))
        return true;
    m_context.post(QStringLiteral("Tessary: Unable to copy file from %1 to %2. Please check your file permissions.")
                       .arg(source, destination));
    VTLog::appendLog(QStringLiteral("Authorized file copy failed."));
    return false;
}

void VTInstallOperation::sourceMissing(const QString &source, Run &run)
{
    m_context.postAndLog(QStringLiteral("Source file %1 does not exist. Plugin not installed.").arg(source));
    run.failures.append(VTPath::lastComponent(source));
    m_context.frame().incrementProgress();
}

void VTInstallOperation::reportUnmadeFolder(const QString &folder)
{
    const QString message = QStringLiteral("Unable to create directory %1. Please check your file permissions.").arg(folder);
    report(QStringLiteral("Unable to create directory %1").arg(folder), QStringLiteral("Please check your file permissions."),
           QStringLiteral("Tessary: ") + message, message);
}

void VTInstallOperation::reportFailures(const QStringList &failures)
{
    VTLog::appendLog(QStringLiteral("Installation failed. The following plugins failed to install: %1")
                         .arg(failures.join(QStringLiteral(", "))));
    const QString lines = failures.join(u'\n');
    const QString message = QStringLiteral("Installation failed. The following plugins failed to install: \n%1").arg(lines);
    report(QStringLiteral("Installation failed"), QStringLiteral("The following plugins failed to install: \n%1").arg(lines),
           message, message);
}

void VTInstallOperation::report(const QString &title, const QString &message, const QString &posted,
                                const QString &printed)
{
    if (m_context.hasGUI()) {
        m_context.runSheet(title, message);
        return;
    }
    m_context.post(posted);
    printLine(printed);
}
