#include "VTCatalogueLoader.h"

#include "OutlineViewController.h"
#include "VTCatalogueView.h"
#include "VTFileManager.h"
#include "VTGroupItem.h"
#include "VTLog.h"
#include "VTMainThread.h"
#include "VTPluginItem.h"
#include "VTUserDefaults.h"
#include "VTUserInterface.h"
#include "VTPluginScanner.h"

#include <QThreadPool>

#include <optional>
#include <vector>

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

void VTCatalogueLoader::processPluginAtPath(const QString &path)
{
    const qint64 filter = VTUserDefaults::integerValue(QStringLiteral("filter"));
    processPluginAtPath(path, filter, *m_catalogue.pluginFolderDict(), m_catalogue.disabledPath());
}

void VTCatalogueLoader::processPluginAtPath(const QString &path, qint64 /*filter*/, const VTPluginFolders &folders,
                                            const QString &disabledPath)
{
    VTLog::appendLog(QStringLiteral("Processing plugin %1").arg(path));
    addClassified(VTPathClassifier::classify(path, folders, disabledPath));
}

void VTCatalogueLoader::addClassified(const VTPathClassification &result)
{
    std::lock_guard lock(m_addMutex);
    if (result.isGroup) {
        m_catalogue.addGroup(result.groupSubdir, result.groupBaseFolder);
    } else {
        m_catalogue.addPlugin(result.fileName, result.displayName, result.subdir, QString(), result.kind,
                              result.access, result.enabled);
    }
}

void VTCatalogueLoader::loadPluginData()
{
    m_catalogue.setIsReloading(true);
    VTMainThread::runAndWait([this] {
        m_ui.setCatalogueLoading(true);
        m_ui.setStatisticsText(QStringLiteral("Populating plugins..."));
    });

    const bool withWindow = m_catalogue.hasGUI();
    if (withWindow && m_viewSteps.rememberSelection)
        VTMainThread::runAndWait(m_viewSteps.rememberSelection);
    VTMainThread::runAndWait([this, withWindow] {
        m_catalogue.clearData();
        if (withWindow)
            m_catalogue.view()->reloadTree();
    });

    VTLog::appendLog(QStringLiteral("Loading plugin data..."));
    const QString disabledPath = m_catalogue.disabledPath();
    if (!VTFileManager::fileExistsAtPath(disabledPath))
        VTFileManager::createDirectory(disabledPath, true);

    const QStringList paths = listFilteredPlugins(true, true);
    const qint64 filter = VTUserDefaults::integerValue(QStringLiteral("filter"));
    const std::shared_ptr<const VTPluginFolders> folders = m_catalogue.pluginFolderDict();

    // The file-system queries of classification run in parallel; the results
    // are added strictly in listing order by whichever worker completes the
    // next one in line.
    std::vector<std::optional<VTPathClassification>> results(static_cast<size_t>(paths.size()));
    size_t next = 0;
    std::mutex sequence;
    QThreadPool pool;
    pool.setMaxThreadCount(ClassificationThreads);
    for (qsizetype i = 0; i < paths.size(); ++i) {
        pool.start([&, i] {
            const QString &path = paths.at(i);
            VTLog::appendLog(QStringLiteral("Processing plugin %1").arg(path));
            VTPathClassification result = VTPathClassifier::classify(path, *folders, disabledPath);
            std::lock_guard lock(sequence);
            results[static_cast<size_t>(i)] = std::move(result);
            while (next < results.size() && results[next]) {
                addClassified(*results[next]);
                results[next].reset();
                ++next;
            }
        });
    }
    pool.waitForDone();
    Q_UNUSED(filter);

    if (withWindow)
        VTLog::appendLog(QStringLiteral("Refreshing data..."));
    // The view reads the tree again only once it is complete: clear the flag
    // on the main thread, then restore sorting, expansion and selection.
    VTMainThread::runAndWait([this, withWindow] {
        m_catalogue.setIsReloading(false);
        emit m_catalogue.treeReset();
        if (withWindow && m_viewSteps.restoreView)
            m_viewSteps.restoreView();
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
