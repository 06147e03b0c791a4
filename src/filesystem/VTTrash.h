#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>

#include <functional>

// The Trash, as the freedesktop.org Trash specification lays it out, so that
// desktop file managers and trash-cli show and restore what the program
// trashed.
//
// An item goes to the trash of its own file system and is never copied: the
// home trash ($XDG_DATA_HOME/Trash, by default ~/.local/share/Trash) when it
// lives on the home's file system, else $topdir/.Trash/$uid (only when
// $topdir/.Trash is a sticky folder and not a link) or $topdir/.Trash-$uid.
// info/NAME.trashinfo is created first (exclusively, flushed), then the item
// is renamed to files/NAME without replacing anything; names are made unique
// ("Glow.fxplug", "Glow 2.fxplug", ...).
class VTTrash
{
public:
    // Moves the item at `path` into its trash. `trashedPath` receives where it
    // went. False (and nothing moved) when there is no usable trash or the
    // item cannot be moved, e.g. for want of permission on its folder.
    [[nodiscard]] static bool trashItem(const QString &path, QString *trashedPath = nullptr);

    // The same for an item that someone else moves (the privileged helper):
    // `move` must place the item at the destination it is given without
    // replacing anything and answer 0, EEXIST when that name is taken
    // (another is tried), or another error. The trash is the item's file
    // system's, else the home trash; the record is taken back when the move
    // fails.
    using Mover = std::function<int(const QString &destination)>;
    [[nodiscard]] static bool trashItemWith(const QString &path, const Mover &move, QString *trashedPath = nullptr);

    // The home trash folder (holding files/ and info/).
    [[nodiscard]] static QString homeTrash();

    // The trash folder an item at `path` belongs in; empty when there is none.
    // Creates nothing.
    [[nodiscard]] static QString trashForPath(const QString &path);

    // Creates a trash folder with its files/ and info/ (mode 0700) where
    // missing. Run as the superuser for a user's home trash, it gives what it
    // creates to the owner of the folder above the trash.
    [[nodiscard]] static bool prepareTrash(const QString &trash);

    // Writes info/NAME.trashinfo for an item about to be placed at
    // files/NAME of `trash` by someone else (the privileged helper). False
    // when that info file exists already.
    [[nodiscard]] static bool writeInfo(const QString &trash, const QString &name, const QString &originalPath);

    // The text of a .trashinfo file.
    [[nodiscard]] static QByteArray infoContents(const QString &originalPath, const QDateTime &deletionDate);

    // The n-th candidate name in the trash for an item named `name` (n from
    // 1), kept short enough that NAME.trashinfo is a legal file name.
    [[nodiscard]] static QByteArray candidateName(const QByteArray &name, int n);
};
