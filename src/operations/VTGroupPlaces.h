#pragma once

#include <QString>
#include <QStringList>

// Where one group can exist on disk. The tree shows one group per subfolder
// path, whatever the kind, but the folder behind it may exist below any
// kind's folder, for all users and for the current user, enabled and in the
// disabled tree: 2 roots x 2 user parts x 10 kinds = 40 places. A rename
// visits them all.
class VTGroupPlaces
{
public:
    static constexpr int KindCount = 10;

    // The kind's folder as the managed system names it ("/Library/Plug-Ins/FxPlug"),
    // below the system root (`forUser` false) or the home (`forUser` true).
    // The folders of kinds without a current-user place are still named
    // there; they simply do not exist.
    [[nodiscard]] static QString kindFolder(int kind, bool forUser);

    // The 40 candidate folders of a group with this subfolder path, in the
    // order a rename visits them: the enabled places first, then their
    // mirrors below `disabledPath`; within each, the all-users places before
    // the current user's; within each, kinds 0 to 9. Empty for an empty
    // subdir, which would name the kinds' own folders.
    [[nodiscard]] static QStringList candidates(const QString &subdir, const QString &disabledPath);
};
