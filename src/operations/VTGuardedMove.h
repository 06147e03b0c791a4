#pragma once

#include <QString>

class VTOperationContext;
class VTFolderCleanup;

// The one way a plug-in moves: the guarded move (locks cleared along both
// paths, the containing folder made, the permissions tested, a plain move or
// one with administrator rights), and the clean-up of the disabled tree
// after an enable.
class VTGuardedMove
{
public:
    VTGuardedMove(const VTOperationContext &context, VTFolderCleanup &cleanup);

    // Moves `source` to the full path `destination`. True when it now lies
    // there, or when nothing was at `source` (already gone counts as moved).
    // A refused authorization sets the cancel flag, so a running batch stops.
    bool moveFileFrom(const QString &source, const QString &destination);

    // After an enable: removes the folders of the disabled tree that held
    // `formerPath` upwards while they are empty, at most up to the
    // disabled-plugins root itself.
    void cleanupPluginPath(const QString &formerPath);

    // The number of path components of a folder, "/" counting as one.
    [[nodiscard]] static int componentCount(const QString &folder);

private:
    // True when another user could have planted or changed what `source`
    // holds (see VTSafeFs::beyondOthers), judged for the user this run acts
    // for.
    [[nodiscard]] static bool withinOthersReach(const QString &source);
    bool moveWithPermissions(const QString &source, const QString &destination, const QString &folder);
    bool moveWithAuthorization(const QString &source, const QString &destination, const QString &folder);
    bool makeContainingFolder(const QString &folder);

    const VTOperationContext &m_context;
    VTFolderCleanup &m_cleanup;
};
