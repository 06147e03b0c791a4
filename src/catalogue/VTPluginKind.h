#pragma once

#include <QString>

// The ten plug-in kinds, the access codes and the enabled flag. The numeric
// codes are stored in archives and must never be renumbered.
namespace VTPluginKind {

constexpr qint64 Unknown = -1;
constexpr qint64 FxPlug = 0;
constexpr qint64 FxScript = 1;
constexpr qint64 AudioUnit = 2;
constexpr qint64 AvidAVX = 3;
constexpr qint64 AdobePlugin = 4;
constexpr qint64 AvidAVX2 = 5;
constexpr qint64 AvidRTAS = 6;
constexpr qint64 VST = 7;
constexpr qint64 MotionTemplate = 8;
constexpr qint64 OpenFX = 9;

// Access (`pluginAccess`): all users, current user; -1 unknown or mixed.
constexpr qint64 AllUsers = 0;
constexpr qint64 CurrentUser = 1;
constexpr qint64 UnknownAccess = -1;

// Enabled flag (`pluginEnabled`); a group's computed state adds Mixed.
constexpr qint64 Disabled = 0;
constexpr qint64 Enabled = 1;
constexpr qint64 Mixed = -1;

// "FxPlug", "FxScript", ... ; "Unknown" for any other code.
[[nodiscard]] QString typeName(qint64 kind);

// True for the kinds that have a current-user folder (0, 1, 2, 7, 8).
[[nodiscard]] bool hasCurrentUserFolder(qint64 kind);

} // namespace VTPluginKind
