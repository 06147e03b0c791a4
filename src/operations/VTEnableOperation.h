#pragma once

#include "VTCatalogueItem.h"

#include <QList>

class VTGuardedMove;
class VTOperationContext;

// Enabling and disabling: one plug-in (moveFilter), a group and its
// descendants, the status check box of the tree, and the toolbar toggle over
// the selection. A plug-in is disabled by moving it to its mirror below the
// disabled-plugins root and enabled by moving it back; where it lies is its
// state.
class VTEnableOperation
{
public:
    // Handed to the group body: what to do with which group.
    struct GroupRequest {
        qint64 groupEnabled = -1; // 1 enable, 0 disable, -1 mixed (never acted on)
        GroupPtr group;
        bool showProgress = false;
    };
    // Handed to the toggle body: the selected records in row order.
    struct ToggleRequest {
        QList<ItemPtr> objectArray;
        qint64 newValue = 0;
    };

    VTEnableOperation(const VTOperationContext &context, VTGuardedMove &move);

    // Moves one plug-in to the state `newStatus` (non-zero enables). True
    // when it moved, and for a locked plug-in, which stays where it is. Ends
    // by recomputing the record's path and redrawing its row, whatever
    // happened.
    bool moveFilter(const PluginPtr &item, qint64 newStatus);

    // Enables or disables every descendant of the group, on a new thread or
    // inline. A status of -1 does nothing.
    void setEnabled(qint64 status, const GroupPtr &group, bool showProgress, bool threaded = true);
    void setEnabledForGroupOnThread(const GroupRequest &request);

    // The status check box of a row changed to `newValue` (main thread). A
    // plug-in moves at once; a group's plug-ins move on a worker.
    void statusCheckBoxChanged(const ItemPtr &item, qint64 newValue);

    // The toolbar toggle: `buttonLabel` "Disable" disables, any other label
    // enables the selected records, on a new thread.
    void enableDisable(const QList<ItemPtr> &selection, const QString &buttonLabel);
    void toggleEnableDisableOnThread(const ToggleRequest &request);

    // The direction a toggle button's label stands for.
    [[nodiscard]] static qint64 newValueForLabel(const QString &buttonLabel);
    // The progress maximum of a toggle over `items`, or 0 for no progress
    // sheet: the record count when more than 4 records, else the plug-ins
    // inside them when more than 4.
    [[nodiscard]] static qint64 toggleProgressMaximum(const QList<ItemPtr> &items);

private:
    bool enable(const PluginPtr &item, const QString &path);
    bool disable(const PluginPtr &item, const QString &path);

    const VTOperationContext &m_context;
    VTGuardedMove &m_move;
};
