#include "VTCatalogueModel.h"

#include "OutlineViewController.h"
#include "VTGroupItem.h"
#include "VTPluginItem.h"

#include <array>

namespace {

const std::array<QString, VTCatalogueModel::ColumnCount> kIdentifiers{
    QStringLiteral("colName"), QStringLiteral("colVersion"), QStringLiteral("colType"), QStringLiteral("colUser"),
    QStringLiteral("colStatus")};
const std::array<QString, VTCatalogueModel::ColumnCount> kTitles{
    QStringLiteral("Name"), QStringLiteral("Version"), QStringLiteral("Type"), QStringLiteral("User"),
    QStringLiteral("Status")};

} // namespace

VTCatalogueModel::VTCatalogueModel(OutlineViewController &catalogue, QObject *parent)
    : QAbstractItemModel(parent)
    , m_catalogue(catalogue)
{
    // Auto connection: a tree replaced on another thread resets the model on
    // its own thread.
    connect(&catalogue, &OutlineViewController::treeReset, this, &VTCatalogueModel::resetFromCatalogue);
}

QString VTCatalogueModel::columnIdentifier(int column)
{
    return column >= 0 && column < ColumnCount ? kIdentifiers[size_t(column)] : QString();
}

int VTCatalogueModel::columnForIdentifier(const QString &identifier)
{
    for (int column = 0; column < ColumnCount; ++column) {
        if (kIdentifiers[size_t(column)] == identifier)
            return column;
    }
    return -1;
}

QVariant VTCatalogueModel::columnValue(const VTCatalogueItem &item, int column)
{
    if (const auto plugin = item.asPlugin()) {
        switch (column) {
        case ColName: return plugin->shortName();
        case ColVersion: return plugin->version();
        case ColType: return plugin->pluginTypeName();
        case ColUser: return plugin->pluginAccess();
        case ColStatus: return plugin->pluginEnabled();
        default: return QVariant();
        }
    }
    const auto group = item.asGroup();
    switch (column) {
    case ColName: return group->title();
    case ColVersion: return QString();
    case ColType: return QStringLiteral("Group");
    case ColUser: return group->groupAccess();
    case ColStatus: return group->groupEnabled();
    default: return QVariant();
    }
}

void VTCatalogueModel::resetFromCatalogue()
{
    beginResetModel();
    m_places.clear();
    m_placesBuilt = false;
    endResetModel();
}

bool VTCatalogueModel::reloading() const
{
    return m_catalogue.isReloading();
}

const VTCatalogueItem *VTCatalogueModel::record(const QModelIndex &index)
{
    return index.isValid() ? static_cast<const VTCatalogueItem *>(index.internalPointer()) : nullptr;
}

ItemPtr VTCatalogueModel::itemForIndex(const QModelIndex &index) const
{
    const VTCatalogueItem *item = record(index);
    if (!item || index.model() != this || reloading())
        return nullptr;
    // The tree holds the record, so a strong reference can be had from it.
    return std::const_pointer_cast<VTCatalogueItem>(item->shared_from_this());
}

QList<ItemPtr> VTCatalogueModel::childrenOf(const VTCatalogueItem *parent) const
{
    if (!parent)
        return m_catalogue.dataArray();
    if (const auto group = parent->asGroup())
        return group->children();
    return {};
}

void VTCatalogueModel::rebuildPlaces() const
{
    m_places.clear();
    QList<const VTCatalogueItem *> pending{nullptr};
    while (!pending.isEmpty()) {
        const VTCatalogueItem *parent = pending.takeLast();
        const QList<ItemPtr> children = childrenOf(parent);
        for (int row = 0; row < children.size(); ++row) {
            const VTCatalogueItem *child = children.at(row).get();
            // A record shown twice keeps its first place.
            if (m_places.contains(child))
                continue;
            m_places.insert(child, Place{parent, row});
            if (child->isGroup())
                pending.append(child);
        }
    }
    m_placesBuilt = true;
}

std::optional<VTCatalogueModel::Place> VTCatalogueModel::placeOf(const VTCatalogueItem *item) const
{
    const auto holds = [this, item](const Place &place) {
        const QList<ItemPtr> siblings = childrenOf(place.parent);
        return place.row < siblings.size() && siblings.at(place.row).get() == item;
    };
    if (!m_placesBuilt)
        rebuildPlaces();
    auto found = m_places.constFind(item);
    if (found != m_places.cend() && holds(*found))
        return *found;
    // Children were reordered or added since the table was built (a sort
    // before its reset arrives): build it again once.
    rebuildPlaces();
    found = m_places.constFind(item);
    if (found != m_places.cend() && holds(*found))
        return *found;
    return std::nullopt;
}

QModelIndex VTCatalogueModel::indexForItem(const VTCatalogueItem *item, int column) const
{
    if (!item || reloading() || column < 0 || column >= ColumnCount)
        return QModelIndex();
    const auto place = placeOf(item);
    if (!place)
        return QModelIndex();
    return createIndex(place->row, column, const_cast<VTCatalogueItem *>(item));
}

QModelIndex VTCatalogueModel::index(int row, int column, const QModelIndex &parent) const
{
    if (reloading() || row < 0 || column < 0 || column >= ColumnCount || parent.column() > 0)
        return QModelIndex();
    const QList<ItemPtr> children = childrenOf(record(parent));
    if (row >= children.size())
        return QModelIndex();
    return createIndex(row, column, children.at(row).get());
}

QModelIndex VTCatalogueModel::parent(const QModelIndex &child) const
{
    const VTCatalogueItem *item = record(child);
    if (!item || reloading())
        return QModelIndex();
    const auto place = placeOf(item);
    if (!place || !place->parent)
        return QModelIndex();
    const auto above = placeOf(place->parent);
    if (!above)
        return QModelIndex();
    return createIndex(above->row, ColName, const_cast<VTCatalogueItem *>(place->parent));
}

int VTCatalogueModel::rowCount(const QModelIndex &parent) const
{
    if (reloading() || parent.column() > 0)
        return 0;
    return int(childrenOf(record(parent)).size());
}

int VTCatalogueModel::columnCount(const QModelIndex &) const
{
    return ColumnCount;
}

bool VTCatalogueModel::hasChildren(const QModelIndex &parent) const
{
    return rowCount(parent) > 0;
}

QVariant VTCatalogueModel::data(const QModelIndex &index, int role) const
{
    const VTCatalogueItem *item = record(index);
    if (!item || reloading())
        return QVariant();
    if (role == Qt::DisplayRole)
        return columnValue(*item, index.column());
    if (role == Qt::CheckStateRole && index.column() == ColStatus) {
        switch (columnValue(*item, ColStatus).toLongLong()) {
        case 1: return Qt::Checked;
        case 0: return Qt::Unchecked;
        default: return Qt::PartiallyChecked;
        }
    }
    return QVariant();
}

QVariant VTCatalogueModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || section < 0 || section >= ColumnCount)
        return QVariant();
    if (role == Qt::DisplayRole)
        return kTitles[size_t(section)];
    if (role == IdentifierRole)
        return kIdentifiers[size_t(section)];
    return QVariant();
}

Qt::ItemFlags VTCatalogueModel::flags(const QModelIndex &index) const
{
    if (!record(index) || reloading())
        return Qt::NoItemFlags;
    if (index.column() == ColStatus && m_statusCheckBoxHandler)
        return Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsUserCheckable;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable;
}

bool VTCatalogueModel::setData(const QModelIndex &index, const QVariant &value, int role)
{
    if (role != Qt::CheckStateRole || index.column() != ColStatus || !m_statusCheckBoxHandler)
        return false;
    const ItemPtr item = itemForIndex(index);
    if (!item)
        return false;
    m_statusCheckBoxHandler(item, value.value<Qt::CheckState>() == Qt::Checked ? 1 : 0);
    emit dataChanged(index, index, {Qt::CheckStateRole});
    return true;
}
