#include "VTMoveRecovery.h"

#include "VTFileManager.h"
#include "VTLog.h"
#include "VTMoveLock.h"
#include "VTPath.h"
#include "VTSafeFs.h"
#include "VTTreeCopy.h"

#include <QSet>

#include <algorithm>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Every folder below `folder` (opened as `fd`, which this takes over) that
// holds a leftover of an interrupted move. One listing per folder; the
// entries' types come from the listing, so plain files cost nothing. Links
// are not followed and nothing is ever moved into a bundle, so neither is
// entered.
void collect(int fd, const QString &folder, QStringList &found, QSet<QString> &seen)
{
    const QString clean = VTPath::normalize(folder);
    if (fd < 0 || seen.contains(clean)) {
        if (fd >= 0)
            ::close(fd);
        return;
    }
    seen.insert(clean);
    DIR *dir = ::fdopendir(fd);
    if (!dir) {
        ::close(fd);
        return;
    }
    bool hasLeftovers = false;
    std::vector<std::string> folders;
    while (const dirent *entry = ::readdir(dir)) {
        const std::string name = entry->d_name;
        if (name == "." || name == "..")
            continue;
        if (VTTreeCopy::isTemporaryName(name)) {
            hasLeftovers = true;
            continue;
        }
        unsigned char type = entry->d_type;
        if (type == DT_UNKNOWN) {
            struct stat st {};
            type = VTSafeFs::statAt(::dirfd(dir), name, st) == 0 && S_ISDIR(st.st_mode) ? DT_DIR : DT_REG;
        }
        if (type != DT_DIR || VTFileManager::isBundleExtension(VTPath::extension(QString::fromUtf8(name))))
            continue;
        struct stat info {};
        if (::fstatat(::dirfd(dir), (name + "/Contents/Info.plist").c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0)
            continue; // a bundle without a bundle extension
        folders.push_back(name);
    }
    for (const std::string &name : folders) {
        const int child = ::openat(::dirfd(dir), name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        collect(child, VTPath::join(clean, VTPath::fromNative(QByteArray::fromStdString(name))), found, seen);
    }
    ::closedir(dir);
    if (hasLeftovers)
        found.append(clean);
}

} // namespace

QStringList VTMoveRecovery::foldersWithLeftovers(const QStringList &roots)
{
    QStringList found;
    QSet<QString> seen;
    for (const QString &root : roots)
        collect(VTSafeFs::openFolder(VTPath::toNative(VTPath::normalize(root)).toStdString(), false), root, found, seen);
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
