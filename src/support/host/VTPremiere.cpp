#include "VTPremiere.h"

#include "VTApplicationLocator.h"
#include "VTFileManager.h"
#include "VTLocalPaths.h"
#include "VTPath.h"
#include "VTPropertyList.h"
#include "VTXMLParser.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <functional>

namespace {

const QString kPremierePrefix = QStringLiteral("Adobe Premiere ");

QVariantMap infoDictionary(const QString &bundlePath)
{
    return VTPropertyList::readFile(VTPath::join(bundlePath, QStringLiteral("Contents/Info.plist"))).toMap();
}

// The two-folder collection shared by the application and the suite rule.
QStringList collect(const std::function<QStringList(const QString &)> &inFolder)
{
    QStringList versions;
    const QString application = VTApplicationLocator::applicationPathForBundleIdentifier(VTPremiere::bundleIdentifier());
    if (!application.isEmpty()) {
        // The bundle sits in a folder of its own; that folder's parent holds
        // every installation side by side.
        versions += inFolder(VTPath::removeLastComponent(VTPath::removeLastComponent(application)));
    }
    const QStringList local = inFolder(VTLocalPaths::applicationDirectory(false));
    for (const QString &version : local) {
        if (!versions.contains(version))
            versions.append(version);
    }
    return versions;
}

} // namespace

QString VTPremiere::bundleIdentifier()
{
    return QStringLiteral("com.adobe.AdobePremierePro");
}

QString VTPremiere::productVersionQuery()
{
    return QStringLiteral("./Configuration/VariableForExMan/Data[@key='ProductVersion']");
}

QStringList VTPremiere::entriesWithPrefix(const QString &folder, const QString &prefix)
{
    const QStringList names = QDir(folder).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System,
                                                    QDir::Name);
    QStringList matching;
    for (const QString &name : names) {
        if (name.startsWith(prefix, Qt::CaseInsensitive))
            matching.append(name);
    }
    return matching;
}

QString VTPremiere::configurationVersion(const QString &folder, const QString &entry, bool *readable)
{
    const QString path = VTPath::join({folder, entry, QStringLiteral("Configuration/XManConfig.xml")});
    QFile file(path);
    *readable = QFileInfo(path).isFile() && file.open(QIODevice::ReadOnly);
    if (!*readable)
        return QString();
    file.close();
    pugi::xml_document document;
    if (!VTXMLParser::loadFile(path, document))
        return QString();
    return VTXMLParser::stringValueForQuery(productVersionQuery(), document).value_or(QString());
}

QStringList VTPremiere::versionsForAppName(const QString &prefix, const QString &folder)
{
    QStringList versions;
    const QStringList entries = entriesWithPrefix(folder, prefix);
    for (const QString &entry : entries) {
        const QString bundle = VTPath::join({folder, entry, entry + QStringLiteral(".app")});
        if (QFileInfo(bundle).isDir()) {
            const QVariantMap info = infoDictionary(bundle);
            QString version = info.value(QStringLiteral("CFBundleVersionString")).toString();
            if (version.isEmpty())
                version = info.value(QStringLiteral("CFBundleVersion")).toString();
            if (!version.isEmpty())
                versions.append(version);
            continue;
        }
        bool readable = false;
        const QString version = configurationVersion(folder, entry, &readable);
        if (!version.isEmpty())
            versions.append(version);
    }
    return versions;
}

QStringList VTPremiere::suiteVersionsInFolder(const QString &folder)
{
    QStringList versions;
    const QStringList entries = entriesWithPrefix(folder, kPremierePrefix);
    for (const QString &entry : entries) {
        bool readable = false;
        const QString configured = configurationVersion(folder, entry, &readable);
        if (readable) {
            if (!configured.isEmpty())
                versions.append(configured);
            continue;
        }
        const QStringList bundles = VTFileManager::filesMatchingWildcardPath(
            VTPath::join({folder, entry, QStringLiteral("Adobe Premiere Pro *.app")}));
        if (bundles.isEmpty())
            continue;
        QString version = infoDictionary(bundles.first()).value(QStringLiteral("CFBundleVersion")).toString();
        const QStringList parts = version.split(u'.');
        if (parts.size() >= 3)
            version = QStringLiteral("%1.%2").arg(parts.at(0), parts.at(1));
        if (!version.isEmpty())
            versions.append(version);
    }
    return versions;
}

QStringList VTPremiere::versionsForAppName(const QString &prefix)
{
    return collect([&prefix](const QString &folder) { return versionsForAppName(prefix, folder); });
}

QStringList VTPremiere::premiereVersions()
{
    return versionsForAppName(kPremierePrefix);
}

QStringList VTPremiere::suiteVersions()
{
    return collect([](const QString &folder) { return suiteVersionsInFolder(folder); });
}
