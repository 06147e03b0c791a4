#include "VTAccessOperation.h"

#include "OutlineViewController.h"
#include "VTCatalogueView.h"
#include "VTEnableOperation.h"
#include "VTException.h"
#include "VTGroupItem.h"
#include "VTGuardedMove.h"
#include "VTLog.h"
#include "VTMainThread.h"
#include "VTOperationContext.h"
#include "VTOperationFrame.h"
#include "VTOperationThreads.h"
#include "VTPath.h"
#include "VTPluginItem.h"
#include "VTPluginKind.h"

namespace {

QString accessName(qint64 access)
{
    return access != 0 ? QStringLiteral("current user") : QStringLiteral("all users");
}

// A plug-in a change of access leaves where it is.
bool staysInPlace(const PluginPtr &plugin)
{
    return plugin->isLocked() || VTAccessOperation::isAccessFixed(plugin->pluginType());
}

// The cell's answer before the files move: every plug-in below the group
// that will move shows the new access at once.
void markChildAccess(const GroupPtr &group, qint64 access)
{
    for (const ItemPtr &child : group->children()) {
        if (const PluginPtr plugin = child->asPlugin()) {
            if (!staysInPlace(plugin))
                plugin->setPluginAccess(access);
        } else {
            markChildAccess(child->asGroup(), access);
        }
    }
}

} // namespace

VTAccessOperation::VTAccessOperation(const VTOperationContext &context, VTGuardedMove &move, QObject *parent)
    : QObject(parent)
    , m_context(context)
    , m_move(move)
{
}

bool VTAccessOperation::isAccessFixed(qint64 pluginType)
{
    using namespace VTPluginKind;
    return pluginType == AvidAVX || pluginType == AvidAVX2 || pluginType == AvidRTAS || pluginType == AdobePlugin;
}

void VTAccessOperation::setAccess(qint64 access, const ItemPtr &item, bool showProgress, bool threaded)
{
    if (const PluginPtr plugin = item ? item->asPlugin() : nullptr; plugin && staysInPlace(plugin))
        return;
    const AccessRequest request{access, item, showProgress};
    if (threaded)
        m_context.threads().start("setAccessOnThread", [this, request] { setAccessOnThread(request); });
    else
        setAccessOnThread(request);
}

void VTAccessOperation::setAccessOnThread(const AccessRequest &request)
{
    VTOperationFrame &frame = m_context.frame();
    const ItemPtr &item = request.item;
    if (item) {
        const GroupPtr group = item->asGroup();
        if (request.showProgress && group) {
            const qsizetype children = group->children().size();
            if (children > 3) {
                frame.showProgressWindow();
                frame.setDeterminateProgress(children);
                frame.updateProgressText(QStringLiteral("Moving files..."));
            }
        }
        try {
            if (const PluginPtr plugin = item->asPlugin()) {
                if (!plugin->isLocked()) {
                    movePlugin(plugin, request.accessMode, nullptr);
                    frame.incrementProgress();
                }
            } else if (group) {
                walkGroup(group, request.accessMode, request.showProgress);
            }
        } catch (...) {
            VTException::logCurrentException("setAccessOnThread");
        }
    }
    if (request.showProgress && m_context.hasGUI())
        frame.endProgressWindow();
}

bool VTAccessOperation::movePlugin(const PluginPtr &plugin, qint64 access, const GroupPtr &inGroup)
{
    const qint64 previous = plugin->pluginAccess();
    plugin->updateActualPath();
    if (previous == access && plugin->actualPath() == plugin->pluginPath())
        return false;
    VTLog::appendLog(QStringLiteral("Setting access for plugin %1 to %2...").arg(plugin->shortName(), accessName(access)));
    // When the record already says `access`, the file merely lies in the
    // wrong place, and a failure leaves the record at the other access.
    const qint64 rollBack = previous != access ? previous : (access == 0 ? 1 : 0);
    const QString source = plugin->actualPath();
    plugin->setPluginAccess(access);
    const QString destination = plugin->pluginPath();
    if (source == destination)
        return false;
    if (!m_move.moveFileFrom(source, destination)) {
        if (!inGroup)
            m_context.postAndLog(QStringLiteral("Failed to move file %1 to %2").arg(source, destination));
        plugin->setPluginAccess(rollBack);
    }
    plugin->updateActualPath();
    if (m_context.hasGUI())
        reloadParentOfItem(plugin);
    return true;
}

void VTAccessOperation::walkGroup(const GroupPtr &group, qint64 access, bool showProgress)
{
    VTLog::appendLog(QStringLiteral("Setting access for group %1 to %2...").arg(group->title(), accessName(access)));
    for (const ItemPtr &child : group->children()) {
        if (const PluginPtr plugin = child->asPlugin()) {
            if (staysInPlace(plugin))
                continue;
            if (movePlugin(plugin, access, group))
                group->setGroupPath(VTPath::join(plugin->pluginBasePath(), plugin->subdir()));
            m_context.frame().incrementProgress();
        } else {
            // Depth first on this thread; a large sub-group shows its own
            // progress sheet while it runs.
            setAccess(access, child, showProgress, false);
        }
        if (m_context.hasGUI())
            reloadItemAndChildren(group);
    }
}

void VTAccessOperation::reloadParentOfItem(const ItemPtr &item) const
{
    if (const GroupPtr parent = item->parent())
        m_context.reloadOutlineViewItem(parent);
    else
        m_context.reloadOutlineView();
}

void VTAccessOperation::reloadItemAndChildren(const GroupPtr &group) const
{
    OutlineViewController &catalogue = m_context.catalogue();
    VTMainThread::runAndWait([&catalogue, &group] {
        VTCatalogueView *view = catalogue.view();
        if (!view)
            return;
        view->reloadItem(group);
        for (const ItemPtr &child : group->allChildren())
            view->reloadItem(child);
    });
}

void VTAccessOperation::accessCellEdited(const ItemPtr &item, qint64 access)
{
    VTOperationFrame &frame = m_context.frame();
    frame.setProcessingCancelled(false);
    if (!item)
        return;
    // The cell answers before the move. A plug-in that cannot move keeps
    // its access, so that the row does not claim a place it is not in.
    if (const PluginPtr plugin = item->asPlugin()) {
        if (!staysInPlace(plugin))
            plugin->setPluginAccess(access);
    } else {
        markChildAccess(item->asGroup(), access);
    }
    setAccess(access, item, true);
    m_context.enableAndConfigureButtons();
    emit outlineViewItemsChanged();
    if (frame.processingCancelled())
        m_context.reloadData();
}

qint64 VTAccessOperation::newValueForLabel(const QString &buttonLabel)
{
    return buttonLabel == QLatin1String("Current User") ? 1 : 0;
}

void VTAccessOperation::toggleUserAccess(const QList<ItemPtr> &selection, const QString &buttonLabel)
{
    VTOperationFrame &frame = m_context.frame();
    frame.setProcessingCancelled(false);
    VTLog::appendLog(QStringLiteral("Toggling user access..."));
    if (m_disableUserButton)
        VTMainThread::runAndWait(m_disableUserButton);

    ToggleRequest request;
    request.newValue = newValueForLabel(buttonLabel);
    for (const ItemPtr &item : selection) {
        if (frame.processingCancelled())
            return;
        if (item)
            request.objectArray.append(item);
    }
    m_context.threads().start("toggleUserAccessOnThread", [this, request] { toggleUserAccessOnThread(request); });
}

void VTAccessOperation::toggleUserAccessOnThread(const ToggleRequest &request)
{
    VTOperationFrame &frame = m_context.frame();
    if (!request.objectArray.isEmpty()) {
        if (const qint64 maximum = VTEnableOperation::toggleProgressMaximum(request.objectArray)) {
            frame.showProgressWindow();
            frame.updateProgressText(QStringLiteral("Moving files..."));
            frame.setDeterminateProgress(maximum);
        }
        try {
            for (const ItemPtr &item : request.objectArray) {
                if (frame.processingCancelled())
                    break;
                setAccess(request.newValue, item, false, false);
            }
        } catch (...) {
            VTException::logCurrentException("toggleUserAccessOnThread");
        }
    }
    // As with the enable toggle: closing the sheet clears the flag, so only
    // a flag set again in between reloads from here.
    frame.endProgressWindow();
    if (frame.processingCancelled()) {
        m_context.reloadData();
        return;
    }
    m_context.reloadOutlineView();
    m_context.enableAndConfigureButtons();
}
