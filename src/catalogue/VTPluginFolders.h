#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <array>
#include <memory>
#include <optional>

// Where plug-ins live: the folder dictionary (`pluginFolderDict`) with its
// fifteen keys, the folder-matching order of a scan, the type filter's folder
// sets, the item base-path table, the disabled-plugins root and
// `pathForPlugin:withSubdir:`.
//
// A VTPluginFolders value samples the installed applications (Final Cut
// Express, Avid Symphony) and the Adobe folders when it is built and keeps
// the answers, so asking it is cheap. The catalogue controller holds one;
// records use shared(), which the controller refreshes when it rebuilds its
// dictionary.
class VTPluginFolders
{
public:
    struct Folder {
        QString key;       // "localFxPlug", ...
        qint64 kind = -1;  // VTPluginKind code
        qint64 access = -1;
        QString path;      // absolute, under the system root or the home
    };

    // Computes every folder now (application lookups, Adobe MediaCore choice).
    [[nodiscard]] static VTPluginFolders build();

    // The process-wide instance records derive their paths from; built on
    // first use. setShared() replaces it (removePluginFolderDict).
    [[nodiscard]] static std::shared_ptr<const VTPluginFolders> shared();
    static void setShared(std::shared_ptr<const VTPluginFolders> folders);

    // The fifteen folders in the dictionary's own order, which is also the
    // folder-matching order of a scan (localFxPlug, userFxPlug, ... localOFX).
    [[nodiscard]] const QList<Folder> &folders() const { return m_folders; }
    // The folder of one key; empty for an unknown key.
    [[nodiscard]] QString path(const QString &key) const;
    // The first folder in matching order whose path is a plain string prefix
    // of `enabledPath`; nothing when none matches.
    [[nodiscard]] std::optional<Folder> match(const QString &enabledPath) const;
    // The folders the type filter `filter` selects, in the filter's order.
    [[nodiscard]] QStringList foldersForFilter(qint64 filter) const;
    // folder + subdir + fileName for each folder in dictionary order; the
    // first that exists, or empty.
    [[nodiscard]] QString pathForPlugin(const QString &fileName, const QString &subdir) const;

    // The item base path (`pluginBasePath`) of a kind and access, with the
    // table's deliberate differences from the dictionary. "" for unknown kinds.
    [[nodiscard]] QString basePath(qint64 kind, qint64 access) const;

    // The disabled-plugins root: AS(all) + "Vantorel/Hearthkit/Tessary Disabled Plugins".
    [[nodiscard]] QString disabledPath() const { return m_disabledPath; }
    // VTLocalPaths::unmirrorPath with the system root and home the table was
    // built for.
    [[nodiscard]] QString unmirrorPath(const QString &disabledRoot, const QString &mirrored) const;

    // The Adobe MediaCore folder chosen from the Adobe plug-in folders and,
    // when that one is missing, from the last installed Premiere Pro version.
    [[nodiscard]] static QString adobeMediaCoreFolder();

    // The text of the environment variable literally named "$USER" (which is
    // practically never set); empty when unset.
    [[nodiscard]] static QString currentUser();

    // The Adobe MediaCore folder this value was built with.
    [[nodiscard]] QString adobeFolder() const { return m_adobeFolder; }

private:
    static constexpr int KindCount = 10;
    void buildBasePaths(const QString &systemRoot, const QString &home, const QString &allUsersAppSupport);

    QList<Folder> m_folders;
    QString m_disabledPath;
    QString m_adobeFolder;
    QString m_systemRoot;
    QString m_home;
    bool m_symphonyInstalled = false; // "com.avid.Symphony", for base paths
    // Base paths by [access != 0][kind], worked out once in build().
    std::array<std::array<QString, KindCount>, 2> m_basePaths;
};
