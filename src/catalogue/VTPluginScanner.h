#pragma once

#include <QString>
#include <QStringList>

#include <sys/types.h>

#include <vector>

// Walks plug-in folders and lists what may be plug-ins (and, on request, the
// folders that may be groups). Reads folders at the byte level, so a name
// that is not valid UTF-8 is logged and left alone instead of vanishing.
class VTPluginScanner
{
public:
    // Reads the `ignoreFxFactory` preference once, for the whole listing.
    VTPluginScanner();
    explicit VTPluginScanner(bool ignoreFxFactory);

    // Pass 1 walks each folder as it is; with includeDisabled, pass 2 walks
    // each folder's mirror below `disabledPath`. Folders in list order.
    [[nodiscard]] QStringList listPlugins(bool includeDisabled, bool includeFolders, const QStringList &folders,
                                          const QString &disabledPath) const;

    // The paths found below one folder, in name order; a Motion template's
    // file ends the walk of its folder. An unreadable folder is logged and
    // contributes nothing.
    [[nodiscard]] QStringList scanPluginsInFolder(const QString &folder, bool includeFolders) const;

private:
    struct DirectoryId {
        dev_t device;
        ino_t inode;
        bool operator==(const DirectoryId &) const = default;
    };

    void walk(const QString &folder, bool includeFolders, std::vector<DirectoryId> &chain, QStringList &found) const;

    bool m_ignoreFxFactory = false;
};
