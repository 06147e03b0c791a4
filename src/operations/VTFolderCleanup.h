#pragma once

#include <QString>

class VTOperationContext;

// Folder hygiene the moves rely on: removing folders that operations left
// empty, and clearing the immutable flag along a path before a move.
class VTFolderCleanup
{
public:
    explicit VTFolderCleanup(const VTOperationContext &context);

    // Removes `folder` when it is empty: nothing in it or only ".DS_Store"
    // (with `includeEmptySubfolders`, also sub-folders that are empty by the
    // same rule, which go with it). System folders and the kinds' own folders
    // are never removed. True when the folder is gone or never existed.
    bool removeEmptyFolder(const QString &folder, bool includeEmptySubfolders);

    // Clears the immutable flag on every existing folder along `path`, from
    // "/" down, and on the item itself; stops at the first that is missing.
    void unlockItemsInPath(const QString &path);

    // True for the kinds' own folders (the folder dictionary's values).
    [[nodiscard]] bool isKindFolder(const QString &folder) const;

private:
    const VTOperationContext &m_context;
};
