#pragma once

#include "VTCatalogueItem.h"

#include <QString>
#include <QStringList>

#include <functional>

class OutlineViewController;
class VTOperationFrame;
class VTOperationThreads;
class VTUserInterface;

// What every operation works with: the catalogue, the frame, the display
// interface, the worker threads, and the steps that belong to the
// application controller (reloads, statistics, toolbar buttons). It also
// gives the operations one way to do the recurring chores: hand a tree step
// to the main thread, post a message for the task scheduler, ask a question.
class VTOperationContext
{
public:
    // Steps the application controller provides. Any left empty does nothing.
    struct Steps {
        std::function<void()> reloadData;         // queue a full reload
        std::function<void()> refreshPluginStats;
        // Messages for the suite's task scheduler; VTTaskNotification when
        // left empty.
        std::function<void(const QString &)> postTaskErrorString;
    };
    // Steps only a window has, added when it is made.
    struct WindowSteps {
        std::function<void()> enableAndConfigureButtons;
        std::function<void()> disableButton; // the enable/disable toggle
    };

    VTOperationContext(OutlineViewController &catalogue, VTOperationFrame &frame, VTOperationThreads &threads,
                       Steps steps);

    VTOperationContext(const VTOperationContext &) = delete;
    VTOperationContext &operator=(const VTOperationContext &) = delete;

    [[nodiscard]] OutlineViewController &catalogue() const { return m_catalogue; }
    [[nodiscard]] VTOperationFrame &frame() const { return m_frame; }
    [[nodiscard]] VTUserInterface &userInterface() const;
    [[nodiscard]] VTOperationThreads &threads() const { return m_threads; }
    [[nodiscard]] bool hasGUI() const;
    [[nodiscard]] QString disabledPath() const;

    // Set once, before operations run.
    void setWindowSteps(WindowSteps steps) { m_windowSteps = std::move(steps); }
    // Where messages for the task scheduler go instead (set before operations
    // run), e.g. to standard output for a script.
    void setPostTaskErrorString(std::function<void(const QString &)> post) { m_steps.postTaskErrorString = std::move(post); }

    // A message for the task scheduler.
    void post(const QString &text) const;
    // "Post and log": both channels with the same text.
    void postAndLog(const QString &text) const;

    void reloadData() const;
    void refreshPluginStats() const;
    // On the main thread, waited for; nothing without a window.
    void enableAndConfigureButtons() const;
    void disableButton() const;
    void reloadOutlineViewItem(const ItemPtr &item) const;
    void reloadOutlineView() const;
    void resetOutlineViewSelection() const;
    // Takes the record out of the tree on the main thread: from its parent
    // group, or from the top level followed by a redisplay of the tree.
    void detachItem(const ItemPtr &item) const;

    // Questions and notices; the button's code (VTUserInterface::FirstButton...).
    int runAlert(const QString &messageText, const QString &informativeText, const QStringList &buttons = {}) const;
    int runSheet(const QString &messageText, const QString &informativeText, const QStringList &buttons = {}) const;

private:
    OutlineViewController &m_catalogue;
    VTOperationFrame &m_frame;
    VTOperationThreads &m_threads;
    Steps m_steps;
    WindowSteps m_windowSteps;
};
