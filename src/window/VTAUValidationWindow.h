#pragma once

#include "VTAUValTableModel.h"
#include "VTAUValidationDisplay.h"
#include "VTAUValidator.h"

#include <QFutureWatcher>
#include <QWidget>

class AppController;
class QLabel;
class QPlainTextEdit;
class QProgressBar;
class QPushButton;
class QTableView;

// The inspector: the validator's whole report for one unit, with a spinner
// while the validator runs and "Copy Report" for the clipboard.
class VTAUInspectorWindow : public QWidget
{
    Q_OBJECT

public:
    explicit VTAUInspectorWindow(QWidget *parent = nullptr);

    // Clears the report, titles the window "<title> - Inspector", brings it
    // up and runs the validator for `unit` in the background; a later call
    // supersedes an earlier one still running.
    void inspect(const VTAudioUnitPtr &unit);

    [[nodiscard]] QString report() const;
    [[nodiscard]] QPushButton *copyButton() const { return m_copy; }
    // True while a report is being made.
    [[nodiscard]] bool busy() const { return m_watcher.isRunning(); }

private:
    QPlainTextEdit *m_report;
    QProgressBar *m_spinner;
    QPushButton *m_copy;
    QFutureWatcher<QString> m_watcher;
};

// The Audio Unit validation window: every unit the managed system's
// validator lists, with title, manufacturer and status (icon and text),
// sorted by header clicks as stored in the user defaults. The run lists and
// validates in the background; double-click or "Inspect" opens the inspector,
// which follows the selection while it is open.
class VTAUValidationWindow : public QWidget, public VTAUValidationDisplay
{
    Q_OBJECT

public:
    VTAUValidationWindow(AppController &controller, QWidget *parent = nullptr);
    ~VTAUValidationWindow() override;

    // Brings the window to front and starts a listing and validation run.
    void validateAU();
    // The inspector for the selected row; nothing without a selection.
    void auInspect();

    [[nodiscard]] QTableView *table() const { return m_table; }
    [[nodiscard]] VTAUValTableModel &model() { return m_model; }
    [[nodiscard]] VTAUInspectorWindow *inspector() const { return m_inspector; }
    [[nodiscard]] bool running() const { return m_running > 0; }

    // VTAUValidationDisplay (main thread)
    void startAUValProgress() override;
    void endAUValProgress() override;
    void showSheet(const QString &messageText, const QString &informativeText) override;

private:
    AppController &m_controller;
    VTAUValTableModel m_model;
    VTAUValidator m_validator;
    QTableView *m_table;
    QProgressBar *m_spinner;
    QLabel *m_summary;
    QPushButton *m_validateAgain;
    QPushButton *m_inspect;
    VTAUInspectorWindow *m_inspector;
    int m_running = 0;
};
