#include "VTPlainWalk.h"

#include "VTBundle.h"
#include "VTBundleInfoReader.h"
#include "VTPath.h"

#include <cstring>
#include <dirent.h>
#include <sys/stat.h>

namespace {

bool hasBundleExtension(const char *name)
{
    const char *dot = std::strrchr(name, '.');
    if (!dot || dot == name)
        return false;
    return VTBundle::packageExtensions().contains(QString::fromUtf8(dot + 1).toLower());
}

} // namespace

VTPlainWalk::Totals VTPlainWalk::run(const QStringList &folders, const QString &disabledRoot,
                                     const QStringList &unreadFolders)
{
    Totals totals;
    for (const QString &folder : folders)
        walk(VTPath::toNative(folder), !unreadFolders.contains(folder), totals, 0);
    for (const QString &folder : folders)
        walk(VTPath::toNative(VTPath::mirror(disabledRoot, folder)), !unreadFolders.contains(folder), totals, 0);
    return totals;
}

void VTPlainWalk::walk(const QByteArray &folder, bool readBundles, Totals &totals, int depth)
{
    // The sandbox has no link loops; the bound only guards a hand-made tree.
    if (depth > 64)
        return;
    DIR *dir = opendir(folder.constData());
    if (!dir)
        return;
    ++totals.folders;
    QList<QByteArray> subfolders;
    while (const dirent *entry = readdir(dir)) {
        if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0)
            continue;
        const QByteArray path = QByteArray(folder + '/' + entry->d_name);
        struct stat info {};
        if (stat(path.constData(), &info) != 0)
            continue;
        ++totals.entries;
        if (!S_ISDIR(info.st_mode))
            continue;
        struct stat plist {};
        const bool isBundle = hasBundleExtension(entry->d_name)
            || stat(QByteArray(path + "/Contents/Info.plist").constData(), &plist) == 0;
        if (isBundle && !readBundles) {
            continue;
        } else if (isBundle) {
            const VTBundleInfo bundleInfo = VTBundleInfoReader::readBundle(VTPath::fromNative(path));
            ++totals.bundles;
            if (bundleInfo.version && !bundleInfo.version->isEmpty())
                ++totals.withVersion;
        } else {
            subfolders.append(path);
        }
    }
    closedir(dir);
    for (const QByteArray &subfolder : std::as_const(subfolders))
        walk(subfolder, readBundles, totals, depth + 1);
}
