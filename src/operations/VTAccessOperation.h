#pragma once

#include "VTCatalogueItem.h"

#include <QList>
#include <QObject>
#include <QString>

#include <functional>

class VTGuardedMove;
class VTOperationContext;

// User and all-users access: moving a plug-in, or every plug-in below a
// group, between the all-users folder of its kind (access 0) and the current
// user's (access 1). The destination is what the record's pluginPath says
// once its access is set, so a plug-in keeps its group subfolder and, being
// disabled, moves within the disabled tree and stays disabled. The Avid and
// Adobe kinds are never moved. Also the access column of the tree and the
// toolbar toggle over the selection.
class VTAccessOperation : public QObject
{
    Q_OBJECT

public:
    // Handed to the access body.
    struct AccessRequest {
        qint64 accessMode = 0;
        ItemPtr item;
        bool showProgress = false;
    };
    // Handed to the toggle body: the selected records in row order.
    struct ToggleRequest {
        QList<ItemPtr> objectArray;
        qint64 newValue = 0;
    };

    VTAccessOperation(const VTOperationContext &context, VTGuardedMove &move, QObject *parent = nullptr);

    // True for the kinds whose access never changes: Avid AVX, Adobe, Avid
    // AVX2 and Avid RTAS. OpenFX is not among them.
    [[nodiscard]] static bool isAccessFixed(qint64 pluginType);

    // Moves the item to the folders of `access`, on a new thread or inline.
    // A plug-in of a fixed kind, or a locked one, is refused silently; a
    // group never is (its walk skips what it must).
    void setAccess(qint64 access, const ItemPtr &item, bool showProgress, bool threaded = true);
    void setAccessOnThread(const AccessRequest &request);

    // The access cell of a row was set to `access` (main thread): the cell
    // answers at once, the files move on a worker.
    void accessCellEdited(const ItemPtr &item, qint64 access);

    // The toolbar toggle: `buttonLabel` "Current User" moves the selected
    // records to the current user's folders, any other label to all users',
    // on a new thread.
    void toggleUserAccess(const QList<ItemPtr> &selection, const QString &buttonLabel);
    void toggleUserAccessOnThread(const ToggleRequest &request);
    [[nodiscard]] static qint64 newValueForLabel(const QString &buttonLabel);

    // The window's access toggle button is disabled while a toggle starts.
    void setDisableUserButton(std::function<void()> step) { m_disableUserButton = std::move(step); }

signals:
    // The tree was edited through a cell (an access code).
    void outlineViewItemsChanged();

private:
    // One plug-in of a single change or of a group walk. `inGroup` is the
    // group being walked (none for a single change): a failed move is then
    // not posted. True when a move was tried.
    bool movePlugin(const PluginPtr &plugin, qint64 access, const GroupPtr &inGroup);
    void walkGroup(const GroupPtr &group, qint64 access, bool showProgress);
    void reloadParentOfItem(const ItemPtr &item) const;
    void reloadItemAndChildren(const GroupPtr &group) const;

    const VTOperationContext &m_context;
    VTGuardedMove &m_move;
    std::function<void()> m_disableUserButton;
};
