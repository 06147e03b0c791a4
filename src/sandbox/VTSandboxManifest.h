#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>

// What a sandbox builder made, so that a test can compare a scan with it.

// One plug-in: a bundle, a plain file, a file known by its type code, or a
// Motion template folder.
struct VTSandboxPlugin {
    enum class Form { Bundle, File, TypeCodedFile, MotionTemplate };

    QString path;          // where it is now (in the disabled tree when disabled)
    QString enabledPath;   // where it is when enabled
    QString fileName;      // last component, with extension
    QString name;          // the name the catalogue should show (see VTSandboxBuilder)
    QString version;       // CFBundleShortVersionString, else CFBundleVersion; "" without Info.plist
    QString group;         // subfolder below the kind's folder ("Color/Warm"); "" at the top
    qint64 kind = -1;
    qint64 access = -1;
    bool enabled = true;
    Form form = Form::Bundle;
    QStringList architectures;  // "i386", "x86_64", "ppc", "ppc64", "arm64", in header order
    bool locked = false;        // holds ".fxfactory.plist" itself
    bool insideFxFactory = false; // lies below a folder holding ".fxfactory.plist"

    // The architecture texts the catalogue derives ("64-bit (Intel)", ...),
    // in order, with architectures it does not show left out.
    [[nodiscard]] QStringList architectureTexts() const;
    [[nodiscard]] QJsonObject toJson() const;
};

// One group folder (a subfolder of a kind's folder), in either tree.
struct VTSandboxGroup {
    QString path;
    QString subdir;        // "Color", "Color/Warm", ...
    qint64 kind = -1;
    qint64 access = -1;
    bool enabled = true;
    bool fxFactory = false; // holds ".fxfactory.plist"

    [[nodiscard]] int depth() const;
    [[nodiscard]] QJsonObject toJson() const;
};

struct VTSandboxApplication {
    QString path;
    QString identifier;
    QString version;
    [[nodiscard]] QJsonObject toJson() const;
};

struct VTSandboxManifest {
    QString root;
    QString home;
    QString disabledRoot;
    QList<VTSandboxPlugin> plugins;
    QList<VTSandboxGroup> groups;
    QList<VTSandboxApplication> applications;
    // Entries inside plug-in folders that are no plug-ins and no groups
    // (".localized", ".Disabled", "Old.Disabled", "ReadMe.pdf", ...).
    QStringList ignored;

    [[nodiscard]] qsizetype enabledCount() const;
    [[nodiscard]] qsizetype disabledCount() const;
    [[nodiscard]] qsizetype countOfKind(qint64 kind) const;
    // The plug-in now at `path`; nullptr when none is.
    [[nodiscard]] const VTSandboxPlugin *plugin(const QString &path) const;
    [[nodiscard]] const VTSandboxPlugin *pluginNamed(const QString &fileName) const;

    [[nodiscard]] QJsonObject toJson() const;
    // Writes the JSON form (indented); false when the file cannot be written.
    [[nodiscard]] bool writeJson(const QString &path) const;
};
