#include "VTInstallDestination.h"

#include "VTFileManager.h"
#include "VTFinderInfo.h"
#include "VTPath.h"
#include "VTPlainFiles.h"
#include "VTPluginFolders.h"
#include "VTPropertyList.h"

#include <utility>

namespace {

const QString kTitles = QStringLiteral("Titles.localized");
const QString kGenerators = QStringLiteral("Generators.localized");
const QString kEffects = QStringLiteral("Effects.localized");
const QString kTransitions = QStringLiteral("Transitions.localized");

QString userOrLocal(bool forUser, const char *userKey, const char *localKey)
{
    return QLatin1String(forUser ? userKey : localKey);
}

bool infoPlistHasKey(const QString &bundle, const QString &key)
{
    const QVariant info = VTPropertyList::readFile(VTPath::join(bundle, QStringLiteral("Contents/Info.plist")));
    return info.toMap().contains(key);
}

} // namespace

VTInstallDestination VTInstallDestination::install(const QString &key, const QString &category)
{
    VTInstallDestination destination;
    destination.action = Action::Install;
    destination.folderKey = key;
    destination.category = category;
    return destination;
}

QString VTInstallDestination::folderIn(const VTPluginFolders &folders) const
{
    return VTPath::join(folders.path(folderKey), category);
}

bool VTInstallDestination::hasFxScriptTypeCode(const QString &path)
{
    return VTFinderInfo::typeCode(path) == QByteArrayLiteral("FCSC");
}

VTInstallDestination VTInstallDestination::forPath(const QString &path, bool forUser)
{
    const QString name = VTPath::lastComponent(path);
    const QString extension = VTPath::extension(name).toLower();
    const QString templates = userOrLocal(forUser, "userMotionTemplate", "localMotionTemplate");
    const QString fxScript = userOrLocal(forUser, "userFxScript", "localFxScript");

    if (extension == QLatin1String("fxplug"))
        return install(userOrLocal(forUser, "userFxPlug", "localFxPlug"));
    if (extension == QLatin1String("bundle")) {
        // OpenFX and the Avid kinds exist for all users only, whatever was asked.
        if (VTPath::extension(VTPath::removeExtension(name)).toLower() == QLatin1String("ofx"))
            return install(QStringLiteral("localOFX"));
        if (infoPlistHasKey(path, QStringLiteral("AVX15_BundleVersion")))
            return install(QStringLiteral("avidAVX"));
        if (infoPlistHasKey(path, QStringLiteral("AVX20_BundleVersion")))
            return install(QStringLiteral("avidAVX2"));
        return install(fxScript);
    }
    // An .avx file goes to the AVX2 folder, not the AVX one, on purpose.
    if (extension == QLatin1String("avx"))
        return install(QStringLiteral("avidAVX2"));
    if (extension == QLatin1String("dpm"))
        return install(QStringLiteral("avidRTAS"));
    if (extension == QLatin1String("moti"))
        return install(templates, kTitles);
    if (extension == QLatin1String("motn"))
        return install(templates, kGenerators);
    if (extension == QLatin1String("moef"))
        return install(templates, kEffects);
    // A lone .motr file has no rule of its own here: the transition rule has
    // always tested "motn" again and so is never reached. Kept as it is.
    if (extension == QLatin1String("txt") || extension == QLatin1String("fcfcc") || hasFxScriptTypeCode(path))
        return install(fxScript);
    if (extension == QLatin1String("component"))
        return install(userOrLocal(forUser, "userAU", "localAU"));
    if (extension == QLatin1String("vst"))
        return install(userOrLocal(forUser, "userVST", "localVST"));
    if (extension == QLatin1String("plugin"))
        return install(QStringLiteral("adobeCommon"));

    if (VTFileManager::isDirectoryAtPath(path) && !VTFileManager::isPackageAtPath(path)) {
        // A folder holding a template file of its own name is a Motion
        // template; the name is taken as the scan takes it.
        const QString stem = VTPath::join(path, VTPath::displayName(path));
        const std::pair<const char *, const QString *> categories[] = {
            {".moti", &kTitles}, {".moef", &kEffects}, {".motn", &kGenerators}, {".motr", &kTransitions}};
        for (const auto &[suffix, category] : categories) {
            if (VTPlainFiles::exists(stem + QLatin1String(suffix)))
                return install(templates, *category);
        }
        VTInstallDestination group;
        group.action = Action::MakeGroup;
        return group;
    }
    VTInstallDestination other;
    other.action = name.startsWith(u'.') ? Action::Skip : Action::Unrecognized;
    return other;
}

const QStringList &VTInstallDestination::droppableExtensions()
{
    static const QStringList extensions = {
        QStringLiteral("fxplug"), QStringLiteral("txt"),       QStringLiteral("bundle"), QStringLiteral("avx"),
        QStringLiteral("dpm"),    QStringLiteral("plugin"),    QStringLiteral("component"),
        QStringLiteral("fcfcc"),  QStringLiteral("vst"),       QStringLiteral("moti"),   QStringLiteral("moef"),
        QStringLiteral("motn"),   QStringLiteral("motr"),
    };
    return extensions;
}

bool VTInstallDestination::acceptsDrop(const QStringList &paths)
{
    if (paths.isEmpty())
        return false;
    for (const QString &path : paths) {
        const bool accepted = droppableExtensions().contains(VTPath::extension(path).toLower())
            || hasFxScriptTypeCode(path) || VTFileManager::isDirectoryAtPath(path);
        if (!accepted)
            return false;
    }
    return true;
}
