#pragma once

#include <QString>
#include <QStringList>

// File operations of the program, as static functions.
class VTFileManager
{
public:
    // The entries of a folder whose names match the last component of
    // `wildcardPath`, in which "*" stands for any run of characters
    // ("/Apps/Host *.app"). Full paths, sorted by name; empty when the folder
    // cannot be read. Only the last component may hold a wildcard.
    [[nodiscard]] static QStringList filesMatchingWildcardPath(const QString &wildcardPath);

    // True when `name` matches `pattern`, where "*" matches any run of
    // characters (including none) and everything else matches itself.
    [[nodiscard]] static bool nameMatchesWildcard(const QString &name, const QString &pattern);
};
