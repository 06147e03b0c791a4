#pragma once

#include <QString>
#include <QStringList>

// Which versions of Adobe Premiere Pro are installed. Each installation sits
// in a folder of its own ("Adobe Premiere Pro CS6/Adobe Premiere Pro CS6.app")
// in an applications folder; its version comes from the application bundle or
// from the installation's Configuration/XManConfig.xml.
class VTPremiere
{
public:
    // The bundle identifier the application lookup searches for.
    [[nodiscard]] static QString bundleIdentifier();
    // The query that reads the version out of XManConfig.xml.
    [[nodiscard]] static QString productVersionQuery();

    // versionsForAppName("Adobe Premiere ").
    [[nodiscard]] static QStringList premiereVersions();
    // Versions found in the folder that holds the installation the
    // application lookup knows (duplicates kept), then those of the all-users
    // Applications folder that are not listed yet.
    [[nodiscard]] static QStringList versionsForAppName(const QString &prefix);
    // Versions of the entries of `folder` whose names begin with `prefix`
    // (ignoring case): the bundle's "CFBundleVersionString" or else
    // "CFBundleVersion"; without a bundle, XManConfig.xml's ProductVersion.
    [[nodiscard]] static QStringList versionsForAppName(const QString &prefix, const QString &folder);

    // As versionsForAppName, for the suite rule.
    [[nodiscard]] static QStringList suiteVersions();
    // Versions of the "Adobe Premiere " entries of `folder`: XManConfig.xml's
    // ProductVersion first, else the "CFBundleVersion" of the first
    // "Adobe Premiere Pro *.app" inside, cut to its first two parts.
    [[nodiscard]] static QStringList suiteVersionsInFolder(const QString &folder);

private:
    // Entries of `folder` whose names begin with `prefix`, ignoring case, in
    // name order; none when the folder cannot be read.
    [[nodiscard]] static QStringList entriesWithPrefix(const QString &folder, const QString &prefix);
    // ProductVersion of <folder>/<entry>/Configuration/XManConfig.xml;
    // `readable` tells whether the file could be opened at all.
    [[nodiscard]] static QString configurationVersion(const QString &folder, const QString &entry, bool *readable);
};
