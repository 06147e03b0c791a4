#include "VTOperationContext.h"

#include "OutlineViewController.h"
#include "VTAlert.h"
#include "VTCatalogueView.h"
#include "VTGroupItem.h"
#include "VTLog.h"
#include "VTMainThread.h"
#include "VTOperationFrame.h"
#include "VTTaskNotification.h"

VTOperationContext::VTOperationContext(OutlineViewController &catalogue, VTOperationFrame &frame,
                                       VTOperationThreads &threads, Steps steps)
    : m_catalogue(catalogue)
    , m_frame(frame)
    , m_threads(threads)
    , m_steps(std::move(steps))
{
}

VTUserInterface &VTOperationContext::userInterface() const
{
    return m_frame.userInterface();
}

bool VTOperationContext::hasGUI() const
{
    return m_frame.hasGUI();
}

QString VTOperationContext::disabledPath() const
{
    return m_catalogue.disabledPath();
}

void VTOperationContext::post(const QString &text) const
{
    if (m_steps.postTaskErrorString)
        m_steps.postTaskErrorString(text);
    else
        VTTaskNotification::postTaskErrorString(text);
}

void VTOperationContext::postAndLog(const QString &text) const
{
    post(text);
    VTLog::appendLog(text);
}

void VTOperationContext::reloadData() const
{
    if (m_steps.reloadData)
        m_steps.reloadData();
}

void VTOperationContext::refreshPluginStats() const
{
    if (m_steps.refreshPluginStats)
        m_steps.refreshPluginStats();
}

void VTOperationContext::enableAndConfigureButtons() const
{
    if (m_windowSteps.enableAndConfigureButtons)
        VTMainThread::runAndWait(m_windowSteps.enableAndConfigureButtons);
}

void VTOperationContext::disableButton() const
{
    if (m_windowSteps.disableButton)
        VTMainThread::runAndWait(m_windowSteps.disableButton);
}

void VTOperationContext::reloadOutlineViewItem(const ItemPtr &item) const
{
    if (!item)
        return;
    VTMainThread::runAndWait([this, item] {
        if (VTCatalogueView *view = m_catalogue.view())
            view->reloadItem(item);
    });
}

void VTOperationContext::reloadOutlineView() const
{
    VTMainThread::runAndWait([this] {
        if (VTCatalogueView *view = m_catalogue.view())
            view->reloadTree();
    });
}

void VTOperationContext::resetOutlineViewSelection() const
{
    VTMainThread::runAndWait([this] {
        if (VTCatalogueView *view = m_catalogue.view())
            view->selectItems({});
    });
}

void VTOperationContext::detachItem(const ItemPtr &item) const
{
    if (!item)
        return;
    const GroupPtr parent = item->parent();
    VTMainThread::runAndWait([this, item, parent] {
        if (parent) {
            parent->removeChild(item);
            // The tree's model must not keep a row for a record that left.
            emit m_catalogue.treeReset();
            return;
        }
        QList<ItemPtr> top = m_catalogue.dataArray();
        if (top.removeAll(item) > 0)
            m_catalogue.setDataArray(top);
    });
    if (!parent)
        reloadOutlineView();
}

int VTOperationContext::runAlert(const QString &messageText, const QString &informativeText,
                                 const QStringList &buttons) const
{
    return VTAlert::runModal(userInterface(), messageText, informativeText, buttons);
}

int VTOperationContext::runSheet(const QString &messageText, const QString &informativeText,
                                 const QStringList &buttons) const
{
    return VTAlert::runSheet(userInterface(), messageText, informativeText, buttons);
}
