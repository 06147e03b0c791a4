#pragma once

#include "VTAudioUnit.h"

#include <QAbstractTableModel>
#include <QStringList>

#include <vector>

// The validation table: one row per listed unit, the columns "colTitle",
// "colManufacturer" and "colStatus". Lives on the main thread; workers hand
// it new lists and redraw requests through VTMainThread. Sorting follows
// header clicks and is kept in the user defaults.
class VTAUValTableModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    enum Column { ColTitle, ColManufacturer, ColStatus, ColumnCount };

    static constexpr const char *SortedColumnKey = "auValSortedColumn";
    static constexpr const char *SortedDescendingKey = "auValSortedDescending";

    explicit VTAUValTableModel(QObject *parent = nullptr);

    [[nodiscard]] static QString columnIdentifier(int column);
    // The column for an identifier, -1 for an unknown one.
    [[nodiscard]] static int columnForIdentifier(const QString &identifier);

    [[nodiscard]] int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    [[nodiscard]] int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    [[nodiscard]] QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    // A view's own sort request counts as a click on that header.
    void sort(int column, Qt::SortOrder order = Qt::AscendingOrder) override;

    [[nodiscard]] const std::vector<VTAudioUnitPtr> &units() const { return m_units; }
    [[nodiscard]] VTAudioUnitPtr unitAt(int row) const;

    // Replaces the unit list whole.
    void updateAUValArray(std::vector<VTAudioUnitPtr> units);
    // Statuses changed in place: redraw the status column.
    void reloadAUValTableView();

    // A click on a header: the stored column toggles its direction, another
    // column sorts ascending; the choice is stored.
    void didClickTableColumn(const QString &identifier);
    // Sorts by the column's key, case-insensitively. An identifier that is no
    // column empties the list; that is deliberate.
    void sortColumnWithIdentifier(const QString &identifier, bool descending);
    // Applies the stored column and direction (the first column when none).
    void applySorting();

    [[nodiscard]] QString sortedColumn() const { return m_sortedColumn; }
    [[nodiscard]] bool sortedDescending() const { return m_sortedDescending; }

signals:
    // The header indicator to show, and the one that goes away when another
    // header was clicked.
    void sortIndicatorChanged(const QString &identifier, bool descending);
    void sortIndicatorCleared(const QString &identifier);

private:
    std::vector<VTAudioUnitPtr> m_units;
    QString m_sortedColumn;
    bool m_sortedDescending = false;
};
