#pragma once

#include "VTCrashTestCommand.h"
#include "VTCrashTester.h"

#include <QWidget>

class AppController;
class QComboBox;
class QLabel;
class QProgressBar;
class QPushButton;

// The crash tester window: a host chooser and "Run Test"; while a test runs
// the window grows downwards by a panel with a progress bar and a status
// line, and the button reads "Cancel". The cross-process signal
// "vtRemoteLaunchCrashTest" (any sender, on the session bus) brings it to
// front without starting a test.
class VTCrashTesterWindow : public QWidget, public VTCrashTestDisplay
{
    Q_OBJECT

public:
    explicit VTCrashTesterWindow(AppController &controller, QWidget *parent = nullptr);
    ~VTCrashTesterWindow() override;

    // The menu entry: the idle form, brought to front.
    void crashLocateClick();
    void runCrashTestClick();

    [[nodiscard]] VTCrashTester &tester() { return m_tester; }
    [[nodiscard]] QComboBox *hostChooser() const { return m_chooser; }
    [[nodiscard]] QPushButton *runButton() const { return m_run; }
    [[nodiscard]] QWidget *progressPanel() const { return m_panel; }
    [[nodiscard]] QLabel *statusLine() const { return m_status; }
    [[nodiscard]] QProgressBar *progressBar() const { return m_bar; }

    void authorize() override;
    void resizeCrashTestDialog(bool running) override;
    void startCrashTestProgress() override;
    void setupCrashTestProgressBar(int maximum) override;
    void incrementCrashTestProgress() override;
    void showStatus(const QString &text) override;
    void showSheet(const QString &message, const QString &informativeText) override;
    void endCrashTestProgress() override;

public slots:
    void remoteLaunchCrashTest();

protected:
    void closeEvent(QCloseEvent *event) override;

private:
    AppController &m_controller;
    VTControllerCrashTestCatalogue m_catalogue;
    QComboBox *m_chooser;
    QPushButton *m_run;
    QWidget *m_panel;
    QProgressBar *m_bar;
    QLabel *m_status;
    int m_grownBy = 0;
    VTCrashTester m_tester;
};
