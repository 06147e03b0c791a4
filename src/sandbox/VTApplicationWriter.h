#pragma once

#include <QString>

class VTSandboxFiles;
struct VTApplicationOptions;

// Writes host application bundles (Info.plist with a bundle identifier, an
// executable that is a Mach-O header or a script) and Premiere's
// Configuration/XManConfig.xml.
class VTApplicationWriter
{
public:
    explicit VTApplicationWriter(VTSandboxFiles &files, int alignShift = 12)
        : m_files(files), m_alignShift(alignShift) {}

    // Makes the .app folder and its parents; false when anything fails
    // (the reason is in the files' lastError()).
    [[nodiscard]] bool write(const QString &appPath, const QString &identifier, const VTApplicationOptions &options);
    // <folder>/Configuration/XManConfig.xml whose
    // Configuration/VariableForExMan/Data[@key='ProductVersion'] is `productVersion`.
    [[nodiscard]] bool writeXManConfig(const QString &folder, const QString &productVersion);

    [[nodiscard]] static QByteArray xManConfig(const QString &productVersion);

private:
    VTSandboxFiles &m_files;
    int m_alignShift;
};
