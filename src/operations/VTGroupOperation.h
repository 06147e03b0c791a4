#pragma once

#include "VTCatalogueItem.h"

#include <QObject>
#include <QString>

#include <functional>
#include <optional>

class VTGuardedMove;
class VTOperationContext;

// Groups: subfolders of the plug-in folders that the tree shows as group
// records. Creating one below the selection, proposing and cleaning its
// name, renaming it in every place it exists, and moving plug-ins and
// groups into groups. Removing a group is VTRemovalOperation::removeGroup;
// drag and drop inside the tree is VTGroupDragAndDrop.
//
// addGroup, the name cell and renameGroup run on the main thread; the moves
// run on the thread of their caller.
class VTGroupOperation : public QObject
{
    Q_OBJECT

public:
    // A new group can be added only below a row shallower than this.
    static constexpr int MaximumDepth = 10;

    VTGroupOperation(const VTOperationContext &context, VTGuardedMove &move, QObject *parent = nullptr);

    // The depth of a record's row: 0 at the top level, -1 for none.
    [[nodiscard]] static int levelForItem(const ItemPtr &item);

    // Makes a folder and a group record below `selected` (a group, or the
    // group holding a selected plug-in), named "Group", "Group 2", ... With
    // no group selected the folder goes into the disabled tree of the
    // all-users FxPlug folder. Re-sorts the tree with `applySorting` and
    // selects the new row; the window then opens its name for editing.
    // Answers the new group, or none when the limit of 10 levels, the name
    // or the folder stood in the way (each told to the user).
    GroupPtr addGroup(const ItemPtr &selected, const std::function<void()> &applySorting = {});

    // The first of "Group", "Group 2", "Group 3", ... not present in
    // `folder`; none for an empty folder path.
    [[nodiscard]] static QString proposeGroupFilename(const QString &folder);

    // A typed folder name made usable: none for no text, empty text or a
    // lone "."; otherwise one leading "." dropped and every "/", "\" and "~"
    // removed. The result may be empty.
    [[nodiscard]] static std::optional<QString> validateFilename(const QString &name);

    // The name cell of a row was edited to `text`. Only groups are renamed,
    // and only to a cleaned name that is not empty and differs from the
    // title; then the tree is reloaded. True when renamed.
    bool nameCellEdited(const ItemPtr &item, const QString &text);

    // Renames the group's folder in each of the places it exists (see
    // VTGroupPlaces) and then the record. Stops at the first failed move;
    // the places renamed before it stay renamed. True when all went.
    bool renameGroup(const GroupPtr &group, const QString &newName);

    // Moves a plug-in's file or a group's folder into the target group's
    // folder (none: the kind's own folder), asking before an item of the
    // same name there is replaced; the replaced one goes to the Trash. True
    // when moved, when nothing had to move, and for a locked plug-in.
    bool moveItem(const ItemPtr &item, const GroupPtr &target);

    // Moves everything below `source` into the group of the same name below
    // `target` (none: the top level), keeping the subgroups' structure. True
    // when every child moved; stops at the first that did not.
    bool moveChildrenOfItem(const GroupPtr &source, const GroupPtr &target);

    // True when `subdir` is the group subfolder `ancestor` or lies inside
    // it; used to keep a group from moving into itself.
    [[nodiscard]] static bool isSubdirInside(const QString &subdir, const QString &ancestor);

signals:
    // The tree was edited through a cell (the name of a group).
    void outlineViewItemsChanged();

private:
    void reportGroupFolderFailure(const QString &folder, int error);
    [[nodiscard]] bool makeTargetFolder(const QString &folder);
    [[nodiscard]] bool replaceExisting(const ItemPtr &item, const QString &existing);
    void placeNewGroup(const GroupPtr &group, const GroupPtr &parent);

    const VTOperationContext &m_context;
    VTGuardedMove &m_move;
};
