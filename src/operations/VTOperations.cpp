#include "VTOperations.h"

#include "OutlineViewController.h"
#include "VTAccessOperation.h"
#include "VTEnableOperation.h"
#include "VTFolderCleanup.h"
#include "VTGroupDragAndDrop.h"
#include "VTGroupOperation.h"
#include "VTGuardedMove.h"
#include "VTInstallOperation.h"
#include "VTInstallRequests.h"
#include "VTMoveLock.h"
#include "VTMoveRecovery.h"
#include "VTOperationFrame.h"
#include "VTOperationThreads.h"
#include "VTPath.h"
#include "VTRemovalOperation.h"
#include "VTTrash.h"

VTOperations::VTOperations(OutlineViewController &catalogue, VTUserInterface &ui, bool hasGUI,
                           VTOperationContext::Steps steps)
    : m_catalogue(catalogue)
    , m_frame(std::make_unique<VTOperationFrame>(ui, hasGUI))
    , m_threads(std::make_unique<VTOperationThreads>())
    , m_context(std::make_unique<VTOperationContext>(catalogue, *m_frame, *m_threads, std::move(steps)))
    , m_cleanup(std::make_unique<VTFolderCleanup>(*m_context))
    , m_move(std::make_unique<VTGuardedMove>(*m_context, *m_cleanup))
    , m_enabling(std::make_unique<VTEnableOperation>(*m_context, *m_move))
    , m_removal(std::make_unique<VTRemovalOperation>(*m_context, *m_cleanup))
    , m_installation(std::make_unique<VTInstallOperation>(*m_context, *m_cleanup))
    , m_installRequests(std::make_unique<VTInstallRequests>(*m_context, *m_installation))
    , m_groups(std::make_unique<VTGroupOperation>(*m_context, *m_move))
    , m_dragAndDrop(std::make_unique<VTGroupDragAndDrop>(*m_context, *m_groups, *m_removal))
    , m_access(std::make_unique<VTAccessOperation>(*m_context, *m_move))
{
}

VTOperations::~VTOperations()
{
    // Workers use everything below; they must be gone first.
    m_threads->waitForAll();
}

QStringList VTOperations::moveDestinationRoots() const
{
    QStringList roots;
    for (const auto &folder : m_catalogue.pluginFolderDict()->folders())
        roots.append(folder.path);
    roots.append(m_catalogue.disabledPath());
    return roots;
}

int VTOperations::resolveInterruptedMovesOnce(VTFolderListings *keep)
{
    int resolved = 0;
    std::call_once(m_recovery, [this, &resolved, keep] {
        // The trashes that plug-ins go to: the home trash and the trash of
        // each plug-in folder's file system.
        QStringList trashFolders;
        for (const QString &root : moveDestinationRoots()) {
            const QString trash = VTTrash::trashForPath(root);
            if (!trash.isEmpty() && !trashFolders.contains(VTPath::join(trash, QStringLiteral("files"))))
                trashFolders.append(VTPath::join(trash, QStringLiteral("files")));
        }
        const QString home = VTPath::join(VTTrash::homeTrash(), QStringLiteral("files"));
        if (!trashFolders.contains(home))
            trashFolders.append(home);
        resolved = VTMoveRecovery::resolveInterruptedMoves(moveDestinationRoots(),
                                                           VTMoveLock::userLockPath(),
                                                           m_catalogue.disabledPath(), trashFolders, keep);
    });
    return resolved;
}
