#pragma once

#include "VTCatalogueItem.h"

#include <QByteArray>

#include <optional>

// Plug-in and group records in a keyed archive (VTKeyedArchive): the
// "-data" listing of the catalogue and the tree's drag pasteboard.
//
// The root is an array of the given records. A plug-in (class
// "VTPluginItem") has, under "$0" to "$8": shortName, fileName, subdir,
// version, pluginEnabled, itemSelection and architectures as object
// references (none as "$null"), then pluginType and pluginAccess as plain
// 64-bit integers. A group ("VTGroupItem") has title, children, subdir,
// groupPath, groupEnabled (the computed state) and parent, all as
// references. Records are written once however often they are referred to,
// so a group's parent reference points back into the same archive.
//
// Decoded records carry exactly what was archived: plug-ins have no actual
// path, no parent and no bundle read. A decoded group's parent is restored
// when it is in the archive; since parents are weak references, the
// `records` list of the result keeps every decoded record alive.
class VTItemArchiver
{
public:
    // Nesting deeper than this (children within children, parents of
    // parents) only comes from a damaged or hostile archive.
    static constexpr int MaximumDepth = 200;

    struct Unarchived {
        QList<ItemPtr> items;   // the archived list, in order
        QList<ItemPtr> records; // every record decoded, owners of the back references
    };

    [[nodiscard]] static QByteArray archive(const QList<ItemPtr> &items);
    // Nothing when the data is not such an archive, refers outside itself,
    // nests too deep or makes a group its own descendant.
    [[nodiscard]] static std::optional<Unarchived> unarchive(const QByteArray &data);
};
