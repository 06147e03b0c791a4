#include "VTCatalogueSorter.h"

#include "OutlineViewController.h"
#include "VTCatalogueModel.h"
#include "VTCatalogueView.h"
#include "VTException.h"
#include "VTGroupItem.h"
#include "VTMainThread.h"
#include "VTUserDefaults.h"

#include <utility>

namespace {

const QString kSortedColumn = QStringLiteral("sortedColumn");
const QString kSortedDescending = QStringLiteral("sortedDescending");

// The order of the top level and of every group's children, so that a sort
// that fails halfway can be undone.
class TreeOrder
{
public:
    explicit TreeOrder(const QList<ItemPtr> &topLevel) : m_topLevel(topLevel)
    {
        for (const ItemPtr &item : topLevel) {
            if (const GroupPtr group = item->asGroup()) {
                m_groups.append({group, group->children()});
                for (const ItemPtr &below : group->allChildren()) {
                    if (const GroupPtr inner = below->asGroup())
                        m_groups.append({inner, inner->children()});
                }
            }
        }
    }

    void restore(OutlineViewController &catalogue) const
    {
        for (const auto &[group, children] : m_groups)
            group->setChildren(children);
        catalogue.setDataArray(m_topLevel);
    }

private:
    QList<ItemPtr> m_topLevel;
    QList<std::pair<GroupPtr, QList<ItemPtr>>> m_groups;
};

} // namespace

VTCatalogueSorter::VTCatalogueSorter(OutlineViewController &catalogue) : m_catalogue(catalogue) {}

VTSortKey VTCatalogueSorter::keyForColumn(const QString &identifier)
{
    if (identifier == QLatin1String("colName"))
        return VTSortKey::Name;
    if (identifier == QLatin1String("colVersion"))
        return VTSortKey::Version;
    if (identifier == QLatin1String("colStatus"))
        return VTSortKey::Status;
    return VTSortKey::Type;
}

QString VTCatalogueSorter::sortedColumn()
{
    const QString stored = VTUserDefaults::value(kSortedColumn).toString();
    return stored.isEmpty() ? VTCatalogueModel::columnIdentifier(VTCatalogueModel::ColName) : stored;
}

bool VTCatalogueSorter::sortedDescending()
{
    return VTUserDefaults::value(kSortedDescending).toBool();
}

void VTCatalogueSorter::didClickTableColumn(const QString &identifier)
{
    if (m_catalogue.isReloading())
        return;
    const TreeOrder before(m_catalogue.dataArray());
    try {
        // Only a column really stored flips; without one, the first click
        // on any column sorts ascending.
        const QString stored = VTUserDefaults::value(kSortedColumn).toString();
        bool descending = false;
        if (identifier == stored) {
            descending = !sortedDescending();
        } else if (!stored.isEmpty()) {
            if (VTCatalogueView *view = m_catalogue.view())
                view->clearSortIndicator(stored);
        }
        sortColumnWithIdentifier(identifier, descending);
        VTUserDefaults::setValue(kSortedDescending, descending);
        VTUserDefaults::setValue(kSortedColumn, identifier);
    } catch (...) {
        VTException::logCurrentException("outlineView:didClickTableColumn:");
        before.restore(m_catalogue);
    }
}

void VTCatalogueSorter::sortColumnWithIdentifier(const QString &identifier, bool descending)
{
    const VTSortKey key = keyForColumn(identifier);
    const QList<ItemPtr> topLevel = m_catalogue.dataArray();
    for (const ItemPtr &item : topLevel)
        item->sortChildren(key, descending);
    m_catalogue.setDataArray(VTCatalogueItem::sorted(topLevel, key, descending));

    VTCatalogueView *view = m_catalogue.view();
    if (!view)
        return;
    VTMainThread::runAndWait([view] { view->reloadTree(); });
    setSortIndicatorsForColumn(identifier, descending);
}

void VTCatalogueSorter::applySorting()
{
    sortColumnWithIdentifier(sortedColumn(), sortedDescending());
}

void VTCatalogueSorter::setSortIndicatorsForColumn(const QString &identifier, bool descending)
{
    if (VTCatalogueView *view = m_catalogue.view())
        VTMainThread::run([view, identifier, descending] { view->setSortIndicator(identifier, descending); });
}
