// The application controller's installation members; the work is done by
// VTInstallOperation and VTInstallRequests in src/operations.

#include "AppController.h"

#include "VTInstallOperation.h"
#include "VTInstallRequests.h"
#include "VTOperations.h"

void AppController::installPlugins(const QStringList &paths, const ItemPtr &item, bool forUser, bool showProgress,
                                   bool reload)
{
    m_operations->installation().installPlugins(paths, item, forUser, showProgress, reload);
}

void AppController::updateInstallList(const QStringList &paths)
{
    m_operations->installation().updateInstallList(paths);
}

VTInstallRequests &AppController::installRequests()
{
    return m_operations->installRequests();
}
