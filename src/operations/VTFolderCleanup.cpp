#include "VTFolderCleanup.h"

#include "OutlineViewController.h"
#include "VTAuthorization.h"
#include "VTLocalPaths.h"
#include "VTLog.h"
#include "VTOperationContext.h"
#include "VTPath.h"
#include "VTPlainFiles.h"
#include "VTSafeFs.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const QString DSStore = QStringLiteral(".DS_Store");

QByteArray native(const QString &path)
{
    return VTPath::toNative(VTPath::normalize(path));
}

} // namespace

VTFolderCleanup::VTFolderCleanup(const VTOperationContext &context)
    : m_context(context)
{
}

bool VTFolderCleanup::isKindFolder(const QString &folder) const
{
    const QString clean = VTPath::normalize(folder);
    for (const auto &each : m_context.catalogue().pluginFolderDict()->folders()) {
        if (!each.path.isEmpty() && VTPath::normalize(each.path) == clean)
            return true;
    }
    return false;
}

bool VTFolderCleanup::removeEmptyFolder(const QString &folder, bool includeEmptySubfolders)
{
    VTLog::appendLog(QStringLiteral("Removing empty folder %1...").arg(folder));
    if (!VTPlainFiles::exists(folder))
        return true;
    if (!VTPlainFiles::isFolder(folder))
        return false;
    // The protection test costs a look at every standard folder, so a folder
    // that holds something is let go first where that gives the same answer
    // (the clean-up after an enable mostly meets such folders).
    QStringList entries;
    const int listError = VTPlainFiles::list(folder, entries);
    const bool holdsSomething = entries.size() > 1 || (entries.size() == 1 && entries.first() != DSStore);
    if (listError == 0 && !includeEmptySubfolders && holdsSomething)
        return false;
    if (VTLocalPaths::isPathSystemDirectory(folder) || isKindFolder(folder))
        return false;
    if (listError) {
        m_context.postAndLog(QStringLiteral("Error getting contents of directory %1 - %2")
                                 .arg(folder, VTPlainFiles::describe(listError)));
        return false;
    }
    if (includeEmptySubfolders) {
        for (const QString &name : std::as_const(entries)) {
            const QString entry = VTPath::join(folder, name);
            if (VTPlainFiles::isFolder(entry)) {
                if (!removeEmptyFolder(entry, true))
                    return false;
            } else if (!VTPlainFiles::exists(entry)) {
                continue;
            } else if (name != DSStore) {
                return false;
            }
        }
    }

    VTLog::appendLog(QStringLiteral("Beginning removal of empty folder %1...").arg(folder));
    // Only the ".DS_Store" goes, then the folder itself: rmdir refuses a
    // folder that something was moved into meanwhile, so nothing else can be
    // taken along.
    const QString store = VTPath::join(folder, DSStore);
    int error = 0;
    if (VTPlainFiles::exists(store) && ::unlink(native(store).constData()) != 0 && errno != ENOENT)
        error = errno;
    if (error == 0 && ::rmdir(native(folder).constData()) != 0 && errno != ENOENT)
        error = errno;
    if (error == 0)
        return true;
    if (error == ENOTEMPTY || error == EEXIST) {
        // It is no longer empty: another operation put something there.
        // The Trash would take that along, so the folder stays.
        return false;
    }
    VTAuthorization *authorization = VTAuthorization::sharedController();
    if (authorization && authorization->authTrashFile(folder))
        VTPlainFiles::waitFor(1, [&folder] { return !VTPlainFiles::exists(folder); });
    if (!VTPlainFiles::exists(folder))
        return true;
    m_context.postAndLog(
        QStringLiteral("Unable to remove empty folder %1 - %2").arg(folder, VTPlainFiles::describe(error)));
    return false;
}

void VTFolderCleanup::unlockItemsInPath(const QString &path)
{
    const QStringList parts = VTPath::components(path);
    QString current = QStringLiteral("/");
    for (qsizetype i = -1; i < parts.size(); ++i) {
        if (i >= 0)
            current = VTPath::join(current, parts.at(i));
        const QByteArray bytes = native(current);
        struct statx attributes {};
        if (::statx(AT_FDCWD, bytes.constData(), AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS, &attributes) != 0) {
            if (errno == ENOENT || errno == ENOTDIR)
                return;
            m_context.postAndLog(QStringLiteral("Unable to get attributes of item %1 - %2")
                                     .arg(current, VTPlainFiles::describe(errno)));
            return;
        }
        const bool known = attributes.stx_attributes_mask & STATX_ATTR_IMMUTABLE;
        if (!known || !(attributes.stx_attributes & STATX_ATTR_IMMUTABLE))
            continue;
        // Through its folder, resolved by the process's link rule.
        std::string leaf;
        VTSafeFs::Fd parent(current == QLatin1String("/")
                                ? VTSafeFs::Fd(::open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC))
                                : VTSafeFs::Fd(VTSafeFs::openParent(bytes.toStdString(), VTSafeFs::linksRefused(), leaf)));
        const int error = !parent.valid() ? -parent.get()
            : leaf.empty()                ? VTSafeFs::setImmutable(parent.get(), false)
                                          : VTSafeFs::setImmutableAt(parent.get(), leaf, false);
        if (error) {
            m_context.postAndLog(
                QStringLiteral("Unable to unlock item %1 - %2").arg(current, VTPlainFiles::describe(error)));
        }
    }
}
