#include "VTPathClassifier.h"

#include "VTBundle.h"
#include "VTLocalPaths.h"
#include "VTPath.h"
#include "VTPluginEntryRules.h"
#include "VTPluginKind.h"

#include <dirent.h>
#include <memory>

#include <sys/stat.h>

namespace {

bool exists(const QString &path)
{
    struct stat info {};
    return stat(VTPath::toNative(path).constData(), &info) == 0;
}

bool isDirectory(const QString &path)
{
    struct stat info {};
    return stat(VTPath::toNative(path).constData(), &info) == 0 && S_ISDIR(info.st_mode);
}

} // namespace

namespace VTPathClassifier {

bool isMotionTemplateFolder(const QString &path, const QString &name)
{
    // Listed rather than probed by name: the template file's name may differ
    // from the folder's in case.
    const QByteArray native = VTPath::toNative(path);
    std::unique_ptr<DIR, int (*)(DIR *)> dir(::opendir(native.constData()), &::closedir);
    if (!dir)
        return false;
    while (const dirent *entry = ::readdir(dir.get())) {
        const QString entryName = QString::fromUtf8(entry->d_name);
        // A dangling link is no file.
        if (VTPluginEntryRules::isMotionTemplateFileOf(entryName, name)
            && exists(VTPath::join(path, entryName)))
            return true;
    }
    return false;
}

VTPathClassification classify(const QString &path, const VTPluginFolders &folders, const QString &disabledPath,
                              std::optional<bool> isGroupFolder)
{
    VTPathClassification result;
    result.path = path;

    const QString lastComponent = VTPath::lastComponent(path);
    const QString extension = VTPath::extension(lastComponent);
    const QString name = VTPath::displayName(lastComponent);
    const QString lowerExtension = extension.toLower();
    const bool groupExtension = lowerExtension.isEmpty() || lowerExtension == QLatin1String("localized")
        || VTPath::isNumeric(extension);
    if (isGroupFolder)
        result.isGroup = groupExtension && *isGroupFolder;
    else
        result.isGroup = groupExtension && isDirectory(path) && !VTBundle::isPackage(path)
            && !isMotionTemplateFolder(path, name);

    result.enabledPath = path;
    if (path.startsWith(disabledPath)) {
        result.enabled = VTPluginKind::Disabled;
        if (path.size() > disabledPath.size() + 1) {
            const QString unmirrored = folders.unmirrorPath(disabledPath, path);
            result.enabledPath = unmirrored.isEmpty() ? path.mid(disabledPath.size()) : unmirrored;
        }
    }

    if (const auto folder = folders.match(result.enabledPath)) {
        result.kind = folder->kind;
        result.access = folder->access;
        result.matchedFolder = folder->path;
    }

    result.displayName = name;
    result.fileName = VTPath::lastComponent(result.enabledPath);

    const QString parent = VTPath::removeLastComponent(result.enabledPath);
    if (parent.size() > result.matchedFolder.size() && parent != QLatin1String("/"))
        result.subdir = parent.mid(result.matchedFolder.size() + 1);

    if (result.isGroup) {
        result.groupSubdir = VTPath::join(result.subdir, lastComponent);
        result.groupBaseFolder = result.enabled == VTPluginKind::Disabled
            ? VTLocalPaths::mirrorPath(disabledPath, result.matchedFolder)
            : result.matchedFolder;
    }
    return result;
}

} // namespace VTPathClassifier
