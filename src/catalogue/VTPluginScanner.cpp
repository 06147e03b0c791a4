#include "VTPluginScanner.h"

#include "VTBundle.h"
#include "VTFinderInfo.h"
#include "VTLocalPaths.h"
#include "VTLog.h"
#include "VTPath.h"
#include "VTPluginEntryRules.h"
#include "VTUserDefaults.h"

#include <QFile>
#include <QStringDecoder>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <memory>
#include <sys/stat.h>

namespace {

struct DirCloser {
    void operator()(DIR *dir) const { closedir(dir); }
};

bool isValidUtf8(const QByteArray &bytes)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = decoder(bytes);
    return !decoder.hasError();
}

bool statPath(const QByteArray &native, struct stat &info)
{
    return ::stat(native.constData(), &info) == 0;
}

void logUnreadable(const QString &folder, int error)
{
    VTLog::appendLog(QStringLiteral("Error getting contents of directory %1 - %2")
                         .arg(folder, QString::fromLocal8Bit(std::strerror(error))));
}

// The package test on a folder known to be one: a bundle extension, or a
// Contents/Info.plist inside.
bool isPackageFolder(const QByteArray &native, const QString &extension)
{
    if (VTBundle::packageExtensions().contains(extension))
        return true;
    struct stat info {};
    return statPath(native + "/Contents/Info.plist", info) && S_ISREG(info.st_mode);
}

} // namespace

VTPluginScanner::VTPluginScanner()
    : VTPluginScanner(VTUserDefaults::integerValue(QStringLiteral("ignoreFxFactory")) == 1)
{
}

VTPluginScanner::VTPluginScanner(bool ignoreFxFactory)
    : m_ignoreFxFactory(ignoreFxFactory)
{
}

QStringList VTPluginScanner::listPlugins(bool includeDisabled, bool includeFolders, const QStringList &folders,
                                         const QString &disabledPath) const
{
    QStringList found;
    listPlugins(includeDisabled, includeFolders, folders, disabledPath,
                [&found](const QString &path, bool) { found.append(path); });
    return found;
}

void VTPluginScanner::listPlugins(bool includeDisabled, bool includeFolders, const QStringList &folders,
                                  const QString &disabledPath, const Visitor &found) const
{
    VTLog::appendLog(QStringLiteral("Generating list of plugins..."));
    for (const QString &folder : folders)
        scanPluginsInFolder(folder, includeFolders, found);
    if (includeDisabled) {
        for (const QString &folder : folders)
            scanPluginsInFolder(VTLocalPaths::mirrorPath(disabledPath, folder), includeFolders, found);
    }
}

QStringList VTPluginScanner::scanPluginsInFolder(const QString &folder, bool includeFolders) const
{
    QStringList found;
    scanPluginsInFolder(folder, includeFolders, [&found](const QString &path, bool) { found.append(path); });
    return found;
}

void VTPluginScanner::scanPluginsInFolder(const QString &folder, bool includeFolders, const Visitor &found) const
{
    // A link that leads into itself would be walked forever.
    struct stat linkInfo {};
    if (::lstat(VTPath::toNative(folder).constData(), &linkInfo) == 0 && S_ISLNK(linkInfo.st_mode)) {
        const QString target = QFile::symLinkTarget(folder);
        if (target.startsWith(folder))
            return;
    }
    Listing listing;
    if (!read(folder, listing))
        return;
    std::vector<DirectoryId> chain;
    walk(folder, listing, includeFolders, chain, found);
}

bool VTPluginScanner::read(const QString &folder, Listing &listing)
{
    const QByteArray native = VTPath::toNative(folder);
    struct stat info {};
    if (!statPath(native, info)) {
        logUnreadable(folder, errno);
        return false;
    }
    listing.id = {info.st_dev, info.st_ino};
    std::unique_ptr<DIR, DirCloser> dir(::opendir(native.constData()));
    if (!dir) {
        logUnreadable(folder, errno);
        return false;
    }
    while (const dirent *entry = ::readdir(dir.get())) {
        if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0)
            continue;
        listing.entries.push_back({QByteArray(entry->d_name), entry->d_type});
    }
    // The managed system's usual name order, which ignores case, so that the
    // stop at a Motion template file does not depend on the file system's own
    // order. Names that differ only in case (or are not UTF-8) keep byte order.
    std::vector<std::pair<QString, Entry>> keyed;
    keyed.reserve(listing.entries.size());
    for (Entry &entry : listing.entries)
        keyed.emplace_back(QString::fromUtf8(entry.name).toCaseFolded(), std::move(entry));
    std::sort(keyed.begin(), keyed.end(), [](const auto &a, const auto &b) {
        const int order = a.first.compare(b.first);
        return order != 0 ? order < 0 : a.second.name < b.second.name;
    });
    listing.entries.clear();
    for (auto &[key, entry] : keyed)
        listing.entries.push_back(std::move(entry));
    return true;
}

void VTPluginScanner::walk(const QString &folder, const Listing &listing, bool includeFolders,
                           std::vector<DirectoryId> &chain, const Visitor &found) const
{
    chain.push_back(listing.id);
    const QByteArray nativeFolder = VTPath::toNative(folder);
    for (const Entry &entry : listing.entries) {
        if (!isValidUtf8(entry.name)) {
            VTLog::appendLog(QStringLiteral("Skipping an entry of %1 whose name is not valid UTF-8: %2")
                                 .arg(folder, QString::fromLatin1(entry.name.toPercentEncoding("/ "))));
            continue;
        }
        const QString name = QString::fromUtf8(entry.name);
        const QString extension = VTPath::extension(name).toLower();
        if (VTPluginEntryRules::isMotionTemplateExtension(extension))
            break;

        const QString path = VTPath::join(folder, name);
        const QByteArray native = nativeFolder + '/' + entry.name;
        // The entry's type from the listing where the file system gives it;
        // links (followed) and unknown types are asked for.
        bool isFolder = entry.type == DT_DIR;
        bool isFile = entry.type == DT_REG;
        if (entry.type == DT_LNK || entry.type == DT_UNKNOWN) {
            struct stat info {};
            isFolder = statPath(native, info) && S_ISDIR(info.st_mode);
            isFile = !isFolder && S_ISREG(info.st_mode);
        }
        if (VTPluginEntryRules::isPluginExtension(extension)
            || (isFile && VTFinderInfo::typeCode(path) == QByteArrayLiteral("FCSC"))) {
            found(path, false);
            continue;
        }
        if (!VTPluginEntryRules::isGroupFolderExtension(extension) || VTPluginEntryRules::isIgnoredName(name))
            continue;
        if (!isFolder || isPackageFolder(native, extension))
            continue;
        if (m_ignoreFxFactory && VTPluginEntryRules::isFxFactoryFolder(path))
            continue;

        Listing inner;
        const bool readable = read(path, inner);
        // A link back into a folder being walked leads nowhere new: it is
        // neither listed nor followed.
        if (readable && std::find(chain.begin(), chain.end(), inner.id) != chain.end())
            continue;
        if (includeFolders) {
            // A folder holding a Motion template file of its own name is that
            // template, not a group.
            const QString stem = VTPath::displayName(name);
            const bool isTemplate = std::any_of(inner.entries.cbegin(), inner.entries.cend(), [&](const Entry &e) {
                if (!isValidUtf8(e.name)
                    || !VTPluginEntryRules::isMotionTemplateFileOf(QString::fromUtf8(e.name), stem))
                    return false;
                struct stat info {};
                return e.type != DT_LNK || statPath(native + '/' + e.name, info); // a dangling link is no file
            });
            found(path, !isTemplate);
        }
        if (readable)
            walk(path, inner, includeFolders, chain, found);
    }
    chain.pop_back();
}
