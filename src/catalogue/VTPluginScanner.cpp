#include "VTPluginScanner.h"

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
#include <optional>
#include <sys/stat.h>

namespace {

bool statPath(const QByteArray &native, struct stat &info)
{
    return ::stat(native.constData(), &info) == 0;
}

void logUnreadable(const QString &folder, int error)
{
    VTLog::appendLog(QStringLiteral("Error getting contents of directory %1 - %2")
                         .arg(folder, QString::fromLocal8Bit(std::strerror(error))));
}

// The name as text; nothing when it is not valid UTF-8.
std::optional<QString> decodedName(const QByteArray &bytes)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder(bytes);
    if (decoder.hasError())
        return std::nullopt;
    return text;
}

const VTDirectoryListing::Entry *findEntry(const std::vector<VTDirectoryListing::Entry> &entries, const char *name)
{
    const auto it = std::find_if(entries.cbegin(), entries.cend(),
                                 [name](const VTDirectoryListing::Entry &entry) { return entry.name == name; });
    return it == entries.cend() ? nullptr : &*it;
}

// An entry of a listing that exists as the file system sees it: a link
// counts only when it leads somewhere.
bool existsInListing(const QByteArray &folder, const VTDirectoryListing::Entry *entry)
{
    struct stat info {};
    return entry && (entry->type != DT_LNK || statPath(folder + '/' + entry->name, info));
}

// The package test of a folder without a bundle extension: a
// Contents/Info.plist inside. Asked of the disk only when the folder's
// listing (when there is one) has a Contents entry.
bool holdsInfoPlist(const QByteArray &native)
{
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
                MetVisitor([&found](const QString &path, Met) { found.append(path); }));
    return found;
}

void VTPluginScanner::listPlugins(bool includeDisabled, bool includeFolders, const QStringList &folders,
                                  const QString &disabledPath, const Visitor &found) const
{
    listPlugins(includeDisabled, includeFolders, folders, disabledPath,
                MetVisitor([&found](const QString &path, Met met) { found(path, met == Met::GroupFolder); }));
}

void VTPluginScanner::listPlugins(bool includeDisabled, bool includeFolders, const QStringList &folders,
                                  const QString &disabledPath, const MetVisitor &found) const
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
    scanPluginsInFolder(folder, includeFolders, [&found](const QString &path, Met) { found.append(path); });
    return found;
}

void VTPluginScanner::scanPluginsInFolder(const QString &folder, bool includeFolders, const MetVisitor &found) const
{
    // A link that leads into itself would be walked forever.
    struct stat linkInfo {};
    if (::lstat(VTPath::toNative(folder).constData(), &linkInfo) == 0 && S_ISLNK(linkInfo.st_mode)) {
        const QString target = QFile::symLinkTarget(folder);
        if (target.startsWith(folder))
            return;
    }
    const QByteArray native = VTPath::toNative(folder);
    Listing listing;
    if (const int error = read(native, listing)) {
        logUnreadable(folder, error);
        return;
    }
    std::vector<DirectoryId> chain;
    walk(folder, native, listing, includeFolders, chain, found);
}

int VTPluginScanner::read(const QByteArray &native, Listing &listing) const
{
    if (std::optional<VTFolderListings::Listing> kept = m_listings ? m_listings->take(native) : std::nullopt) {
        listing.id = {kept->device, kept->inode};
        listing.entries = std::move(kept->entries);
    } else {
        struct stat info {};
        if (const int error = VTDirectoryListing::list(native, listing.entries, &info))
            return error;
        listing.id = {info.st_dev, info.st_ino};
    }
    // The managed system's usual name order, which ignores case, so that the
    // stop at a Motion template file does not depend on the file system's own
    // order. Names that differ only in case (or are not UTF-8) keep byte order.
    std::vector<std::pair<QString, VTDirectoryListing::Entry>> keyed;
    keyed.reserve(listing.entries.size());
    for (VTDirectoryListing::Entry &entry : listing.entries)
        keyed.emplace_back(QString::fromUtf8(entry.name).toCaseFolded(), std::move(entry));
    std::sort(keyed.begin(), keyed.end(), [](const auto &a, const auto &b) {
        const int order = a.first.compare(b.first);
        return order != 0 ? order < 0 : a.second.name < b.second.name;
    });
    listing.entries.clear();
    for (auto &[key, entry] : keyed)
        listing.entries.push_back(std::move(entry));
    return 0;
}

void VTPluginScanner::walk(const QString &folder, const QByteArray &nativeFolder, const Listing &listing,
                           bool includeFolders, std::vector<DirectoryId> &chain, const MetVisitor &found) const
{
    chain.push_back(listing.id);
    for (const VTDirectoryListing::Entry &entry : listing.entries) {
        const std::optional<QString> decoded = decodedName(entry.name);
        if (!decoded) {
            VTLog::appendLog(QStringLiteral("Skipping an entry of %1 whose name is not valid UTF-8: %2")
                                 .arg(folder, QString::fromLatin1(entry.name.toPercentEncoding("/ "))));
            continue;
        }
        const QString &name = *decoded;
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
            found(path, isFile ? Met::PluginFile : Met::Plugin);
            continue;
        }
        // A group folder's extension is never a bundle extension, so only a
        // Contents/Info.plist inside can make it a package.
        if (!VTPluginEntryRules::isGroupFolderExtension(extension) || VTPluginEntryRules::isIgnoredName(name)
            || !isFolder)
            continue;

        // The folder is read before the package and FxFactory tests, which
        // its listing answers; an unreadable one is asked directly.
        Listing inner;
        const int error = read(native, inner);
        if (error != 0 ? holdsInfoPlist(native) : findEntry(inner.entries, "Contents") && holdsInfoPlist(native))
            continue;
        if (m_ignoreFxFactory
            && (error != 0 ? VTPluginEntryRules::isFxFactoryFolder(path)
                           : existsInListing(native, findEntry(inner.entries, ".fxfactory.plist"))))
            continue;
        if (error != 0)
            logUnreadable(path, error);
        // A link back into a folder being walked leads nowhere new: it is
        // neither listed nor followed.
        if (error == 0 && std::find(chain.begin(), chain.end(), inner.id) != chain.end())
            continue;
        if (includeFolders) {
            // A folder holding a Motion template file of its own name is that
            // template, not a group.
            const QString stem = VTPath::displayName(name);
            const bool isTemplate =
                std::any_of(inner.entries.cbegin(), inner.entries.cend(), [&](const VTDirectoryListing::Entry &e) {
                    const std::optional<QString> innerName = decodedName(e.name);
                    return innerName && VTPluginEntryRules::isMotionTemplateFileOf(*innerName, stem)
                        && existsInListing(native, &e); // a dangling link is no file
                });
            found(path, isTemplate ? Met::TemplateFolder : Met::GroupFolder);
        }
        if (error == 0)
            walk(path, native, inner, includeFolders, chain, found);
    }
    chain.pop_back();
}
