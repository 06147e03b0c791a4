#pragma once

#include "VTCatalogueItem.h"

#include <QObject>
#include <QStringList>
#include <QVariantMap>

#include <optional>

class VTInstallOperation;
class VTOperationContext;

// Installations the window asks for: files dropped on the tree and files
// opened with the application. Both post the notification "installNewPlugins"
// (the installNewPlugins signal) with the paths under the key "fileList". Its
// handler asks whether the files are for the current user or for all users
// and installs them on a worker thread, into the group of the selected row.
// None of this needs a widget; the tree model and the application call it.
//
// Lives on the main thread; the signal reaches the handler there.
class VTInstallRequests : public QObject
{
    Q_OBJECT

public:
    VTInstallRequests(const VTOperationContext &context, VTInstallOperation &installation, QObject *parent = nullptr);

    [[nodiscard]] static QString notificationName() { return QStringLiteral("installNewPlugins"); }
    [[nodiscard]] static QString fileListKey() { return QStringLiteral("fileList"); }

    // True when files may be dropped on the tree at all (see
    // VTInstallDestination::acceptsDrop).
    [[nodiscard]] static bool validateDrop(const QStringList &paths);
    // Files dropped on the row of `droppedOn` (none: below the rows). Selects
    // that row, so the installation goes into its group, and posts the
    // notification. False, with nothing done, for a drop that is not offered.
    bool dropFiles(const QStringList &paths, const ItemPtr &droppedOn);
    // Files opened with the application: kept as the pending install list and
    // posted.
    void openFiles(const QStringList &paths);
    // Posts the notification with `paths` as its file list.
    void postInstallNewPlugins(const QStringList &paths);

    // Asks whether to make the files available to all users or to the
    // current user: true for the current user, false for all users, nothing
    // when the user cancelled.
    [[nodiscard]] std::optional<bool> displayInstallPrompt(const QStringList &paths);

    // The notification's handler: asks for the access and starts the
    // installation of the file list on a worker thread.
    void installNewPluginsReceived(const QVariantMap &userInfo);

signals:
    void installNewPlugins(const QVariantMap &userInfo);

private:
    const VTOperationContext &m_context;
    VTInstallOperation &m_installation;
};
