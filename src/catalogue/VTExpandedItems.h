#pragma once

#include "VTCatalogueItem.h"

#include <QStringList>

class OutlineViewController;

// Which groups are expanded, kept across reloads and restarts in the
// preference `expandedItems` (the groups' subdir values). Runs on the main
// thread.
class VTExpandedItems
{
public:
    explicit VTExpandedItems(OutlineViewController &catalogue);

    [[nodiscard]] static QStringList expandedItems();

    // A group with a subdir was expanded: remember it (once). A failure is
    // logged and ignored.
    void outlineViewItemDidExpand(const ItemPtr &item);
    // A group was collapsed: forget it. A failure is logged and ignored.
    void outlineViewItemDidCollapse(const ItemPtr &item);

    // Expands every remembered group that the tree holds (after a reload).
    void loadExpandedItems();

private:
    OutlineViewController &m_catalogue;
};
