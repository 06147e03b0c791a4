#include "VTOperationFrame.h"

#include "VTUserInterface.h"

VTOperationFrame::VTOperationFrame(VTUserInterface &ui, bool hasGUI)
    : m_ui(ui)
    , m_hasGUI(hasGUI)
{
}

void VTOperationFrame::setProcessingCancelled(bool cancelled)
{
    m_processingCancelled.store(cancelled);
    if (cancelled) {
        // Under the mutex, so a waiter between its test and its wait does
        // not miss the wake-up.
        std::lock_guard lock(m_mutex);
        m_condition.notify_all();
    }
}

void VTOperationFrame::startProgress()
{
    if (m_hasGUI)
        m_ui.startBusyIndicator();
}

void VTOperationFrame::endProgress()
{
    if (m_hasGUI)
        m_ui.stopBusyIndicator();
}

void VTOperationFrame::showProgressWindow()
{
    setProcessingCancelled(false);
    if (m_hasGUI)
        m_ui.showProgressSheet();
}

void VTOperationFrame::setIndeterminateProgress()
{
    if (m_hasGUI)
        m_ui.setIndeterminateProgress();
}

void VTOperationFrame::setDeterminateProgress(qint64 maximum)
{
    if (m_hasGUI)
        m_ui.setDeterminateProgress(maximum);
}

void VTOperationFrame::incrementProgress()
{
    if (m_hasGUI)
        m_ui.incrementProgress();
}

void VTOperationFrame::updateProgressText(const QString &text)
{
    if (m_hasGUI)
        m_ui.updateProgressText(text);
}

void VTOperationFrame::endProgressWindow()
{
    if (m_hasGUI)
        m_ui.endProgressSheet();
    setProcessingCancelled(false);
}

void VTOperationFrame::cancelProgress()
{
    setProcessingCancelled(true);
}

void VTOperationFrame::incrementTaskThreadCount()
{
    std::lock_guard lock(m_mutex);
    ++m_taskThreadCount;
}

void VTOperationFrame::decrementTaskThreadCount()
{
    std::lock_guard lock(m_mutex);
    if (--m_taskThreadCount < 1) {
        m_taskThreadCount = 0;
        m_condition.notify_all();
    }
}

qint64 VTOperationFrame::taskThreadCount() const
{
    std::lock_guard lock(m_mutex);
    return m_taskThreadCount;
}

void VTOperationFrame::waitOnProcessing()
{
    std::unique_lock lock(m_mutex);
    m_condition.wait(lock, [this] { return m_processingCancelled.load(); });
}
