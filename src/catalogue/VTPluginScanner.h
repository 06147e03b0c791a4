#pragma once

#include "VTDirectoryListing.h"
#include "VTFolderListings.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <sys/types.h>

#include <functional>
#include <vector>

// Walks plug-in folders and lists what may be plug-ins (and, on request, the
// folders that may be groups). Reads folders at the byte level, so a name
// that is not valid UTF-8 is logged and left alone instead of vanishing.
class VTPluginScanner
{
public:
    // Takes each path as it is met. `isGroupFolder` tells what the walk
    // already found out: the path is a folder, not a package, and holds no
    // Motion template file of its own name (the classification's group test).
    using Visitor = std::function<void(const QString &path, bool isGroupFolder)>;
    // What the walk met at a path: an entry that may be a plug-in (a regular
    // file, or anything else), a folder that may be a group, or a folder that
    // holds its own Motion template (folders only when folders are included).
    enum class Met { Plugin, PluginFile, GroupFolder, TemplateFolder };
    using MetVisitor = std::function<void(const QString &path, Met met)>;

    // Reads the `ignoreFxFactory` preference once, for the whole listing.
    VTPluginScanner();
    explicit VTPluginScanner(bool ignoreFxFactory);

    // Listings another walk made just before, taken instead of reading
    // those folders again.
    void setListings(VTFolderListings *listings) { m_listings = listings; }

    // Pass 1 walks each folder as it is; with includeDisabled, pass 2 walks
    // each folder's mirror below `disabledPath`. Folders in list order.
    [[nodiscard]] QStringList listPlugins(bool includeDisabled, bool includeFolders, const QStringList &folders,
                                          const QString &disabledPath) const;
    // The same listing, handing each path over as soon as it is met, so that
    // a caller can work on the first paths while the walk goes on.
    void listPlugins(bool includeDisabled, bool includeFolders, const QStringList &folders,
                     const QString &disabledPath, const Visitor &found) const;
    void listPlugins(bool includeDisabled, bool includeFolders, const QStringList &folders,
                     const QString &disabledPath, const MetVisitor &found) const;

    // The paths found below one folder, in name order; a Motion template's
    // file ends the walk of its folder. An unreadable folder is logged and
    // contributes nothing. There is no depth limit; a link back into a
    // folder being walked is neither listed nor followed.
    [[nodiscard]] QStringList scanPluginsInFolder(const QString &folder, bool includeFolders) const;
    void scanPluginsInFolder(const QString &folder, bool includeFolders, const MetVisitor &found) const;

private:
    struct DirectoryId {
        dev_t device;
        ino_t inode;
        bool operator==(const DirectoryId &) const = default;
    };
    // A folder's identity and entries, in the managed system's name order.
    struct Listing {
        DirectoryId id{};
        std::vector<VTDirectoryListing::Entry> entries;
    };

    // Lists a folder (one read of it); answers 0 or the errno of the failure.
    [[nodiscard]] int read(const QByteArray &native, Listing &listing) const;
    void walk(const QString &folder, const QByteArray &native, const Listing &listing, bool includeFolders,
              std::vector<DirectoryId> &chain, const MetVisitor &found) const;

    bool m_ignoreFxFactory = false;
    VTFolderListings *m_listings = nullptr;
};
