#include "OutlineViewController.h"

#include "VTCatalogueView.h"
#include "VTGroupItem.h"
#include "VTLocalPaths.h"
#include "VTMainThread.h"
#include "VTPath.h"
#include "VTPluginItem.h"

OutlineViewController::OutlineViewController(QObject *parent)
    : QObject(parent)
{
    // After the members are built: the folder table guards itself with m_mutex.
    m_disabledPath = pluginFolderDict()->disabledPath();
}

OutlineViewController::~OutlineViewController() = default;

QList<ItemPtr> OutlineViewController::dataArray() const
{
    std::lock_guard lock(m_mutex);
    return m_dataArray;
}

void OutlineViewController::setDataArray(const QList<ItemPtr> &items)
{
    {
        std::lock_guard lock(m_mutex);
        m_dataArray = items;
    }
    emit treeReset();
}

std::optional<QList<ItemPtr>> OutlineViewController::backupDataArray() const
{
    std::lock_guard lock(m_mutex);
    return m_backupDataArray;
}

std::shared_ptr<const VTPluginFolders> OutlineViewController::pluginFolderDict()
{
    std::lock_guard lock(m_mutex);
    if (!m_folders) {
        m_folders = std::make_shared<const VTPluginFolders>(VTPluginFolders::build());
        // Records derive their paths from the same table.
        VTPluginFolders::setShared(m_folders);
    }
    return m_folders;
}

void OutlineViewController::removePluginFolderDict()
{
    std::lock_guard lock(m_mutex);
    m_folders.reset();
}

QString OutlineViewController::pathForPlugin(const QString &fileName, const QString &subdir)
{
    return pluginFolderDict()->pathForPlugin(fileName, subdir);
}

QString OutlineViewController::currentUser()
{
    return VTPluginFolders::currentUser();
}

void OutlineViewController::setIsReloading(bool reloading)
{
    m_isReloading.store(reloading);
    if (!reloading) {
        std::lock_guard lock(m_mutex);
        m_reloadGroups.clear();
    }
}

void OutlineViewController::clearData()
{
    setIsReloading(true);
    {
        std::lock_guard lock(m_mutex);
        m_dataArray.clear();
        // Additions still on their way belong to the tree being dropped.
        m_pending.clear();
        m_reloadGroups.clear();
        m_backupDataArray.reset();
    }
    emit treeReset();
}

GroupPtr OutlineViewController::findGroup(const QList<ItemPtr> &items, const QString &subdir)
{
    for (const ItemPtr &item : items) {
        if (item->isGroup() && item->subdir() == subdir)
            return item->asGroup();
    }
    return nullptr;
}

GroupPtr OutlineViewController::findTopLevelGroup(const QString &subdir) const
{
    std::lock_guard lock(m_mutex);
    if (isReloading())
        return m_reloadGroups.value(subdir);
    if (GroupPtr group = findGroup(m_dataArray, subdir))
        return group;
    return findGroup(m_pending, subdir);
}

GroupPtr OutlineViewController::createGroupPath(const QString &subdir, const QString &basePath,
                                                bool returnLastObject, bool *isUnique)
{
    std::lock_guard lock(m_mutex);
    if (isUnique)
        *isUnique = false;
    const QStringList components = VTPath::components(subdir);
    if (components.isEmpty())
        return nullptr;

    GroupPtr above;
    GroupPtr createdTop;
    QString accumulated;
    for (const QString &component : components) {
        accumulated = VTPath::join(accumulated, component);
        GroupPtr group = above ? findGroup(above->children(), accumulated) : findTopLevelGroup(accumulated);
        if (!group) {
            const QString folder = VTPath::join(basePath, accumulated);
            group = VTGroupItem::create(VTPath::displayName(folder), folder, accumulated);
            if (above)
                above->addChild(group);
            else
                createdTop = group;
        }
        above = group;
    }
    if (isUnique)
        *isUnique = createdTop != nullptr;
    if (returnLastObject)
        return above;
    return createdTop;
}

GroupPtr OutlineViewController::addGroup(const QString &subdir, const QString &basePath)
{
    GroupPtr created = createGroupPath(subdir, basePath);
    if (created)
        addItemToDataArray(created);
    return created;
}

GroupPtr OutlineViewController::groupFromPlugin(const PluginPtr &plugin)
{
    std::lock_guard lock(m_mutex);
    if (const GroupPtr parent = plugin->parent()) {
        parent->addChild(plugin);
        return nullptr;
    }
    bool madeTopLevel = false;
    const QString base = plugin->pluginEnabled() == 0 ? VTLocalPaths::mirrorPath(m_disabledPath, plugin->pluginBasePath())
                                                       : plugin->pluginBasePath();
    const GroupPtr deepest = createGroupPath(plugin->subdir(), base, true, &madeTopLevel);
    if (!deepest)
        return nullptr;
    deepest->addChild(plugin);
    // Deliberately the deepest group, not the top-level one: for a deeper
    // subfolder met before its folders that group lands at the top level.
    return madeTopLevel ? deepest : nullptr;
}

PluginPtr OutlineViewController::addPlugin(const QString &fileName, const QString &shortName, const QString &subdir,
                                           const QString &version, qint64 pluginType, qint64 pluginAccess,
                                           qint64 pluginEnabled)
{
    const PluginPtr plugin = VTPluginItem::createScanned(fileName, shortName, subdir, version, pluginType,
                                                         pluginAccess, pluginEnabled);
    placePlugin(plugin);
    plugin->setLockStatus();
    return plugin;
}

void OutlineViewController::placePlugin(const PluginPtr &plugin)
{
    if (!plugin->subdir().isEmpty()) {
        if (const GroupPtr top = groupFromPlugin(plugin))
            addItemToDataArray(top);
    } else {
        addItemToDataArray(plugin);
    }
}

void OutlineViewController::addChild(const ItemPtr &item)
{
    if (item)
        queueAppend(item, true);
}

void OutlineViewController::addItemToDataArray(const ItemPtr &item)
{
    if (item)
        queueAppend(item, false);
}

void OutlineViewController::queueAppend(const ItemPtr &item, bool wait)
{
    {
        std::lock_guard lock(m_mutex);
        m_pending.append(item);
        if (isReloading() && item->isGroup() && !m_reloadGroups.contains(item->subdir()))
            m_reloadGroups.insert(item->subdir(), item->asGroup());
    }
    const auto apply = [this, item] { applyAppend(item); };
    if (wait)
        VTMainThread::runAndWait(apply);
    else
        VTMainThread::run(apply);
}

void OutlineViewController::applyAppend(const ItemPtr &item)
{
    {
        std::lock_guard lock(m_mutex);
        // Steps reach the main thread in the order they were handed over,
        // so the record is almost always the first pending one.
        if (!m_pending.isEmpty() && m_pending.constFirst() == item)
            m_pending.removeFirst();
        else if (!m_pending.removeOne(item))
            return; // dropped by clearData meanwhile
        m_dataArray.append(item);
    }
    // During a reload the model is reset once the tree is complete.
    if (!isReloading())
        emit treeReset();
}

GroupPtr OutlineViewController::groupMatchingSubdir(const QString &subdir) const
{
    QList<ItemPtr> pending = dataArray();
    while (!pending.isEmpty()) {
        const ItemPtr item = pending.takeFirst();
        if (const GroupPtr group = item->asGroup()) {
            if (group->subdir() == subdir)
                return group;
            pending += group->children();
        }
    }
    return nullptr;
}

QList<PluginPtr> OutlineViewController::allPlugins() const
{
    return allPluginsForGroup(nullptr);
}

QList<PluginPtr> OutlineViewController::allPluginsForGroup(const GroupPtr &group) const
{
    const QList<ItemPtr> items = group ? group->children() : dataArray();
    QList<PluginPtr> plugins;
    for (const ItemPtr &item : items) {
        if (const PluginPtr plugin = item->asPlugin())
            plugins.append(plugin);
        else
            plugins += item->asGroup()->allPluginChildren();
    }
    return plugins;
}

PluginPtr OutlineViewController::pluginFromPath(const QString &path)
{
    QString enabledPath = path;
    if (path.startsWith(m_disabledPath) && path.size() > m_disabledPath.size() + 1) {
        const QString unmirrored = VTLocalPaths::unmirrorPath(m_disabledPath, path);
        enabledPath = unmirrored.isEmpty() ? path.mid(m_disabledPath.size()) : unmirrored;
    }
    const auto folder = pluginFolderDict()->match(enabledPath);
    QString subdir;
    if (folder) {
        const QString parent = VTPath::removeLastComponent(enabledPath);
        if (parent.size() > folder->path.size())
            subdir = parent.mid(folder->path.size() + 1);
    }
    QList<ItemPtr> candidates;
    if (subdir.isEmpty()) {
        candidates = dataArray();
    } else if (const GroupPtr group = groupMatchingSubdir(subdir)) {
        candidates = group->children();
    }
    for (const ItemPtr &item : candidates) {
        const PluginPtr plugin = item->asPlugin();
        if (plugin && plugin->pluginPath() == path)
            return plugin;
    }
    return nullptr;
}

void OutlineViewController::search(const QString &text)
{
    if (isReloading())
        return;
    {
        std::lock_guard lock(m_mutex);
        if (!text.isEmpty()) {
            if (!m_backupDataArray)
                m_backupDataArray = m_dataArray;
            QList<ItemPtr> filtered;
            for (const ItemPtr &item : std::as_const(*m_backupDataArray)) {
                if (const GroupPtr group = item->asGroup()) {
                    const GroupPtr copy = group->groupWithFilteredChildren(text);
                    if (!copy->children().isEmpty() || copy->title().contains(text, Qt::CaseInsensitive))
                        filtered.append(copy);
                } else if (item->asPlugin()->shortName().contains(text, Qt::CaseInsensitive)) {
                    filtered.append(item);
                }
            }
            m_dataArray = filtered;
        } else if (m_backupDataArray) {
            m_dataArray = *m_backupDataArray;
            m_backupDataArray.reset();
        }
    }
    emit treeReset();
    if (VTCatalogueView *view = m_view.load())
        VTMainThread::runAndWait([view] { view->reloadTree(); });
}
