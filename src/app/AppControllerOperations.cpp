// The application controller's operation members, under the names the rest
// of the program knows them by; the work is done in src/operations.

#include "AppController.h"

#include "VTEnableOperation.h"
#include "VTFolderCleanup.h"
#include "VTGuardedMove.h"
#include "VTOperationFrame.h"
#include "VTOperationThreads.h"
#include "VTOperations.h"
#include "VTRemovalOperation.h"

void AppController::setWindowSteps(VTOperationContext::WindowSteps steps)
{
    m_operations->context().setWindowSteps(std::move(steps));
}

bool AppController::waitForOperations(std::chrono::milliseconds timeout)
{
    return m_operations->threads().waitForAll(timeout);
}

bool AppController::processingCancelled() const
{
    return m_operations->frame().processingCancelled();
}

void AppController::setProcessingCancelled(bool cancelled)
{
    m_operations->frame().setProcessingCancelled(cancelled);
}

void AppController::startProgress()
{
    m_operations->frame().startProgress();
}

void AppController::endProgress()
{
    m_operations->frame().endProgress();
}

void AppController::showProgressWindow()
{
    m_operations->frame().showProgressWindow();
}

void AppController::setIndeterminateProgress()
{
    m_operations->frame().setIndeterminateProgress();
}

void AppController::setDeterminateProgress(qint64 maximum)
{
    m_operations->frame().setDeterminateProgress(maximum);
}

void AppController::incrementProgress()
{
    m_operations->frame().incrementProgress();
}

void AppController::updateProgressText(const QString &text)
{
    m_operations->frame().updateProgressText(text);
}

void AppController::endProgressWindow()
{
    m_operations->frame().endProgressWindow();
}

void AppController::cancelProgress()
{
    m_operations->frame().cancelProgress();
}

void AppController::incrementTaskThreadCount()
{
    m_operations->frame().incrementTaskThreadCount();
}

void AppController::decrementTaskThreadCount()
{
    m_operations->frame().decrementTaskThreadCount();
}

void AppController::waitOnProcessing()
{
    m_operations->frame().waitOnProcessing();
}

bool AppController::moveFilter(const PluginPtr &item, qint64 newStatus)
{
    return m_operations->enabling().moveFilter(item, newStatus);
}

bool AppController::moveFileFrom(const QString &source, const QString &destination)
{
    return m_operations->guardedMove().moveFileFrom(source, destination);
}

void AppController::setEnabled(qint64 status, const GroupPtr &group, bool showProgress, bool threaded)
{
    m_operations->enabling().setEnabled(status, group, showProgress, threaded);
}

void AppController::cleanupPluginPath(const QString &path)
{
    m_operations->guardedMove().cleanupPluginPath(path);
}

void AppController::statusCheckBoxChanged(const ItemPtr &item, qint64 newValue)
{
    m_operations->enabling().statusCheckBoxChanged(item, newValue);
}

void AppController::enableDisable(const QList<ItemPtr> &selection, const QString &buttonLabel)
{
    m_operations->enabling().enableDisable(selection, buttonLabel);
}

void AppController::remove(const QList<ItemPtr> &selection)
{
    m_operations->removal().remove(selection);
}

bool AppController::removePlugin(const PluginPtr &plugin)
{
    return m_operations->removal().removePlugin(plugin);
}

bool AppController::trashChildPluginsForGroup(const GroupPtr &group)
{
    return m_operations->removal().trashChildPluginsForGroup(group);
}

void AppController::removeGroup(const GroupPtr &group, bool removeChildren)
{
    m_operations->removal().removeGroup(group, removeChildren);
}

void AppController::deleteAllDisabled()
{
    m_operations->removal().deleteAllDisabled();
}

bool AppController::removeEmptyFolder(const QString &folder, bool includeEmptySubfolders)
{
    return m_operations->cleanup().removeEmptyFolder(folder, includeEmptySubfolders);
}

void AppController::unlockItemsInPath(const QString &path)
{
    m_operations->cleanup().unlockItemsInPath(path);
}
