#include "VTSandboxBuilder.h"

#include "SandboxTestSupport.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonObject>
#include <QTemporaryDir>

using namespace VTSandboxKind;

namespace {

const QString kDisabled = QStringLiteral("/Library/Application Support/Vantorel/Hearthkit/Tessary Disabled Plugins");

class SandboxBuilderTest : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(m_dir.isValid()); }
    void TearDown() override { EXPECT_TRUE(m_builder.ok()) << m_builder.errors().join(u'\n').toStdString(); }

    QString root() const { return m_builder.root(); }
    QString home() const { return m_builder.home(); }
    static bool isFolder(const QString &path) { return QFileInfo(path).isDir(); }
    static bool isFile(const QString &path) { return QFileInfo(path).isFile(); }
    // Expects the last call to have failed with a message holding `text`.
    void expectError(const QString &text)
    {
        const QStringList errors = m_builder.takeErrors();
        ASSERT_EQ(errors.size(), 1) << errors.join(u'\n').toStdString();
        EXPECT_TRUE(errors.first().contains(text)) << errors.first().toStdString();
    }

    QTemporaryDir m_dir;
    VTSandboxBuilder m_builder{m_dir.filePath(QStringLiteral("root")), m_dir.filePath(QStringLiteral("home"))};
};

} // namespace

TEST_F(SandboxBuilderTest, EveryKindLandsInItsFolderForEachAccess)
{
    // The folder table written out by hand: all users under the root, the
    // current user under the home.
    struct Row {
        qint64 kind;
        qint64 access;
        QString folder;
    };
    const QList<Row> rows{
        {FxPlug, AllUsers, root() + QStringLiteral("/Library/Plug-Ins/FxPlug")},
        {FxPlug, CurrentUser, home() + QStringLiteral("/Library/Plug-Ins/FxPlug")},
        {FxScript, AllUsers, root() + QStringLiteral("/Library/Application Support/Final Cut Pro System Support/Plugins")},
        {FxScript, CurrentUser, home() + QStringLiteral("/Library/Preferences/Final Cut Pro User Data/Plugins")},
        {AudioUnit, AllUsers, root() + QStringLiteral("/Library/Audio/Plug-Ins/Components")},
        {AudioUnit, CurrentUser, home() + QStringLiteral("/Library/Audio/Plug-Ins/Components")},
        {AvidAVX, AllUsers, root() + QStringLiteral("/Applications/Avid Media Composer/SupportingFiles/AVX_Plug-Ins")},
        {AdobePlugin, AllUsers, root() + QStringLiteral("/Library/Application Support/Adobe/Common/Plug-ins/7.0/MediaCore")},
        {AvidAVX2, AllUsers, root() + QStringLiteral("/Library/Application Support/Avid/AVX2_Plug-ins")},
        {AvidRTAS, AllUsers, root() + QStringLiteral("/Library/Application Support/Digidesign/Plug-Ins")},
        {VST, AllUsers, root() + QStringLiteral("/Library/Audio/Plug-Ins/VST")},
        {VST, CurrentUser, home() + QStringLiteral("/Library/Audio/Plug-Ins/VST")},
        {MotionTemplate, AllUsers, root() + QStringLiteral("/Library/Application Support/Final Cut Pro/Templates.localized")},
        {MotionTemplate, CurrentUser, home() + QStringLiteral("/Movies/Motion Templates.localized")},
        {OpenFX, AllUsers, root() + QStringLiteral("/Library/OFX/Plugins")},
    };
    for (const Row &row : rows) {
        const QString name = QStringLiteral("Kind %1 Access %2").arg(row.kind).arg(row.access);
        const QString path = row.kind == MotionTemplate ? m_builder.addMotionTemplate(row.access, QStringLiteral("Titles"), name)
                                                        : m_builder.addBundle(row.kind, row.access, name);
        ASSERT_FALSE(path.isEmpty()) << m_builder.errors().join(u'\n').toStdString();
        EXPECT_TRUE(path.startsWith(row.folder + u'/')) << path.toStdString();
        EXPECT_TRUE(isFolder(path)) << path.toStdString();
        const VTSandboxPlugin *plugin = m_builder.manifest().plugin(path);
        ASSERT_NE(plugin, nullptr);
        EXPECT_EQ(plugin->kind, row.kind);
        EXPECT_EQ(plugin->access, row.access);
        EXPECT_TRUE(plugin->enabled);
        EXPECT_EQ(plugin->enabledPath, path);
    }
    EXPECT_EQ(m_builder.manifest().plugins.size(), rows.size());
    // The folders of the two Motion template trees are localised.
    EXPECT_TRUE(isFile(rows.at(12).folder + QStringLiteral("/.localized")));
    EXPECT_TRUE(isFile(rows.at(13).folder + QStringLiteral("/Titles.localized/.localized")));
}

TEST_F(SandboxBuilderTest, KindsWithoutAUserFolderRefuseOne)
{
    for (qint64 kind : {AvidAVX, AdobePlugin, AvidAVX2, AvidRTAS, OpenFX}) {
        EXPECT_TRUE(m_builder.addBundle(kind, CurrentUser, QStringLiteral("Nowhere")).isEmpty());
        expectError(QStringLiteral("has no folder for access 1"));
    }
    EXPECT_TRUE(m_builder.addBundle(42, AllUsers, QStringLiteral("Nothing")).isEmpty());
    expectError(QStringLiteral("Unknown has no folder"));
}

TEST_F(SandboxBuilderTest, HostApplicationsMoveTheirFolders)
{
    const QString express = m_builder.addFinalCutExpress();
    const QString symphony = m_builder.addAvidSymphony();
    m_builder.setAdobePluginVersion(QStringLiteral("12.0"));
    EXPECT_EQ(express, root() + QStringLiteral("/Applications/Final Cut Express.app"));
    EXPECT_EQ(symphony, root() + QStringLiteral("/Applications/Avid Symphony/Avid Symphony.app"));
    EXPECT_EQ(SandboxTest::plistlibRead(express + QStringLiteral("/Contents/Info.plist"))
                  .toObject().value(QStringLiteral("CFBundleIdentifier")).toString(),
              QStringLiteral("com.apple.FinalCutExpress"));
    EXPECT_EQ(SandboxTest::plistlibRead(symphony + QStringLiteral("/Contents/Info.plist"))
                  .toObject().value(QStringLiteral("CFBundleIdentifier")).toString(),
              QStringLiteral("com.avid.symphony"));

    EXPECT_EQ(m_builder.addFile(FxScript, AllUsers, QStringLiteral("Fade.txt")),
              root() + QStringLiteral("/Library/Application Support/Final Cut Express System Support/Plugins/Fade.txt"));
    EXPECT_EQ(m_builder.addFile(FxScript, CurrentUser, QStringLiteral("Fade.txt")),
              home() + QStringLiteral("/Library/Preferences/Final Cut Express User Data/Plugins/Fade.txt"));
    EXPECT_EQ(m_builder.addBundle(AvidAVX, AllUsers, QStringLiteral("Grain")),
              root() + QStringLiteral("/Applications/Avid Symphony/SupportingFiles/AVX_Plug-Ins/Grain.avx"));
    EXPECT_EQ(m_builder.addBundle(AdobePlugin, AllUsers, QStringLiteral("Sharp")),
              root() + QStringLiteral("/Library/Application Support/Adobe/Common/Plug-ins/12.0/MediaCore/Sharp.bundle"));
    EXPECT_EQ(m_builder.manifest().applications.size(), 2);
}

TEST_F(SandboxBuilderTest, HostApplicationsComeBeforeThePluginsTheyMove)
{
    ASSERT_FALSE(m_builder.addFile(FxScript, AllUsers, QStringLiteral("Early.txt")).isEmpty());
    EXPECT_TRUE(m_builder.addFinalCutExpress().isEmpty());
    expectError(QStringLiteral("before FxScript"));
    ASSERT_FALSE(m_builder.addBundle(AdobePlugin, AllUsers, QStringLiteral("Early")).isEmpty());
    m_builder.setAdobePluginVersion(QStringLiteral("CS6"));
    expectError(QStringLiteral("before adding Adobe"));
}

TEST_F(SandboxBuilderTest, PremiereConfigurationAnswersTheProductVersionQuery)
{
    const QString folder = m_builder.addPremiere(QStringLiteral("Adobe Premiere Pro CS6"), QStringLiteral("Adobe Premiere Pro CS6"),
                                                 QStringLiteral("6.0.3"), QStringLiteral("6.0 & <beta>"));
    EXPECT_EQ(folder, root() + QStringLiteral("/Applications/Adobe Premiere Pro CS6"));
    const QJsonObject info = SandboxTest::plistlibRead(folder + QStringLiteral("/Adobe Premiere Pro CS6.app/Contents/Info.plist")).toObject();
    EXPECT_EQ(info.value(QStringLiteral("CFBundleIdentifier")).toString(), QStringLiteral("com.adobe.AdobePremierePro"));
    EXPECT_EQ(info.value(QStringLiteral("CFBundleVersion")).toString(), QStringLiteral("6.0.3"));
    const QString version = SandboxTest::pythonJson(R"PY(
import json, sys, xml.etree.ElementTree as ET
document = ET.parse(sys.argv[1])
node = document.getroot().find("./VariableForExMan/Data[@key='ProductVersion']")
print(json.dumps(document.getroot().tag + ':' + node.text))
)PY",
                                                    {folder + QStringLiteral("/Configuration/XManConfig.xml")})
                                .toString();
    EXPECT_EQ(version, QStringLiteral("Configuration:6.0 & <beta>"));

    // Only the configuration file: no application bundle.
    const QString bare = m_builder.addPremiere(QStringLiteral("Adobe Premiere Pro 2.0"), QString(), QString(), QStringLiteral("2.0"));
    EXPECT_TRUE(isFile(bare + QStringLiteral("/Configuration/XManConfig.xml")));
    EXPECT_EQ(QDir(bare).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList{QStringLiteral("Configuration")});
}

TEST_F(SandboxBuilderTest, TypeCodedFilesCarryFinderInfo)
{
    const QString path = m_builder.addTypeCodedFile(FxScript, AllUsers, QStringLiteral("Film Look"));
    ASSERT_FALSE(path.isEmpty());
    const auto result = SandboxTest::run(QStringLiteral("getfattr"),
                                         {QStringLiteral("--only-values"), QStringLiteral("-n"),
                                          QStringLiteral("user.com.apple.FinderInfo"), path});
    ASSERT_EQ(result.exitCode, 0) << result.err.constData();
    ASSERT_EQ(result.out.size(), 32);
    EXPECT_EQ(result.out.left(4), QByteArray("FCSC"));
    EXPECT_EQ(result.out.mid(4), QByteArray(28, '\0'));
    EXPECT_EQ(m_builder.manifest().plugin(path)->form, VTSandboxPlugin::Form::TypeCodedFile);
    EXPECT_EQ(m_builder.manifest().plugin(path)->name, QStringLiteral("Film Look"));
    // Plain file plug-ins carry no such attribute.
    const QString plain = m_builder.addFile(FxScript, AllUsers, QStringLiteral("Fade.txt"));
    EXPECT_NE(SandboxTest::run(QStringLiteral("getfattr"), {QStringLiteral("-n"), QStringLiteral("user.com.apple.FinderInfo"), plain})
                  .exitCode, 0);
}

TEST_F(SandboxBuilderTest, DisabledPluginsMirrorTheirWholeEnabledPath)
{
    VTBundleOptions options;
    options.group = QStringLiteral("Color");
    options.enabled = false;
    const QString made = m_builder.addBundle(FxPlug, AllUsers, QStringLiteral("Blur"), options);
    EXPECT_EQ(made, root() + kDisabled + root() + QStringLiteral("/Library/Plug-Ins/FxPlug/Color/Blur.fxplug"));
    EXPECT_TRUE(isFile(made + QStringLiteral("/Contents/Info.plist")));

    const QString enabled = m_builder.addBundle(FxPlug, CurrentUser, QStringLiteral("Vignette"));
    const QByteArray plist = SandboxTest::readBytes(enabled + QStringLiteral("/Contents/Info.plist"));
    const QString moved = m_builder.disable(enabled);
    EXPECT_EQ(moved, root() + kDisabled + home() + QStringLiteral("/Library/Plug-Ins/FxPlug/Vignette.fxplug"));
    EXPECT_FALSE(QFileInfo::exists(enabled));
    EXPECT_EQ(SandboxTest::readBytes(moved + QStringLiteral("/Contents/Info.plist")), plist);

    const VTSandboxPlugin *plugin = m_builder.manifest().plugin(moved);
    ASSERT_NE(plugin, nullptr);
    EXPECT_FALSE(plugin->enabled);
    EXPECT_EQ(plugin->enabledPath, enabled);
    EXPECT_EQ(m_builder.manifest().disabledCount(), 2);
    EXPECT_EQ(m_builder.manifest().disabledRoot, root() + kDisabled);
}

TEST_F(SandboxBuilderTest, DisablingAGroupMergesWithItsDisabledPart)
{
    VTBundleOptions off;
    off.group = QStringLiteral("Legacy/Old");
    off.enabled = false;
    const QString already = m_builder.addBundle(VST, AllUsers, QStringLiteral("Flanger"), off);
    VTBundleOptions on;
    on.group = QStringLiteral("Legacy/Old");
    m_builder.addBundle(VST, AllUsers, QStringLiteral("Verb"), on);
    on.group = QStringLiteral("Legacy");
    m_builder.addBundle(VST, AllUsers, QStringLiteral("Chorus"), on);

    const QString enabledGroup = root() + QStringLiteral("/Library/Audio/Plug-Ins/VST/Legacy");
    const QString moved = m_builder.disable(enabledGroup);
    EXPECT_EQ(moved, root() + kDisabled + enabledGroup);
    EXPECT_FALSE(QFileInfo::exists(enabledGroup));
    EXPECT_TRUE(isFolder(already));
    EXPECT_TRUE(isFolder(moved + QStringLiteral("/Old/Verb.vst")));
    EXPECT_TRUE(isFolder(moved + QStringLiteral("/Chorus.vst")));

    const VTSandboxManifest &manifest = m_builder.manifest();
    EXPECT_EQ(manifest.enabledCount(), 0);
    EXPECT_EQ(manifest.pluginNamed(QStringLiteral("Verb.vst"))->path, moved + QStringLiteral("/Old/Verb.vst"));
    EXPECT_EQ(manifest.pluginNamed(QStringLiteral("Verb.vst"))->group, QStringLiteral("Legacy/Old"));
    // Each folder is listed once, in the disabled tree, whatever it was made as.
    QStringList groups;
    for (const VTSandboxGroup &group : manifest.groups) {
        EXPECT_FALSE(group.enabled) << group.path.toStdString();
        EXPECT_TRUE(isFolder(group.path)) << group.path.toStdString();
        groups.append(group.subdir);
    }
    groups.sort();
    EXPECT_EQ(groups, (QStringList{QStringLiteral("Legacy"), QStringLiteral("Legacy/Old")}));
}

TEST_F(SandboxBuilderTest, DisableRefusesWhatItCannotMove)
{
    EXPECT_TRUE(m_builder.disable(root() + QStringLiteral("/Library/Preferences")).isEmpty());
    expectError(QStringLiteral("not inside a plug-in folder"));
    EXPECT_TRUE(m_builder.disable(root() + QStringLiteral("/Library/Plug-Ins/FxPlug/Missing.fxplug")).isEmpty());
    expectError(QStringLiteral("nothing to disable"));
    VTBundleOptions off;
    off.enabled = false;
    m_builder.addBundle(FxPlug, AllUsers, QStringLiteral("Twice"), off);
    const QString enabled = m_builder.addBundle(FxPlug, AllUsers, QStringLiteral("Twice"));
    EXPECT_TRUE(m_builder.disable(enabled).isEmpty());
    EXPECT_TRUE(isFolder(enabled)); // left where it was
    expectError(QStringLiteral("already exists"));
    m_builder.addBundle(FxPlug, AllUsers, QStringLiteral("Same"));
    EXPECT_TRUE(m_builder.addBundle(FxPlug, AllUsers, QStringLiteral("Same")).isEmpty());
    expectError(QStringLiteral("already exists"));
}

TEST_F(SandboxBuilderTest, MotionTemplatesSitInTheirCategory)
{
    VTTemplateOptions options;
    options.group = QStringLiteral("Mine");
    const QString glow = m_builder.addMotionTemplate(AllUsers, QStringLiteral("Generators"), QStringLiteral("Glow"), options);
    const QString folder = root() + QStringLiteral("/Library/Application Support/Final Cut Pro/Templates.localized");
    EXPECT_EQ(glow, folder + QStringLiteral("/Generators.localized/Mine/Glow"));
    EXPECT_TRUE(isFile(glow + QStringLiteral("/Glow.motn")));
    EXPECT_TRUE(isFile(glow + QStringLiteral("/Large.png")));
    EXPECT_TRUE(isFile(folder + QStringLiteral("/Generators.localized/.localized")));
    EXPECT_EQ(m_builder.manifest().plugin(glow)->group, QStringLiteral("Generators.localized/Mine"));

    const QString swipe = m_builder.addMotionTemplate(CurrentUser, QStringLiteral("Transitions.localized"), QStringLiteral("Swipe"));
    EXPECT_TRUE(isFile(swipe + QStringLiteral("/Swipe.motr")));
    const QString title = m_builder.addMotionTemplate(AllUsers, QStringLiteral("Titles"), QStringLiteral("Third"));
    EXPECT_TRUE(isFile(title + QStringLiteral("/Third.moti")));
    const QString effect = m_builder.addMotionTemplate(AllUsers, QStringLiteral("Effects"), QStringLiteral("Pixel"));
    EXPECT_TRUE(isFile(effect + QStringLiteral("/Pixel.moef")));

    EXPECT_TRUE(m_builder.addMotionTemplate(AllUsers, QStringLiteral("Sounds"), QStringLiteral("Beep")).isEmpty());
    expectError(QStringLiteral("not a Motion template category"));
}

TEST_F(SandboxBuilderTest, ManifestNamesFollowTheBundle)
{
    VTBundleOptions localized;
    localized.displayName = QStringLiteral("Plist Name");
    localized.localizations = {{QStringLiteral("de"), {{QStringLiteral("CFBundleDisplayName"), QStringLiteral("Deutsch")}}},
                               {QStringLiteral("en"), {{QStringLiteral("CFBundleDisplayName"), QStringLiteral("English Name")}}}};
    const QString a = m_builder.addBundle(FxPlug, AllUsers, QStringLiteral("A"), localized);
    VTBundleOptions display;
    display.displayName = QStringLiteral("Shown");
    const QString b = m_builder.addBundle(FxPlug, AllUsers, QStringLiteral("B"), display);
    VTBundleOptions placeholder;
    placeholder.info.insert(QStringLiteral("CFBundleName"), QStringLiteral("${PRODUCT_NAME}"));
    const QString c = m_builder.addBundle(FxPlug, AllUsers, QStringLiteral("Fallback"), placeholder);
    VTBundleOptions nameless;
    nameless.info.insert(QStringLiteral("CFBundleName"), QVariant());
    nameless.info.insert(QStringLiteral("CFBundleExecutable"), QVariant());
    nameless.version.clear();
    nameless.extension = QStringLiteral("plugin");
    const QString d = m_builder.addBundle(FxPlug, AllUsers, QStringLiteral("Version 2.0"), nameless);

    const VTSandboxManifest &manifest = m_builder.manifest();
    EXPECT_EQ(manifest.plugin(a)->name, QStringLiteral("English Name"));
    EXPECT_EQ(manifest.plugin(b)->name, QStringLiteral("Shown"));
    EXPECT_EQ(manifest.plugin(c)->name, QStringLiteral("Fallback"));
    EXPECT_EQ(manifest.plugin(d)->name, QStringLiteral("Version 2.0"));
    EXPECT_EQ(manifest.plugin(a)->version, QStringLiteral("1.0"));
    EXPECT_EQ(manifest.plugin(d)->version, QStringLiteral("1"));
    // Without CFBundleExecutable no reader finds the executable.
    EXPECT_TRUE(manifest.plugin(d)->architectures.isEmpty());
    const QJsonObject info = SandboxTest::plistlibRead(d + QStringLiteral("/Contents/Info.plist")).toObject();
    EXPECT_FALSE(info.contains(QStringLiteral("CFBundleName")));
    EXPECT_FALSE(info.contains(QStringLiteral("CFBundleShortVersionString")));
}

TEST_F(SandboxBuilderTest, FxFactoryFoldersAndManagedBundles)
{
    const QString pack = m_builder.addFxFactoryGroup(FxPlug, AllUsers, QStringLiteral("Pack"));
    EXPECT_TRUE(isFile(pack + QStringLiteral("/.fxfactory.plist")));
    VTBundleOptions inside;
    inside.group = QStringLiteral("Pack/Deeper");
    const QString deep = m_builder.addBundle(FxPlug, AllUsers, QStringLiteral("Deep"), inside);
    VTBundleOptions managed;
    managed.fxFactoryManaged = true;
    const QString locked = m_builder.addBundle(FxPlug, AllUsers, QStringLiteral("Keyer"), managed);
    const QString free = m_builder.addBundle(FxPlug, AllUsers, QStringLiteral("Free"));

    const VTSandboxManifest &manifest = m_builder.manifest();
    EXPECT_TRUE(manifest.plugin(deep)->insideFxFactory);
    EXPECT_FALSE(manifest.plugin(deep)->locked);
    EXPECT_TRUE(manifest.plugin(locked)->locked);
    EXPECT_FALSE(manifest.plugin(locked)->insideFxFactory);
    EXPECT_TRUE(isFile(locked + QStringLiteral("/.fxfactory.plist")));
    EXPECT_FALSE(manifest.plugin(free)->locked || manifest.plugin(free)->insideFxFactory);
    EXPECT_EQ(SandboxTest::plistlibRead(pack + QStringLiteral("/.fxfactory.plist")).toObject().value(QStringLiteral("ProductName")).toString(),
              QStringLiteral("Pack"));
}

TEST_F(SandboxBuilderTest, ManifestArchitecturesMatchTheExecutable)
{
    VTBundleOptions options;
    options.architectures = {VTMachOWriter::Arch::PPC, VTMachOWriter::Arch::ARM64, VTMachOWriter::Arch::X86_64};
    options.container = VTMachOWriter::Container::Fat64;
    const QString path = m_builder.addBundle(AudioUnit, AllUsers, QStringLiteral("Old And New"), options);
    const VTSandboxPlugin *plugin = m_builder.manifest().plugin(path);
    EXPECT_EQ(plugin->architectures, (QStringList{QStringLiteral("ppc"), QStringLiteral("arm64"), QStringLiteral("x86_64")}));
    EXPECT_EQ(plugin->architectureTexts(), (QStringList{QStringLiteral("32-bit (PowerPC)"), QStringLiteral("64-bit (Intel)")}));
    const QByteArray exe = SandboxTest::readBytes(path + QStringLiteral("/Contents/MacOS/Old And New"));
    EXPECT_EQ(exe.left(8), QByteArray::fromHex("cafebabf00000003"));

    options.container = VTMachOWriter::Container::Thin;
    EXPECT_TRUE(m_builder.addBundle(AudioUnit, AllUsers, QStringLiteral("Impossible"), options).isEmpty());
    EXPECT_FALSE(QFileInfo::exists(m_builder.folder(AudioUnit, AllUsers) + QStringLiteral("/Impossible.component")));
    expectError(QStringLiteral("thin executable"));
}

TEST_F(SandboxBuilderTest, IgnoredEntriesAndLinksAreRecordedApart)
{
    const QString folder = m_builder.folder(FxPlug, AllUsers);
    const QString loop = m_builder.addLink(FxPlug, AllUsers, QStringLiteral("Group/Loop"), folder + QStringLiteral("/Group"));
    const QString old = m_builder.addIgnored(FxPlug, AllUsers, QStringLiteral("Old.Disabled"), true);
    const QString hidden = m_builder.addIgnored(FxPlug, AllUsers, QStringLiteral(".Disabled"));
    EXPECT_EQ(QFileInfo(loop).symLinkTarget(), folder + QStringLiteral("/Group"));
    EXPECT_TRUE(isFolder(old));
    EXPECT_TRUE(isFile(hidden));
    EXPECT_EQ(m_builder.manifest().ignored, (QStringList{loop, old, hidden}));
    EXPECT_TRUE(m_builder.manifest().plugins.isEmpty());
    // The folder holding the link is a group.
    ASSERT_EQ(m_builder.manifest().groups.size(), 1);
    EXPECT_EQ(m_builder.manifest().groups.first().subdir, QStringLiteral("Group"));
}
