#include "VTApplicationWriter.h"

#include "VTBundleWriter.h"
#include "VTMachOWriter.h"
#include "VTPath.h"
#include "VTSandboxOptions.h"
#include "VTSandboxFiles.h"

bool VTApplicationWriter::write(const QString &appPath, const QString &identifier, const VTApplicationOptions &options)
{
    const QString name = VTPath::displayName(appPath);
    QVariantMap info{
        {QStringLiteral("CFBundleIdentifier"), identifier},
        {QStringLiteral("CFBundleName"), name},
        {QStringLiteral("CFBundleExecutable"), name},
        {QStringLiteral("CFBundlePackageType"), QStringLiteral("APPL")},
        {QStringLiteral("CFBundleInfoDictionaryVersion"), QStringLiteral("6.0")},
    };
    if (!options.version.isEmpty()) {
        info.insert(QStringLiteral("CFBundleShortVersionString"), options.version);
        info.insert(QStringLiteral("CFBundleVersion"), options.version);
    }
    for (auto it = options.info.cbegin(); it != options.info.cend(); ++it) {
        if (it.value().isValid())
            info.insert(it.key(), it.value());
        else
            info.remove(it.key());
    }
    const QByteArray executable = !options.script.isEmpty()
        ? options.script
        : VTMachOWriter::image(options.architectures, VTMachOWriter::Container::Auto, VTMachOWriter::FileType::Execute,
                               VTMachOWriter::ByteOrder::Natural, m_alignShift);
    return m_files.makePath(VTPath::removeLastComponent(appPath))
        && VTBundleWriter(m_files).write(appPath, info, VTPropertyList::Format::Xml, executable, {});
}

QByteArray VTApplicationWriter::xManConfig(const QString &productVersion)
{
    const QString text = QStringLiteral(
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<Configuration>\n"
        "\t<VariableForExMan>\n"
        "\t\t<Data key=\"ProductName\">Adobe Premiere Pro</Data>\n"
        "\t\t<Data key=\"ProductVersion\">%1</Data>\n"
        "\t\t<Data key=\"ProductLocale\">en_US</Data>\n"
        "\t</VariableForExMan>\n"
        "</Configuration>\n").arg(productVersion.toHtmlEscaped());
    return text.toUtf8();
}

bool VTApplicationWriter::writeXManConfig(const QString &folder, const QString &productVersion)
{
    const QString configuration = VTPath::join(folder, QStringLiteral("Configuration"));
    return m_files.makePath(configuration)
        && m_files.writeFile(VTPath::join(configuration, QStringLiteral("XManConfig.xml")), xManConfig(productVersion));
}
