#pragma once

#include "VTBundleWriter.h"
#include "VTMachOWriter.h"
#include "VTSandboxFiles.h"
#include "VTSandboxLayout.h"
#include "VTSandboxManifest.h"
#include "VTSandboxOptions.h"

#include <QHash>
#include <QSet>
#include <QString>

#include <utility>

// Builds a sandboxed system (a system root and a home) filled with plug-ins
// of every kind, host applications and the disabled tree, and keeps a
// manifest of what it made. Each call returns the path it made, or an empty
// string after recording the reason in errors().
//
// The manifest's plug-in name is what a reader of the bundle shows: the
// English ("en" or "English") localisation of CFBundleDisplayName, else the
// Info.plist's CFBundleDisplayName, else the same two for CFBundleName; a
// "${PRODUCT_NAME}" placeholder or no name at all gives the file name without
// its extension (kept when it reads as a number).
//
// Add host applications (Final Cut Express, Avid Symphony) before plug-ins
// of the kinds whose folders they change.
class VTSandboxBuilder
{
public:
    VTSandboxBuilder(const QString &root, const QString &home);
    Q_DISABLE_COPY_MOVE(VTSandboxBuilder)

    [[nodiscard]] QString root() const { return m_layout.root(); }
    [[nodiscard]] QString home() const { return m_layout.home(); }
    [[nodiscard]] QString disabledRoot() const { return m_layout.disabledRoot(); }
    [[nodiscard]] const VTSandboxLayout &layout() const { return m_layout; }
    // The kind's folder for an access (enabled tree); empty when there is none.
    [[nodiscard]] QString folder(qint64 kind, qint64 access) const { return m_layout.folder(kind, access); }

    [[nodiscard]] const VTSandboxManifest &manifest() const { return m_manifest; }
    [[nodiscard]] bool ok() const { return m_errors.isEmpty(); }
    [[nodiscard]] QStringList errors() const { return m_errors; }
    // The errors so far, forgotten afterwards (for callers that expect some).
    [[nodiscard]] QStringList takeErrors() { return std::exchange(m_errors, {}); }

    // Plug-ins. `name` is without extension.
    QString addBundle(qint64 kind, qint64 access, const QString &name, const VTBundleOptions &options = {});
    // A plain file plug-in; `fileName` carries its extension ("Fade.txt", "Wipe.fcfcc").
    QString addFile(qint64 kind, qint64 access, const QString &fileName, const VTFileOptions &options = {});
    // A file without extension whose FinderInfo attribute carries the type code 'FCSC'.
    QString addTypeCodedFile(qint64 kind, qint64 access, const QString &name, const VTFileOptions &options = {});
    // A Motion template: <category>.localized/<group>/<name>/<name>.<ext>.
    // `category` is "Generators", "Titles", "Effects", "Compositions" or
    // "Transitions" (with or without ".localized").
    QString addMotionTemplate(qint64 access, const QString &category, const QString &name,
                              const VTTemplateOptions &options = {});

    // Group folders, each level recorded; returns the deepest.
    QString addGroup(qint64 kind, qint64 access, const QString &subdir, bool enabled = true);
    // A group folder holding ".fxfactory.plist".
    QString addFxFactoryGroup(qint64 kind, qint64 access, const QString &subdir, bool enabled = true);
    // An entry the scan must pass over (".Disabled", "Old.Disabled", "ReadMe.pdf"),
    // at a path relative to the kind's folder.
    QString addIgnored(qint64 kind, qint64 access, const QString &relativePath, bool asFolder = false);
    // A symbolic link at a path relative to the kind's folder.
    QString addLink(qint64 kind, qint64 access, const QString &relativePath, const QString &target);
    // Moves an enabled plug-in or group folder to its place in the disabled
    // tree, merging into folders already there; returns the new path.
    QString disable(const QString &enabledPath);

    // Applications below the Applications folder ("Avid Symphony/Avid Symphony.app").
    QString addApplication(const QString &relativePath, const QString &identifier,
                           const VTApplicationOptions &options = {});
    // "Final Cut Express.app" (com.apple.FinalCutExpress): FxScript folders say "Express".
    QString addFinalCutExpress();
    // "Avid Symphony/Avid Symphony.app" (com.avid.symphony): AVX plug-ins go below "Avid Symphony".
    QString addAvidSymphony();
    // Applications/<folder>/<appName>.app (com.adobe.AdobePremierePro, CFBundleVersion
    // `bundleVersion`) and Applications/<folder>/Configuration/XManConfig.xml
    // with `productVersion`. An empty appName or productVersion leaves that part out.
    QString addPremiere(const QString &folder, const QString &appName, const QString &bundleVersion,
                        const QString &productVersion);
    // ".../Adobe/Common/Plug-ins/<version>/MediaCore" (made empty).
    QString addAdobeFolder(const QString &version);
    // The version folder Adobe plug-ins are put in (default "7.0").
    void setAdobePluginVersion(const QString &version);

    // System/Library/CoreServices/SystemVersion.plist naming the managed
    // system's version ("10.14.6").
    QString addSystemVersion(const QString &productVersion);

    // usr/bin/auval: the stand-in Audio Unit validator, which lists
    // `listing` for "-a" and answers "-v TYPE SUB MANU" with the exit status
    // of the matching "TYPE SUB MANU STATUS" line of `statuses` (else 0).
    QString addAudioUnitValidator(const QStringList &listing, const QStringList &statuses);

    // An application whose executable is a copy of `hostProgram` (the
    // stand-in host) with Contents/Resources/StandInHost.ini naming the
    // plug-in kinds it loads and the file names that crash it at start
    // ("*": every start).
    QString addStandInHost(const QString &relativePath, const QString &identifier, const QString &hostProgram,
                           const QList<qint64> &kinds, const QStringList &crashOn);

    // Makes every kind's folder in both trees where it is missing.
    void createAllFolders();
    // Slice alignment of universal executables as a power of two (default 12).
    void setMachOAlignment(int shift) { m_alignShift = shift; }

    // Presets (see VTSandboxPresets).
    void demo();
    void scaled(int count, quint32 seed);

private:
    struct Target {
        QString parent;       // folder the item goes into
        QString path;
        QString enabledPath;
        QString group;        // normalised subfolder path
    };
    bool placeTarget(qint64 kind, qint64 access, const VTPlacement &placement, const QString &fileName, Target *target);
    QString ensureGroups(qint64 kind, qint64 access, const QString &base, const QString &subdir, bool enabled);
    QString markLocalized(const QString &folder);
    QString record(VTSandboxPlugin plugin);
    QString fail(const QString &message);
    bool underFxFactory(const QString &path) const;
    void relocate(const QString &from, const QString &to);
    bool moveMerging(const QString &from, const QString &to);
    QByteArray executable(const QList<VTMachOWriter::Arch> &archs, VTMachOWriter::Container container,
                          VTMachOWriter::FileType type, VTMachOWriter::ByteOrder order) const;

    VTSandboxLayout m_layout;
    VTSandboxFiles m_files;
    VTBundleWriter m_bundles{m_files};
    VTSandboxManifest m_manifest;
    QSet<QString> m_groupPaths;
    QSet<QString> m_fxFactoryFolders;
    QSet<QString> m_localizedFolders;
    QStringList m_errors;
    int m_alignShift = 12;
};
