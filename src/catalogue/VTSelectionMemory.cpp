#include "VTSelectionMemory.h"

#include "OutlineViewController.h"
#include "VTCatalogueView.h"
#include "VTGroupItem.h"
#include "VTLog.h"
#include "VTPluginItem.h"

#include <initializer_list>
#include <utility>

namespace {

const QString kSubdir = QStringLiteral("subdir");
const QString kFileName = QStringLiteral("filename");
const QString kType = QStringLiteral("type");

// Fills the entry in order until a value is missing.
VTSelectionMemory::Entry entryOf(std::initializer_list<std::pair<QString, QString>> values)
{
    VTSelectionMemory::Entry entry;
    for (const auto &[key, value] : values) {
        if (value.isEmpty())
            break;
        entry.insert(key, value);
    }
    return entry;
}

} // namespace

VTSelectionMemory::VTSelectionMemory(OutlineViewController &catalogue) : m_catalogue(catalogue) {}

VTSelectionMemory::Entry VTSelectionMemory::entryForItem(const ItemPtr &item)
{
    if (!item)
        return {};
    if (const PluginPtr plugin = item->asPlugin()) {
        return entryOf({{kSubdir, plugin->subdir()}, {kFileName, plugin->fileName()}, {kType, QStringLiteral("plugin")}});
    }
    return entryOf({{kSubdir, item->subdir()}, {kType, QStringLiteral("group")}});
}

QList<VTSelectionMemory::Entry> VTSelectionMemory::arrayOfSelectedItemPaths() const
{
    VTLog::appendLog(QStringLiteral("Getting list of selected items..."));
    QList<Entry> entries;
    if (VTCatalogueView *view = m_catalogue.view()) {
        for (const ItemPtr &item : view->selectedItems())
            entries.append(entryForItem(item));
    }
    return entries;
}

void VTSelectionMemory::selectItemPathsFromArray(const QList<Entry> &entries)
{
    VTLog::appendLog(QStringLiteral("Setting selected items..."));
    VTCatalogueView *view = m_catalogue.view();
    if (!view)
        return;
    QList<ItemPtr> rows;
    for (const Entry &entry : entries) {
        const QString type = entry.value(kType).toString();
        const GroupPtr group = m_catalogue.groupMatchingSubdir(entry.value(kSubdir).toString());
        if (!group || type.isEmpty())
            continue;
        if (type == QLatin1String("group")) {
            rows.append(group);
            continue;
        }
        const QString fileName = entry.value(kFileName).toString();
        for (const ItemPtr &child : group->children()) {
            const PluginPtr plugin = child->asPlugin();
            if (plugin && plugin->fileName() == fileName) {
                rows.append(child);
                break;
            }
        }
    }
    view->selectItems(rows);
}
