#include "VTGroupItem.h"

#include "VTPath.h"
#include "VTPluginItem.h"
#include "VTPluginKind.h"

#include <QHash>

VTGroupItem::VTGroupItem(Passkey, const ArchivedFields &fields)
    : m_title(fields.title)
    , m_groupPath(fields.groupPath)
    , m_subdir(fields.subdir)
    , m_children(fields.children)
    , m_groupEnabled(fields.groupEnabled)
{
}

GroupPtr VTGroupItem::create(const QString &title, const QString &groupPath, const QString &subdir)
{
    ArchivedFields fields;
    fields.title = title;
    fields.groupPath = groupPath;
    fields.subdir = subdir;
    return std::make_shared<VTGroupItem>(Passkey(), fields);
}

GroupPtr VTGroupItem::fromArchivedFields(const ArchivedFields &fields)
{
    auto group = std::make_shared<VTGroupItem>(Passkey(), fields);
    group->VTCatalogueItem::setParent(fields.parent.lock());
    return group;
}

VTGroupItem::ArchivedFields VTGroupItem::archivedFields() const
{
    const GroupPtr above = parent();
    std::lock_guard lock(m_mutex);
    return ArchivedFields{m_title, m_children, m_subdir, m_groupPath, m_groupEnabled, above};
}

QString VTGroupItem::title() const
{
    std::lock_guard lock(m_mutex);
    return m_title;
}

void VTGroupItem::setTitle(const QString &title)
{
    std::lock_guard lock(m_mutex);
    m_title = title;
}

QString VTGroupItem::subdir() const
{
    std::lock_guard lock(m_mutex);
    return m_subdir;
}

void VTGroupItem::setSubdir(const QString &subdir)
{
    std::lock_guard lock(m_mutex);
    m_subdir = subdir;
}

QList<ItemPtr> VTGroupItem::children() const
{
    std::lock_guard lock(m_mutex);
    return m_children;
}

void VTGroupItem::setChildren(const QList<ItemPtr> &children)
{
    std::lock_guard lock(m_mutex);
    m_children = children;
}

QString VTGroupItem::storedGroupPath() const
{
    std::lock_guard lock(m_mutex);
    return m_groupPath;
}

void VTGroupItem::setGroupPath(const QString &groupPath)
{
    std::lock_guard lock(m_mutex);
    m_groupPath = groupPath;
}

QString VTGroupItem::groupPath() const
{
    const QList<ItemPtr> items = children();
    if (items.isEmpty())
        return storedGroupPath();
    QStringList folders; // in the order first met
    QHash<QString, int> counts;
    for (const ItemPtr &child : items) {
        const QString path = child->isPlugin() ? child->asPlugin()->pluginPath() : child->asGroup()->groupPath();
        const QString folder = VTPath::removeLastComponent(path);
        if (counts[folder]++ == 0)
            folders.append(folder);
    }
    QString best;
    int bestCount = 0;
    for (const QString &folder : std::as_const(folders)) {
        if (counts.value(folder) > bestCount) {
            best = folder;
            bestCount = counts.value(folder);
        }
    }
    return best;
}

QString VTGroupItem::basePath() const
{
    QString path, subdir;
    {
        std::lock_guard lock(m_mutex);
        path = m_groupPath;
        subdir = m_subdir;
    }
    const QStringList subdirParts = VTPath::components(subdir);
    const QStringList parts = VTPath::components(path);
    if (subdirParts.isEmpty() || subdirParts.size() > parts.size())
        return path;
    const QString kept = parts.mid(0, parts.size() - subdirParts.size()).join(u'/');
    return VTPath::normalize(path.startsWith(u'/') ? u'/' + kept : kept);
}

qint64 VTGroupItem::groupEnabled() const
{
    int enabled = 0, disabled = 0, mixed = 0;
    for (const ItemPtr &child : children()) {
        if (child->isPlugin()) {
            (child->asPlugin()->pluginEnabled() == VTPluginKind::Enabled ? enabled : disabled)++;
            continue;
        }
        const qint64 state = child->asGroup()->groupEnabled();
        if (state == VTPluginKind::Enabled)
            ++enabled;
        else if (state == VTPluginKind::Disabled)
            ++disabled;
        else
            ++mixed;
    }
    if (enabled > 0 && disabled == 0 && mixed == 0)
        return VTPluginKind::Enabled;
    if (enabled == 0 && disabled > 0 && mixed == 0)
        return VTPluginKind::Disabled;
    return VTPluginKind::Mixed;
}

qint64 VTGroupItem::storedGroupEnabled() const
{
    std::lock_guard lock(m_mutex);
    return m_groupEnabled;
}

void VTGroupItem::setGroupEnabled(qint64 enabled)
{
    std::lock_guard lock(m_mutex);
    m_groupEnabled = enabled;
}

qint64 VTGroupItem::groupAccess() const
{
    const QList<ItemPtr> items = children();
    if (items.isEmpty())
        return VTPluginKind::UnknownAccess;
    int allUsers = 0, currentUser = 0;
    for (const ItemPtr &child : items) {
        qint64 access = 0;
        if (child->isPlugin()) {
            access = child->asPlugin()->pluginAccess();
        } else {
            access = child->asGroup()->groupAccess();
            if (access == VTPluginKind::UnknownAccess)
                return VTPluginKind::UnknownAccess;
        }
        (access == VTPluginKind::AllUsers ? allUsers : currentUser)++;
    }
    if (currentUser == 0)
        return VTPluginKind::AllUsers;
    if (allUsers == 0)
        return VTPluginKind::CurrentUser;
    return VTPluginKind::UnknownAccess;
}

void VTGroupItem::addChild(const ItemPtr &child)
{
    if (!child)
        return;
    {
        std::lock_guard lock(m_mutex);
        m_children.append(child);
    }
    child->setParent(std::static_pointer_cast<VTGroupItem>(shared_from_this()));
}

bool VTGroupItem::removeChild(const ItemPtr &child)
{
    bool removed = false;
    {
        std::lock_guard lock(m_mutex);
        removed = m_children.removeAll(child) > 0;
    }
    if (removed && child->parent().get() == this)
        child->setParent(nullptr);
    return removed;
}

void VTGroupItem::renameChildSubdirs(const QString &subdir)
{
    for (const ItemPtr &child : children()) {
        if (child->isPlugin())
            child->setSubdir(subdir);
        else
            child->asGroup()->renameChildSubdirs(VTPath::join(subdir, child->asGroup()->title()));
    }
}

int VTGroupItem::totalChildCount() const
{
    int count = 0;
    for (const ItemPtr &child : children())
        count += child->isPlugin() ? 1 : child->asGroup()->totalChildCount();
    return count;
}

int VTGroupItem::totalEnabledChildCount() const
{
    int count = 0;
    for (const ItemPtr &child : children()) {
        if (child->isPlugin())
            count += child->asPlugin()->pluginEnabled() == VTPluginKind::Enabled ? 1 : 0;
        else
            count += child->asGroup()->totalChildCount();
    }
    return count;
}

void VTGroupItem::enableChildren(qint64 enabled)
{
    for (const ItemPtr &child : children()) {
        if (const PluginPtr plugin = child->asPlugin()) {
            if (!plugin->isLocked())
                plugin->setPluginEnabled(enabled);
        } else {
            child->asGroup()->enableChildren(enabled);
        }
    }
}

void VTGroupItem::setChildAccess(qint64 access)
{
    for (const ItemPtr &child : children()) {
        if (const PluginPtr plugin = child->asPlugin()) {
            if (!plugin->isLocked())
                plugin->setPluginAccess(access);
        } else {
            child->asGroup()->setChildAccess(access);
        }
    }
}

QList<ItemPtr> VTGroupItem::allChildren() const
{
    QList<ItemPtr> result;
    for (const ItemPtr &child : children()) {
        result.append(child);
        if (child->isGroup())
            result.append(child->asGroup()->allChildren());
    }
    return result;
}

QList<PluginPtr> VTGroupItem::allPluginChildren() const
{
    QList<PluginPtr> result;
    for (const ItemPtr &item : allChildren()) {
        if (PluginPtr plugin = item->asPlugin())
            result.append(std::move(plugin));
    }
    return result;
}

GroupPtr VTGroupItem::groupWithFilteredChildren(const QString &text) const
{
    QList<ItemPtr> kept;
    for (const ItemPtr &child : children()) {
        if (const auto plugin = child->asPlugin()) {
            if (plugin->shortName().contains(text, Qt::CaseInsensitive))
                kept.append(child);
            continue;
        }
        const GroupPtr filtered = child->asGroup()->groupWithFilteredChildren(text);
        if (!filtered->children().isEmpty() || filtered->title().contains(text, Qt::CaseInsensitive))
            kept.append(filtered);
    }
    GroupPtr result = copy();
    result->setChildren(kept);
    return result;
}

VTOrder VTGroupItem::nameCompare(const VTCatalogueItem &other) const
{
    return compareText(title(), other.displayTitle());
}

VTOrder VTGroupItem::versionCompare(const VTCatalogueItem &other) const
{
    return other.isPlugin() ? VTOrder::Descending : VTOrder::Same;
}

VTOrder VTGroupItem::statusCompare(const VTCatalogueItem &other) const
{
    return other.isPlugin() ? VTOrder::Descending : VTOrder::Same;
}

VTOrder VTGroupItem::typeCompare(const VTCatalogueItem &other) const
{
    if (other.isGroup())
        return VTOrder::Same;
    return compareText(QStringLiteral("Group"), static_cast<const VTPluginItem &>(other).pluginTypeName());
}

void VTGroupItem::sortAndRecurse(VTSortKey key, bool descending)
{
    const QList<ItemPtr> ordered = sorted(children(), key, descending);
    setChildren(ordered);
    for (const ItemPtr &child : ordered)
        child->sortChildren(key, descending);
}

void VTGroupItem::sortChildrenByName(bool descending)
{
    sortAndRecurse(VTSortKey::Name, descending);
}

void VTGroupItem::sortChildrenByVersion(bool descending)
{
    sortAndRecurse(VTSortKey::Version, descending);
}

void VTGroupItem::sortChildrenByStatus(bool descending)
{
    sortAndRecurse(VTSortKey::Status, descending);
}

void VTGroupItem::sortChildrenByType(bool descending)
{
    sortAndRecurse(VTSortKey::Type, descending);
}

GroupPtr VTGroupItem::copy() const
{
    return fromArchivedFields(archivedFields());
}
