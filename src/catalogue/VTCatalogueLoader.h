#pragma once

#include "VTCatalogueItem.h"
#include "VTPathClassifier.h"
#include "VTPluginItem.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

class OutlineViewController;
class VTFolderListings;
class VTBundleInfoRequest;
class VTUserInterface;

// The catalogue scan: lists the plug-in folders of the type filter (and their
// mirrors in the disabled tree), classifies every path on up to 20 workers
// at once, and adds the results to the catalogue one at a time in listing
// order, so that a folder's group exists before its contents are placed and
// the finished tree does not depend on which worker ran first.
//
// Display steps and the clearing of the tree run on the main thread (see
// VTMainThread); without a window nothing is displayed.
class VTCatalogueLoader
{
public:
    // Also on two cores: with a cold cache the workers' looks into each
    // bundle (the lock check) overlap the disk's latency (10,000 plug-ins
    // listed in about 1.0 s with 20 workers, 1.5 to 2.2 s with 2). Warm,
    // 1, 2, 4 and 20 workers cost the same processor time (within 10 ms of
    // 400 ms), as paths are handed over in chunks.
    static constexpr int ClassificationThreads = 20;

    VTCatalogueLoader(OutlineViewController &catalogue, VTUserInterface &ui);

    // The full reload; runs on the calling thread (the reload queue's, or the
    // main thread in command-line mode) and returns when the tree is built.
    // With a window it also waits until every new record has read its
    // bundle, so that sorting sees the bundles' names and versions.
    // `listings`: folders another walk has just read (see VTFolderListings).
    void loadPluginData(VTFolderListings *listings = nullptr);

    // The folders of the current `filter`, listed.
    [[nodiscard]] QStringList listFilteredPlugins(bool includeDisabled, bool includeFolders);
    // Every folder of the folder dictionary, listed.
    [[nodiscard]] QStringList listPlugins(bool includeDisabled, bool includeFolders = false);
    [[nodiscard]] QStringList listPlugins(bool includeDisabled, bool includeFolders, const QStringList &folders);
    // listPlugins(true) as it stands right after loadPluginData: the last
    // reload's own walk when it covered every folder, so that a command
    // reads each folder once; a walk of its own otherwise. Call it only
    // between that reload and the next change of the disk.
    [[nodiscard]] QStringList listPluginsAfterReload();

    // What the records of the next reloads ask the disk (all by default).
    void setDiskLooks(VTDiskLooks looks) { m_looks = looks; }

    // Classifies one path and adds it to the tree.
    void processPluginAtPath(const QString &path);
    void processPluginAtPath(const QString &path, qint64 filter, const VTPluginFolders &folders,
                             const QString &disabledPath);

    // "%i plugin%@, %i enabled" over the current top level.
    [[nodiscard]] QString pluginStatistics() const;
    // Shows the statistics line (main thread, without waiting).
    void refreshPluginStats();

    // Plug-ins in the list (groups count their plug-ins); a limit above 0
    // stops counting once reached, -1 counts all.
    [[nodiscard]] static int countTotalItemsInArray(const QList<ItemPtr> &items, int stopAt = -1);
    // Enabled plug-ins, with a group adding its totalEnabledChildCount.
    [[nodiscard]] static int countTotalEnabledItemsInArray(const QList<ItemPtr> &items, int stopAt = -1);
    [[nodiscard]] static QString statisticsText(int plugins, int enabled);

    // Steps a window adds, run on the main thread: before the tree is
    // cleared (remember the selection) and once the new tree is complete
    // (sorting, expansion, selection).
    struct ViewSteps {
        std::function<void()> rememberSelection;
        std::function<void()> restoreView;
    };
    void setViewSteps(ViewSteps steps) { m_viewSteps = std::move(steps); }

private:
    // Lists the folders (and their mirrors) and classifies the paths as they
    // are found.
    void scanAndClassify(const QStringList &folders, const VTPluginFolders &folderTable, const QString &disabledPath,
                         VTFolderListings *listings);
    void addClassified(const VTPathClassification &result);
    void waitForBundleReads();

    OutlineViewController &m_catalogue;
    VTUserInterface &m_ui;
    ViewSteps m_viewSteps;
    VTDiskLooks m_looks;
    std::mutex m_addMutex; // the exclusive section around additions
    // The bundle reads of the records made by the running reload; guarded
    // by m_addMutex.
    std::vector<std::shared_ptr<VTBundleInfoRequest>> m_reads;
    // The plug-in paths (no folders) of the last reload's walk and the
    // folders it walked; taken once by listPluginsAfterReload.
    std::mutex m_listingMutex;
    std::optional<std::pair<QStringList, QStringList>> m_reloadListing;
};
