#include "VTPluginInstallerSettings.h"

#include "VTBundle.h"
#include "VTPath.h"
#include "VTPropertyList.h"

#include <QFileInfo>
#include <QVariantMap>

namespace {

const QString SettingsFile = QStringLiteral("Contents/Resources/InstallerSettings.plist");

} // namespace

QString VTPluginInstallerSettings::bundleOfExecutable(const QString &executableFolder)
{
    return VTPath::removeLastComponent(VTPath::removeLastComponent(executableFolder));
}

std::optional<VTPluginInstallerSettings> VTPluginInstallerSettings::read(const QString &bundle, QString *error)
{
    const QString file = VTPath::join(bundle, SettingsFile);
    const QVariant contents = VTPropertyList::readFile(file);
    if (!contents.isValid() || contents.typeId() != QMetaType::QVariantMap) {
        *error = QFileInfo::exists(file) ? QStringLiteral("The settings file %1 cannot be read.").arg(file)
                                         : QStringLiteral("The settings file %1 is missing.").arg(file);
        return std::nullopt;
    }
    const QVariantMap settings = contents.toMap();
    VTPluginInstallerSettings result;
    result.m_bundle = bundle;
    for (const auto &[key, field] : {std::pair{QStringLiteral("VTPluginName"), &result.m_name},
                                     std::pair{QStringLiteral("VTPluginVersion"), &result.m_version},
                                     std::pair{QStringLiteral("VTPluginAuthor"), &result.m_author}}) {
        const QVariant value = settings.value(key);
        if (value.typeId() != QMetaType::QString) {
            *error = QStringLiteral("The settings file %1 has no text under %2.").arg(file, key);
            return std::nullopt;
        }
        *field = value.toString();
    }
    // Only file names inside Resources count; a path elsewhere is ignored.
    const auto resourceNamed = [&](const char *key) {
        const QString name = settings.value(QLatin1String(key)).toString();
        return name.isEmpty() || name.contains(u'/') ? QString() : result.resource(name);
    };
    result.m_eulaPath = resourceNamed("VTEULAPath");
    result.m_backgroundImagePath = resourceNamed("VTBgImagePath");
    result.m_removeBranding = settings.value(QStringLiteral("removeBranding")).toBool();
    return result;
}

QString VTPluginInstallerSettings::structurePath() const
{
    return VTPath::join(m_bundle, QStringLiteral("Contents/Resources/PluginStructure"));
}

QString VTPluginInstallerSettings::iconPath() const
{
    const QString name = VTBundle(m_bundle).value(QStringLiteral("CFBundleIconFile")).toString();
    return name.isEmpty() || name.contains(u'/') ? QString() : resource(name);
}

QString VTPluginInstallerSettings::resource(const QString &fileName) const
{
    const QString path = VTPath::join(m_bundle, VTPath::join(QStringLiteral("Contents/Resources"), fileName));
    return QFileInfo(path).isFile() ? path : QString();
}
