#pragma once

#include "VTCatalogueItem.h"

#include <QList>
#include <QString>
#include <QStringList>

// The build settings the installer window hands to the builder's thread.
struct VTInstallerSettings
{
    // User defaults of the installer window.
    static constexpr const char *NameKey = "installerName";
    static constexpr const char *VersionKey = "installerVersion";
    static constexpr const char *AuthorKey = "installerAuthor";
    static constexpr const char *CertificateNameKey = "installerCertificateName";
    static constexpr const char *IconPathKey = "installerIconPath";
    static constexpr const char *EULAPathKey = "installerEULAPath";
    static constexpr const char *BgImagePathKey = "installerBgImagePath";
    static constexpr const char *RemoveBrandingKey = "removeInstallerBranding";

    QString destFilename; // the installer application to create, ending in ".app"
    QString installerName;
    QString installerVersion;
    QString installerAuthor;
    QStringList files;   // plug-in paths, each once, in selection order
    QString certificate; // empty: the installer is not signed
    QString installerIconPath;
    QString installerBgImagePath;
    QString installerEULAPath;

    // Settings for the form's texts and chosen certificate, with the icon,
    // background image and licence paths copied from the user defaults.
    [[nodiscard]] static VTInstallerSettings fromDefaults(const QString &destFilename, const QString &name,
                                                          const QString &version, const QString &author,
                                                          const QStringList &files, const QString &certificate);

    // The save sheet's choice with ".app" appended unless its extension is
    // "app" in any letter case.
    [[nodiscard]] static QString destinationFilename(const QString &chosen);

    // The plug-in paths of the selected rows, in row order: a group gives
    // every plug-in below it, a plug-in itself; no path is listed twice.
    [[nodiscard]] static QStringList fileList(const QList<ItemPtr> &selection);
};
