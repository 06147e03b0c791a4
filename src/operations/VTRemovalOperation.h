#pragma once

#include "VTCatalogueItem.h"

#include <QList>
#include <QString>

class VTFolderCleanup;
class VTOperationContext;

// Removal to the Trash, never outright: the selection (asked first, then on
// a worker), one plug-in, a group's plug-ins, a group with its folders, and
// everything in the disabled tree.
class VTRemovalOperation
{
public:
    VTRemovalOperation(const VTOperationContext &context, VTFolderCleanup &cleanup);

    // Asks, then removes the selected records on a new thread.
    void remove(const QList<ItemPtr> &selection);
    void removePluginsOnThread(const QList<ItemPtr> &items);

    // Trashes the plug-in's file and takes its record out of the tree.
    bool removePlugin(const PluginPtr &plugin);
    // Trashes every plug-in below the group, depth first; stops at the first
    // failure (what went stays in the Trash).
    bool trashChildPluginsForGroup(const GroupPtr &group);
    // Takes a group away: with `removeChildren` its plug-ins and then its
    // folders (in every kind's folder, enabled and disabled) go to the
    // Trash; without, only its emptied folders are removed.
    void removeGroup(const GroupPtr &group, bool removeChildren);

    // Asks, then moves the whole content of the disabled-plugins tree to the
    // Trash; the tree's root folder stays.
    void deleteAllDisabled();

    // The question's subject for a selection: "this plugin", "this group" or
    // "these items".
    [[nodiscard]] static QString removalSubject(const QList<ItemPtr> &selection);
    // The selection less every record that lies inside another selected
    // group, order kept.
    [[nodiscard]] static QList<ItemPtr> withoutDescendants(const QList<ItemPtr> &items);

private:
    void reportGroupFailure(const QString &logged, const QString &alertTitle, const QString &alertMessage);

    const VTOperationContext &m_context;
    VTFolderCleanup &m_cleanup;
};
