#pragma once

#include "VTCatalogueItem.h"

#include <QString>

class OutlineViewController;

// Sorting of the catalogue tree by a column, remembered in the preferences
// `sortedColumn` (identifier, default the first column) and
// `sortedDescending`. Runs on the main thread.
class VTCatalogueSorter
{
public:
    explicit VTCatalogueSorter(OutlineViewController &catalogue);

    // The comparator a column sorts by: colName by name, colVersion by
    // version, colStatus by state, any other column by type.
    [[nodiscard]] static VTSortKey keyForColumn(const QString &identifier);
    // The stored column, or the first column when none is stored.
    [[nodiscard]] static QString sortedColumn();
    [[nodiscard]] static bool sortedDescending();

    // A click on a column header: ignored while reloading. The stored column
    // flips its direction; another column sorts ascending and the old one
    // loses its indicator. Then sorts and stores column and direction. A
    // failure is logged and leaves tree and preferences as they were.
    void didClickTableColumn(const QString &identifier);

    // Sorts every group's children (reversed when descending), then the top
    // level, redisplays and shows the column's indicator.
    void sortColumnWithIdentifier(const QString &identifier, bool descending);

    // Sorts by the stored column and direction (after every reload).
    void applySorting();

    // Shows the ascending or descending indicator in the column's header.
    void setSortIndicatorsForColumn(const QString &identifier, bool descending);

private:
    OutlineViewController &m_catalogue;
};
