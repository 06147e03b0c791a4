#pragma once

#include "VTArchitectureSelection.h"
#include "VTCatalogueItem.h"
#include "VTCatalogueSorter.h"
#include "VTExpandedItems.h"
#include "VTOperationContext.h"
#include "VTSelectionMemory.h"
#include "VTSerialQueue.h"

#include <QObject>
#include <QStringList>

#include <chrono>
#include <memory>

class OutlineViewController;
class VTCatalogueLoader;
class VTCatalogueView;
class VTInstallRequests;
class VTOperations;
class VTUserInterface;

// The application's central object, shared by the window and the command
// line: it owns the catalogue, the display interface and the reload queue,
// and is what the operations run against. It shows nothing itself; whatever
// shows things comes in as the VTUserInterface and, with a window, the
// VTCatalogueView of its outline.
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
    // Waits for a running reload first.
    ~AppController() override;

    [[nodiscard]] bool hasGUI() const { return m_hasGUI; }
    [[nodiscard]] OutlineViewController &outlineViewController() { return *m_catalogue; }
    [[nodiscard]] VTUserInterface &userInterface() { return *m_ui; }
    [[nodiscard]] VTCatalogueLoader &loader() { return *m_loader; }

    // The window's outline; set once, before the first reload. With a view
    // a reload keeps the selection, sorting and expanded groups.
    void setCatalogueView(VTCatalogueView *view);

    // --- reload ------------------------------------------------------------
    // Queues one reload on the reload queue (one at a time) and returns.
    // reloadFinished() follows on the main thread.
    void reloadData();
    // Waits until the queued reloads have run; on the main thread of a window
    // it serves the reload's display steps meanwhile.
    void waitForReloads();
    // The full reload, on the calling thread.
    void loadPluginData();

    [[nodiscard]] QStringList listFilteredPlugins(bool includeDisabled, bool includeFolders);
    [[nodiscard]] QStringList listPlugins(bool includeDisabled, bool includeFolders = false);
    [[nodiscard]] QStringList listPlugins(bool includeDisabled, bool includeFolders, const QStringList &folders);
    // listPlugins(true) right after loadPluginData (see VTCatalogueLoader).
    [[nodiscard]] QStringList listPluginsAfterReload();
    // Classifies one path and adds it to the tree.
    void processPluginAtPath(const QString &path);
    [[nodiscard]] QList<PluginPtr> allPlugins() const;
    // The folders the tree shows: every plug-in folder, its disabled mirror
    // and each folder holding a plug-in. Main thread, between reloads.
    [[nodiscard]] QStringList shownFolders() const;
    void refreshPluginStats();
    [[nodiscard]] static int countTotalItemsInArray(const QList<ItemPtr> &items, int stopAt = -1);
    [[nodiscard]] static int countTotalEnabledItemsInArray(const QList<ItemPtr> &items, int stopAt = -1);

    // --- tree (main thread) ------------------------------------------------
    // The search field's text.
    void search(const QString &text);
    // A click on a column header, by identifier ("colName", ...).
    void outlineViewDidClickTableColumn(const QString &identifier);
    void outlineViewItemDidExpand(const ItemPtr &item);
    void outlineViewItemDidCollapse(const ItemPtr &item);
    // Expands a group that has children; anything else is ignored.
    void expandGroupItem(const ItemPtr &item);

    [[nodiscard]] QList<VTSelectionMemory::Entry> arrayOfSelectedItemPaths() const;
    void selectItemPathsFromArray(const QList<VTSelectionMemory::Entry> &entries);

    void select32BitOnlyPlugins() { m_architectures.select32BitOnlyPlugins(); }
    void select64BitOnlyPlugins() { m_architectures.select64BitOnlyPlugins(); }
    void selectPPCOnlyPlugins() { m_architectures.selectPPCOnlyPlugins(); }
    void selectIntelOnlyPlugins() { m_architectures.selectIntelOnlyPlugins(); }

    [[nodiscard]] VTCatalogueSorter &sorter() { return m_sorter; }
    [[nodiscard]] VTExpandedItems &expandedItems() { return m_expanded; }

    // --- operations (src/operations) ---------------------------------------
    [[nodiscard]] VTOperations &operations() { return *m_operations; }
    // The steps only a window has (toolbar buttons); set once by the window.
    void setWindowSteps(VTOperationContext::WindowSteps steps);
    // Waits until every operation thread has ended; false on time-out.
    bool waitForOperations(std::chrono::milliseconds timeout = std::chrono::hours(24));

    // The background frame.
    [[nodiscard]] bool processingCancelled() const;
    void setProcessingCancelled(bool cancelled);
    void startProgress();
    void endProgress();
    void showProgressWindow();
    void setIndeterminateProgress();
    void setDeterminateProgress(qint64 maximum);
    void incrementProgress();
    void updateProgressText(const QString &text);
    void endProgressWindow();
    void cancelProgress();
    void incrementTaskThreadCount();
    void decrementTaskThreadCount();
    void waitOnProcessing();

    // Enabling and disabling.
    bool moveFilter(const PluginPtr &item, qint64 newStatus);
    bool moveFileFrom(const QString &source, const QString &destination);
    void setEnabled(qint64 status, const GroupPtr &group, bool showProgress, bool threaded = true);
    void cleanupPluginPath(const QString &path);
    // The status check box of a row (what the tree model's setData calls).
    void statusCheckBoxChanged(const ItemPtr &item, qint64 newValue);
    // The toolbar toggle over the selected rows; the label gives the direction.
    void enableDisable(const QList<ItemPtr> &selection, const QString &buttonLabel);

    // Removal.
    void remove(const QList<ItemPtr> &selection);
    bool removePlugin(const PluginPtr &plugin);
    bool trashChildPluginsForGroup(const GroupPtr &group);
    void removeGroup(const GroupPtr &group, bool removeChildren);
    void deleteAllDisabled();
    bool removeEmptyFolder(const QString &folder, bool includeEmptySubfolders);
    void unlockItemsInPath(const QString &path);

    // Groups and access (AppControllerGroups.cpp).
    // Adds a group below the selected row (none: inside the disabled FxPlug
    // tree), re-sorts and selects it; the window then opens its name for
    // editing. None when it could not be made (the user was told).
    GroupPtr addGroup(const ItemPtr &selected);
    // Moves a plug-in, or the plug-ins below a group, to the folders of
    // `access` (0 all users, 1 current user), on a new thread or inline.
    void setAccess(qint64 access, const ItemPtr &item, bool showProgress, bool threaded = true);
    // The toolbar access toggle over the selected rows; the label gives the
    // direction ("Current User" moves them to the current user's folders).
    void toggleUserAccess(const QList<ItemPtr> &selection, const QString &buttonLabel);

    // Installation (on the calling thread; the command line calls it directly).
    void installPlugins(const QStringList &paths, const ItemPtr &item, bool forUser, bool showProgress,
                        bool reload = true);
    void updateInstallList(const QStringList &paths);
    // Drops on the tree and files opened with the application: the
    // "installNewPlugins" notification, a signal carrying "fileList".
    [[nodiscard]] VTInstallRequests &installRequests();

signals:
    // A reload queued by reloadData() has finished (main thread).
    void reloadFinished();

private:
    bool m_hasGUI;
    std::unique_ptr<VTUserInterface> m_ui;
    std::unique_ptr<OutlineViewController> m_catalogue;
    std::unique_ptr<VTCatalogueLoader> m_loader;
    VTCatalogueSorter m_sorter;
    VTExpandedItems m_expanded;
    VTSelectionMemory m_selection;
    VTArchitectureSelection m_architectures;
    // The selection remembered before a reload; main thread only.
    QList<VTSelectionMemory::Entry> m_savedSelection;
    VTSerialQueue m_reloadQueue;
    std::unique_ptr<VTOperations> m_operations;
};
