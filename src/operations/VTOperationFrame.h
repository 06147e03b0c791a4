#pragma once

#include <QString>

#include <atomic>
#include <condition_variable>
#include <mutex>

class VTUserInterface;

// The shared frame every background operation reports through: the cancel
// flag, the busy indicator for single steps, the progress sheet for long
// runs and a count of registered worker threads.
//
// Display steps go to the VTUserInterface and only when the program has a
// user interface; without one they return at once, so the same operation
// code serves the window and the command line. The interface hands steps to
// the main thread itself, so any thread may call these.
class VTOperationFrame
{
public:
    VTOperationFrame(VTUserInterface &ui, bool hasGUI);

    VTOperationFrame(const VTOperationFrame &) = delete;
    VTOperationFrame &operator=(const VTOperationFrame &) = delete;

    [[nodiscard]] bool hasGUI() const { return m_hasGUI; }
    [[nodiscard]] VTUserInterface &userInterface() const { return m_ui; }

    // Set by the Cancel button or a refused authorization; operations read
    // it between items.
    [[nodiscard]] bool processingCancelled() const { return m_processingCancelled.load(); }
    void setProcessingCancelled(bool cancelled);

    // The busy indicator.
    void startProgress();
    void endProgress();

    // The progress sheet. Showing clears the cancel flag; ending clears it in
    // every case, also without a user interface.
    void showProgressWindow();
    void setIndeterminateProgress();
    void setDeterminateProgress(qint64 maximum);
    void incrementProgress();
    void updateProgressText(const QString &text);
    void endProgressWindow();
    // The Cancel button: sets the flag. The window disables its own button.
    void cancelProgress();

    // Registered worker threads. When the count drops below 1 it is set to 0
    // and every waiter wakes to look at the cancel flag again.
    void incrementTaskThreadCount();
    void decrementTaskThreadCount();
    [[nodiscard]] qint64 taskThreadCount() const;
    // Blocks until the cancel flag is set.
    void waitOnProcessing();

private:
    VTUserInterface &m_ui;
    const bool m_hasGUI;
    std::atomic<bool> m_processingCancelled{false};

    mutable std::mutex m_mutex; // guards m_taskThreadCount and the waits
    std::condition_variable m_condition;
    qint64 m_taskThreadCount = 0;
};
