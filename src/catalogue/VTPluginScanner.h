#pragma once

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

    // Reads the `ignoreFxFactory` preference once, for the whole listing.
    VTPluginScanner();
    explicit VTPluginScanner(bool ignoreFxFactory);

    // Pass 1 walks each folder as it is; with includeDisabled, pass 2 walks
    // each folder's mirror below `disabledPath`. Folders in list order.
    [[nodiscard]] QStringList listPlugins(bool includeDisabled, bool includeFolders, const QStringList &folders,
                                          const QString &disabledPath) const;
    // The same listing, handing each path over as soon as it is met, so that
    // a caller can work on the first paths while the walk goes on.
    void listPlugins(bool includeDisabled, bool includeFolders, const QStringList &folders,
                     const QString &disabledPath, const Visitor &found) const;

    // The paths found below one folder, in name order; a Motion template's
    // file ends the walk of its folder. An unreadable folder is logged and
    // contributes nothing. There is no depth limit; a link back into a
    // folder being walked is neither listed nor followed.
    [[nodiscard]] QStringList scanPluginsInFolder(const QString &folder, bool includeFolders) const;
    void scanPluginsInFolder(const QString &folder, bool includeFolders, const Visitor &found) const;

private:
    struct DirectoryId {
        dev_t device;
        ino_t inode;
        bool operator==(const DirectoryId &) const = default;
    };
    struct Entry {
        QByteArray name;
        unsigned char type; // d_type
    };
    // A folder's identity and entries, in byte order of their names.
    struct Listing {
        DirectoryId id{};
        std::vector<Entry> entries;
    };

    // Lists a folder; an unreadable one is logged and gives false.
    [[nodiscard]] static bool read(const QString &folder, Listing &listing);
    void walk(const QString &folder, const Listing &listing, bool includeFolders, std::vector<DirectoryId> &chain,
              const Visitor &found) const;

    bool m_ignoreFxFactory = false;
};
