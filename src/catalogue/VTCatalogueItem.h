#pragma once

#include <QList>
#include <QString>

#include <memory>
#include <mutex>

class VTCatalogueItem;
class VTPluginItem;
class VTGroupItem;

// Records are shared between the catalogue tree, the selection, requests
// handed to worker threads and the pasteboard, so they are always held by
// shared pointers. A group owns its children (its children list holds
// ItemPtr); a child's `parent` is a weak back reference and never keeps the
// group alive.
using ItemPtr = std::shared_ptr<VTCatalogueItem>;
using PluginPtr = std::shared_ptr<VTPluginItem>;
using GroupPtr = std::shared_ptr<VTGroupItem>;

// The result of a record comparator, for sorting lists of mixed records.
enum class VTOrder { Ascending = -1, Same = 0, Descending = 1 };

// What the tree can sort by; each key has a comparator on both records.
enum class VTSortKey { Name, Version, Status, Type };

// The common base of VTPluginItem and VTGroupItem, so that one list holds
// both. Fields that several threads read and write are behind accessors that
// take the record's own mutex; no accessor holds it while calling another
// record, so records never wait on each other.
class VTCatalogueItem : public std::enable_shared_from_this<VTCatalogueItem>
{
public:
    VTCatalogueItem(const VTCatalogueItem &) = delete;
    VTCatalogueItem &operator=(const VTCatalogueItem &) = delete;
    virtual ~VTCatalogueItem();

    [[nodiscard]] virtual bool isPlugin() const = 0;
    [[nodiscard]] bool isGroup() const { return !isPlugin(); }
    // This record as a plug-in or group; null when it is the other kind.
    [[nodiscard]] PluginPtr asPlugin();
    [[nodiscard]] GroupPtr asGroup();
    [[nodiscard]] std::shared_ptr<const VTPluginItem> asPlugin() const;
    [[nodiscard]] std::shared_ptr<const VTGroupItem> asGroup() const;

    // The enclosing group; null at the top level or once the group is gone.
    [[nodiscard]] GroupPtr parent() const;
    virtual void setParent(const GroupPtr &parent);
    // The topmost group above this record, found by following `parent` while
    // the parent itself has one; null without a parent.
    [[nodiscard]] GroupPtr absoluteParent() const;

    // The subfolder below the kind's folder; a null string at the top level.
    [[nodiscard]] virtual QString subdir() const = 0;
    virtual void setSubdir(const QString &subdir) = 0;

    // A plug-in's shortName or a group's title: what the name column shows.
    [[nodiscard]] virtual QString displayTitle() const = 0;

    // Comparators against another record of either kind.
    [[nodiscard]] virtual VTOrder nameCompare(const VTCatalogueItem &other) const = 0;
    [[nodiscard]] virtual VTOrder versionCompare(const VTCatalogueItem &other) const = 0;
    [[nodiscard]] virtual VTOrder statusCompare(const VTCatalogueItem &other) const = 0;
    [[nodiscard]] virtual VTOrder typeCompare(const VTCatalogueItem &other) const = 0;
    [[nodiscard]] VTOrder compare(VTSortKey key, const VTCatalogueItem &other) const;

    // Sort the children of a group and, in turn, theirs; nothing for a
    // plug-in, so that a group can send them to all its children alike.
    virtual void sortChildrenByName(bool descending) = 0;
    virtual void sortChildrenByVersion(bool descending) = 0;
    virtual void sortChildrenByStatus(bool descending) = 0;
    virtual void sortChildrenByType(bool descending) = 0;
    void sortChildren(VTSortKey key, bool descending);

    // A sorted copy of `items` (stable, so equal records keep their order),
    // reversed as a whole when `descending`. Used for children and for the
    // tree's top level.
    [[nodiscard]] static QList<ItemPtr> sorted(const QList<ItemPtr> &items, VTSortKey key, bool descending);

    // A copy as the record types define it (see VTPluginItem, VTGroupItem).
    [[nodiscard]] virtual ItemPtr copyItem() const = 0;

    // True when the text reads as a number (a default number formatter would
    // take the whole of it).
    [[nodiscard]] static bool isNumeric(const QString &text);
    // A new list in reverse order.
    [[nodiscard]] static QList<ItemPtr> reverseArray(const QList<ItemPtr> &items);

protected:
    VTCatalogueItem() = default;

    // Case-insensitive plain comparison as an order.
    [[nodiscard]] static VTOrder compareText(const QString &a, const QString &b);
    [[nodiscard]] static VTOrder compareNumbers(qint64 a, qint64 b);

    mutable std::mutex m_mutex;

private:
    std::weak_ptr<VTGroupItem> m_parent; // guarded by m_mutex
};
