#pragma once

#include "VTCatalogueItem.h"

#include <QString>
#include <QStringList>

#include <mutex>

class VTFolderCleanup;
class VTInstallDestination;
class VTOperationContext;

// Installation: copies plug-in files and bundles chosen by the user into the
// folder their kind requires (see VTInstallDestination), for the current user
// or for all users, optionally into a group. A plain folder becomes a group
// whose content is installed recursively. An existing copy is replaced only
// when the user agrees, and it goes to the Trash; the sources are never
// changed.
class VTInstallOperation
{
public:
    VTInstallOperation(const VTOperationContext &context, VTFolderCleanup &cleanup);

    // Installs `paths` in order, on the calling thread. `item` is the target:
    // a group, or a plug-in whose parent group is meant, or none. `reload`
    // marks the outermost call: only it reloads the tree, closes the progress
    // sheet and reports the files that were not installed. A containing
    // folder that cannot be made ends the whole installation at once.
    void installPlugins(const QStringList &paths, const ItemPtr &item, bool forUser, bool showProgress,
                        bool reload = true);

    // The number of progress steps an installation of `paths` takes: one per
    // entry, where a folder that becomes a group counts the entries inside
    // it, recursively.
    [[nodiscard]] static int countTotalFilesInPathArray(const QStringList &paths);

    // The files waiting to be installed (opened with the application); an
    // installation clears the list when it ends.
    void updateInstallList(const QStringList &paths);
    [[nodiscard]] QStringList pendingInstallList() const;

private:
    // What one call collected; `ended` stops every call up the recursion.
    struct Run {
        QStringList failures;
        bool ended = false;
    };

    void installList(const QStringList &paths, const ItemPtr &item, bool forUser, bool showProgress, bool reload,
                     Run &outer);
    void installGroupFolder(const QString &path, const GroupPtr &target, bool forUser, Run &run);
    void installPlugin(const QString &source, const VTInstallDestination &destination, const GroupPtr &target,
                       Run &run);
    // Asks before an existing copy is replaced; false when the user said no.
    [[nodiscard]] bool confirmOverwrite(const QString &fileName, const QString &existing);
    // Sends an existing copy to the Trash; false when it is still there.
    [[nodiscard]] bool trashOldCopy(const QString &path);
    // Replaces the copy at `installed` (in a folder this user may change):
    // the new copy is made beside it, takes its place in one step, and the
    // old one goes to the Trash; when anything fails the old one stays
    // installed. False on failure, reported.
    [[nodiscard]] bool replaceInPlace(const QString &source, const QString &installed);
    [[nodiscard]] bool copyPlugin(const QString &source, const QString &destination);
    void reportUnmadeFolder(const QString &folder);
    void reportFailures(const QStringList &failures);
    void sourceMissing(const QString &source, Run &run);
    // With a window a sheet; without one a posted message, printed too.
    void report(const QString &title, const QString &message, const QString &posted, const QString &printed);

    const VTOperationContext &m_context;
    VTFolderCleanup &m_cleanup;
    mutable std::mutex m_pendingMutex;
    QStringList m_pendingInstallList;
};
