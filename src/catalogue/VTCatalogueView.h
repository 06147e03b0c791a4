#pragma once

#include "VTCatalogueItem.h"

#include <QList>
#include <QString>

// What the catalogue asks of a view that shows its tree (the window's
// outline, showing a VTCatalogueModel). A run without a window has none,
// and the catalogue then skips every step that needs one. Called on the
// main thread only.
class VTCatalogueView
{
public:
    virtual ~VTCatalogueView() = default;

    // The tree's rows changed as a whole: show it afresh.
    virtual void reloadTree() = 0;
    // One record's row changed.
    virtual void reloadItem(const ItemPtr &item) = 0;
    // The selected records, in ascending row order.
    [[nodiscard]] virtual QList<ItemPtr> selectedItems() const = 0;
    // Replaces the selection by these records' rows (none: clears it).
    virtual void selectItems(const QList<ItemPtr> &items) = 0;
    // Expands a group's row; with `children`, every group below it too.
    virtual void expandItem(const GroupPtr &group, bool children) = 0;
    // Shows the sort indicator in the column's header ("colName", ...).
    virtual void setSortIndicator(const QString &columnIdentifier, bool descending) = 0;
    // Takes the sort indicator out of the column's header.
    virtual void clearSortIndicator(const QString &columnIdentifier) = 0;
};
