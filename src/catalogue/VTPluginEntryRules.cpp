#include "VTPluginEntryRules.h"

#include "VTFinderInfo.h"
#include "VTPath.h"

#include <QFileInfo>

namespace VTPluginEntryRules {

namespace {

const QByteArray kFxScriptTypeCode = QByteArrayLiteral("FCSC");

bool isOneOf(const QString &extension, std::initializer_list<const char *> candidates)
{
    const QString lower = extension.toLower();
    for (const char *candidate : candidates) {
        if (lower == QLatin1String(candidate))
            return true;
    }
    return false;
}

} // namespace

bool isPluginExtension(const QString &extension)
{
    return isOneOf(extension, {"txt", "fcfcc", "bundle", "avx", "dpm", "fxplug", "component", "plugin", "vst"});
}

bool isMotionTemplateExtension(const QString &extension)
{
    return isOneOf(extension, {"moti", "motn", "motr", "moef"});
}

bool isMotionTemplateFileOf(const QString &entryName, const QString &stem)
{
    return entryName.size() == stem.size() + 5 && entryName.startsWith(stem, Qt::CaseInsensitive)
        && entryName.at(stem.size()) == u'.' && isMotionTemplateExtension(entryName.mid(stem.size() + 1));
}

bool hasFxScriptTypeCode(const QString &path)
{
    // Folders keep a window rectangle where files keep their type code, so
    // only a file can carry one.
    if (!QFileInfo(path).isFile())
        return false;
    return VTFinderInfo::typeCode(path) == kFxScriptTypeCode;
}

bool isGroupFolderExtension(const QString &extension)
{
    return extension.isEmpty() || extension.compare(QLatin1String("localized"), Qt::CaseInsensitive) == 0
        || VTPath::isNumeric(extension);
}

bool isIgnoredName(const QString &name)
{
    return name == QLatin1String(".localized") || name == QLatin1String(".Disabled");
}

bool isFxFactoryFolder(const QString &path)
{
    return QFileInfo::exists(VTPath::join(path, QStringLiteral(".fxfactory.plist")));
}

QStringList installFileTypes()
{
    return {QStringLiteral("fxplug"), QStringLiteral("bundle"), QStringLiteral("avx"),
            QStringLiteral("moti"),   QStringLiteral("moef"),   QStringLiteral("motn"),
            QStringLiteral("motr"),   QStringLiteral("dpm"),    QStringLiteral("component"),
            QStringLiteral("plugin"), QStringLiteral("txt"),    QStringLiteral("fcfcc"),
            QStringLiteral("vst"),    QStringLiteral("'FCSC'")};
}

QStringList motionTemplateCategories()
{
    return {QStringLiteral("Generators.localized"), QStringLiteral("Titles.localized"),
            QStringLiteral("Effects.localized"), QStringLiteral("Compositions.localized"),
            QStringLiteral("Transitions.localized")};
}

} // namespace VTPluginEntryRules
