#pragma once

#include "VTUserInterface.h"

#include <QPointer>

#include <functional>


#include "VTProgressSheet.h"

// The display interface of the window application. The core calls it from
// any thread; each step is handed to the main thread and waited for.
// Alerts are window-modal dialogs on the main window (sheets), the progress
// sheet is a VTProgressSheet, and the catalogue's loading state goes to the
// window through the handlers it sets.
class VTWidgetInterface final : public VTUserInterface
{
public:
    struct WindowSteps {
        std::function<void(bool)> setBusy;
        std::function<void(bool)> setCatalogueLoading;
        std::function<void(const QString &)> setStatisticsText;
    };

    VTWidgetInterface();
    ~VTWidgetInterface() override;

    // The main window the sheets belong to, its display steps, and what
    // Cancel on the progress sheet does. Main thread, before operations run.
    void setWindow(QWidget *window, WindowSteps steps);
    void setCancelHandler(std::function<void()> cancel);
    [[nodiscard]] VTProgressSheet *progressSheet() const { return m_progress; }

    bool hasWindow() const override { return true; }
    int runAlert(const Alert &alert) override;
    void startBusyIndicator() override;
    void stopBusyIndicator() override;
    void showProgressSheet() override;
    void setIndeterminateProgress() override;
    void setDeterminateProgress(qint64 maximum) override;
    void incrementProgress() override;
    void updateProgressText(const QString &text) override;
    void endProgressSheet() override;
    void setCatalogueLoading(bool loading) override;
    void setStatisticsText(const QString &text) override;

private:
    // Runs a step on the main thread while the window exists.
    void onMainThread(const std::function<void()> &step);
    VTProgressSheet *sheet();

    QPointer<QWidget> m_window;
    QPointer<VTProgressSheet> m_progress;
    WindowSteps m_steps;
    std::function<void()> m_cancel;
};
