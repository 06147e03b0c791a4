#pragma once

#include <QStringList>

class VTFolderListings;

// Finishes what moves interrupted by a crash or a kill left behind. A move
// across file systems copies into the destination folder under a temporary
// name before the source goes (see VTTreeCopy.h), so after an interruption
// a destination folder may hold a temporary copy, or a journal beside a
// complete copy whose source was only partly removed. This walks the folders
// plug-ins are moved into (the plug-in folders and the disabled tree, group
// folders included, packages not entered) and has the file layer resolve
// each folder that holds such leftovers.
class VTMoveRecovery
{
public:
    // The folders below `roots` (themselves included) that hold leftovers.
    // Each folder read is kept in `keep`, when given.
    [[nodiscard]] static QStringList foldersWithLeftovers(const QStringList &roots, VTFolderListings *keep = nullptr);
    // Resolves them all (a source is finished off only as the mirror
    // counterpart, under `disabledRoot`, of its destination), and those in
    // `trashFolders` (the files/ folders of
    // trashes, which the privileged trash moves into; looked at alone, not
    // walked), unless a move is under way anywhere (the lock file `lockFile`,
    // see VTMoveLock), in which case nothing is touched and a later run does
    // it. Answers the number of leftovers resolved. The folders' listings go
    // to `keep`, when given, unless leftovers were found.
    static int resolveInterruptedMoves(const QStringList &roots, const QString &lockFile,
                                       const QString &disabledRoot, const QStringList &trashFolders = {},
                                       VTFolderListings *keep = nullptr);
};
