#pragma once

#include "VTCatalogueItem.h"

#include <QObject>
#include <QStringList>
#include <QThreadPool>

#include <memory>

class OutlineViewController;
class VTCatalogueLoader;
class VTUserInterface;

// The application's central object, shared by the window and the command
// line: it owns the catalogue, the display interface and the reload queue,
// and is what the operations run against. It shows nothing itself; whatever
// shows things comes in as the VTUserInterface.
class AppController : public QObject
{
    Q_OBJECT

public:
    // The controller of a run without a window: a new log named
    // "Tessary.task", authorization that can never show a dialog, and a
    // catalogue that touches no selection or expansion state. Null when it
    // cannot be made.
    [[nodiscard]] static std::unique_ptr<AppController> initWithoutGUI();

    AppController(std::unique_ptr<VTUserInterface> ui, bool hasGUI, QObject *parent = nullptr);
    ~AppController() override;

    [[nodiscard]] bool hasGUI() const { return m_hasGUI; }
    [[nodiscard]] OutlineViewController &outlineViewController() { return *m_catalogue; }
    [[nodiscard]] VTUserInterface &userInterface() { return *m_ui; }
    [[nodiscard]] VTCatalogueLoader &loader() { return *m_loader; }

    // Queues one reload on the reload queue (one at a time) and returns.
    void reloadData();
    // Waits until the queued reloads have run.
    void waitForReloads();
    // The full reload, on the calling thread.
    void loadPluginData();

    [[nodiscard]] QStringList listFilteredPlugins(bool includeDisabled, bool includeFolders);
    [[nodiscard]] QStringList listPlugins(bool includeDisabled, bool includeFolders = false);
    [[nodiscard]] QList<PluginPtr> allPlugins() const;
    void refreshPluginStats();

private:
    bool m_hasGUI;
    std::unique_ptr<VTUserInterface> m_ui;
    std::unique_ptr<OutlineViewController> m_catalogue;
    std::unique_ptr<VTCatalogueLoader> m_loader;
    QThreadPool m_reloadQueue;
};
