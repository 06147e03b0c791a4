#pragma once

#include "VTCatalogueItem.h"

#include <QStringList>

// One subfolder of a plug-in folder, holding plug-ins and further groups.
//
// A group owns its children; each child's parent is a weak back reference to
// the group. The enabled state, access and folder a group answers are
// computed from its children every time (operations never store them).
// Accessors take the group's own mutex only to copy a field or the children
// list, never while asking a child, so a tree can be read from several
// threads without lock-order trouble.
class VTGroupItem final : public VTCatalogueItem
{
    struct Passkey {
        explicit Passkey() = default;
    };

public:
    // The archived and copied fields, in archive order.
    struct ArchivedFields {
        QString title;
        QList<ItemPtr> children;
        QString subdir;
        QString groupPath;            // as recorded at creation
        qint64 groupEnabled = -1;     // the stored value
        std::weak_ptr<VTGroupItem> parent;
    };

    // A group with no children and no parent.
    [[nodiscard]] static GroupPtr create(const QString &title, const QString &groupPath, const QString &subdir);
    // A group with exactly these fields; the children's parents are left as
    // they are (copies and decoded records).
    [[nodiscard]] static GroupPtr fromArchivedFields(const ArchivedFields &fields);

    VTGroupItem(Passkey, const ArchivedFields &fields);

    [[nodiscard]] bool isPlugin() const override { return false; }
    [[nodiscard]] ArchivedFields archivedFields() const;

    [[nodiscard]] QString title() const;
    void setTitle(const QString &title);
    [[nodiscard]] QString subdir() const override;
    void setSubdir(const QString &subdir) override;
    [[nodiscard]] QList<ItemPtr> children() const;
    // Replaces the list; the children's parents are not touched.
    void setChildren(const QList<ItemPtr> &children);

    // The folder as recorded at creation.
    [[nodiscard]] QString storedGroupPath() const;
    void setGroupPath(const QString &groupPath);
    // The parent folder that most children lie in (plug-ins by pluginPath,
    // groups by their own groupPath); on equal counts the one met first. A
    // group without children answers the stored path.
    [[nodiscard]] QString groupPath() const;
    // storedGroupPath with as many trailing components removed as subdir
    // has; unchanged when subdir is empty or longer than the path.
    [[nodiscard]] QString basePath() const;

    // 1 when some child is enabled and none is disabled or mixed, 0 when
    // some child is disabled and none is enabled or mixed, -1 otherwise (an
    // empty group included).
    [[nodiscard]] qint64 groupEnabled() const;
    [[nodiscard]] qint64 storedGroupEnabled() const;
    void setGroupEnabled(qint64 enabled);
    // 0 when every child is for all users, 1 when every child is for the
    // current user, -1 when both occur, a child group is mixed, or empty.
    [[nodiscard]] qint64 groupAccess() const;

    // Appends the item and makes this group its parent.
    void addChild(const ItemPtr &child);
    // Takes the item out of the children; true when it was one. Its parent
    // is cleared when it still points here.
    bool removeChild(const ItemPtr &child);
    // Plug-in children get `subdir` set to the path; child groups are
    // renamed in turn with the path joined with their title.
    void renameChildSubdirs(const QString &subdir);

    // Plug-ins in the subtree.
    [[nodiscard]] int totalChildCount() const;
    // Enabled plug-in children, plus every plug-in of child groups whether
    // enabled or not. The over-count is what the statistics line has always
    // shown and is kept on purpose.
    [[nodiscard]] int totalEnabledChildCount() const;

    // Sets the flag (records only, no files move) on every unlocked plug-in
    // in the subtree.
    void enableChildren(qint64 enabled);
    void setChildAccess(qint64 access);

    // All records of the subtree in pre-order; only its plug-ins.
    [[nodiscard]] QList<ItemPtr> allChildren() const;
    [[nodiscard]] QList<PluginPtr> allPluginChildren() const;

    // A copy whose children are the plug-ins whose shortName contains the
    // text and the child groups, filtered alike, that keep children or whose
    // title contains it (case-insensitive, order kept).
    [[nodiscard]] GroupPtr groupWithFilteredChildren(const QString &text) const;

    [[nodiscard]] QString displayTitle() const override { return title(); }
    [[nodiscard]] VTOrder nameCompare(const VTCatalogueItem &other) const override;
    // Groups come after plug-ins and are equal among themselves.
    [[nodiscard]] VTOrder versionCompare(const VTCatalogueItem &other) const override;
    [[nodiscard]] VTOrder statusCompare(const VTCatalogueItem &other) const override;
    // "Group" against a plug-in's kind name; equal to other groups.
    [[nodiscard]] VTOrder typeCompare(const VTCatalogueItem &other) const override;
    void sortChildrenByName(bool descending) override;
    void sortChildrenByVersion(bool descending) override;
    void sortChildrenByStatus(bool descending) override;
    void sortChildrenByType(bool descending) override;

    // A group sharing title, children (the same list), subdir, stored path,
    // stored enabled value and parent.
    [[nodiscard]] GroupPtr copy() const;
    [[nodiscard]] ItemPtr copyItem() const override { return copy(); }

private:
    void sortAndRecurse(VTSortKey key, bool descending);

    // Guarded by m_mutex.
    QString m_title;
    QString m_groupPath;
    QString m_subdir;
    QList<ItemPtr> m_children;
    qint64 m_groupEnabled = -1;
};
