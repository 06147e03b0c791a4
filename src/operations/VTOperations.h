#pragma once

#include "VTOperationContext.h"

#include <QStringList>

#include <memory>
#include <mutex>

class OutlineViewController;
class VTFolderListings;
class VTAccessOperation;
class VTEnableOperation;
class VTFolderCleanup;
class VTGroupDragAndDrop;
class VTGroupOperation;
class VTGuardedMove;
class VTInstallOperation;
class VTInstallRequests;
class VTOperationFrame;
class VTOperationThreads;
class VTRemovalOperation;
class VTUserInterface;

// Everything the plug-in operations need, made once for the application
// controller: the frame, the worker threads, the context, and one object per
// operation family. Destroying it waits for running operations.
class VTOperations
{
public:
    VTOperations(OutlineViewController &catalogue, VTUserInterface &ui, bool hasGUI, VTOperationContext::Steps steps);
    ~VTOperations();

    VTOperations(const VTOperations &) = delete;
    VTOperations &operator=(const VTOperations &) = delete;

    [[nodiscard]] VTOperationFrame &frame() const { return *m_frame; }
    [[nodiscard]] VTOperationThreads &threads() const { return *m_threads; }
    [[nodiscard]] VTOperationContext &context() const { return *m_context; }
    [[nodiscard]] VTFolderCleanup &cleanup() const { return *m_cleanup; }
    [[nodiscard]] VTGuardedMove &guardedMove() const { return *m_move; }
    [[nodiscard]] VTEnableOperation &enabling() const { return *m_enabling; }
    [[nodiscard]] VTRemovalOperation &removal() const { return *m_removal; }
    [[nodiscard]] VTInstallOperation &installation() const { return *m_installation; }
    // Drops and opened files: the "installNewPlugins" notification.
    [[nodiscard]] VTInstallRequests &installRequests() const { return *m_installRequests; }
    [[nodiscard]] VTGroupOperation &groups() const { return *m_groups; }
    [[nodiscard]] VTGroupDragAndDrop &dragAndDrop() const { return *m_dragAndDrop; }
    [[nodiscard]] VTAccessOperation &access() const { return *m_access; }

    // The folders moves land in: every plug-in folder and the disabled tree.
    [[nodiscard]] QStringList moveDestinationRoots() const;
    // Resolves what interrupted moves left, the first time it is called in
    // this process; later calls do nothing, so that a reload never meets a
    // copy that a running operation is still making. The first call hands
    // the folders it read to `keep`, when given (see VTFolderListings).
    int resolveInterruptedMovesOnce(VTFolderListings *keep = nullptr);

private:
    OutlineViewController &m_catalogue;
    std::unique_ptr<VTOperationFrame> m_frame;
    std::unique_ptr<VTOperationThreads> m_threads;
    std::unique_ptr<VTOperationContext> m_context;
    std::unique_ptr<VTFolderCleanup> m_cleanup;
    std::unique_ptr<VTGuardedMove> m_move;
    std::unique_ptr<VTEnableOperation> m_enabling;
    std::unique_ptr<VTRemovalOperation> m_removal;
    std::unique_ptr<VTInstallOperation> m_installation;
    std::unique_ptr<VTInstallRequests> m_installRequests;
    std::unique_ptr<VTGroupOperation> m_groups;
    std::unique_ptr<VTGroupDragAndDrop> m_dragAndDrop;
    std::unique_ptr<VTAccessOperation> m_access;
    std::once_flag m_recovery;
};
