#pragma once

#include "VTCatalogueItem.h"
#include "VTPathClassifier.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <mutex>

class OutlineViewController;
class VTUserInterface;

// The catalogue scan: lists the plug-in folders of the type filter (and their
// mirrors in the disabled tree), classifies every path on up to 20 workers
// at once, and adds the results to the catalogue one at a time in listing
// order, so that a folder's group exists before its contents are placed and
// the finished tree does not depend on which worker ran first.
class VTCatalogueLoader
{
public:
    static constexpr int ClassificationThreads = 20;

    VTCatalogueLoader(OutlineViewController &catalogue, VTUserInterface &ui);

    // The full reload; runs on the calling thread (the reload queue's, or the
    // main thread in command-line mode) and returns when the tree is built.
    void loadPluginData();

    // The folders of the current `filter`, listed.
    [[nodiscard]] QStringList listFilteredPlugins(bool includeDisabled, bool includeFolders);
    // Every folder of the folder dictionary, listed.
    [[nodiscard]] QStringList listPlugins(bool includeDisabled, bool includeFolders = false);
    [[nodiscard]] QStringList listPlugins(bool includeDisabled, bool includeFolders, const QStringList &folders);

    // Classifies one path and adds it to the tree.
    void processPluginAtPath(const QString &path);
    void processPluginAtPath(const QString &path, qint64 filter, const VTPluginFolders &folders,
                             const QString &disabledPath);

    // "%i plugin%@, %i enabled" over the current top level.
    [[nodiscard]] QString pluginStatistics() const;
    void refreshPluginStats();

    // Plug-ins in the list (groups count their plug-ins); a limit above 0
    // stops counting once reached, -1 counts all.
    [[nodiscard]] static int countTotalItemsInArray(const QList<ItemPtr> &items, int stopAt = -1);
    // Enabled plug-ins, with a group adding its totalEnabledChildCount.
    [[nodiscard]] static int countTotalEnabledItemsInArray(const QList<ItemPtr> &items, int stopAt = -1);
    [[nodiscard]] static QString statisticsText(int plugins, int enabled);

    // Hooks a window adds: run on the main thread after the tree is built
    // (sorting, expansion, selection) and before it is cleared.
    struct ViewSteps {
        std::function<void()> rememberSelection;
        std::function<void()> restoreView;
    };
    void setViewSteps(ViewSteps steps) { m_viewSteps = std::move(steps); }

private:
    void addClassified(const VTPathClassification &result);

    OutlineViewController &m_catalogue;
    VTUserInterface &m_ui;
    ViewSteps m_viewSteps;
    std::mutex m_addMutex; // the exclusive section around additions
};
