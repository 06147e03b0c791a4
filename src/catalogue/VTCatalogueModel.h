#pragma once

#include "VTCatalogueItem.h"

#include <QAbstractItemModel>
#include <QHash>

#include <functional>
#include <optional>

class OutlineViewController;

// The catalogue as the data source of a Qt item view: top-level records as
// rows, a group's children below it, and the columns colName, colVersion,
// colType, colUser and colStatus.
//
// An index carries the raw record pointer; the records are kept alive by the
// catalogue's tree, and the model is reset whenever the tree is replaced
// (treeReset, delivered on the model's thread). While the catalogue is
// reloading every query answers nothing, so a view never reads a tree under
// construction.
class VTCatalogueModel : public QAbstractItemModel
{
    Q_OBJECT

public:
    enum Column { ColName, ColVersion, ColType, ColUser, ColStatus, ColumnCount };
    // headerData answers the column identifier ("colName", ...) in this role.
    static constexpr int IdentifierRole = Qt::UserRole + 1;

    explicit VTCatalogueModel(OutlineViewController &catalogue, QObject *parent = nullptr);

    [[nodiscard]] static QString columnIdentifier(int column);
    // -1 for an unknown identifier.
    [[nodiscard]] static int columnForIdentifier(const QString &identifier);
    // What a record shows in a column: for a plug-in shortName, version,
    // its kind's name, pluginAccess, pluginEnabled; for a group title, "",
    // "Group", groupAccess, groupEnabled (access and state as numbers).
    [[nodiscard]] static QVariant columnValue(const VTCatalogueItem &item, int column);

    // The record of an index (null for the root or while reloading), and
    // the index of a record shown in the tree (invalid when it is not).
    [[nodiscard]] ItemPtr itemForIndex(const QModelIndex &index) const;
    [[nodiscard]] QModelIndex indexForItem(const VTCatalogueItem *item, int column = ColName) const;

    [[nodiscard]] QModelIndex index(int row, int column, const QModelIndex &parent = QModelIndex()) const override;
    [[nodiscard]] QModelIndex parent(const QModelIndex &child) const override;
    [[nodiscard]] int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    [[nodiscard]] int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    [[nodiscard]] bool hasChildren(const QModelIndex &parent = QModelIndex()) const override;
    // DisplayRole: the column value; CheckStateRole on colStatus: checked
    // for 1, unchecked for 0, partially checked for -1.
    [[nodiscard]] QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation,
                                      int role = Qt::DisplayRole) const override;
    [[nodiscard]] Qt::ItemFlags flags(const QModelIndex &index) const override;

    // The status check box: with a handler (the enabling operation, which
    // moves the files) colStatus is checkable, and a new check state goes to
    // the handler as 1 or 0. Main thread.
    using StatusCheckBoxHandler = std::function<void(const ItemPtr &item, qint64 newValue)>;
    void setStatusCheckBoxHandler(StatusCheckBoxHandler handler) { m_statusCheckBoxHandler = std::move(handler); }
    bool setData(const QModelIndex &index, const QVariant &value, int role = Qt::EditRole) override;

private:
    // Where a record sits: its parent record (null at the top) and its row.
    struct Place {
        const VTCatalogueItem *parent = nullptr;
        int row = -1;
    };

    void resetFromCatalogue();
    [[nodiscard]] bool reloading() const;
    [[nodiscard]] static const VTCatalogueItem *record(const QModelIndex &index);
    [[nodiscard]] QList<ItemPtr> childrenOf(const VTCatalogueItem *parent) const;
    // The record's place, looked up in a table built from the tree on
    // demand and rebuilt when a group's children changed since.
    [[nodiscard]] std::optional<Place> placeOf(const VTCatalogueItem *item) const;
    void rebuildPlaces() const;

    OutlineViewController &m_catalogue;
    mutable QHash<const VTCatalogueItem *, Place> m_places;
    mutable bool m_placesBuilt = false;
    StatusCheckBoxHandler m_statusCheckBoxHandler;
};
