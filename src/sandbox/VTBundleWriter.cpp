#include "VTBundleWriter.h"

#include "VTPath.h"
#include "VTSandboxFiles.h"

#include <QtEndian>

namespace {

QString quoted(const QString &text)
{
    QString out;
    out.reserve(text.size() + 2);
    out += u'"';
    for (QChar c : text) {
        if (c == u'"' || c == u'\\')
            out += u'\\';
        if (c == u'\n') {
            out += QStringLiteral("\\n");
            continue;
        }
        out += c;
    }
    out += u'"';
    return out;
}

} // namespace

QByteArray VTBundleWriter::stringsFile(const QMap<QString, QString> &strings, VTLocalization::Encoding encoding)
{
    QString text = QStringLiteral("/* Localized versions of Info.plist keys */\n\n");
    for (auto it = strings.cbegin(); it != strings.cend(); ++it)
        text += quoted(it.key()) + QStringLiteral(" = ") + quoted(it.value()) + QStringLiteral(";\n");

    if (encoding == VTLocalization::Encoding::Utf8)
        return text.toUtf8();

    const bool big = encoding == VTLocalization::Encoding::Utf16BigEndian;
    QByteArray bytes;
    bytes.reserve((text.size() + 1) * 2);
    char unit[2];
    const auto put = [&](char16_t value) {
        if (big)
            qToBigEndian<quint16>(value, unit);
        else
            qToLittleEndian<quint16>(value, unit);
        bytes.append(unit, 2);
    };
    put(0xfeff);
    for (QChar c : text)
        put(c.unicode());
    return bytes;
}

bool VTBundleWriter::write(const QString &bundlePath, const QVariantMap &info, VTPropertyList::Format format,
                           const QByteArray &executable, const QList<VTLocalization> &localizations)
{
    const QString contents = VTPath::join(bundlePath, QStringLiteral("Contents"));
    if (!m_files.makePath(contents))
        return false;

    const QByteArray plist = VTPropertyList::toData(info, format);
    if (plist.isEmpty() || !m_files.writeFile(VTPath::join(contents, QStringLiteral("Info.plist")), plist))
        return false;

    if (!executable.isEmpty()) {
        QString exeName = info.value(QStringLiteral("CFBundleExecutable")).toString();
        if (exeName.isEmpty())
            exeName = VTPath::displayName(bundlePath);
        const QString macOS = VTPath::join(contents, QStringLiteral("MacOS"));
        if (!m_files.makePath(macOS) || !m_files.writeFile(VTPath::join(macOS, exeName), executable, 0755))
            return false;
    }

    for (const VTLocalization &localization : localizations) {
        const QString folder = VTPath::join({contents, QStringLiteral("Resources"),
                                             localization.language + QStringLiteral(".lproj")});
        if (!m_files.makePath(folder)
            || !m_files.writeFile(VTPath::join(folder, QStringLiteral("InfoPlist.strings")),
                                  stringsFile(localization.strings, localization.encoding)))
            return false;
    }
    return true;
}
