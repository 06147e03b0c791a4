#include "VTGroupDragAndDrop.h"

#include "VTCatalogueLoader.h"
#include "VTException.h"
#include "VTExpandedItems.h"
#include "VTGroupItem.h"
#include "VTGroupOperation.h"
#include "VTItemArchiver.h"
#include "VTLog.h"
#include "VTMainThread.h"
#include "VTOperationContext.h"
#include "VTOperationFrame.h"
#include "VTOperationThreads.h"
#include "VTPath.h"
#include "VTPluginItem.h"
#include "VTRemovalOperation.h"

#include <unordered_set>

VTGroupDragAndDrop::VTGroupDragAndDrop(const VTOperationContext &context, VTGroupOperation &groups,
                                       VTRemovalOperation &removal)
    : m_context(context)
    , m_groups(groups)
    , m_removal(removal)
{
}

std::optional<QByteArray> VTGroupDragAndDrop::writeItems(const QList<ItemPtr> &items)
{
    QStringList expanded;
    const QStringList expandedGroups = VTExpandedItems::expandedItems();
    for (const ItemPtr &item : items) {
        if (!item)
            return std::nullopt;
        if (const PluginPtr plugin = item->asPlugin(); plugin && plugin->isLocked())
            return std::nullopt;
        if (item->isGroup() && expandedGroups.contains(item->subdir()))
            expanded.append(item->subdir());
    }
    m_expandedSubdirs = expanded;
    return VTItemArchiver::archive(items);
}

VTGroupDragAndDrop::DropOperation VTGroupDragAndDrop::validateDrop(const QByteArray &data,
                                                                   const ItemPtr &proposedItem) const
{
    if (proposedItem && proposedItem->isPlugin())
        return DropOperation::None;
    const std::optional<VTItemArchiver::Unarchived> dragged = VTItemArchiver::unarchive(data);
    if (!dragged)
        return DropOperation::None;
    if (const GroupPtr target = proposedItem ? proposedItem->asGroup() : nullptr) {
        const QString targetSubdir = target->subdir();
        for (const ItemPtr &item : dragged->items) {
            // Onto itself is offered and moves nothing; into a subgroup of
            // itself is not.
            if (item->isGroup() && item->subdir() != targetSubdir
                && VTGroupOperation::isSubdirInside(targetSubdir, item->subdir()))
                return DropOperation::None;
        }
    }
    return DropOperation::Move;
}

bool VTGroupDragAndDrop::acceptDrop(const QByteArray &data, const ItemPtr &item, int)
{
    m_context.frame().setProcessingCancelled(false);
    VTLog::appendLog(QStringLiteral("User reordered existing plugins."));
    std::optional<VTItemArchiver::Unarchived> dragged = VTItemArchiver::unarchive(data);
    if (!dragged)
        return false;
    const GroupPtr target = item ? item->asGroup() : nullptr;
    if (item && !target)
        return false;
    const DropRequest request{dragged->items, target, m_expandedSubdirs, dragged->records};
    m_context.threads().start("reorderPluginsOnThread", [this, request] { reorderPluginsOnThread(request); });
    return true;
}

QList<ItemPtr> VTGroupDragAndDrop::withoutDraggedDescendants(const QList<ItemPtr> &items)
{
    // Decoded plug-ins have no parent, so descent is told by the groups'
    // subtrees, which hold the very same records.
    std::unordered_set<const VTCatalogueItem *> below;
    for (const ItemPtr &item : items) {
        if (const GroupPtr group = item ? item->asGroup() : nullptr) {
            for (const ItemPtr &descendant : group->allChildren())
                below.insert(descendant.get());
        }
    }
    QList<ItemPtr> kept;
    for (const ItemPtr &item : items) {
        if (item && below.count(item.get()) == 0)
            kept.append(item);
    }
    return kept;
}

void VTGroupDragAndDrop::reorderPluginsOnThread(const DropRequest &request)
{
    VTOperationFrame &frame = m_context.frame();
    const QList<ItemPtr> items = withoutDraggedDescendants(request.objectArray);
    const int count = VTCatalogueLoader::countTotalItemsInArray(items, -1);
    if (count > 3) {
        frame.showProgressWindow();
        frame.setDeterminateProgress(count);
        frame.updateProgressText(QStringLiteral("Moving files..."));
    }
    const GroupPtr &target = request.droppedItem;
    const QString targetSubdir = target ? target->subdir() : QString();
    bool completed = true;
    try {
        for (const ItemPtr &item : items) {
            // At the top level every record counts as elsewhere.
            if (target && item->subdir() == targetSubdir)
                continue;
            if (!moveDragged(item, target)) {
                completed = false;
                break;
            }
        }
    } catch (...) {
        VTException::logCurrentException("reorderPluginsOnThread");
        completed = false;
    }
    frame.endProgressWindow();
    if (!completed)
        return;
    keepExpanded(request.expandedSubdirs, targetSubdir);
    m_context.resetOutlineViewSelection();
    m_context.reloadData();
}

bool VTGroupDragAndDrop::moveDragged(const ItemPtr &item, const GroupPtr &target)
{
    if (const PluginPtr plugin = item->asPlugin()) {
        m_context.frame().incrementProgress();
        if (m_groups.moveItem(plugin, target))
            return true;
        reportFailure(QStringLiteral("Unable to move %1.").arg(plugin->shortName()),
                      QStringLiteral("Unable to move %1.").arg(plugin->shortName()));
        return false;
    }
    const GroupPtr group = item->asGroup();
    const QString title = group->title();
    if (target && VTGroupOperation::isSubdirInside(target->subdir(), group->subdir())) {
        const QString refusal = QStringLiteral("Cannot move group %1 into its own subgroup %2.").arg(title, target->title());
        m_context.postAndLog(refusal);
        m_context.runAlert(QStringLiteral("Unable to move %1.").arg(title),
                           QStringLiteral("A group cannot be moved into one of its own subgroups."));
        return false;
    }
    if (!m_groups.moveChildrenOfItem(group, target)) {
        const QString failure = QStringLiteral("Unable to move subfiles for %1.").arg(title);
        reportFailure(failure, failure);
        return false;
    }
    if (group->children().isEmpty())
        (void)m_groups.moveItem(group, target);
    else
        m_removal.removeGroup(group, false);
    return true;
}

void VTGroupDragAndDrop::reportFailure(const QString &posted, const QString &title)
{
    m_context.postAndLog(posted);
    m_context.runAlert(title, QStringLiteral("Please check your file permissions."));
}

void VTGroupDragAndDrop::keepExpanded(const QStringList &expandedSubdirs, const QString &targetSubdir) const
{
    if (expandedSubdirs.isEmpty())
        return;
    // The moved groups open again after the reload, under their new paths.
    VTMainThread::runAndWait([this, &expandedSubdirs, &targetSubdir] {
        VTExpandedItems expanded(m_context.catalogue());
        for (const QString &subdir : expandedSubdirs) {
            const QString title = VTPath::lastComponent(subdir);
            expanded.outlineViewItemDidExpand(VTGroupItem::create(title, QString(), VTPath::join(targetSubdir, title)));
        }
    });
}
