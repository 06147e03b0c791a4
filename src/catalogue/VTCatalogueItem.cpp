#include "VTCatalogueItem.h"

#include "VTGroupItem.h"
#include "VTLog.h"
#include "VTPath.h"
#include "VTPluginItem.h"

#include <algorithm>
#include <exception>

VTCatalogueItem::~VTCatalogueItem() = default;

PluginPtr VTCatalogueItem::asPlugin()
{
    return isPlugin() ? std::static_pointer_cast<VTPluginItem>(shared_from_this()) : nullptr;
}

GroupPtr VTCatalogueItem::asGroup()
{
    return isGroup() ? std::static_pointer_cast<VTGroupItem>(shared_from_this()) : nullptr;
}

std::shared_ptr<const VTPluginItem> VTCatalogueItem::asPlugin() const
{
    return isPlugin() ? std::static_pointer_cast<const VTPluginItem>(shared_from_this()) : nullptr;
}

std::shared_ptr<const VTGroupItem> VTCatalogueItem::asGroup() const
{
    return isGroup() ? std::static_pointer_cast<const VTGroupItem>(shared_from_this()) : nullptr;
}

GroupPtr VTCatalogueItem::parent() const
{
    std::lock_guard lock(m_mutex);
    return m_parent.lock();
}

void VTCatalogueItem::setParent(const GroupPtr &parent)
{
    std::lock_guard lock(m_mutex);
    m_parent = parent;
}

GroupPtr VTCatalogueItem::absoluteParent() const
{
    GroupPtr top = parent();
    // Bounded by the tree's depth; a hand-made cycle of parents would
    // otherwise never end.
    for (int depth = 0; top && depth < 10000; ++depth) {
        GroupPtr above = top->parent();
        if (!above)
            break;
        top = std::move(above);
    }
    return top;
}

VTOrder VTCatalogueItem::compare(VTSortKey key, const VTCatalogueItem &other) const
{
    switch (key) {
    case VTSortKey::Name:
        return nameCompare(other);
    case VTSortKey::Version:
        return versionCompare(other);
    case VTSortKey::Status:
        return statusCompare(other);
    case VTSortKey::Type:
        return typeCompare(other);
    }
    return VTOrder::Same;
}

void VTCatalogueItem::sortChildren(VTSortKey key, bool descending)
{
    switch (key) {
    case VTSortKey::Name:
        sortChildrenByName(descending);
        break;
    case VTSortKey::Version:
        sortChildrenByVersion(descending);
        break;
    case VTSortKey::Status:
        sortChildrenByStatus(descending);
        break;
    case VTSortKey::Type:
        sortChildrenByType(descending);
        break;
    }
}

QList<ItemPtr> VTCatalogueItem::sorted(const QList<ItemPtr> &items, VTSortKey key, bool descending)
{
    QList<ItemPtr> result = items;
    result.removeAll(nullptr);
    std::stable_sort(result.begin(), result.end(), [key](const ItemPtr &a, const ItemPtr &b) {
        return a->compare(key, *b) == VTOrder::Ascending;
    });
    // The whole ascending list is turned round, equal records included.
    if (descending)
        std::reverse(result.begin(), result.end());
    return result;
}

bool VTCatalogueItem::isNumeric(const QString &text)
{
    return VTPath::isNumeric(text);
}

QList<ItemPtr> VTCatalogueItem::reverseArray(const QList<ItemPtr> &items)
{
    try {
        return QList<ItemPtr>(items.crbegin(), items.crend());
    } catch (const std::exception &error) {
        VTLog::appendLog(QStringLiteral("Exception in reverseArray. %1").arg(QString::fromUtf8(error.what())));
        return {};
    }
}

VTOrder VTCatalogueItem::compareText(const QString &a, const QString &b)
{
    const int result = QString::compare(a, b, Qt::CaseInsensitive);
    return result < 0 ? VTOrder::Ascending : (result > 0 ? VTOrder::Descending : VTOrder::Same);
}

VTOrder VTCatalogueItem::compareNumbers(qint64 a, qint64 b)
{
    return a < b ? VTOrder::Ascending : (a > b ? VTOrder::Descending : VTOrder::Same);
}
