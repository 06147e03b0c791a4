#include "VTApplicationLocator.h"

#include "VTLocalPaths.h"
#include "VTPath.h"
#include "VTPropertyList.h"

#include <QDir>

namespace {

// Info.plist files are a few kilobytes; a larger one is not worth reading here.
constexpr qint64 kMaximumInfoPlistBytes = 4 * 1024 * 1024;

bool isApplicationName(const QString &name)
{
    return name.endsWith(QLatin1String(".app"), Qt::CaseInsensitive) && name.size() > 4;
}

} // namespace

QString VTApplicationLocator::bundleIdentifier(const QString &bundlePath)
{
    const QVariant info = VTPropertyList::readFile(VTPath::join(bundlePath, QStringLiteral("Contents/Info.plist")),
                                                   kMaximumInfoPlistBytes);
    return info.toMap().value(QStringLiteral("CFBundleIdentifier")).toString();
}

void VTApplicationLocator::collectBundles(const QString &folder, int depth, QStringList &bundles)
{
    const QDir dir(folder);
    const QStringList names = dir.entryList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::Hidden, QDir::Name);
    QStringList subfolders;
    for (const QString &name : names) {
        const QString path = VTPath::join(folder, name);
        if (isApplicationName(name))
            bundles.append(path);
        else if (depth > 0)
            subfolders.append(path);
    }
    for (const QString &subfolder : subfolders)
        collectBundles(subfolder, depth - 1, bundles);
}

QStringList VTApplicationLocator::applicationBundles()
{
    QStringList bundles;
    QStringList searched;
    for (bool forUser : {false, true}) {
        const QString folder = VTLocalPaths::applicationDirectory(forUser);
        // A home that is the system root would list the same folder twice.
        if (folder.isEmpty() || searched.contains(folder))
            continue;
        searched.append(folder);
        collectBundles(folder, 1, bundles);
    }
    return bundles;
}

QString VTApplicationLocator::applicationPathForBundleIdentifier(const QString &bundleIdentifier)
{
    if (bundleIdentifier.isEmpty())
        return QString();
    const QStringList bundles = applicationBundles();
    for (const QString &bundle : bundles) {
        if (VTApplicationLocator::bundleIdentifier(bundle).compare(bundleIdentifier, Qt::CaseInsensitive) == 0)
            return bundle;
    }
    return QString();
}

bool VTApplicationLocator::isInstalled(const QString &bundleIdentifier)
{
    return !applicationPathForBundleIdentifier(bundleIdentifier).isEmpty();
}
