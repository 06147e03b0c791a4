#include "VTBundleWriter.h"
#include "VTMachOWriter.h"
#include "VTSandboxFiles.h"

#include "SandboxTestSupport.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>
#include <QTemporaryDir>

namespace {

// Parses a strings file as Python reads text: the encoding from its BOM
// (UTF-16) or UTF-8, then "key" = "value"; pairs with backslash escapes.
QJsonObject readStringsWithPython(const QString &path)
{
    return SandboxTest::pythonJson(R"PY(
import json, re, sys
raw = open(sys.argv[1], 'rb').read()
if raw[:2] in (b'\xff\xfe', b'\xfe\xff'):
    text = raw.decode('utf-16')
else:
    text = raw.decode('utf-8')
    assert not text.startswith('\ufeff')
unescape = lambda s: re.sub(r'\\(.)', lambda m: '\n' if m.group(1) == 'n' else m.group(1), s)
pairs = re.findall(r'"((?:[^"\\]|\\.)*)"\s*=\s*"((?:[^"\\]|\\.)*)"\s*;', text)
print(json.dumps({unescape(k): unescape(v) for k, v in pairs}))
)PY",
                                   {path})
        .toObject();
}

class BundleWriterTest : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(m_dir.isValid()); }
    QString path(const QString &name) const { return m_dir.filePath(name); }

    QTemporaryDir m_dir;
    VTSandboxFiles m_files;
    VTBundleWriter m_writer{m_files};
};

} // namespace

TEST_F(BundleWriterTest, StringsFilesCarryTheirEncoding)
{
    const QMap<QString, QString> strings{
        {QStringLiteral("CFBundleDisplayName"), QStringLiteral("Warmes Leuchten \"Süd\" \\ 暖かい 🎬")},
        {QStringLiteral("CFBundleName"), QStringLiteral("Zwei\nZeilen")},
    };
    struct Case {
        VTLocalization::Encoding encoding;
        QByteArray start;
    };
    const QList<Case> cases{{VTLocalization::Encoding::Utf8, QByteArray("/* ")},
                            {VTLocalization::Encoding::Utf16LittleEndian, QByteArray("\xff\xfe/\0", 4)},
                            {VTLocalization::Encoding::Utf16BigEndian, QByteArray("\xfe\xff\0/", 4)}};
    for (const Case &c : cases) {
        const QString file = path(QStringLiteral("InfoPlist%1.strings").arg(static_cast<int>(c.encoding)));
        ASSERT_TRUE(m_files.writeFile(file, VTBundleWriter::stringsFile(strings, c.encoding)));
        EXPECT_EQ(SandboxTest::readBytes(file).left(c.start.size()), c.start);
        const QJsonObject read = readStringsWithPython(file);
        EXPECT_EQ(read.size(), 2);
        for (auto it = strings.cbegin(); it != strings.cend(); ++it)
            EXPECT_EQ(read.value(it.key()).toString(), it.value()) << it.key().toStdString();
    }
}

TEST_F(BundleWriterTest, InfoPlistReadsBackWithPlistlibInBothForms)
{
    const QVariantMap info{
        {QStringLiteral("CFBundleName"), QStringLiteral("Glow")},
        {QStringLiteral("CFBundleExecutable"), QStringLiteral("Glow")},
        {QStringLiteral("CFBundleShortVersionString"), QStringLiteral("2.5")},
        {QStringLiteral("CFBundleVersion"), QStringLiteral("250")},
        {QStringLiteral("CFBundlePackageType"), QStringLiteral("BNDL")},
        {QStringLiteral("LSMinimumSystemVersion"), QStringLiteral("10.6")},
        {QStringLiteral("NSHumanReadableCopyright"), QStringLiteral("© 2024 Sandbox & Co")},
    };
    for (const auto format : {VTPropertyList::Format::Xml, VTPropertyList::Format::Binary}) {
        const bool binary = format == VTPropertyList::Format::Binary;
        const QString bundle = path(binary ? QStringLiteral("Binary.fxplug") : QStringLiteral("Xml.fxplug"));
        const QByteArray exe = VTMachOWriter::image({VTMachOWriter::Arch::X86_64}, VTMachOWriter::Container::Auto,
                                                    VTMachOWriter::FileType::Bundle);
        ASSERT_TRUE(m_writer.write(bundle, info, format, exe, {})) << m_files.lastError().toStdString();

        const QString plist = bundle + QStringLiteral("/Contents/Info.plist");
        EXPECT_TRUE(SandboxTest::readBytes(plist).startsWith(binary ? "bplist00" : "<?xml"));
        const QJsonObject read = SandboxTest::plistlibRead(plist).toObject();
        EXPECT_EQ(read.size(), info.size());
        for (auto it = info.cbegin(); it != info.cend(); ++it)
            EXPECT_EQ(read.value(it.key()).toString(), it.value().toString()) << it.key().toStdString();

        const QFileInfo executable(bundle + QStringLiteral("/Contents/MacOS/Glow"));
        EXPECT_TRUE(executable.isExecutable());
        EXPECT_EQ(SandboxTest::readBytes(executable.filePath()), exe);
    }
}

TEST_F(BundleWriterTest, LocalisationsGoToTheirLprojFolders)
{
    const QString bundle = path(QStringLiteral("Local.component"));
    const QList<VTLocalization> localizations{
        {QStringLiteral("en"), {{QStringLiteral("CFBundleDisplayName"), QStringLiteral("Glow")}},
         VTLocalization::Encoding::Utf8},
        {QStringLiteral("de"), {{QStringLiteral("CFBundleDisplayName"), QStringLiteral("Glühen")}},
         VTLocalization::Encoding::Utf16LittleEndian},
    };
    ASSERT_TRUE(m_writer.write(bundle, {{QStringLiteral("CFBundleName"), QStringLiteral("Local")}},
                               VTPropertyList::Format::Xml, QByteArray(), localizations));
    EXPECT_EQ(readStringsWithPython(bundle + QStringLiteral("/Contents/Resources/de.lproj/InfoPlist.strings"))
                  .value(QStringLiteral("CFBundleDisplayName")).toString(),
              QStringLiteral("Glühen"));
    EXPECT_EQ(readStringsWithPython(bundle + QStringLiteral("/Contents/Resources/en.lproj/InfoPlist.strings"))
                  .value(QStringLiteral("CFBundleDisplayName")).toString(),
              QStringLiteral("Glow"));
    // No executable asked for: no MacOS folder.
    EXPECT_FALSE(QFileInfo::exists(bundle + QStringLiteral("/Contents/MacOS")));
}

TEST_F(BundleWriterTest, FilesReportWhatFailed)
{
    EXPECT_TRUE(m_files.makePath(path(QStringLiteral("a/b/c"))));
    EXPECT_TRUE(m_files.makePath(path(QStringLiteral("a/b/c")))); // made already
    ASSERT_TRUE(m_files.createFile(path(QStringLiteral("a/file")), "x"));
    EXPECT_FALSE(m_files.createFile(path(QStringLiteral("a/file")), "y"));
    EXPECT_TRUE(m_files.lastError().contains(QStringLiteral("a/file")));
    EXPECT_EQ(SandboxTest::readBytes(path(QStringLiteral("a/file"))), QByteArray("x"));
    EXPECT_FALSE(m_files.makePath(path(QStringLiteral("a/file/below"))));
    EXPECT_FALSE(m_files.moveNoReplace(path(QStringLiteral("a/b")), path(QStringLiteral("a/file"))));
    EXPECT_TRUE(QFileInfo(path(QStringLiteral("a/b/c"))).isDir());
}
