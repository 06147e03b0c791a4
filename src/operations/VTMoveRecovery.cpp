#include "VTMoveRecovery.h"

#include "VTDirectoryListing.h"
#include "VTFileManager.h"
#include "VTFolderListings.h"
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
// holds a leftover of an interrupted move. One read per folder; the entries'
// types come from the listing, so plain files cost nothing. Links are not
// followed and nothing is ever moved into a bundle, so neither is entered: a
// folder without a bundle extension is a bundle when it holds
// Contents/Info.plist, asked only when its listing has a Contents entry.
// Each listing goes to `keep`, when given, for the scan that follows.
void collect(int fd, const QString &folder, bool mayBeBundle, QStringList &found, QSet<QString> &seen,
             VTFolderListings *keep)
{
    const QString clean = VTPath::normalize(folder);
    if (fd < 0 || seen.contains(clean)) {
        if (fd >= 0)
            ::close(fd);
        return;
    }
    VTFolderListings::Listing listing;
    struct stat status {};
    if (keep && ::fstat(fd, &status) != 0) {
        ::close(fd);
        return;
    }
    // A read that fails part way counts as the end of the folder.
    (void)VTDirectoryListing::read(fd, listing.entries);
    struct stat info {};
    const bool hasContents = std::any_of(listing.entries.cbegin(), listing.entries.cend(),
                                         [](const VTDirectoryListing::Entry &entry) { return entry.name == "Contents"; });
    if (mayBeBundle && hasContents && ::fstatat(fd, "Contents/Info.plist", &info, AT_SYMLINK_NOFOLLOW) == 0) {
        ::close(fd);
        return;
    }
    seen.insert(clean);
    bool hasLeftovers = false;
    std::vector<std::string> folders;
    for (const VTDirectoryListing::Entry &entry : listing.entries) {
        const std::string name = entry.name.toStdString();
        if (VTTreeCopy::isTemporaryName(name)) {
            hasLeftovers = true;
            continue;
        }
        unsigned char type = entry.type;
        if (type == DT_UNKNOWN) {
            struct stat st {};
            type = VTSafeFs::statAt(fd, name, st) == 0 && S_ISDIR(st.st_mode) ? DT_DIR : DT_REG;
        }
        if (type != DT_DIR || VTFileManager::isBundleExtension(VTPath::extension(QString::fromUtf8(name))))
            continue;
        folders.push_back(name);
    }
    if (keep) {
        listing.device = status.st_dev;
        listing.inode = status.st_ino;
        keep->keep(VTPath::toNative(clean), std::move(listing));
    }
    for (const std::string &name : folders) {
        const int child = ::openat(fd, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        collect(child, VTPath::join(clean, VTPath::fromNative(QByteArray::fromStdString(name))), true, found, seen,
                keep);
    }
    ::close(fd);
    if (hasLeftovers)
        found.append(clean);
}

} // namespace

QStringList VTMoveRecovery::foldersWithLeftovers(const QStringList &roots, VTFolderListings *keep)
{
    QStringList found;
    QSet<QString> seen;
    for (const QString &root : roots) {
        collect(VTSafeFs::openFolder(VTPath::toNative(VTPath::normalize(root)).toStdString(), false), root, false,
                found, seen, keep);
    }
    return found;
}

int VTMoveRecovery::resolveInterruptedMoves(const QStringList &roots, const QString &lockFile,
                                            const QString &disabledRoot, const QStringList &trashFolders,
                                            VTFolderListings *keep)
{
    const auto leftovers = [&roots, &trashFolders](VTFolderListings *listings) {
        QStringList folders = foldersWithLeftovers(roots, listings);
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
    // Otherwise folders may change, and no listing is handed on.
    if (leftovers(keep).isEmpty())
        return 0;
    if (keep)
        keep->clear();
    const VTMoveLock lock(lockFile, VTMoveLock::Mode::Exclusive, std::chrono::milliseconds(0));
    if (!lock.isHeld()) {
        VTLog::appendLog(QStringLiteral("Moves are under way; leftovers of interrupted moves are left for later."));
        return 0;
    }
    return VTFileManager::cleanUpInterruptedMoves(leftovers(nullptr), disabledRoot);
}
