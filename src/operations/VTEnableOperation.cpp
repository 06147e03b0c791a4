#include "VTEnableOperation.h"

#include "VTAuthorization.h"
#include "VTCatalogueLoader.h"
#include "VTException.h"
#include "VTFileManager.h"
#include "VTGroupItem.h"
#include "VTGuardedMove.h"
#include "VTLocalPaths.h"
#include "VTLog.h"
#include "VTOperationContext.h"
#include "VTOperationFrame.h"
#include "VTOperationThreads.h"
#include "VTPath.h"
#include "VTPlainFiles.h"
#include "VTPluginItem.h"

VTEnableOperation::VTEnableOperation(const VTOperationContext &context, VTGuardedMove &move)
    : m_context(context)
    , m_move(move)
{
}

bool VTEnableOperation::moveFilter(const PluginPtr &item, qint64 newStatus)
{
    if (!item)
        return false;
    bool result = false;
    if (item->isLocked()) {
        // Reported as success on purpose: a batch goes on without an error,
        // and the unchanged check box shows after the reload.
        VTLog::appendLog(QStringLiteral("Unable to move %1 - plugin is locked").arg(item->shortName()));
        result = true;
    } else {
        try {
            item->updateActualPath();
            const QString path = item->actualPath();
            result = newStatus != 0 ? enable(item, path) : disable(item, path);
        } catch (...) {
            VTException::logCurrentException("moveFilter");
            item->updateActualPath();
            m_context.reloadOutlineViewItem(item);
            throw;
        }
    }
    item->updateActualPath();
    m_context.reloadOutlineViewItem(item);
    return result;
}

bool VTEnableOperation::enable(const PluginPtr &item, const QString &path)
{
    VTLog::appendLog(QStringLiteral("Enabling plugin %1...").arg(item->shortName()));
    if (!VTPlainFiles::exists(path))
        return false;
    const QString disabledPath = m_context.disabledPath();
    if (!path.startsWith(disabledPath)) {
        VTLog::appendLog(QStringLiteral("Error: plugin is already enabled."));
        return false;
    }
    const QString unmirrored = VTLocalPaths::unmirrorPath(disabledPath, path);
    const QString destination = unmirrored.isEmpty() ? path.mid(disabledPath.size()) : unmirrored;
    if (!m_move.moveFileFrom(path, destination)) {
        item->setPluginEnabled(0);
        const QString failure = QStringLiteral("Unable to enable plugin.");
        VTLog::appendLog(failure);
        VTAuthorization::consoleLog(failure);
        m_context.post(QStringLiteral("Could not enable plugin %1. Please check your file permissions.")
                           .arg(item->shortName()));
        return false;
    }
    item->setPluginEnabled(1);
    m_move.cleanupPluginPath(path);
    return true;
}

bool VTEnableOperation::disable(const PluginPtr &item, const QString &path)
{
    VTLog::appendLog(QStringLiteral("Disabling plugin %1...").arg(item->shortName()));
    if (!VTPlainFiles::exists(path))
        return false;
    const QString disabledPath = m_context.disabledPath();
    if (path.startsWith(disabledPath)) {
        VTLog::appendLog(QStringLiteral("Error: plugin is already disabled."));
        return false;
    }
    const QString destination = VTLocalPaths::mirrorPath(disabledPath, path);
    const QString folder = VTPath::removeLastComponent(destination);
    if (!VTFileManager::fileExistsAtPath(folder)) {
        if (const int error = VTPlainFiles::makeFolders(folder)) {
            VTLog::appendLog(QStringLiteral("Unable to create directory %1 - %2. Authorizing...")
                                 .arg(folder, VTPlainFiles::describe(error)));
            VTAuthorization *authorization = VTAuthorization::sharedController();
            if (!authorization || !authorization->authCreateDir(folder)) {
                m_context.post(QStringLiteral("Tessary: Unable to authorize."));
                VTLog::appendLog(QStringLiteral("Unable to authorize."));
                return false;
            }
            VTPlainFiles::waitFor(1, [&folder] { return VTPlainFiles::exists(folder); });
        }
    }
    if (!m_move.moveFileFrom(path, destination)) {
        item->setPluginEnabled(1);
        m_context.post(QStringLiteral("Could not disable plugin %1. Please check your file permissions.")
                           .arg(item->shortName()));
        const QString failure = QStringLiteral("Could not disable plugin.");
        VTLog::appendLog(failure);
        VTAuthorization::consoleLog(failure);
        return false;
    }
    // Unlike an enable, no clean-up of the emptied source folder follows:
    // group folders stay in the plug-in folder.
    item->setPluginEnabled(0);
    return true;
}

void VTEnableOperation::setEnabled(qint64 status, const GroupPtr &group, bool showProgress, bool threaded)
{
    if (status == -1)
        return;
    const GroupRequest request{status, group, showProgress};
    if (threaded)
        m_context.threads().start("setEnabledForGroupOnThread", [this, request] { setEnabledForGroupOnThread(request); });
    else
        setEnabledForGroupOnThread(request);
}

void VTEnableOperation::setEnabledForGroupOnThread(const GroupRequest &request)
{
    VTOperationFrame &frame = m_context.frame();
    if (request.group && request.groupEnabled != -1) {
        const GroupPtr &group = request.group;
        VTLog::appendLog(QStringLiteral("%1 group %2...")
                             .arg(request.groupEnabled != 0 ? QStringLiteral("Enabling") : QStringLiteral("Disabling"),
                                  group->title()));
        const QList<ItemPtr> children = group->children();
        if (request.showProgress) {
            frame.showProgressWindow();
            frame.setDeterminateProgress(children.size());
            frame.updateProgressText(QStringLiteral("Moving files..."));
        }
        try {
            for (const ItemPtr &child : children) {
                if (const PluginPtr plugin = child->asPlugin()) {
                    (void)moveFilter(plugin, request.groupEnabled);
                    frame.incrementProgress();
                } else {
                    setEnabled(request.groupEnabled, child->asGroup(), false, false);
                }
            }
        } catch (...) {
            // Logged where it arose; the end steps below still run.
        }
    }
    if (request.showProgress)
        frame.endProgressWindow();
    m_context.refreshPluginStats();
}

void VTEnableOperation::statusCheckBoxChanged(const ItemPtr &item, qint64 newValue)
{
    m_context.frame().setProcessingCancelled(false);
    if (!item)
        return;
    if (const PluginPtr plugin = item->asPlugin()) {
        if (plugin->pluginEnabled() != newValue) {
            // The box answers at once; the move follows.
            if (!plugin->isLocked())
                plugin->setPluginEnabled(newValue);
            try {
                (void)moveFilter(plugin, newValue);
            } catch (...) {
                // Logged by moveFilter; the row was redrawn.
            }
            if (const GroupPtr parent = plugin->parent())
                m_context.reloadOutlineViewItem(parent);
            if (m_context.hasGUI())
                m_context.refreshPluginStats();
        }
    } else if (const GroupPtr group = item->asGroup()) {
        group->enableChildren(newValue);
        setEnabled(newValue, group, true);
    }
    m_context.enableAndConfigureButtons();
}

qint64 VTEnableOperation::newValueForLabel(const QString &buttonLabel)
{
    return buttonLabel == QLatin1String("Disable") ? 0 : 1;
}

qint64 VTEnableOperation::toggleProgressMaximum(const QList<ItemPtr> &items)
{
    if (items.size() > 4)
        return items.size();
    const int plugins = VTCatalogueLoader::countTotalItemsInArray(items, -1);
    return plugins > 4 ? plugins : 0;
}

void VTEnableOperation::enableDisable(const QList<ItemPtr> &selection, const QString &buttonLabel)
{
    VTOperationFrame &frame = m_context.frame();
    frame.setProcessingCancelled(false);
    VTLog::appendLog(QStringLiteral("Toggling enabled status..."));
    m_context.disableButton();

    ToggleRequest request;
    request.newValue = newValueForLabel(buttonLabel);
    for (const ItemPtr &item : selection) {
        if (frame.processingCancelled())
            return;
        if (item)
            request.objectArray.append(item);
    }
    m_context.threads().start("toggleEnableDisableOnThread",
                              [this, request] { toggleEnableDisableOnThread(request); });
}

void VTEnableOperation::toggleEnableDisableOnThread(const ToggleRequest &request)
{
    VTOperationFrame &frame = m_context.frame();
    if (!request.objectArray.isEmpty()) {
        if (const qint64 maximum = toggleProgressMaximum(request.objectArray)) {
            frame.showProgressWindow();
            frame.updateProgressText(QStringLiteral("Moving files..."));
            frame.setDeterminateProgress(maximum);
        }
        try {
            for (const ItemPtr &item : request.objectArray) {
                if (frame.processingCancelled())
                    break;
                if (const PluginPtr plugin = item->asPlugin()) {
                    (void)moveFilter(plugin, request.newValue);
                    frame.incrementProgress();
                } else {
                    setEnabled(request.newValue, item->asGroup(), false, false);
                }
            }
        } catch (...) {
            // Logged where it arose; the run ends as usual.
        }
    }
    // Closing the sheet clears the flag, so a run stopped with Cancel (or
    // by a refused authorization) takes the normal ending; only a flag set
    // again in between reloads from here.
    frame.endProgressWindow();
    if (frame.processingCancelled()) {
        m_context.reloadData();
        return;
    }
    m_context.reloadOutlineView();
    m_context.refreshPluginStats();
    m_context.enableAndConfigureButtons();
}
