#pragma once

#include <QString>
#include <QStringList>

// Kind and access codes as the sandbox writes them into its manifest. They
// are the catalogue's codes, repeated here on purpose: the sandbox describes
// the managed layout independently, so tests of the catalogue compare two
// descriptions instead of one with itself.
namespace VTSandboxKind {

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
constexpr qint64 Count = 10;

constexpr qint64 AllUsers = 0;
constexpr qint64 CurrentUser = 1;

// Short names used in manifests and messages ("FxPlug", "Audio Unit", ...).
[[nodiscard]] QString name(qint64 kind);
// True for kinds that also have a folder in the current user's home.
[[nodiscard]] bool hasCurrentUserFolder(qint64 kind);
// The extension a new bundle of this kind gets unless told otherwise.
[[nodiscard]] QString defaultExtension(qint64 kind);

} // namespace VTSandboxKind

// The folders of a sandboxed system: a system root standing for "/" and a
// home. Answers where each kind of plug-in lives for each access, where the
// disabled tree is, and where applications go. Which host applications are
// installed changes some folders (Final Cut Express, Avid Symphony), and the
// Adobe folder carries a version; the builder keeps those answers here.
class VTSandboxLayout
{
public:
    VTSandboxLayout(const QString &root, const QString &home);

    [[nodiscard]] QString root() const { return m_root; }
    [[nodiscard]] QString home() const { return m_home; }

    // The folder of a kind for an access; empty when the kind has none there.
    [[nodiscard]] QString folder(qint64 kind, qint64 access) const;
    // Every (kind, access) pair that has a folder, kinds in code order.
    struct KindFolder {
        qint64 kind = 0;
        qint64 access = 0;
        QString path;
    };
    [[nodiscard]] QList<KindFolder> allFolders() const;
    // The kind folder (enabled tree) holding `enabledPath`, when there is one.
    [[nodiscard]] bool findFolder(const QString &enabledPath, KindFolder *found) const;

    // root + "/Library/Application Support/Vantorel/Hearthkit/Tessary Disabled Plugins".
    [[nodiscard]] QString disabledRoot() const;
    // Where an enabled path is kept while disabled: the disabled root followed
    // by the whole absolute path.
    [[nodiscard]] QString mirror(const QString &enabledPath) const;
    [[nodiscard]] bool isInDisabledTree(const QString &path) const;

    // The Applications folder of the system root (all users) or the home.
    [[nodiscard]] QString applicationsFolder(qint64 access) const;
    // root + ".../Adobe/Common/Plug-ins/<version>/MediaCore".
    [[nodiscard]] QString adobeFolder(const QString &version) const;

    void setFinalCutExpress(bool installed) { m_finalCutExpress = installed; }
    void setAvidSymphony(bool installed) { m_avidSymphony = installed; }
    void setAdobeVersion(const QString &version) { m_adobeVersion = version; }
    [[nodiscard]] bool finalCutExpress() const { return m_finalCutExpress; }
    [[nodiscard]] bool avidSymphony() const { return m_avidSymphony; }
    [[nodiscard]] QString adobeVersion() const { return m_adobeVersion; }

private:
    [[nodiscard]] QString applicationSupport() const;

    QString m_root;
    QString m_home;
    bool m_finalCutExpress = false;
    bool m_avidSymphony = false;
    QString m_adobeVersion = QStringLiteral("7.0");
};
