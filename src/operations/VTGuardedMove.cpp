#include "VTGuardedMove.h"

#include "VTAuthorization.h"
#include "VTFileManager.h"
#include "VTFolderCleanup.h"
#include "VTLocalPaths.h"
#include "VTLog.h"
#include "VTMoveLock.h"
#include "VTOperationContext.h"
#include "VTOperationFrame.h"
#include "VTPath.h"
#include "VTPlainFiles.h"
#include "VTSafeFs.h"
#include "VTTreeCopy.h"

#include <QDirIterator>
#include <QFileInfo>

#include <cerrno>

#include <pwd.h>
#include <unistd.h>

namespace {

// How often a privileged copy's footprint is looked at, and how long it may
// stand still before the move is given up.
constexpr int StallCheckSeconds = 5;
constexpr int StallLimitSeconds = 30;

// A copy across file systems shows in the destination folder under the
// temporary prefix until it is renamed into place. Its footprint (entries and
// bytes below every such name) grows while it makes progress; empty when no
// copy is there.
QList<qint64> copyFootprint(const QString &folder)
{
    QList<qint64> footprint;
    QStringList names;
    if (VTPlainFiles::list(folder, names) != 0)
        return footprint;
    for (const QString &name : std::as_const(names)) {
        if (!VTTreeCopy::isTemporaryName(VTPath::toNative(name).toStdString()))
            continue;
        const QString path = VTPath::join(folder, name);
        qint64 entries = 1;
        qint64 bytes = QFileInfo(path).size();
        QDirIterator it(path, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                        QDirIterator::Subdirectories);
        while (it.hasNext()) {
            it.next();
            ++entries;
            bytes += it.fileInfo().size();
        }
        footprint << entries << bytes;
    }
    return footprint;
}

// Ends the busy indicator however the move ends.
class BusyScope
{
public:
    explicit BusyScope(VTOperationFrame &frame) : m_frame(frame) {}
    ~BusyScope() { m_frame.endProgress(); }
    BusyScope(const BusyScope &) = delete;
    BusyScope &operator=(const BusyScope &) = delete;

private:
    VTOperationFrame &m_frame;
};

} // namespace

VTGuardedMove::VTGuardedMove(const VTOperationContext &context, VTFolderCleanup &cleanup)
    : m_context(context)
    , m_cleanup(cleanup)
{
}

bool VTGuardedMove::moveFileFrom(const QString &source, const QString &destination)
{
    if (source.isEmpty() || destination.isEmpty())
        return false;
    if (!VTPlainFiles::exists(source))
        return true;
    VTOperationFrame &frame = m_context.frame();
    if (frame.processingCancelled())
        return false;
    const VTMoveLock lock(VTMoveLock::userLockPath(), VTMoveLock::Mode::Shared, VTMoveLock::moveWait());
    if (!lock.isHeld()) {
        m_context.postAndLog(QStringLiteral("Error: File %1 was not moved: another Tessary process kept moves waiting "
                                            "for too long.")
                                 .arg(source));
        return false;
    }

    // A plug-in going where hosts load it (an enable, an access change) must
    // be beyond other users' reach, wherever it comes from.
    if (!VTPath::isInside(destination, m_context.disabledPath()) && withinOthersReach(source)) {
        m_context.postAndLog(
            QStringLiteral("Error: File %1 was not moved: another user could have changed it.").arg(source));
        return false;
    }

    m_cleanup.unlockItemsInPath(source);
    m_cleanup.unlockItemsInPath(destination);

    VTLog::appendLog(QStringLiteral("Moving file from %1 to %2").arg(source, destination));
    if (m_context.hasGUI())
        frame.startProgress();
    const BusyScope busy(frame);

    const QString folder = VTPath::removeLastComponent(destination);
    if (!VTPlainFiles::exists(folder) && !makeContainingFolder(folder))
        return false;
    if (!VTPlainFiles::isFolder(folder) && !VTFileManager::isDirectoryAtPath(folder)) {
        m_context.postAndLog(QStringLiteral("Error: Unable to create containing folder %1. File %2 was not moved.")
                                 .arg(folder, source));
        return false;
    }

    const bool permitted = VTFileManager::isWritableFileAtPath(source) && VTFileManager::isDeletableFileAtPath(source)
        && VTFileManager::isWritableFileAtPath(folder) && VTFileManager::isDeletableFileAtPath(folder);
    if (permitted)
        return moveWithPermissions(source, destination, folder);
    return moveWithAuthorization(source, destination, folder);
}

bool VTGuardedMove::makeContainingFolder(const QString &folder)
{
    VTLog::appendLog(QStringLiteral("Creating new containing folder at %1...").arg(folder));
    const int error = VTPlainFiles::makeFolders(folder);
    if (error == 0)
        return true;
    VTLog::appendLog(QStringLiteral("Unable to create directory at %1 - %2. Authorizing...")
                         .arg(folder, VTPlainFiles::describe(error)));
    VTAuthorization *authorization = VTAuthorization::sharedController();
    if (!authorization || !authorization->authCreateDir(folder)) {
        VTLog::appendLog(QStringLiteral("User cancelled authorization."));
        m_context.frame().setProcessingCancelled(true);
        return false;
    }
    // The privileged step returns before the folder is made.
    VTPlainFiles::waitFor(1, [&folder] { return VTPlainFiles::exists(folder); });
    return true;
}

bool VTGuardedMove::moveWithPermissions(const QString &source, const QString &destination, const QString &)
{
    VTLog::appendLog(QStringLiteral("Moving %1 to %2").arg(source, destination));
    const int error = VTPlainFiles::move(source, destination);
    if (error == 0) {
        VTLog::appendLog(QStringLiteral("Plugin successfully moved to %1").arg(destination));
        return true;
    }
    m_context.postAndLog(
        QStringLiteral("Unable to move %1 to %2 - %3").arg(source, destination, VTPlainFiles::describe(error)));
    return false;
}

bool VTGuardedMove::moveWithAuthorization(const QString &source, const QString &destination, const QString &folder)
{
    VTLog::appendLog(QStringLiteral("File permissions are preventing Tessary from moving %1 to %2 - authorizing...")
                         .arg(source, destination));
    // The plain move first: the tests judge by permission bits alone, and
    // the move may still be allowed.
    const int error = VTPlainFiles::move(source, destination);
    if (error == EEXIST) {
        // Administrator rights cannot help, and a privileged move would put
        // the plug-in inside what is in the way.
        m_context.postAndLog(
            QStringLiteral("Unable to move %1 to %2 - %3").arg(source, destination, VTPlainFiles::describe(error)));
        return false;
    }
    if (error != 0) {
        VTAuthorization *authorization = VTAuthorization::sharedController();
        if (!authorization || !authorization->authMoveFile(source, destination)) {
            VTLog::appendLog(QStringLiteral("User cancelled authorization."));
            m_context.frame().setProcessingCancelled(true);
            return false;
        }
    }
    // The privileged move returns once handed over; a copy to another file
    // system may take longer than the first second, so keep waiting while
    // one is visibly under way.
    // A leftover of an earlier move looks the same but never changes: the
    // wait ends once nothing has changed for the stall limit.
    // Arrived means moved: the destination there and the source gone. A
    // folder someone else put at the destination in the meantime is not
    // the plug-in (the helper refuses to move into it).
    const auto arrived = [&source, &destination] {
        return VTPlainFiles::exists(destination) && !VTPlainFiles::exists(source);
    };
    if (!VTPlainFiles::waitFor(1, arrived)) {
        QList<qint64> footprint = copyFootprint(folder);
        int stillFor = 0;
        while (!footprint.isEmpty() && !VTPlainFiles::waitFor(StallCheckSeconds, arrived)) {
            const QList<qint64> now = copyFootprint(folder);
            stillFor = now == footprint ? stillFor + StallCheckSeconds : 0;
            footprint = now;
            if (stillFor >= StallLimitSeconds) {
                VTLog::appendLog(QStringLiteral("No progress for %1 s in %2; no longer waiting for %3.")
                                     .arg(stillFor)
                                     .arg(folder, destination));
                break;
            }
        }
    }
    if (arrived()) {
        m_cleanup.removeEmptyFolder(VTPath::removeLastComponent(source), true);
        return true;
    }
    m_context.postAndLog(QStringLiteral("Error: File %1 could not be moved to %2.").arg(source, destination));
    return false;
}

bool VTGuardedMove::withinOthersReach(const QString &source)
{
    std::string leaf;
    VTSafeFs::Fd folder(VTSafeFs::openParent(VTPath::toNative(VTPath::normalize(source)).toStdString(), true, leaf));
    if (!folder.valid())
        return false; // the move itself reports what is wrong with the path
    uid_t actingFor = ::geteuid();
    if (actingFor == 0) {
        const QString console = VTLocalPaths::currentConsoleUser();
        if (const passwd *entry = console.isEmpty() ? nullptr : ::getpwnam(console.toLocal8Bit().constData()))
            actingFor = entry->pw_uid;
    }
    return VTSafeFs::beyondOthers(folder.get(), leaf, actingFor) != 0;
}

int VTGuardedMove::componentCount(const QString &folder)
{
    return static_cast<int>(VTPath::components(folder).size()) + 1;
}

void VTGuardedMove::cleanupPluginPath(const QString &formerPath)
{
    VTLog::appendLog(QStringLiteral("Cleaning up plugin path %1...").arg(formerPath));
    const QString disabledPath = m_context.disabledPath();
    const QString enabledPath = formerPath.mid(disabledPath.size());
    const QString enabledFolder = VTPath::removeLastComponent(enabledPath);
    QString folder = VTPath::join(disabledPath, enabledFolder);
    const int count = componentCount(enabledFolder);
    for (int i = 0; i < count; ++i) {
        if (!m_cleanup.removeEmptyFolder(folder, false))
            break;
        folder = VTPath::removeLastComponent(folder);
    }
}
