#include "VTPluginScanner.h"

#include "VTBundle.h"
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

struct Entry {
    QByteArray name;
    unsigned char type;
};

// The entries of a folder in byte order of their names, so that the stop at
// a Motion template file does not depend on the file system's own order.
bool readEntries(const QByteArray &folder, std::vector<Entry> &entries, int &error)
{
    std::unique_ptr<DIR, DirCloser> dir(opendir(folder.constData()));
    if (!dir) {
        error = errno;
        return false;
    }
    errno = 0;
    while (const dirent *entry = readdir(dir.get())) {
        if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0)
            continue;
        entries.push_back({QByteArray(entry->d_name), entry->d_type});
    }
    std::sort(entries.begin(), entries.end(), [](const Entry &a, const Entry &b) { return a.name < b.name; });
    return true;
}

bool isValidUtf8(const QByteArray &bytes)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = decoder(bytes);
    return !decoder.hasError();
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
    VTLog::appendLog(QStringLiteral("Generating list of plugins..."));
    QStringList found;
    for (const QString &folder : folders)
        found += scanPluginsInFolder(folder, includeFolders);
    if (includeDisabled) {
        for (const QString &folder : folders)
            found += scanPluginsInFolder(VTPath::mirror(disabledPath, folder), includeFolders);
    }
    return found;
}

QStringList VTPluginScanner::scanPluginsInFolder(const QString &folder, bool includeFolders) const
{
    const QByteArray native = VTPath::toNative(folder);
    // A link that leads into itself would be walked forever.
    struct stat linkInfo {};
    if (lstat(native.constData(), &linkInfo) == 0 && S_ISLNK(linkInfo.st_mode)) {
        const QString target = QFile::symLinkTarget(folder);
        if (target.startsWith(folder))
            return {};
    }
    QStringList found;
    std::vector<DirectoryId> chain;
    walk(folder, includeFolders, chain, found);
    return found;
}

void VTPluginScanner::walk(const QString &folder, bool includeFolders, std::vector<DirectoryId> &chain,
                           QStringList &found) const
{
    const QByteArray native = VTPath::toNative(folder);
    struct stat folderInfo {};
    if (stat(native.constData(), &folderInfo) != 0) {
        VTLog::appendLog(QStringLiteral("Error getting contents of directory %1 - %2")
                             .arg(folder, QString::fromLocal8Bit(std::strerror(errno))));
        return;
    }
    // Links may lead back into a folder being walked; never enter it twice.
    const DirectoryId self{folderInfo.st_dev, folderInfo.st_ino};
    if (std::find(chain.begin(), chain.end(), self) != chain.end())
        return;

    std::vector<Entry> entries;
    int error = 0;
    if (!readEntries(native, entries, error)) {
        VTLog::appendLog(QStringLiteral("Error getting contents of directory %1 - %2")
                             .arg(folder, QString::fromLocal8Bit(std::strerror(error))));
        return;
    }
    chain.push_back(self);
    for (const Entry &entry : entries) {
        if (!isValidUtf8(entry.name)) {
            VTLog::appendLog(QStringLiteral("Skipping an entry of %1 whose name is not valid UTF-8: %2")
                                 .arg(folder, QString::fromLatin1(entry.name.toPercentEncoding("/ "))));
            continue;
        }
        const QString name = QString::fromUtf8(entry.name);
        const QString path = VTPath::join(folder, name);
        const QString extension = VTPath::extension(name).toLower();

        if (VTPluginEntryRules::isMotionTemplateExtension(extension))
            break;
        const bool isFolder = entry.type == DT_DIR
            || ((entry.type == DT_LNK || entry.type == DT_UNKNOWN)
                && [&] {
                       struct stat info {};
                       return stat(VTPath::toNative(path).constData(), &info) == 0 && S_ISDIR(info.st_mode);
                   }());
        if (VTPluginEntryRules::isPluginExtension(extension)
            || (!isFolder && VTPluginEntryRules::hasFxScriptTypeCode(path))) {
            found.append(path);
            continue;
        }
        if (!VTPluginEntryRules::isGroupFolderExtension(extension) || VTPluginEntryRules::isIgnoredName(name))
            continue;
        if (!isFolder || VTBundle::isPackage(path))
            continue;
        if (m_ignoreFxFactory && VTPluginEntryRules::isFxFactoryFolder(path))
            continue;
        if (includeFolders)
            found.append(path);
        walk(path, includeFolders, chain, found);
    }
    chain.pop_back();
}
