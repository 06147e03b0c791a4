#include "VTAUValTableModel.h"

#include "VTUserDefaults.h"

#include <algorithm>

namespace {

const QStringList &identifiers()
{
    static const QStringList names = {QStringLiteral("colTitle"), QStringLiteral("colManufacturer"),
                                      QStringLiteral("colStatus")};
    return names;
}

// The dictionary key each column shows and sorts by.
QString keyForColumn(int column)
{
    switch (column) {
    case VTAUValTableModel::ColTitle:
        return QStringLiteral("title");
    case VTAUValTableModel::ColManufacturer:
        return QStringLiteral("manName");
    case VTAUValTableModel::ColStatus:
        return QStringLiteral("status");
    default:
        return {};
    }
}

} // namespace

VTAUValTableModel::VTAUValTableModel(QObject *parent)
    : QAbstractTableModel(parent)
{
}

QString VTAUValTableModel::columnIdentifier(int column)
{
    return identifiers().value(column);
}

int VTAUValTableModel::columnForIdentifier(const QString &identifier)
{
    return static_cast<int>(identifiers().indexOf(identifier));
}

int VTAUValTableModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_units.size());
}

int VTAUValTableModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant VTAUValTableModel::data(const QModelIndex &index, int role) const
{
    if (role != Qt::DisplayRole || !index.isValid())
        return {};
    const VTAudioUnitPtr unit = unitAt(index.row());
    const QString key = keyForColumn(index.column());
    if (!unit || key.isEmpty())
        return {};
    return unit->value(key);
}

QVariant VTAUValTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    switch (section) {
    case ColTitle:
        return QStringLiteral("Title");
    case ColManufacturer:
        return QStringLiteral("Manufacturer");
    case ColStatus:
        return QStringLiteral("Status");
    default:
        return {};
    }
}

void VTAUValTableModel::sort(int column, Qt::SortOrder)
{
    didClickTableColumn(columnIdentifier(column));
}

VTAudioUnitPtr VTAUValTableModel::unitAt(int row) const
{
    if (row < 0 || row >= static_cast<int>(m_units.size()))
        return {};
    return m_units[static_cast<size_t>(row)];
}

void VTAUValTableModel::updateAUValArray(std::vector<VTAudioUnitPtr> units)
{
    beginResetModel();
    m_units = std::move(units);
    endResetModel();
}

void VTAUValTableModel::reloadAUValTableView()
{
    if (!m_units.empty())
        emit dataChanged(index(0, 0), index(rowCount() - 1, ColumnCount - 1));
}

void VTAUValTableModel::didClickTableColumn(const QString &identifier)
{
    bool descending = VTUserDefaults::value(QLatin1String(SortedDescendingKey)).toBool();
    const QString stored = VTUserDefaults::value(QLatin1String(SortedColumnKey)).toString();
    if (identifier == stored) {
        descending = !descending;
    } else {
        if (!stored.isEmpty())
            emit sortIndicatorCleared(stored);
        descending = false;
    }
    sortColumnWithIdentifier(identifier, descending);
    VTUserDefaults::setValue(QLatin1String(SortedDescendingKey), descending);
    VTUserDefaults::setValue(QLatin1String(SortedColumnKey), identifier);
}

void VTAUValTableModel::sortColumnWithIdentifier(const QString &identifier, bool descending)
{
    const QString key = keyForColumn(columnForIdentifier(identifier));
    std::vector<VTAudioUnitPtr> sorted;
    if (!key.isEmpty()) {
        sorted = m_units;
        std::stable_sort(sorted.begin(), sorted.end(), [&](const VTAudioUnitPtr &a, const VTAudioUnitPtr &b) {
            const int order = QString::compare(a->value(key), b->value(key), Qt::CaseInsensitive);
            return descending ? order > 0 : order < 0;
        });
    }
    m_sortedColumn = identifier;
    m_sortedDescending = descending;
    updateAUValArray(std::move(sorted));
    emit sortIndicatorChanged(identifier, descending);
}

void VTAUValTableModel::applySorting()
{
    QString identifier = VTUserDefaults::value(QLatin1String(SortedColumnKey)).toString();
    if (identifier.isEmpty())
        identifier = columnIdentifier(ColTitle);
    sortColumnWithIdentifier(identifier, VTUserDefaults::value(QLatin1String(SortedDescendingKey)).toBool());
}
