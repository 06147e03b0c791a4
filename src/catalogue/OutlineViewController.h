#pragma once

#include "VTCatalogueItem.h"
#include "VTPluginFolders.h"

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
// Threads: the top level is guarded by a mutex, so the scan's workers may
// add to it while a reload runs. The view never reads it then: every tree
// query answers nothing while `isReloading` is set. Outside a reload the
// tree is changed on the main thread only (see VTMainThread).
class OutlineViewController : public QObject
{
    Q_OBJECT

public:
    explicit OutlineViewController(QObject *parent = nullptr);
    ~OutlineViewController() override;

    // --- state -----------------------------------------------------------
    [[nodiscard]] bool hasGUI() const { return m_view != nullptr; }
    // The view that shows the tree; none in command-line mode.
    void setView(VTCatalogueView *view) { m_view = view; }
    [[nodiscard]] VTCatalogueView *view() const { return m_view; }

    [[nodiscard]] bool isReloading() const { return m_isReloading.load(); }
    void setIsReloading(bool reloading) { m_isReloading.store(reloading); }

    // A copy of the top level.
    [[nodiscard]] QList<ItemPtr> dataArray() const;
    void setDataArray(const QList<ItemPtr> &items);
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
    // Adds a plug-in or group record to the top level.
    void addChild(const ItemPtr &item);
    void addItemToDataArray(const ItemPtr &item);

    // --- lookups ---------------------------------------------------------
    [[nodiscard]] GroupPtr groupMatchingSubdir(const QString &subdir) const;
    [[nodiscard]] QList<PluginPtr> allPlugins() const;
    [[nodiscard]] QList<PluginPtr> allPluginsForGroup(const GroupPtr &group) const;
    // The record for a scanned path (enabled or in the disabled tree).
    [[nodiscard]] PluginPtr pluginFromPath(const QString &path);

    // --- search ----------------------------------------------------------
    void search(const QString &text);

signals:
    // The top level was replaced or changed as a whole (for the model).
    void treeReset();

private:
    [[nodiscard]] static GroupPtr findGroup(const QList<ItemPtr> &items, const QString &subdir);

    VTCatalogueView *m_view = nullptr;
    std::atomic<bool> m_isReloading{false};
    QString m_disabledPath;

    mutable std::recursive_mutex m_mutex; // guards everything below
    QList<ItemPtr> m_dataArray;
    std::optional<QList<ItemPtr>> m_backupDataArray;
    std::shared_ptr<const VTPluginFolders> m_folders;
};
