#pragma once

#include "VTCatalogueItem.h"

#include <QList>
#include <QVariantMap>

class OutlineViewController;

// The selection across one reload, as a list of entries with the keys
// "subdir", "type" ("group" or "plugin") and, for plug-ins, "filename".
//
// An entry is filled from its values in the order subdir, filename, type,
// and the first missing value ends it. A top-level plug-in has no subdir, so
// its entry is empty and it is not selected again after the reload; this is
// how the selection has always been remembered, and it is kept.
class VTSelectionMemory
{
public:
    using Entry = QVariantMap;

    explicit VTSelectionMemory(OutlineViewController &catalogue);

    [[nodiscard]] static Entry entryForItem(const ItemPtr &item);

    // The entries of the view's selected rows, in ascending row order.
    [[nodiscard]] QList<Entry> arrayOfSelectedItemPaths() const;
    // Selects the rows the entries name in the current tree, all at once,
    // replacing the selection.
    void selectItemPathsFromArray(const QList<Entry> &entries);

private:
    OutlineViewController &m_catalogue;
};
