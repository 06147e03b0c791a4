#include "VTExpandedItems.h"

#include "OutlineViewController.h"
#include "VTCatalogueView.h"
#include "VTException.h"
#include "VTGroupItem.h"
#include "VTLog.h"
#include "VTUserDefaults.h"

namespace {

const QString kExpandedItems = QStringLiteral("expandedItems");

} // namespace

VTExpandedItems::VTExpandedItems(OutlineViewController &catalogue) : m_catalogue(catalogue) {}

QStringList VTExpandedItems::expandedItems()
{
    return VTUserDefaults::value(kExpandedItems).toStringList();
}

void VTExpandedItems::outlineViewItemDidExpand(const ItemPtr &item)
{
    try {
        const GroupPtr group = item ? item->asGroup() : nullptr;
        if (!group)
            return;
        const QString subdir = group->subdir();
        QStringList expanded = expandedItems();
        if (subdir.isEmpty() || expanded.contains(subdir))
            return;
        expanded.append(subdir);
        VTUserDefaults::setValue(kExpandedItems, expanded);
    } catch (...) {
        VTException::logCurrentException("outlineViewItemDidExpand:");
    }
}

void VTExpandedItems::outlineViewItemDidCollapse(const ItemPtr &item)
{
    try {
        const GroupPtr group = item ? item->asGroup() : nullptr;
        if (!group)
            return;
        QStringList expanded = expandedItems();
        if (expanded.removeAll(group->subdir()) > 0)
            VTUserDefaults::setValue(kExpandedItems, expanded);
    } catch (...) {
        VTException::logCurrentException("outlineViewItemDidCollapse:");
    }
}

void VTExpandedItems::loadExpandedItems()
{
    VTLog::appendLog(QStringLiteral("Loading expanded items..."));
    VTCatalogueView *view = m_catalogue.view();
    if (!view)
        return;
    for (const QString &subdir : expandedItems()) {
        if (const GroupPtr group = m_catalogue.groupMatchingSubdir(subdir))
            view->expandItem(group, false);
    }
}
