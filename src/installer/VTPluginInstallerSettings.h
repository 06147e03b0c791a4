#pragma once

#include <QString>

#include <optional>

// What an installer made by the installer builder says about itself, read
// from its bundle: Contents/Resources/InstallerSettings.plist with the
// plug-in's name, version and author, the optional licence agreement and
// background image (file names inside Contents/Resources) and the branding
// switch.
class VTPluginInstallerSettings
{
public:
    // The installer bundle this executable lies in (Contents/MacOS/<name>).
    [[nodiscard]] static QString bundleOfExecutable(const QString &executableFolder);

    // Reads the settings of the bundle at `bundle`. Nothing, with `error`
    // set to a one-line reason, when the file is missing or unreadable or
    // lacks one of the three texts.
    [[nodiscard]] static std::optional<VTPluginInstallerSettings> read(const QString &bundle, QString *error);

    [[nodiscard]] QString bundle() const { return m_bundle; }
    [[nodiscard]] QString name() const { return m_name; }
    [[nodiscard]] QString version() const { return m_version; }
    [[nodiscard]] QString author() const { return m_author; }
    // Full paths; empty when the settings name none or the file is missing.
    [[nodiscard]] QString eulaPath() const { return m_eulaPath; }
    [[nodiscard]] QString backgroundImagePath() const { return m_backgroundImagePath; }
    [[nodiscard]] bool removeBranding() const { return m_removeBranding; }
    // Contents/Resources/PluginStructure.
    [[nodiscard]] QString structurePath() const;
    // Contents/Resources/<CFBundleIconFile> when the bundle names an icon
    // that is there; empty otherwise.
    [[nodiscard]] QString iconPath() const;

private:
    [[nodiscard]] QString resource(const QString &fileName) const;

    QString m_bundle;
    QString m_name;
    QString m_version;
    QString m_author;
    QString m_eulaPath;
    QString m_backgroundImagePath;
    bool m_removeBranding = false;
};
