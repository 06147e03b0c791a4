#pragma once

#include "VTPropertyList.h"

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QString>
#include <QVariantMap>

class VTSandboxFiles;

// One Contents/Resources/<language>.lproj/InfoPlist.strings file.
struct VTLocalization {
    enum class Encoding { Utf8, Utf16LittleEndian, Utf16BigEndian };

    QString language;                 // "en", "de", "English", ...
    QMap<QString, QString> strings;   // "CFBundleDisplayName" -> "Weiches Licht"
    Encoding encoding = Encoding::Utf8;
};

// Writes the inside of a bundle folder:
//   Contents/Info.plist                      (XML or binary property list)
//   Contents/MacOS/<CFBundleExecutable>      (mode 0755; left out when empty)
//   Contents/Resources/<lang>.lproj/InfoPlist.strings
class VTBundleWriter
{
public:
    explicit VTBundleWriter(VTSandboxFiles &files) : m_files(files) {}

    [[nodiscard]] bool write(const QString &bundlePath, const QVariantMap &info, VTPropertyList::Format format,
                             const QByteArray &executable, const QList<VTLocalization> &localizations);

    // The text of a strings file ("key" = "value"; lines, quotes and
    // backslashes escaped) in the chosen encoding; UTF-16 starts with its BOM.
    [[nodiscard]] static QByteArray stringsFile(const QMap<QString, QString> &strings,
                                                VTLocalization::Encoding encoding);

private:
    VTSandboxFiles &m_files;
};
