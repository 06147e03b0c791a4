#include "VTPluginInstallerItem.h"

#include "VTBundle.h"
#include "VTFileManager.h"
#include "VTInstallDestination.h"
#include "VTLocalPaths.h"
#include "VTPath.h"

#include <sys/stat.h>

namespace {

// A folder, not a link to one.
bool isRealFolder(const QString &path)
{
    struct stat st {};
    return ::lstat(VTPath::toNative(path).constData(), &st) == 0 && S_ISDIR(st.st_mode);
}

// A folder that is installed whole: a package, or a Motion template (a
// plain folder holding a template file of its own name).
bool isWholeFolder(const QString &path)
{
    return VTBundle::isPackage(path)
        || VTInstallDestination::forPath(path, true).action == VTInstallDestination::Action::Install;
}

void walk(const QString &folder, const QString &relative, QList<VTPluginInstallerItem> &items)
{
    QStringList entries = VTFileManager::contentsOfDirectory(folder);
    entries.sort();
    for (const QString &entry : std::as_const(entries)) {
        const QString name = VTPath::lastComponent(entry);
        if (name.startsWith(u'.'))
            continue;
        const QString below = relative.isEmpty() ? name : VTPath::join(relative, name);
        if (isRealFolder(entry) && !isWholeFolder(entry))
            walk(entry, below, items);
        else
            items.append(VTPluginInstallerItem::placed(entry, below));
    }
}

} // namespace

QString VTPluginInstallerItem::name() const
{
    return VTPath::lastComponent(source);
}

QList<VTPluginInstallerItem> VTPluginInstallerItem::collect(const QString &structure)
{
    QList<VTPluginInstallerItem> items;
    walk(structure, QString(), items);
    return items;
}

VTPluginInstallerItem VTPluginInstallerItem::placed(const QString &source, const QString &relative)
{
    QStringList parts = VTPath::components(relative);
    VTPluginInstallerItem item;
    item.source = source;
    item.forUser = parts.size() > 2 && parts.at(0) == QLatin1String("Users") && parts.at(1) == QLatin1String("user");
    if (item.forUser) {
        parts.remove(0, 2);
        item.destination = VTPath::join(VTLocalPaths::userDirectory(), parts.join(u'/'));
    } else {
        item.destination = VTLocalPaths::systemPath(QLatin1Char('/') + relative);
    }
    return item;
}
