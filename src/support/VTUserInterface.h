#pragma once

#include <QString>
#include <QStringList>

// Everything the headless core asks of whoever shows things to a person: the
// window (widgets), the command line (nothing, or one printed line) and tests
// (a scripted double). Implementations are called from any thread; one that
// owns widgets hands each step to the main thread and waits for it, and one
// without a window returns at once.
class VTUserInterface
{
public:
    // Button codes as the alert returns them: the first (default) button is
    // 1000, the second 1001, the third 1002.
    static constexpr int FirstButton = 1000;
    static constexpr int SecondButton = 1001;
    static constexpr int ThirdButton = 1002;

    struct Alert {
        QString messageText;
        QString informativeText;
        QStringList buttons; // up to three; empty means a single "OK"
        bool asSheet = true; // window-modal on the main window, else application-modal
    };

    virtual ~VTUserInterface() = default;

    [[nodiscard]] virtual bool hasWindow() const = 0;

    // Shows the alert and returns the chosen button's code. Without a window
    // the texts are printed as one line and the first button is answered.
    virtual int runAlert(const Alert &alert) = 0;

    // The small busy indicator for single steps.
    virtual void startBusyIndicator() = 0;
    virtual void stopBusyIndicator() = 0;

    // The progress sheet: shown (text "Initializing...", indeterminate),
    // switched to a determinate bar with a maximum, stepped, relabelled, ended.
    virtual void showProgressSheet() = 0;
    virtual void setIndeterminateProgress() = 0;
    virtual void setDeterminateProgress(qint64 maximum) = 0;
    virtual void incrementProgress() = 0;
    virtual void updateProgressText(const QString &text) = 0;
    virtual void endProgressSheet() = 0;

    // The catalogue's loading state: indicator, search field cleared, type
    // filter menu disabled while loading; and the statistics line.
    virtual void setCatalogueLoading(bool loading) = 0;
    virtual void setStatisticsText(const QString &text) = 0;
};
