#include "VTMoveRecovery.h"

#include "VTFileManager.h"
#include "VTLog.h"
#include "VTMoveLock.h"
#include "VTPath.h"
#include "VTSafeFs.h"
#include "VTTreeCopy.h"

#include <QSet>

#include <algorithm>

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

int VTMoveRecovery::resolveInterruptedMoves(const QStringList &roots, const QString &lockFile,
                                            const QString &disabledRoot, const QStringList &trashFolders)
{
    const auto leftovers = [&roots, &trashFolders] {
        QStringList folders = foldersWithLeftovers(roots);
        for (const QString &trash : trashFolders) {
            VTSafeFs::Fd fd(VTSafeFs::openFolder(VTPath::toNative(trash).toStdString(), false));
            if (!fd.valid() || folders.contains(trash))
                continue;
            const std::vector<std::string> names = VTSafeFs::listFolder(fd.get());
            if (std::any_of(names.begin(), names.end(), VTTreeCopy::isTemporaryName))
                folders.append(trash);
        }
        return folders;
    };
    // Most starts find nothing, and then take no lock and make no lock file.
    if (leftovers().isEmpty())
        return 0;
    const VTMoveLock lock(lockFile, VTMoveLock::Mode::Exclusive, std::chrono::milliseconds(0));
    if (!lock.isHeld()) {
        VTLog::appendLog(QStringLiteral("Moves are under way; leftovers of interrupted moves are left for later."));
        return 0;
    }
    return VTFileManager::cleanUpInterruptedMoves(leftovers(), disabledRoot);
}
