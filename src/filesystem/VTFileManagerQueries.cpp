// VTFileManager: tests, attributes, locks and names (no privileged steps).
#include "VTFileManager.h"

#include "VTLocalPaths.h"
#include "VTLog.h"
#include "VTPath.h"
#include "VTSafeFs.h"

#include <QSet>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using VTSafeFs::Fd;

namespace {

std::string native(const QString &path)
{
    return VTPath::toNative(VTPath::normalize(path)).toStdString();
}

bool lstatPath(const QString &path, struct stat &st)
{
    return !path.isEmpty() && ::lstat(native(path).c_str(), &st) == 0;
}

// Sets or clears the immutable attribute; logs failures the same way for
// both directions, as the log readers expect one text.
bool setLocked(const QString &path, bool locked)
{
    std::string leaf;
    Fd folder(VTSafeFs::openParent(native(path), false, leaf));
    int error = folder.valid() ? VTSafeFs::setImmutableAt(folder.get(), leaf, locked) : -folder.get();
    if (error == 0)
        return true;
    if (error != ENOENT)
        VTLog::fastAppendLog(QStringLiteral("Unable to unlock file %1: %2").arg(path, QString::fromLocal8Bit(std::strerror(error))));
    return false;
}

void setFolderLocked(const QString &folder, bool locked)
{
    for (const QString &entry : VTFileManager::contentsOfDirectory(folder)) {
        struct stat st {};
        if (!lstatPath(entry, st))
            continue;
        if (S_ISDIR(st.st_mode))
            setFolderLocked(entry, locked);
        else
            (void)setLocked(entry, locked);
    }
}

} // namespace

bool VTFileManager::fileExistsAtPath(const QString &path)
{
    struct stat st {};
    return !path.isEmpty() && ::stat(native(path).c_str(), &st) == 0;
}

bool VTFileManager::isDirectoryAtPath(const QString &path)
{
    struct stat st {};
    return !path.isEmpty() && ::stat(native(path).c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool VTFileManager::isBundleExtension(const QString &extension)
{
    static const QSet<QString> bundleExtensions = {
        QStringLiteral("app"),       QStringLiteral("bundle"), QStringLiteral("plugin"), QStringLiteral("component"),
        QStringLiteral("fxplug"),    QStringLiteral("vst"),    QStringLiteral("vst3"),   QStringLiteral("framework"),
        QStringLiteral("kext"),      QStringLiteral("avx"),    QStringLiteral("dpm"),    QStringLiteral("aaxplugin"),
    };
    return bundleExtensions.contains(extension.toLower());
}

bool VTFileManager::isPackageAtPath(const QString &path)
{
    if (!isDirectoryAtPath(path))
        return false;
    if (isBundleExtension(VTPath::extension(path)))
        return true;
    return fileExistsAtPath(VTPath::join(path, QStringLiteral("Contents/Info.plist")));
}

bool VTFileManager::isFolderEmpty(const QString &folder)
{
    for (const QString &entry : contentsOfDirectory(folder)) {
        const QString name = VTPath::lastComponent(entry);
        if (name == QLatin1String(".DS_Store") || name == QLatin1String("Icon\r"))
            continue;
        struct stat st {};
        if (!lstatPath(entry, st) || !S_ISDIR(st.st_mode) || !isFolderEmpty(entry))
            return false;
    }
    return true;
}

bool VTFileManager::lockFile(const QString &path)
{
    return setLocked(path, true);
}

bool VTFileManager::unlockFile(const QString &path)
{
    return setLocked(path, false);
}

void VTFileManager::lockFolder(const QString &folder)
{
    setFolderLocked(folder, true);
}

void VTFileManager::unlockFolder(const QString &folder)
{
    setFolderLocked(folder, false);
}

bool VTFileManager::isFileLocked(const QString &path)
{
    std::string leaf;
    Fd folder(VTSafeFs::openParent(native(path), false, leaf));
    bool locked = false;
    return folder.valid() && VTSafeFs::isImmutableAt(folder.get(), leaf, locked) == 0 && locked;
}

bool VTFileManager::isWritableFileAtPath(const QString &path)
{
    return !path.isEmpty() && ::faccessat(AT_FDCWD, native(path).c_str(), W_OK, AT_EACCESS) == 0;
}

bool VTFileManager::isDeletableFileAtPath(const QString &path)
{
    struct stat item {}, folder {};
    const QString parent = VTPath::removeLastComponent(path);
    if (!lstatPath(path, item) || parent.isEmpty() || ::stat(native(parent).c_str(), &folder) != 0)
        return false;
    if (::faccessat(AT_FDCWD, native(parent).c_str(), W_OK | X_OK, AT_EACCESS) != 0)
        return false;
    if (!(folder.st_mode & S_ISVTX))
        return true;
    const uid_t me = ::geteuid();
    return me == 0 || item.st_uid == me || folder.st_uid == me;
}

bool VTFileManager::isDriveMountedForPath(const QString &path)
{
    const QString managed = VTLocalPaths::stripSystemRoot(path);
    const QStringList parts = VTPath::components(managed);
    // Components counted as the managed system does: "/" is the first.
    if (!managed.startsWith(QLatin1String("/Volumes/")) || parts.size() + 1 < 3)
        return true;
    const QString mountPoint = VTLocalPaths::systemPath(QStringLiteral("/%1/%2").arg(parts.at(0), parts.at(1)));
    VTLog::appendLog(QStringLiteral("mountpoint: %1").arg(mountPoint));
    return itemExists(mountPoint);
}

QString VTFileManager::uniqueFilename(const QString &path)
{
    if (!itemExists(path))
        return path;
    const QString extension = VTPath::extension(path);
    const QString stem = VTPath::removeExtension(path);
    for (int n = 2;; ++n) {
        QString candidate = stem + QStringLiteral(" %1").arg(n);
        if (!extension.isEmpty())
            candidate += u'.' + extension;
        if (!itemExists(candidate))
            return candidate;
    }
}

QString VTFileManager::validateFilename(const QString &name)
{
    QString result = name;
    if (result.size() > 1 && result.startsWith(u'.'))
        result.remove(0, 1);
    result = result.trimmed();
    for (QChar &c : result) {
        if (c == u'/' || c == u':' || c == u'\\' || c.unicode() < 0x20 || c.unicode() == 0x7f)
            c = u'-';
    }
    return result;
}

bool VTFileManager::isPathSystemDirectory(const QString &path, bool exactMatch)
{
    return VTLocalPaths::isPathSystemDirectory(path, exactMatch);
}

bool VTFileManager::nameMatchesWildcard(const QString &name, const QString &pattern)
{
    // Greedy match with one backtrack point: the last "*" seen absorbs one
    // more character whenever the rest fails to match.
    qsizetype n = 0, p = 0;
    qsizetype starP = -1, starN = 0;
    while (n < name.size()) {
        if (p < pattern.size() && pattern.at(p) == u'*') {
            starP = p++;
            starN = n;
        } else if (p < pattern.size() && pattern.at(p) == name.at(n)) {
            ++p;
            ++n;
        } else if (starP >= 0) {
            p = starP + 1;
            n = ++starN;
        } else {
            return false;
        }
    }
    while (p < pattern.size() && pattern.at(p) == u'*')
        ++p;
    return p == pattern.size();
}

QStringList VTFileManager::filesMatchingWildcardPath(const QString &wildcardPath)
{
    const QString folder = VTPath::removeLastComponent(wildcardPath);
    const QString pattern = VTPath::lastComponent(wildcardPath);
    if (folder.isEmpty() || pattern.isEmpty())
        return {};
    QStringList result;
    for (const QString &entry : contentsOfDirectory(folder)) {
        if (nameMatchesWildcard(VTPath::lastComponent(entry), pattern))
            result.append(entry);
    }
    std::sort(result.begin(), result.end(),
              [](const QString &a, const QString &b) { return VTPath::lastComponent(a) < VTPath::lastComponent(b); });
    return result;
}

QStringList VTFileManager::contentsOfDirectory(const QString &folder)
{
    QStringList entries;
    DIR *dir = ::opendir(native(folder).c_str());
    if (!dir)
        return entries;
    while (const dirent *entry = ::readdir(dir)) {
        const QByteArray raw(entry->d_name);
        if (raw == "." || raw == "..")
            continue;
        const QString name = VTPath::fromNative(raw);
        if (VTPath::toNative(name) != raw) {
            VTLog::appendLog(QStringLiteral("Leaving alone an item in %1 whose name is not valid UTF-8: %2")
                                 .arg(folder, QString::fromLatin1(raw.toPercentEncoding())));
            continue;
        }
        entries.append(VTPath::join(folder, name));
    }
    ::closedir(dir);
    return entries;
}
