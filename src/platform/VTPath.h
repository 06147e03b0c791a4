#pragma once

#include <QString>
#include <QStringList>

// Absolute text paths, joined component by component. Every part of the
// program builds paths through here so that a doubled separator collapses in
// one place and the mirror rule of the disabled tree is written once.
namespace VTPath {

// Joins two paths with exactly one separator between them ("/a/" + "/b" is
// "/a/b"). An empty side returns the other side unchanged.
[[nodiscard]] QString join(const QString &base, const QString &component);
[[nodiscard]] QString join(std::initializer_list<QString> parts);

// Collapses doubled separators and drops a trailing one (but keeps "/").
[[nodiscard]] QString normalize(const QString &path);

// Path components without empty ones: "/a//b/" gives ("a", "b").
[[nodiscard]] QStringList components(const QString &path);

[[nodiscard]] QString lastComponent(const QString &path);
// The path without its last component: "/a/b" gives "/a", "/a" gives "/".
[[nodiscard]] QString removeLastComponent(const QString &path);

// The extension after the last dot of the last component, without the dot;
// "" when there is none. A leading dot (".hidden") is not an extension.
[[nodiscard]] QString extension(const QString &path);
[[nodiscard]] QString removeExtension(const QString &path);

// True when the whole text reads as a number ("7.0", "12", "-3", "1e3").
[[nodiscard]] bool isNumeric(const QString &text);

// The last component with its extension removed unless the extension reads as
// a number ("Glow.fxplug" gives "Glow", "Version 2.0" stays).
[[nodiscard]] QString displayName(const QString &path);

// True when `path` equals `folder` or lies below it (component-wise).
[[nodiscard]] bool isInside(const QString &path, const QString &folder);

// The mirror of an absolute path below a root: mirror("/R", "/L/x") is "/R/L/x".
[[nodiscard]] QString mirror(const QString &root, const QString &absolutePath);

// Conversions between paths and the bytes the kernel sees. Names that are not
// valid UTF-8 survive the round trip through QFile's local 8-bit encoding.
[[nodiscard]] QByteArray toNative(const QString &path);
[[nodiscard]] QString fromNative(const QByteArray &bytes);

} // namespace VTPath
