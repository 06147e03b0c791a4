#include "VTBundle.h"

#include "VTPropertyList.h"
#include "VTTestSandbox.h"

#include <QDir>
#include <QFile>
#include <QStringEncoder>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace {

class BundleDir : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(m_dir.isValid()); }

    QString path(const QString &relative) const { return m_dir.filePath(relative); }

    void write(const QString &relative, const QByteArray &bytes) { ASSERT_TRUE(VTTestSandbox::makeFile(path(relative), bytes)); }

    // A bundle folder with an Info.plist in the given format.
    QString makeBundle(const QString &name, const QVariantMap &info,
                       VTPropertyList::Format format = VTPropertyList::Format::Xml)
    {
        write(name + QStringLiteral("/Contents/Info.plist"), VTPropertyList::toData(info, format));
        return path(name);
    }

    static QByteArray utf16(const QString &text, bool bigEndian, bool bom)
    {
        QStringEncoder encoder(bigEndian ? QStringConverter::Utf16BE : QStringConverter::Utf16LE,
                               bom ? QStringConverter::Flag::WriteBom : QStringConverter::Flag::Default);
        return encoder.encode(text);
    }

    QTemporaryDir m_dir;
};

QVariantMap info(std::initializer_list<std::pair<const char *, QVariant>> pairs)
{
    QVariantMap map;
    for (const auto &[key, value] : pairs)
        map.insert(QString::fromLatin1(key), value);
    return map;
}

} // namespace

TEST_F(BundleDir, PackageTest)
{
    ASSERT_TRUE(QDir().mkpath(path(QStringLiteral("Blur.FXPLUG"))));
    ASSERT_TRUE(QDir().mkpath(path(QStringLiteral("Plain"))));
    ASSERT_TRUE(QDir().mkpath(path(QStringLiteral("Group.localized"))));
    makeBundle(QStringLiteral("NoExtension"), info({{"CFBundleName", QStringLiteral("X")}}));
    write(QStringLiteral("File.bundle"), "not a folder");

    EXPECT_TRUE(VTBundle::isPackage(path(QStringLiteral("Blur.FXPLUG"))));
    EXPECT_TRUE(VTBundle::isPackage(path(QStringLiteral("NoExtension"))));
    EXPECT_FALSE(VTBundle::isPackage(path(QStringLiteral("Plain"))));
    EXPECT_FALSE(VTBundle::isPackage(path(QStringLiteral("Group.localized"))));
    EXPECT_FALSE(VTBundle::isPackage(path(QStringLiteral("File.bundle"))));
    EXPECT_FALSE(VTBundle::isPackage(path(QStringLiteral("Missing.fxplug"))));
}

TEST_F(BundleDir, ReadsXmlAndBinaryInfo)
{
    const QVariantMap values = info({{"CFBundleName", QStringLiteral("Blur")},
                                      {"CFBundleShortVersionString", QStringLiteral("2.1")},
                                      {"CFBundleExecutable", QStringLiteral("Blur")}});
    for (const auto format : {VTPropertyList::Format::Xml, VTPropertyList::Format::Binary}) {
        const QString name = format == VTPropertyList::Format::Xml ? QStringLiteral("X.fxplug") : QStringLiteral("B.fxplug");
        const VTBundle bundle(makeBundle(name, values, format));
        EXPECT_TRUE(bundle.isValid());
        EXPECT_EQ(bundle.infoDictionary(), values);
        EXPECT_EQ(bundle.localizedString(QStringLiteral("CFBundleName")), QStringLiteral("Blur"));
        EXPECT_EQ(bundle.executablePath(), path(name + QStringLiteral("/Contents/MacOS/Blur")));
        EXPECT_TRUE(bundle.localization().isEmpty());
    }
}

TEST_F(BundleDir, DamagedInfoGivesNothing)
{
    const QByteArray binary = VTPropertyList::toData(info({{"CFBundleName", QStringLiteral("Blur")}}),
                                                     VTPropertyList::Format::Binary);
    write(QStringLiteral("Truncated.fxplug/Contents/Info.plist"), binary.left(binary.size() - 12));
    write(QStringLiteral("Malformed.fxplug/Contents/Info.plist"), "<?xml version=\"1.0\"?><plist><dict><key>");
    write(QStringLiteral("Array.fxplug/Contents/Info.plist"),
          VTPropertyList::toData(QVariantList{QStringLiteral("a")}, VTPropertyList::Format::Xml));
    ASSERT_TRUE(QDir().mkpath(path(QStringLiteral("Missing.fxplug/Contents"))));
    ASSERT_TRUE(QDir().mkpath(path(QStringLiteral("Pipe.fxplug/Contents"))));
    ASSERT_EQ(::mkfifo(QFile::encodeName(path(QStringLiteral("Pipe.fxplug/Contents/Info.plist"))).constData(), 0600), 0);

    for (const char *name : {"Truncated.fxplug", "Malformed.fxplug", "Array.fxplug", "Missing.fxplug", "Pipe.fxplug"}) {
        const VTBundle bundle(path(QString::fromLatin1(name)));
        EXPECT_TRUE(bundle.isValid()) << name;
        EXPECT_TRUE(bundle.infoDictionary().isEmpty()) << name;
        EXPECT_TRUE(bundle.executablePath().isEmpty()) << name;
        EXPECT_TRUE(bundle.executableArchitectures().isEmpty()) << name;
    }
    write(QStringLiteral("Flat.txt"), "FxScript");
    EXPECT_FALSE(VTBundle(path(QStringLiteral("Flat.txt"))).isValid());
}

TEST_F(BundleDir, LocalisedValuesPreferEnglish)
{
    const QVariantMap values = info({{"CFBundleName", QStringLiteral("Plain")}, {"CFBundleVersion", QStringLiteral("3")}});
    const QString bundle = makeBundle(QStringLiteral("L.fxplug"), values);
    write(QStringLiteral("L.fxplug/Contents/Resources/de.lproj/InfoPlist.strings"),
          utf16(QStringLiteral("CFBundleName = \"Weichzeichner\";"), false, true));
    write(QStringLiteral("L.fxplug/Contents/Resources/en.lproj/InfoPlist.strings"),
          utf16(QStringLiteral("/* names */\n\"CFBundleName\" = \"Soft Blur\";\n"), false, true));

    const VTBundle english(bundle);
    EXPECT_EQ(english.localization(), QStringLiteral("en"));
    EXPECT_EQ(english.localizedString(QStringLiteral("CFBundleName")), QStringLiteral("Soft Blur"));
    // Keys the strings file does not have come from the Info.plist.
    EXPECT_EQ(english.localizedString(QStringLiteral("CFBundleVersion")), QStringLiteral("3"));
    EXPECT_EQ(english.value(QStringLiteral("CFBundleName")).toString(), QStringLiteral("Plain"));

    ASSERT_TRUE(QDir(path(QStringLiteral("L.fxplug/Contents/Resources/en.lproj"))).removeRecursively());
    write(QStringLiteral("L.fxplug/Contents/Resources/Base.lproj/InfoPlist.strings"),
          QByteArray("\"CFBundleName\" = \"Base Blur\";"));
    EXPECT_EQ(VTBundle(bundle).localization(), QStringLiteral("Base"));
    write(QStringLiteral("L.fxplug/Contents/Resources/English.lproj/InfoPlist.strings"),
          utf16(QStringLiteral("\"CFBundleName\" = \"Old Blur\";"), true, false));
    EXPECT_EQ(VTBundle(bundle).localizedString(QStringLiteral("CFBundleName")), QStringLiteral("Old Blur"));

    ASSERT_TRUE(QDir(path(QStringLiteral("L.fxplug/Contents/Resources/English.lproj"))).removeRecursively());
    ASSERT_TRUE(QDir(path(QStringLiteral("L.fxplug/Contents/Resources/Base.lproj"))).removeRecursively());
    EXPECT_EQ(VTBundle(bundle).localizedString(QStringLiteral("CFBundleName")), QStringLiteral("Weichzeichner"));
}

TEST_F(BundleDir, MalformedStringsFileIsSkipped)
{
    const QString bundle = makeBundle(QStringLiteral("M.fxplug"), info({{"CFBundleName", QStringLiteral("Plain")}}));
    write(QStringLiteral("M.fxplug/Contents/Resources/en.lproj/InfoPlist.strings"), "\"CFBundleName\" = \"Broken");
    write(QStringLiteral("M.fxplug/Contents/Resources/fr.lproj/InfoPlist.strings"), "CFBundleName = \"Flou\";");
    const VTBundle read(bundle);
    EXPECT_EQ(read.localization(), QStringLiteral("fr"));
    EXPECT_EQ(read.localizedString(QStringLiteral("CFBundleName")), QStringLiteral("Flou"));
}

TEST(VTBundleStrings, GrammarPropertyListFormAndMalformedText)
{
    const auto parsed = VTBundle::parseStrings(QByteArray(
        "// line comment\n"
        "/* block\n comment */ \"Quoted Key\" = \"a \\\"b\\\" \\\\ \\n \\U00e9 \\101\";\n"
        "Bare = word.with-dots;\n"
        "\"Alone\";\n"
        "\"Empty\" = \"\";"));
    ASSERT_TRUE(parsed.has_value());
    EXPECT_EQ(parsed->value(QStringLiteral("Quoted Key")), QStringLiteral("a \"b\" \\ \n \u00e9 A"));
    EXPECT_EQ(parsed->value(QStringLiteral("Bare")), QStringLiteral("word.with-dots"));
    EXPECT_EQ(parsed->value(QStringLiteral("Alone")), QStringLiteral("Alone"));
    EXPECT_TRUE(parsed->contains(QStringLiteral("Empty")));
    EXPECT_EQ(parsed->size(), 4);

    const auto braced = VTBundle::parseStrings("{ \"a\" = \"1\"; b = 2; }");
    ASSERT_TRUE(braced.has_value());
    EXPECT_EQ(braced->value(QStringLiteral("b")), QStringLiteral("2"));

    const auto empty = VTBundle::parseStrings(QByteArray("\xEF\xBB\xBF /* nothing */ "));
    ASSERT_TRUE(empty.has_value());
    EXPECT_TRUE(empty->isEmpty());

    for (const char *text : {"\"a\" = \"1\"", "\"a\" = ;", "\"a\" \"b\";", "/* open", "\"a\" = \"\\u12\";", "{ a = b;",
                             "a = b; }", "= \"x\";", "\"a\" = \"1\\"}) {
        EXPECT_FALSE(VTBundle::parseStrings(QByteArray(text)).has_value()) << text;
    }

    // The property-list form: only its string values count.
    const QVariantMap map = info({{"CFBundleDisplayName", QStringLiteral("Glow")}, {"Count", qint64(3)}});
    const auto list = VTBundle::parseStrings(VTPropertyList::toData(map, VTPropertyList::Format::Binary));
    ASSERT_TRUE(list.has_value());
    EXPECT_EQ(list->value(QStringLiteral("CFBundleDisplayName")), QStringLiteral("Glow"));
    EXPECT_FALSE(list->contains(QStringLiteral("Count")));
    EXPECT_FALSE(VTBundle::parseStrings("<?xml version=\"1.0\"?><plist><array/></plist>").has_value());
}

TEST_F(BundleDir, ExecutableNameCannotLeaveTheBundle)
{
    for (const char *name : {"../../Evil", ".", "..", "", "a/b"}) {
        const VTBundle bundle(
            makeBundle(QStringLiteral("E.fxplug"), info({{"CFBundleExecutable", QString::fromLatin1(name)}})));
        EXPECT_TRUE(bundle.executablePath().isEmpty()) << name;
    }
    const VTBundle number(makeBundle(QStringLiteral("N.fxplug"), info({{"CFBundleExecutable", qint64(5)}})));
    EXPECT_TRUE(number.executablePath().isEmpty());
}
