#include "AppController.h"

#include "OutlineViewController.h"
#include "VTAuthorization.h"
#include "VTCatalogueLoader.h"
#include "VTConsoleInterface.h"
#include "VTLog.h"
#include "VTOperationThreads.h"
#include "VTOperations.h"
#include "VTUserDefaults.h"

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
{
    m_reloadQueue.setMaxThreadCount(1);
    m_operations = std::make_unique<VTOperations>(
        *m_catalogue, *m_ui, hasGUI,
        VTOperationContext::Steps{[this] { reloadData(); }, [this] { refreshPluginStats(); }, {}});
    // Before the first reload, and in the background: a move that a crash or
    // a kill interrupted is finished or undone.
    m_reloadQueue.start([this] { m_operations->resolveInterruptedMovesOnce(); });
}

AppController::~AppController()
{
    // Operations may still queue a reload, so they end first.
    m_operations->threads().waitForAll();
    m_reloadQueue.waitForDone();
}

void AppController::reloadData()
{
    m_reloadQueue.start([this] { m_loader->loadPluginData(); });
}

void AppController::waitForReloads()
{
    m_reloadQueue.waitForDone();
}

void AppController::loadPluginData()
{
    m_operations->resolveInterruptedMovesOnce();
    m_loader->loadPluginData();
}

QStringList AppController::listFilteredPlugins(bool includeDisabled, bool includeFolders)
{
    return m_loader->listFilteredPlugins(includeDisabled, includeFolders);
}

QStringList AppController::listPlugins(bool includeDisabled, bool includeFolders)
{
    return m_loader->listPlugins(includeDisabled, includeFolders);
}

QList<PluginPtr> AppController::allPlugins() const
{
    return m_catalogue->allPlugins();
}

void AppController::refreshPluginStats()
{
    m_loader->refreshPluginStats();
}
