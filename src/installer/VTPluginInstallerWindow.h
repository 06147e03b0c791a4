#pragma once

#include "VTPluginInstallerItem.h"
#include "VTPluginInstallerRun.h"
#include "VTPluginInstallerSettings.h"

#include <QWidget>

#include <optional>

class QCheckBox;
class QLabel;
class QProgressBar;
class QPushButton;
class QTextBrowser;
class QThread;
class QTreeWidget;

// The installer's window: the plug-in's name, version and author, the
// background image, the licence agreement to accept (when there is one),
// the plug-ins and where each goes, Install, progress, and the summary at
// the end. The installation runs on a worker thread; questions about
// existing copies come back to this window.
class VTPluginInstallerWindow : public QWidget
{
    Q_OBJECT

public:
    VTPluginInstallerWindow(const VTPluginInstallerSettings &settings, const QList<VTPluginInstallerItem> &items,
                            QWidget *parent = nullptr);
    ~VTPluginInstallerWindow() override;

    [[nodiscard]] QPushButton *installButton() const { return m_install; }
    [[nodiscard]] QCheckBox *acceptBox() const { return m_accept; }
    [[nodiscard]] QTextBrowser *licenceView() const { return m_licence; }
    [[nodiscard]] QLabel *summaryLabel() const { return m_summary; }
    [[nodiscard]] QTreeWidget *pluginList() const { return m_list; }

    // Starts the installation (what Install does).
    void install();

signals:
    void progressed(int done, const QString &text);
    void finished();

protected:
    void closeEvent(QCloseEvent *event) override;

private:
    [[nodiscard]] QWidget *makeImagePanel();
    [[nodiscard]] QWidget *makeLicencePanel();
    void updateInstallButton();
    void showProgress(int done, const QString &text);
    void showOutcome();
    // Asked from the worker; answered here on the main thread.
    [[nodiscard]] bool confirmOverwrite(const VTPluginInstallerItem &item);

    VTPluginInstallerSettings m_settings;
    QList<VTPluginInstallerItem> m_items;
    std::optional<VTPluginInstallerRun::Outcome> m_outcome;
    QThread *m_worker = nullptr;

    QTreeWidget *m_list = nullptr;
    QTextBrowser *m_licence = nullptr;
    QCheckBox *m_accept = nullptr;
    QProgressBar *m_progress = nullptr;
    QLabel *m_status = nullptr;
    QLabel *m_summary = nullptr;
    QPushButton *m_install = nullptr;
};
