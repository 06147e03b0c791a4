#pragma once

#include "VTInstallerSettings.h"
#include "VTOperationThreads.h"

#include <QString>

#include <chrono>

class VTInstallerDisplay;

// Builds a stand-alone installer application: a copy of the template
// installer with the plug-ins laid out below Contents/Resources/PluginStructure
// at their paths within the managed system, the settings file the template
// reads, an optional icon, and an optional code signature.
class VTInstallerBuilder
{
public:
    // `templatePath` is the template installer application to copy.
    explicit VTInstallerBuilder(VTInstallerDisplay &display, QString templatePath = defaultTemplatePath());
    ~VTInstallerBuilder();
    VTInstallerBuilder(const VTInstallerBuilder &) = delete;
    VTInstallerBuilder &operator=(const VTInstallerBuilder &) = delete;

    // "Plugin Installer.app" beside the running program, which lies in the
    // Contents/MacOS folder of its own bundle.
    [[nodiscard]] static QString defaultTemplatePath();
    // The managed system's "/usr/bin/codesign".
    [[nodiscard]] static QString codesignPath();

    // Where a plug-in is recorded below PluginStructure: its path within the
    // managed system, with the current user's home given as "/Users/user".
    [[nodiscard]] static QString structurePath(const QString &pluginPath);

    // The save sheet's end: `chosen` with the ".app" rule and the files of
    // the selection go into the build settings (the form's name, version,
    // author and certificate, and the user defaults' paths), and the build
    // starts on a detached thread of its own; builds may overlap. A selection
    // without plug-ins is shown as a sheet instead; false then.
    bool installerSavePanelDidEnd(const QString &chosen, const QList<ItemPtr> &selection, const VTInstallerSettings &form);
    void start(const VTInstallerSettings &settings);
    // Waits until no started build runs; false when `timeout` passed first.
    bool waitForBuilds(std::chrono::milliseconds timeout = std::chrono::hours(24));

    // The whole build on the calling thread (a worker). The spinner runs
    // from start to end; every outcome is shown as a sheet. True when the
    // installer was created (and signed, when asked to). A failed build
    // leaves what it made.
    bool createInstallerWithSettings(const VTInstallerSettings &settings);

private:
    bool build(const VTInstallerSettings &settings);
    bool copyResource(const QString &file, const QString &resources, const QString &failure);
    bool writeSettingsFile(const VTInstallerSettings &settings, const QString &resources);
    void setBundleIcon(const QString &destination, const QString &iconFileName);
    bool sign(const VTInstallerSettings &settings);
    // Logs the failure and shows it; answers false for the caller to return.
    bool fail(const QString &messageText, const QString &informativeText);
    void showSheet(const QString &messageText, const QString &informativeText);

    VTInstallerDisplay &m_display;
    QString m_templatePath;
    VTOperationThreads m_threads;
};
