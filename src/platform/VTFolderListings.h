#pragma once

#include "VTDirectoryListing.h"

#include <QByteArray>
#include <QHash>

#include <sys/types.h>

#include <mutex>
#include <optional>
#include <vector>

// Folder listings that one walk keeps for another walk of the same folders
// right after it (the search for leftovers of interrupted moves, then the
// catalogue scan), so that each folder is read from the disk once. A listing
// is handed over once; whoever changes a folder in between must clear them.
class VTFolderListings
{
public:
    struct Listing {
        dev_t device = 0;
        ino_t inode = 0;
        std::vector<VTDirectoryListing::Entry> entries; // in the file system's order
    };

    // Keeps the listing of the folder at `path` (as bytes, as the walk joined it).
    void keep(const QByteArray &path, Listing listing);
    // The kept listing of `path`, once.
    [[nodiscard]] std::optional<Listing> take(const QByteArray &path);
    void clear();
    [[nodiscard]] qsizetype size() const;

private:
    mutable std::mutex m_mutex;
    QHash<QByteArray, Listing> m_listings;
};
