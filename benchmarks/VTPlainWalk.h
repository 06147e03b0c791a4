#pragma once

#include <QString>
#include <QStringList>

// The yardstick for the catalogue scan: one thread walks the same folders
// with readdir, stats every entry, and reads every bundle's information
// (Info.plist, localised strings, Mach-O header) with the same reader the
// records use. No classification, no records, no tree.
class VTPlainWalk
{
public:
    struct Totals {
        qint64 entries = 0;   // entries stat'ed
        qint64 folders = 0;   // folders listed
        qint64 bundles = 0;   // bundles read
        qint64 withVersion = 0;
    };

    // Walks each folder, then each folder's mirror below `disabledRoot`.
    // Bundles in `unreadFolders` (and their mirrors) are stat'ed but not
    // read: OpenFX records derive a folder the scan does not look in, so the
    // catalogue never reads those bundles, and neither does the yardstick.
    [[nodiscard]] static Totals run(const QStringList &folders, const QString &disabledRoot,
                                    const QStringList &unreadFolders);

private:
    static void walk(const QByteArray &folder, bool readBundles, Totals &totals, int depth);
};
