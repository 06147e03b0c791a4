#pragma once

#include "VTMachO.h"

#include <QByteArray>
#include <QHash>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVariantMap>

#include <optional>

// Information of a bundle folder (an application, plug-in or framework laid
// out as Contents/Info.plist, Contents/MacOS/<executable>,
// Contents/Resources/<lang>.lproj/InfoPlist.strings).
//
// A VTBundle reads its Info.plist and localised strings once, when it is
// made, and keeps them; it never changes the bundle. Bundles are untrusted
// input: files are read only when they are regular files, up to a fixed size,
// and a malformed file simply contributes nothing.
class VTBundle
{
public:
    static constexpr qint64 MaximumInfoBytes = 4 * 1024 * 1024;

    // Reads the bundle at `path`. A path that is no folder gives an invalid
    // bundle with no information.
    explicit VTBundle(const QString &path);

    // The package test: a folder whose extension (in any case) is a bundle
    // extension, or a folder holding Contents/Info.plist.
    [[nodiscard]] static bool isPackage(const QString &path);
    // "app", "bundle", "plugin", "component", "fxplug", "vst", "vst3",
    // "framework", "kext", "avx", "dpm", "aaxplugin".
    [[nodiscard]] static const QStringList &packageExtensions();

    // True when the path is a folder (a bundle may still lack an Info.plist).
    [[nodiscard]] bool isValid() const { return m_valid; }
    [[nodiscard]] QString path() const { return m_path; }
    [[nodiscard]] QString infoPlistPath() const;

    // The Info.plist dictionary; empty when it is missing, malformed or not a
    // dictionary.
    [[nodiscard]] const QVariantMap &infoDictionary() const { return m_info; }
    // The localised InfoPlist.strings values of the chosen language.
    [[nodiscard]] const QHash<QString, QString> &localizedStrings() const { return m_localized; }
    // The language folder the localised values came from ("en"); empty
    // when there are none.
    [[nodiscard]] QString localization() const { return m_localization; }

    // The value of an Info.plist key; invalid when absent.
    [[nodiscard]] QVariant value(const QString &key) const;
    // The localised value of a key when the strings file has one, else the
    // Info.plist value.
    [[nodiscard]] QVariant localizedValue(const QString &key) const;
    // The localised value when it is a string; empty otherwise.
    [[nodiscard]] QString localizedString(const QString &key) const;

    // Contents/MacOS/<CFBundleExecutable>; empty when the key is missing or
    // names anything but a plain file name.
    [[nodiscard]] QString executablePath() const;
    // The architectures of the executable's Mach-O header, in header order;
    // empty when there is no executable or it is not Mach-O (a script).
    [[nodiscard]] QList<VTMachO::Architecture> executableArchitectures() const;

    // Parses a strings file ("key" = "value"; with comments) in UTF-8 or
    // UTF-16 (either byte order, with or without a byte-order mark), or a
    // property-list dictionary of strings. Nothing when the text is malformed.
    [[nodiscard]] static std::optional<QHash<QString, QString>> parseStrings(const QByteArray &bytes);

    // Reads at most `maxBytes` of a regular file without blocking (pipes,
    // devices and folders give nothing). `fileSize` receives the whole size.
    [[nodiscard]] static std::optional<QByteArray> readRegularFile(const QString &path, qint64 maxBytes,
                                                                   qint64 *fileSize = nullptr);

private:
    void loadLocalizedStrings();

    QString m_path;
    bool m_valid = false;
    QVariantMap m_info;
    QHash<QString, QString> m_localized;
    QString m_localization;
};
