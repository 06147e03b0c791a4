#include "VTMoveRecovery.h"

#include "VTFileManager.h"
#include "VTLog.h"
#include "VTMoveLock.h"
#include "VTPath.h"
#include "VTSafeFs.h"
#include "VTTreeCopy.h"

#include <QSet>

#include <sys/stat.h>

namespace {

void collect(const QString &folder, QStringList &found, QSet<QString> &seen)
{
    const QString clean = VTPath::normalize(folder);
    if (seen.contains(clean))
        return;
    seen.insert(clean);
    VTSafeFs::Fd fd(VTSafeFs::openFolder(VTPath::toNative(clean).toStdString(), false));
    if (!fd.valid())
        return;
    bool hasLeftovers = false;
    for (const std::string &name : VTSafeFs::listFolder(fd.get())) {
        if (VTTreeCopy::isTemporaryName(name)) {
            hasLeftovers = true;
            continue;
        }
        struct stat st {};
        if (VTSafeFs::statAt(fd.get(), name, st) != 0 || !S_ISDIR(st.st_mode))
            continue;
        const QString child = VTPath::join(clean, VTPath::fromNative(QByteArray::fromStdString(name)));
        // Nothing is ever moved into a bundle.
        if (!VTFileManager::isPackageAtPath(child))
            collect(child, found, seen);
    }
    if (hasLeftovers)
        found.append(clean);
}

} // namespace

QStringList VTMoveRecovery::foldersWithLeftovers(const QStringList &roots)
{
    QStringList found;
    QSet<QString> seen;
    for (const QString &root : roots)
        collect(root, found, seen);
    return found;
}

int VTMoveRecovery::resolveInterruptedMoves(const QStringList &roots, const QString &lockFolder,
                                            const QString &disabledRoot, const QStringList &trashFolders)
{
    const VTMoveLock lock(lockFolder, VTMoveLock::Mode::Exclusive, false);
    if (!lock.isHeld()) {
        VTLog::appendLog(QStringLiteral("Moves are under way; leftovers of interrupted moves are left for later."));
        return 0;
    }
    QStringList folders = foldersWithLeftovers(roots);
    for (const QString &trash : trashFolders) {
        if (!folders.contains(trash))
            folders.append(trash);
    }
    return VTFileManager::cleanUpInterruptedMoves(folders, disabledRoot);
}
