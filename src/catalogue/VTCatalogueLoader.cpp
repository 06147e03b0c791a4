#include "VTCatalogueLoader.h"

#include "OutlineViewController.h"
#include "VTBundleInfoRequest.h"
#include "VTCatalogueView.h"
#include "VTException.h"
#include "VTFileManager.h"
#include "VTGroupItem.h"
#include "VTLog.h"
#include "VTMainThread.h"
#include "VTPluginItem.h"
#include "VTPluginScanner.h"
#include "VTScanPipeline.h"
#include "VTUserDefaults.h"
#include "VTUserInterface.h"


#include <algorithm>
#include <atomic>
#include <optional>

namespace {

constexpr qsizetype kLogBatch = 256;

} // namespace

VTCatalogueLoader::VTCatalogueLoader(OutlineViewController &catalogue, VTUserInterface &ui)
    : m_catalogue(catalogue)
    , m_ui(ui)
{
}

QStringList VTCatalogueLoader::listFilteredPlugins(bool includeDisabled, bool includeFolders)
{
    const qint64 filter = VTUserDefaults::integerValue(QStringLiteral("filter"));
    return listPlugins(includeDisabled, includeFolders, m_catalogue.pluginFolderDict()->foldersForFilter(filter));
}

QStringList VTCatalogueLoader::listPlugins(bool includeDisabled, bool includeFolders)
{
    QStringList folders;
    for (const VTPluginFolders::Folder &folder : m_catalogue.pluginFolderDict()->folders())
        folders.append(folder.path);
    return listPlugins(includeDisabled, includeFolders, folders);
}

QStringList VTCatalogueLoader::listPlugins(bool includeDisabled, bool includeFolders, const QStringList &folders)
{
    return VTPluginScanner().listPlugins(includeDisabled, includeFolders, folders, m_catalogue.disabledPath());
}

QStringList VTCatalogueLoader::listPluginsAfterReload()
{
    QStringList folders;
    for (const VTPluginFolders::Folder &folder : m_catalogue.pluginFolderDict()->folders())
        folders.append(folder.path);
    std::optional<std::pair<QStringList, QStringList>> listing;
    {
        std::lock_guard lock(m_listingMutex);
        listing.swap(m_reloadListing);
    }
    if (!listing || listing->first != folders)
        return listPlugins(true, false, folders);
    VTLog::appendLog(QStringLiteral("Generating list of plugins..."));
    return std::move(listing->second);
}

void VTCatalogueLoader::processPluginAtPath(const QString &path)
{
    const qint64 filter = VTUserDefaults::integerValue(QStringLiteral("filter"));
    processPluginAtPath(path, filter, *m_catalogue.pluginFolderDict(), m_catalogue.disabledPath());
}

void VTCatalogueLoader::processPluginAtPath(const QString &path, qint64 /*filter*/, const VTPluginFolders &folders,
                                            const QString &disabledPath)
{
    VTLog::fastAppendLog(QStringLiteral("Processing plugin ") + path);
    addClassified(VTPathClassifier::classify(path, folders, disabledPath));
}

void VTCatalogueLoader::addClassified(const VTPathClassification &result)
{
    std::lock_guard lock(m_addMutex);
    if (result.isGroup) {
        m_catalogue.addGroup(result.groupSubdir, result.groupBaseFolder);
        return;
    }
    const PluginPtr plugin = m_catalogue.addPlugin(result.fileName, result.displayName, result.subdir, QString(),
                                                   result.kind, result.access, result.enabled);
    if (auto read = plugin->bundleProcessThread())
        m_reads.push_back(std::move(read));
}

void VTCatalogueLoader::scanAndClassify(const QStringList &folders, const VTPluginFolders &folderTable,
                                        const QString &disabledPath, VTFolderListings *listings)
{
    // Classification and the making of records (with their file-system
    // queries) run on the workers; only placing records in the tree is
    // serialised, in listing order.
    VTScanPipeline pipeline(
        ClassificationThreads,
        [&folderTable, &disabledPath, looks = m_looks](const QString &path, bool isGroupFolder, bool isFile) {
            VTScanPipeline::Result result{VTPathClassifier::classify(path, folderTable, disabledPath, isGroupFolder),
                                          nullptr};
            const VTPathClassification &found = result.classification;
            if (!found.isGroup) {
                result.plugin = VTPluginItem::createScanned(found.fileName, found.displayName, found.subdir,
                                                            QString(), found.kind, found.access, found.enabled,
                                                            isFile, looks);
            }
            return result;
        },
        [this, lockStatus = m_looks.lockStatus](VTScanPipeline::Result &result) {
            {
                std::lock_guard lock(m_addMutex);
                if (!result.plugin) {
                    m_catalogue.addGroup(result.classification.groupSubdir, result.classification.groupBaseFolder);
                    return;
                }
                m_catalogue.placePlugin(result.plugin);
                if (auto read = result.plugin->bundleProcessThread())
                    m_reads.push_back(std::move(read));
            }
            // The lock status is evaluated once more after placing.
            if (lockStatus)
                result.plugin->setLockStatus();
        });
    QStringList plugins;
    // Each path's "Processing plugin" line is written as it is handed over,
    // a few hundred lines at a time: one entry each from twenty workers
    // would have them queue for the log.
    QStringList processing;
    VTPluginScanner scanner;
    scanner.setListings(listings);
    scanner.listPlugins(true, true, folders, disabledPath,
                        VTPluginScanner::MetVisitor([&](const QString &path, VTPluginScanner::Met met) {
                            processing.append(QStringLiteral("Processing plugin ") + path);
                            if (processing.size() == kLogBatch)
                                VTLog::appendLogs(std::exchange(processing, {}));
                            pipeline.push(path, met == VTPluginScanner::Met::GroupFolder,
                                          met == VTPluginScanner::Met::PluginFile);
                            if (met == VTPluginScanner::Met::Plugin || met == VTPluginScanner::Met::PluginFile)
                                plugins.append(path);
                        }));
    VTLog::appendLogs(processing);
    pipeline.finish();
    std::lock_guard lock(m_listingMutex);
    m_reloadListing.emplace(folders, std::move(plugins));
}

void VTCatalogueLoader::waitForBundleReads()
{
    std::vector<std::shared_ptr<VTBundleInfoRequest>> reads;
    {
        std::lock_guard lock(m_addMutex);
        reads.swap(m_reads);
    }
    for (const auto &read : reads)
        read->wait();
}

void VTCatalogueLoader::loadPluginData(VTFolderListings *listings)
{
    const bool withWindow = m_catalogue.hasGUI();
    // One step on the main thread, so that the view never sees the flag set
    // over a tree it still shows: from here on the model answers nothing.
    // The selection is read just before, while the view can still ask the
    // model where its selected rows are.
    VTMainThread::runAndWait([this, withWindow] {
        if (withWindow && m_viewSteps.rememberSelection)
            m_viewSteps.rememberSelection();
        m_catalogue.setIsReloading(true);
        m_ui.setCatalogueLoading(true);
        m_ui.setStatisticsText(QStringLiteral("Populating plugins..."));
        m_catalogue.clearData();
        if (withWindow)
            m_catalogue.view()->reloadTree();
    });

    {
        std::lock_guard lock(m_listingMutex);
        m_reloadListing.reset();
    }
    try {
        VTLog::appendLog(QStringLiteral("Loading plugin data..."));
        const QString disabledPath = m_catalogue.disabledPath();
        if (!VTFileManager::fileExistsAtPath(disabledPath))
            VTFileManager::createDirectory(disabledPath, true);

        // The type filter's folders are listed, and the paths classified
        // while the walk goes on.
        const std::shared_ptr<const VTPluginFolders> folders = m_catalogue.pluginFolderDict();
        const qint64 filter = VTUserDefaults::integerValue(QStringLiteral("filter"));
        scanAndClassify(folders->foldersForFilter(filter), *folders, disabledPath, listings);
        if (withWindow) {
            VTLog::appendLog(QStringLiteral("Refreshing data..."));
            waitForBundleReads();
        }
    } catch (...) {
        // The tree holds what was added so far; the end steps still run.
        VTException::logCurrentException("loadPluginData");
    }
    {
        std::lock_guard lock(m_addMutex);
        m_reads.clear();
    }

    // Additions were handed to the main thread ahead of this step, so they
    // are all in place when it runs. The flag is cleared first: sorting,
    // expansion and selection work through the view, which reads the tree.
    VTMainThread::runAndWait([this, withWindow] {
        m_catalogue.setIsReloading(false);
        m_catalogue.notifyTreeReset();
        if (withWindow && m_viewSteps.restoreView) {
            try {
                m_viewSteps.restoreView();
            } catch (...) {
                VTException::logCurrentException("loadPluginData");
            }
        }
        refreshPluginStats();
        m_ui.setCatalogueLoading(false);
    });
}

int VTCatalogueLoader::countTotalItemsInArray(const QList<ItemPtr> &items, int stopAt)
{
    int count = 0;
    for (const ItemPtr &item : items) {
        count += item->isPlugin() ? 1 : item->asGroup()->totalChildCount();
        if (stopAt > 0 && count >= stopAt)
            break;
    }
    return count;
}

int VTCatalogueLoader::countTotalEnabledItemsInArray(const QList<ItemPtr> &items, int stopAt)
{
    int count = 0;
    for (const ItemPtr &item : items) {
        if (const PluginPtr plugin = item->asPlugin())
            count += plugin->pluginEnabled() == 1 ? 1 : 0;
        else
            count += item->asGroup()->totalEnabledChildCount();
        if (stopAt > 0 && count >= stopAt)
            break;
    }
    return count;
}

QString VTCatalogueLoader::statisticsText(int plugins, int enabled)
{
    return QStringLiteral("%1 plugin%2, %3 enabled")
        .arg(plugins)
        .arg(plugins == 1 ? QString() : QStringLiteral("s"))
        .arg(enabled);
}

QString VTCatalogueLoader::pluginStatistics() const
{
    const QList<ItemPtr> items = m_catalogue.dataArray();
    return statisticsText(countTotalItemsInArray(items), countTotalEnabledItemsInArray(items));
}

void VTCatalogueLoader::refreshPluginStats()
{
    const QString text = pluginStatistics();
    VTMainThread::run([this, text] { m_ui.setStatisticsText(text); });
}
