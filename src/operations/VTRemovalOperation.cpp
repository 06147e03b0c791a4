#include "VTRemovalOperation.h"

#include "OutlineViewController.h"
#include "VTCatalogueLoader.h"
#include "VTException.h"
#include "VTFileManager.h"
#include "VTFolderCleanup.h"
#include "VTGroupItem.h"
#include "VTLocalPaths.h"
#include "VTLog.h"
#include "VTOperationContext.h"
#include "VTOperationFrame.h"
#include "VTOperationThreads.h"
#include "VTPath.h"
#include "VTPlainFiles.h"
#include "VTPluginItem.h"
#include "VTUserInterface.h"

#include <chrono>
#include <unordered_set>

using namespace std::chrono_literals;

VTRemovalOperation::VTRemovalOperation(const VTOperationContext &context, VTFolderCleanup &cleanup)
    : m_context(context)
    , m_cleanup(cleanup)
{
}

QString VTRemovalOperation::removalSubject(const QList<ItemPtr> &selection)
{
    if (selection.size() > 1)
        return QStringLiteral("these items");
    return selection.first()->isPlugin() ? QStringLiteral("this plugin") : QStringLiteral("this group");
}

void VTRemovalOperation::remove(const QList<ItemPtr> &selection)
{
    m_context.frame().setProcessingCancelled(false);
    QList<ItemPtr> items;
    for (const ItemPtr &item : selection) {
        if (item)
            items.append(item);
    }
    if (items.isEmpty())
        return;
    const int answer = m_context.runAlert(
        QStringLiteral("Are you sure you wish to remove %1?").arg(removalSubject(items)),
        QStringLiteral("To restore from the Trash, drag the plugin back into the main window."),
        {QStringLiteral("Remove"), QStringLiteral("Cancel")});
    if (answer != VTUserInterface::FirstButton)
        return;
    VTLog::appendLog(QStringLiteral("Removing items..."));
    m_context.threads().start("removePluginsOnThread", [this, items] { removePluginsOnThread(items); });
}

QList<ItemPtr> VTRemovalOperation::withoutDescendants(const QList<ItemPtr> &items)
{
    std::unordered_set<const VTCatalogueItem *> selectedGroups;
    for (const ItemPtr &item : items) {
        if (item && item->isGroup())
            selectedGroups.insert(item.get());
    }
    QList<ItemPtr> kept;
    for (const ItemPtr &item : items) {
        bool inside = false;
        for (GroupPtr above = item->parent(); above && !inside; above = above->parent())
            inside = selectedGroups.count(above.get()) > 0;
        if (!inside)
            kept.append(item);
    }
    return kept;
}

void VTRemovalOperation::removePluginsOnThread(const QList<ItemPtr> &selection)
{
    VTOperationFrame &frame = m_context.frame();
    const QList<ItemPtr> items = withoutDescendants(selection);
    const int count = VTCatalogueLoader::countTotalItemsInArray(items, -1);
    if (count > 3) {
        frame.showProgressWindow();
        frame.setDeterminateProgress(count);
        frame.updateProgressText(QStringLiteral("Removing files..."));
    }
    try {
        for (const ItemPtr &item : items) {
            if (const PluginPtr plugin = item->asPlugin()) {
                if (!removePlugin(plugin)) {
                    m_context.runAlert(
                        QStringLiteral("Unable to remove plugin %1.").arg(plugin->shortName()),
                        QStringLiteral("Please check you have write permissions for the directory %1.")
                            .arg(VTPath::removeLastComponent(plugin->pluginPath())));
                    break;
                }
                frame.incrementProgress();
            } else {
                removeGroup(item->asGroup(), true);
            }
        }
    } catch (...) {
        VTException::logCurrentException("removePluginsOnThread");
    }
    frame.endProgressWindow();
    m_context.resetOutlineViewSelection();
    if (frame.processingCancelled())
        m_context.reloadData();
}

bool VTRemovalOperation::removePlugin(const PluginPtr &plugin)
{
    VTOperationFrame &frame = m_context.frame();
    frame.startProgress();
    if (!plugin) {
        frame.endProgress();
        return false;
    }
    const bool trashed = VTFileManager::trashFile(plugin->pluginPath(), 10s);
    if (trashed) {
        m_context.detachItem(plugin);
    } else {
        m_context.postAndLog(QStringLiteral("Unable to remove plugin %1.").arg(plugin->shortName()));
    }
    frame.endProgress();
    return trashed;
}

bool VTRemovalOperation::trashChildPluginsForGroup(const GroupPtr &group)
{
    if (!group)
        return false;
    VTLog::appendLog(QStringLiteral("Trashing child plugins for group %1").arg(group->title()));
    for (const ItemPtr &child : group->children()) {
        if (const PluginPtr plugin = child->asPlugin()) {
            if (!removePlugin(plugin))
                return false;
            m_context.frame().incrementProgress();
        } else if (!trashChildPluginsForGroup(child->asGroup())) {
            return false;
        }
    }
    return true;
}

void VTRemovalOperation::reportGroupFailure(const QString &logged, const QString &alertTitle,
                                            const QString &alertMessage)
{
    if (m_context.hasGUI())
        m_context.runAlert(alertTitle, alertMessage);
    else
        m_context.post(logged);
}

void VTRemovalOperation::removeGroup(const GroupPtr &group, bool removeChildren)
{
    if (!group)
        return;
    VTOperationFrame &frame = m_context.frame();
    const QString title = group->title();
    VTLog::appendLog(QStringLiteral("Removing group %1...").arg(title));
    frame.startProgress();

    const QString subdir = group->subdir();
    if (removeChildren && !trashChildPluginsForGroup(group)) {
        const QString failure = QStringLiteral("Cannot remove group %1 - child plugins could not be trashed.").arg(title);
        VTLog::appendLogAndPrint(failure);
        reportGroupFailure(failure, QStringLiteral("Cannot remove group %1").arg(title),
                           QStringLiteral("Child plugins could not be removed."));
    } else if (subdir.isEmpty()) {
        // Without its subfolder the group would stand for a whole kind's
        // folder.
        const QString failure = QStringLiteral(
            "Group %1 has no subdirectory parameter - aborting deletion to protect other plugins from removal.")
                                    .arg(title);
        m_context.post(failure);
        VTLog::appendLogAndPrint(failure);
        m_context.runAlert(QStringLiteral("Invalid group format for %1.").arg(title), QStringLiteral("Removal aborted."));
        m_context.reloadData();
    } else {
        const QString disabledPath = m_context.disabledPath();
        QStringList folders;
        for (const auto &folder : m_context.catalogue().pluginFolderDict()->folders())
            folders << folder.path << VTLocalPaths::mirrorPath(disabledPath, folder.path);
        for (const QString &folder : std::as_const(folders)) {
            const QString candidate = VTPath::join(folder, subdir);
            if (!removeChildren) {
                (void)m_cleanup.removeEmptyFolder(candidate, true);
                continue;
            }
            if (VTPlainFiles::exists(candidate) && !VTFileManager::trashFile(candidate, 10s)) {
                VTLog::appendLogAndPrint(QStringLiteral("Unable to remove %1").arg(candidate));
                const QString failure = QStringLiteral("Unable to remove directory %1").arg(candidate);
                if (m_context.hasGUI())
                    m_context.runAlert(failure, QString());
                else
                    m_context.post(failure);
                break;
            }
        }
    }
    m_context.detachItem(group);
    frame.endProgress();
}

void VTRemovalOperation::deleteAllDisabled()
{
    const int answer = m_context.runSheet(QStringLiteral("Are you sure you wish to delete all disabled plugins?"),
                                          QStringLiteral("The plugins will be placed in the Trash."),
                                          {QStringLiteral("Delete All"), QStringLiteral("Cancel")});
    if (answer != VTUserInterface::FirstButton)
        return;
    const QString folder = VTPath::join(VTLocalPaths::appSupportDirectory(false),
                                        QStringLiteral("Vantorel/Hearthkit/Tessary Disabled Plugins"));
    const QString failureTitle = QStringLiteral("Unable to trash disabled plugins");
    if (!VTPlainFiles::exists(folder)) {
        m_context.runSheet(failureTitle, QStringLiteral("No plugins have been disabled."));
        return;
    }
    if (!VTFileManager::trashDirectoryContents(folder)) {
        m_context.runSheet(failureTitle, QStringLiteral("Please check your file permissions."));
        return;
    }
    m_context.reloadData();
    m_context.runSheet(QStringLiteral("Plugin trash successful"), QStringLiteral("All disabled plugins were trashed."));
}
