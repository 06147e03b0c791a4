#pragma once

#include <QString>
#include <QStringList>

// The installer without a window, for scripted roll-outs:
//   --list     prints every plug-in and where it goes
//   --install  installs them all; existing copies are replaced and the old
//              ones go to the Trash
// Exit 0 when every plug-in was installed (or listed), 1 when one was not,
// 2 for bad usage or a missing or unreadable settings file.
namespace VTPluginInstallerCommand {

enum class Mode { Window, List, Install, Help, BadUsage };

// What the arguments (without the program's name) ask for.
[[nodiscard]] Mode modeOf(const QStringList &arguments);

[[nodiscard]] QString usage();

// Runs a List or Install for the installer bundle at `bundle`.
[[nodiscard]] int run(Mode mode, const QString &bundle);

} // namespace VTPluginInstallerCommand
