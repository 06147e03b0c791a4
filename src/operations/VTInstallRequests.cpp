#include "VTInstallRequests.h"

#include "OutlineViewController.h"
#include "VTCatalogueView.h"
#include "VTInstallDestination.h"
#include "VTInstallOperation.h"
#include "VTLog.h"
#include "VTMainThread.h"
#include "VTOperationContext.h"
#include "VTOperationFrame.h"
#include "VTOperationThreads.h"
#include "VTUserInterface.h"

VTInstallRequests::VTInstallRequests(const VTOperationContext &context, VTInstallOperation &installation,
                                     QObject *parent)
    : QObject(parent)
    , m_context(context)
    , m_installation(installation)
{
    connect(this, &VTInstallRequests::installNewPlugins, this, &VTInstallRequests::installNewPluginsReceived);
}

bool VTInstallRequests::validateDrop(const QStringList &paths)
{
    return VTInstallDestination::acceptsDrop(paths);
}

bool VTInstallRequests::dropFiles(const QStringList &paths, const ItemPtr &droppedOn)
{
    if (!validateDrop(paths))
        return false;
    VTLog::appendLog(QStringLiteral("User dropped new plugins. Installing..."));
    VTMainThread::runAndWait([this, droppedOn] {
        if (VTCatalogueView *view = m_context.catalogue().view())
            view->selectItems(droppedOn ? QList<ItemPtr>{droppedOn} : QList<ItemPtr>{});
    });
    postInstallNewPlugins(paths);
    return true;
}

void VTInstallRequests::openFiles(const QStringList &paths)
{
    if (paths.isEmpty())
        return;
    m_installation.updateInstallList(paths);
    postInstallNewPlugins(paths);
}

void VTInstallRequests::postInstallNewPlugins(const QStringList &paths)
{
    emit installNewPlugins(QVariantMap{{fileListKey(), paths}});
}

std::optional<bool> VTInstallRequests::displayInstallPrompt(const QStringList &paths)
{
    VTLog::appendLog(QStringLiteral("Asking whether to install plugins for the current user or all users..."));
    const QString subject = paths.size() == 1 ? QStringLiteral("this plugin") : QStringLiteral("these plugins");
    // The current user first: it is the choice that needs no administrator.
    const int answer = m_context.runSheet(
        QStringLiteral("Would you like to make %1 available to all users or just the current user?").arg(subject),
        QString(), {QStringLiteral("Current User"), QStringLiteral("All Users"), QStringLiteral("Cancel")});
    if (answer == VTUserInterface::FirstButton)
        return true;
    if (answer == VTUserInterface::SecondButton)
        return false;
    return std::nullopt;
}

void VTInstallRequests::installNewPluginsReceived(const QVariantMap &userInfo)
{
    const QStringList paths = userInfo.value(fileListKey()).toStringList();
    if (paths.isEmpty())
        return;
    m_context.frame().setProcessingCancelled(false);
    const std::optional<bool> forUser = displayInstallPrompt(paths);
    if (!forUser) {
        VTLog::appendLog(QStringLiteral("The user cancelled the installation."));
        m_installation.updateInstallList({});
        return;
    }
    ItemPtr target;
    VTMainThread::runAndWait([this, &target] {
        if (VTCatalogueView *view = m_context.catalogue().view())
            target = view->selectedItems().value(0);
    });
    VTInstallOperation &installation = m_installation;
    const bool currentUser = *forUser;
    m_context.threads().start("installPlugins", [&installation, paths, target, currentUser] {
        installation.installPlugins(paths, target, currentUser, true, true);
    });
}
