#pragma once

#include <QIcon>

// Every icon the window shows, by what it stands for: the desktop's icon
// theme first, then a built-in fallback (a standard style icon or a small
// drawn badge), so that no row and no command is ever without an icon.
namespace VTIconProvider {

enum class Command {
    Enable,
    Disable,
    AllUsers,
    CurrentUser,
    AddGroup,
    Remove,
    DeleteDisabled,
    Install,
    Reload,
    CrashTester,
    Validate,
    BuildInstaller,
    Print,
    Reveal,
};

// The row icon of a plug-in kind (pluginType; unknown kinds have one too).
[[nodiscard]] QIcon kindIcon(qint64 pluginType);
[[nodiscard]] QIcon groupIcon();
// The access column: 0 all users, 1 current user, anything else mixed.
[[nodiscard]] QIcon accessIcon(qint64 access);
[[nodiscard]] QIcon commandIcon(Command command);
// An Audio Unit validation status: a tick for "OK", none while validating,
// an error sign for the failures, a warning for anything else ("Unknown").
[[nodiscard]] QIcon validationStatusIcon(const QString &status);

} // namespace VTIconProvider
