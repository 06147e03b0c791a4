#include "AppController.h"

#include "OutlineViewController.h"
#include "VTAuthorization.h"
#include "VTCatalogueLoader.h"
#include "VTCatalogueView.h"
#include "VTConsoleInterface.h"
#include "VTFolderListings.h"
#include "VTGroupItem.h"
#include "VTLocalPaths.h"
#include "VTLog.h"
#include "VTPath.h"
#include "VTPluginFolders.h"
#include "VTPluginItem.h"
#include "VTMainThread.h"
#include "VTOperationThreads.h"
#include "VTOperations.h"
#include "VTUserDefaults.h"

#include <QCoreApplication>
#include <QSet>

std::unique_ptr<AppController> AppController::initWithoutGUI()
{
    VTLog::createNewLog(QStringLiteral("Tessary.task"));
    VTUserDefaults::registerApplicationDefaults();
    if (!VTAuthorization::sharedController(false))
        return nullptr;
    try {
        return std::make_unique<AppController>(std::make_unique<VTConsoleInterface>(), false);
    } catch (const std::exception &) {
        return nullptr;
    }
}

AppController::AppController(std::unique_ptr<VTUserInterface> ui, bool hasGUI, QObject *parent)
    : QObject(parent)
    , m_hasGUI(hasGUI)
    , m_ui(std::move(ui))
    , m_catalogue(std::make_unique<OutlineViewController>())
    , m_loader(std::make_unique<VTCatalogueLoader>(*m_catalogue, *m_ui))
    , m_sorter(*m_catalogue)
    , m_expanded(*m_catalogue)
    , m_selection(*m_catalogue)
    , m_architectures(*m_catalogue)
{
    m_operations = std::make_unique<VTOperations>(
        *m_catalogue, *m_ui, hasGUI,
        VTOperationContext::Steps{[this] { reloadData(); }, [this] { refreshPluginStats(); }, {}});
    // Before the first reload, and in the background: a move that a crash or
    // a kill interrupted is finished or undone.
    m_reloadQueue.enqueue([this] { m_operations->resolveInterruptedMovesOnce(); });
    // The loader runs these only when the catalogue has a view.
    m_loader->setViewSteps({
        [this] { m_savedSelection = m_selection.arrayOfSelectedItemPaths(); },
        [this] {
            m_sorter.applySorting();
            m_expanded.loadExpandedItems();
            m_selection.selectItemPathsFromArray(std::exchange(m_savedSelection, {}));
        },
    });
}

AppController::~AppController()
{
    // Operations may still queue a reload, so they end first.
    m_operations->threads().waitForAll();
    waitForReloads();
}

void AppController::setCatalogueView(VTCatalogueView *view)
{
    m_catalogue->setView(view);
}

void AppController::reloadData()
{
    m_reloadQueue.enqueue([this] {
        m_loader->loadPluginData();
        // Only an event loop can deliver the signal on the main thread;
        // without one there is nobody waiting for it there.
        if (VTMainThread::eventLoopRunning())
            QMetaObject::invokeMethod(this, &AppController::reloadFinished, Qt::QueuedConnection);
        else
            emit reloadFinished();
    });
}

void AppController::waitForReloads()
{
    // A reload hands display steps to the main thread and waits for them, so
    // the main thread must go on serving them while it waits here.
    if (VTMainThread::eventLoopRunning() && VTMainThread::isMainThread()) {
        while (!m_reloadQueue.waitForDone(std::chrono::milliseconds(10)))
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        QCoreApplication::sendPostedEvents();
        return;
    }
    m_reloadQueue.waitForDone();
}

void AppController::loadPluginData()
{
    // The search for leftovers reads the folders the scan reads next; the
    // scan takes its listings instead of reading them again.
    VTFolderListings listings;
    m_operations->resolveInterruptedMovesOnce(&listings);
    m_loader->loadPluginData(&listings);
}

QStringList AppController::listFilteredPlugins(bool includeDisabled, bool includeFolders)
{
    return m_loader->listFilteredPlugins(includeDisabled, includeFolders);
}

QStringList AppController::listPlugins(bool includeDisabled, bool includeFolders)
{
    return m_loader->listPlugins(includeDisabled, includeFolders);
}

QStringList AppController::listPluginsAfterReload()
{
    return m_loader->listPluginsAfterReload();
}

QStringList AppController::listPlugins(bool includeDisabled, bool includeFolders, const QStringList &folders)
{
    return m_loader->listPlugins(includeDisabled, includeFolders, folders);
}

void AppController::processPluginAtPath(const QString &path)
{
    m_loader->processPluginAtPath(path);
}

QList<PluginPtr> AppController::allPlugins() const
{
    return m_catalogue->allPlugins();
}

QStringList AppController::shownFolders() const
{
    const QString disabled = m_catalogue->disabledPath();
    QSet<QString> folders;
    for (const VTPluginFolders::Folder &folder : m_catalogue->pluginFolderDict()->folders()) {
        folders.insert(folder.path);
        folders.insert(VTLocalPaths::mirrorPath(disabled, folder.path));
    }
    for (const PluginPtr &plugin : m_catalogue->allPlugins())
        folders.insert(VTPath::removeLastComponent(plugin->actualPath()));
    return QStringList(folders.begin(), folders.end());
}

void AppController::refreshPluginStats()
{
    m_loader->refreshPluginStats();
}

int AppController::countTotalItemsInArray(const QList<ItemPtr> &items, int stopAt)
{
    return VTCatalogueLoader::countTotalItemsInArray(items, stopAt);
}

int AppController::countTotalEnabledItemsInArray(const QList<ItemPtr> &items, int stopAt)
{
    return VTCatalogueLoader::countTotalEnabledItemsInArray(items, stopAt);
}

void AppController::search(const QString &text)
{
    m_catalogue->search(text);
}

void AppController::outlineViewDidClickTableColumn(const QString &identifier)
{
    m_sorter.didClickTableColumn(identifier);
}

void AppController::outlineViewItemDidExpand(const ItemPtr &item)
{
    m_expanded.outlineViewItemDidExpand(item);
}

void AppController::outlineViewItemDidCollapse(const ItemPtr &item)
{
    m_expanded.outlineViewItemDidCollapse(item);
}

void AppController::expandGroupItem(const ItemPtr &item)
{
    VTCatalogueView *view = m_catalogue->view();
    const GroupPtr group = item ? item->asGroup() : nullptr;
    if (view && group && !group->children().isEmpty())
        view->expandItem(group, false);
}

QList<VTSelectionMemory::Entry> AppController::arrayOfSelectedItemPaths() const
{
    return m_selection.arrayOfSelectedItemPaths();
}

void AppController::selectItemPathsFromArray(const QList<VTSelectionMemory::Entry> &entries)
{
    m_selection.selectItemPathsFromArray(entries);
}
