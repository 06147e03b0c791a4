#include "VTInstallerSettings.h"

#include "VTGroupItem.h"
#include "VTPath.h"
#include "VTPluginItem.h"
#include "VTUserDefaults.h"

#include <QSet>

VTInstallerSettings VTInstallerSettings::fromDefaults(const QString &destFilename, const QString &name,
                                                      const QString &version, const QString &author,
                                                      const QStringList &files, const QString &certificate)
{
    VTInstallerSettings settings;
    settings.destFilename = destFilename;
    settings.installerName = name;
    settings.installerVersion = version;
    settings.installerAuthor = author;
    settings.files = files;
    settings.certificate = certificate;
    const auto stored = [](const char *key) { return VTUserDefaults::value(QLatin1String(key)).toString(); };
    settings.installerIconPath = stored(IconPathKey);
    settings.installerBgImagePath = stored(BgImagePathKey);
    settings.installerEULAPath = stored(EULAPathKey);
    return settings;
}

QString VTInstallerSettings::destinationFilename(const QString &chosen)
{
    if (VTPath::extension(chosen).toLower() == QLatin1String("app"))
        return chosen;
    return chosen + QStringLiteral(".app");
}

QStringList VTInstallerSettings::fileList(const QList<ItemPtr> &selection)
{
    QStringList files;
    QSet<QString> listed;
    const auto add = [&](const PluginPtr &plugin) {
        const QString path = plugin->pluginPath();
        if (!listed.contains(path)) {
            listed.insert(path);
            files.append(path);
        }
    };
    for (const ItemPtr &item : selection) {
        if (const PluginPtr plugin = item->asPlugin()) {
            add(plugin);
        } else if (const GroupPtr group = item->asGroup()) {
            for (const PluginPtr &child : group->allPluginChildren())
                add(child);
        }
    }
    return files;
}
