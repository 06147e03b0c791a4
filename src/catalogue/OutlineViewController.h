#pragma once

#include "VTCatalogueItem.h"
#include "VTPluginFolders.h"

#include <QHash>
#include <QObject>
#include <QStringList>
#include <QVariantMap>

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>

class VTCatalogueView;

// The catalogue: the top-level list of plug-in and group records
// (`dataArray`), the saved top level of an active search, the folder
// dictionary and the disabled-plugins root, and the operations that build,
// search, sort and look up the tree.
//
// Threads: every change of the top level is made on the main thread (see
// VTMainThread). The scan's workers hand their additions over without
// waiting; until the main thread has applied them they are kept as pending,
// so that group lookups already see them and a folder gets one group. The
// top level is also guarded by a mutex, as workers read it. The view reads
// nothing while `isReloading` is set: every tree query of the model answers
// nothing then.
class OutlineViewController : public QObject
{
    Q_OBJECT

public:
    explicit OutlineViewController(QObject *parent = nullptr);
    ~OutlineViewController() override;

    // --- state -----------------------------------------------------------
    [[nodiscard]] bool hasGUI() const { return m_view.load() != nullptr; }
    // The view that shows the tree; none in command-line mode. Set before
    // the first reload.
    void setView(VTCatalogueView *view) { m_view.store(view); }
    [[nodiscard]] VTCatalogueView *view() const { return m_view.load(); }

    [[nodiscard]] bool isReloading() const { return m_isReloading.load(); }
    void setIsReloading(bool reloading);

    // A copy of the top level.
    [[nodiscard]] QList<ItemPtr> dataArray() const;
    // Replaces the top level (main thread) and tells the model.
    void setDataArray(const QList<ItemPtr> &items);
    // Tells the model that the tree changed as a whole (main thread).
    void notifyTreeReset() { emit treeReset(); }
    [[nodiscard]] std::optional<QList<ItemPtr>> backupDataArray() const;

    // --- folders ---------------------------------------------------------
    // Built on first use and kept until removePluginFolderDict.
    [[nodiscard]] std::shared_ptr<const VTPluginFolders> pluginFolderDict();
    void removePluginFolderDict();
    // Fixed when the controller is made.
    [[nodiscard]] QString disabledPath() const { return m_disabledPath; }
    [[nodiscard]] QString pathForPlugin(const QString &fileName, const QString &subdir);
    [[nodiscard]] static QString currentUser();

    // --- building the tree (the scan) -----------------------------------
    // Sets isReloading, empties the top level and drops a saved search.
    void clearData();
    // Makes a plug-in record and places it: into its group chain when it has
    // a subfolder, else at the top level.
    PluginPtr addPlugin(const QString &fileName, const QString &shortName, const QString &subdir,
                        const QString &version, qint64 pluginType, qint64 pluginAccess, qint64 pluginEnabled);
    // The placing half of addPlugin, for a record made beforehand (the scan
    // makes records on its workers and places them one at a time). The
    // caller evaluates the lock status again afterwards.
    void placePlugin(const PluginPtr &plugin);
    // Makes the group chain of a folder; a new top-level group is added to
    // the top level and returned.
    GroupPtr addGroup(const QString &subdir, const QString &basePath);
    // Finds or makes each group along `subdir` (A, then A/B, ...) below
    // `basePath`. Answers the deepest group when `returnLastObject`, else the
    // top-level group when this call made it; `isUnique` tells whether this
    // call made the top-level group.
    GroupPtr createGroupPath(const QString &subdir, const QString &basePath, bool returnLastObject = false,
                             bool *isUnique = nullptr);
    // Finds or makes the plug-in's group chain and attaches it to the deepest
    // group; answers that group when the chain's top-level group was made
    // here (the caller then adds it to the top level).
    GroupPtr groupFromPlugin(const PluginPtr &plugin);
    // Adds a plug-in or group record to the top level on the main thread
    // and waits for it.
    void addChild(const ItemPtr &item);
    // Appends a record to the top level on the main thread without waiting.
    void addItemToDataArray(const ItemPtr &item);

    // --- lookups ---------------------------------------------------------
    [[nodiscard]] GroupPtr groupMatchingSubdir(const QString &subdir) const;
    [[nodiscard]] QList<PluginPtr> allPlugins() const;
    [[nodiscard]] QList<PluginPtr> allPluginsForGroup(const GroupPtr &group) const;
    // The record for a scanned path (enabled or in the disabled tree).
    [[nodiscard]] PluginPtr pluginFromPath(const QString &path);

    // --- search ----------------------------------------------------------
    // Non-empty text: shows the records whose name (groups: title or a
    // remaining child) contains it, saving the full top level first. Empty
    // text: restores the saved top level exactly. Ignored during a reload,
    // which ends any search anyway.
    void search(const QString &text);

signals:
    // The top level was replaced or changed as a whole (for the model).
    void treeReset();

private:
    [[nodiscard]] static GroupPtr findGroup(const QList<ItemPtr> &items, const QString &subdir);
    // The top-level group with this subdir, in applied and pending records.
    [[nodiscard]] GroupPtr findTopLevelGroup(const QString &subdir) const;
    void queueAppend(const ItemPtr &item, bool wait);
    void applyAppend(const ItemPtr &item);

    std::atomic<VTCatalogueView *> m_view{nullptr};
    std::atomic<bool> m_isReloading{false};
    QString m_disabledPath;

    mutable std::recursive_mutex m_mutex; // guards everything below
    QList<ItemPtr> m_dataArray;
    // Handed to the main thread, not yet applied, in the order handed over.
    QList<ItemPtr> m_pending;
    // While a reload builds the tree, its top-level groups by subdir (the
    // first one wins), so that placing thousands of plug-ins does not search
    // thousands of top-level records each time. Outside a reload records may
    // be renamed, and the list is searched as it stands.
    QHash<QString, GroupPtr> m_reloadGroups;
    std::optional<QList<ItemPtr>> m_backupDataArray;
    std::shared_ptr<const VTPluginFolders> m_folders;
};
