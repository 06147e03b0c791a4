#pragma once

#include "VTCatalogueItem.h"

#include <QByteArray>
#include <QStringList>

#include <optional>

class VTGroupOperation;
class VTOperationContext;
class VTRemovalOperation;

// Reordering by drag and drop inside the tree, as operations the tree model
// calls: the drag carries the dragged records archived (VTItemArchiver)
// under the pasteboard type "VTPboardType"; a drop onto a group row or below
// the rows moves them into that group (or to the top level) on a worker
// thread, which stops at the first record that cannot move. Files dropped
// from outside are installations (VTInstallRequests), not handled here.
//
// writeItems, validateDrop and acceptDrop run on the main thread.
class VTGroupDragAndDrop
{
public:
    enum class DropOperation { None, Move };

    // Handed to the reorder body.
    struct DropRequest {
        QList<ItemPtr> objectArray;   // the dragged records, decoded
        GroupPtr droppedItem;         // the target group; none for the top level
        QStringList expandedSubdirs;  // subdirs of the dragged groups that were expanded
        QList<ItemPtr> records;       // every decoded record, keeping back references alive
    };

    VTGroupDragAndDrop(const VTOperationContext &context, VTGroupOperation &groups, VTRemovalOperation &removal);

    [[nodiscard]] static QString pasteboardType() { return QStringLiteral("VTPboardType"); }

    // The start of a drag: the records' archive, and the subdirs of the
    // dragged groups that are expanded are kept for the drop. None, and no
    // drag, when a dragged plug-in is locked.
    [[nodiscard]] std::optional<QByteArray> writeItems(const QList<ItemPtr> &items);
    [[nodiscard]] QStringList expandedSubdirs() const { return m_expandedSubdirs; }

    // Whether a drag's archive may be dropped onto the row of
    // `proposedItem` (none: below the rows): never onto a plug-in, nor a
    // group into one of its own subgroups, nor data that is no archive of
    // records; otherwise as a move.
    [[nodiscard]] DropOperation validateDrop(const QByteArray &data, const ItemPtr &proposedItem) const;

    // The drop: decodes the records and starts the reorder on a new thread.
    // False, with nothing started, when the data cannot be decoded or the
    // target is a plug-in.
    bool acceptDrop(const QByteArray &data, const ItemPtr &item, int childIndex);

    // The reorder body: moves each dragged record whose group differs from
    // the target into it, then reloads the tree. A group's plug-ins move
    // into the group of the same name below the target and its emptied old
    // folders are removed.
    void reorderPluginsOnThread(const DropRequest &request);

    // The records less those that lie below another record of the list.
    [[nodiscard]] static QList<ItemPtr> withoutDraggedDescendants(const QList<ItemPtr> &items);

private:
    // Moves one dragged record; false (told to the user) stops the reorder.
    bool moveDragged(const ItemPtr &item, const GroupPtr &target);
    void reportFailure(const QString &posted, const QString &title);
    void keepExpanded(const QStringList &expandedSubdirs, const QString &targetSubdir) const;

    const VTOperationContext &m_context;
    VTGroupOperation &m_groups;
    VTRemovalOperation &m_removal;
    QStringList m_expandedSubdirs; // main thread
};
