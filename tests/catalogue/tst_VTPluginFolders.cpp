#include "VTPluginFolders.h"
#include "VTPluginKind.h"
#include "VTTestSandbox.h"


#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <tuple>
#include <vector>

namespace {

class VTPluginFoldersTest : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(m_sandbox.isValid()); }

    QString sys(const char *macPath) const { return m_sandbox.systemPath(QLatin1String(macPath)); }
    QString home(const char *relative) const { return m_sandbox.homePath(QLatin1String(relative)); }
    QString adobe(const char *rest) const
    {
        return VTPath::join(sys("/Library/Application Support/Adobe/Common/Plug-ins"), QLatin1String(rest));
    }

    // The fifteen folders of a system without applications, in matching order.
    std::vector<std::tuple<const char *, qint64, qint64, QString>> expectedFolders() const
    {
        return {
            {"localFxPlug", 0, 0, sys("/Library/Plug-Ins/FxPlug")},
            {"userFxPlug", 0, 1, home("Library/Plug-Ins/FxPlug")},
            {"localFxScript", 1, 0, sys("/Library/Application Support/Final Cut Pro System Support/Plugins")},
            {"userFxScript", 1, 1, home("Library/Preferences/Final Cut Pro User Data/Plugins")},
            {"localAU", 2, 0, sys("/Library/Audio/Plug-Ins/Components")},
            {"userAU", 2, 1, home("Library/Audio/Plug-Ins/Components")},
            {"avidAVX", 3, 0, sys("/Applications/Avid Media Composer/SupportingFiles/AVX_Plug-Ins")},
            {"avidAVX2", 5, 0, sys("/Library/Application Support/Avid/AVX2_Plug-ins")},
            {"avidRTAS", 6, 0, sys("/Library/Application Support/Digidesign/Plug-Ins")},
            {"adobeCommon", 4, 0, adobe("7.0/MediaCore")},
            {"localVST", 7, 0, sys("/Library/Audio/Plug-Ins/VST")},
            {"userVST", 7, 1, home("Library/Audio/Plug-Ins/VST")},
            {"localMotionTemplate", 8, 0, sys("/Library/Application Support/Final Cut Pro/Templates.localized")},
            {"userMotionTemplate", 8, 1, home("Movies/Motion Templates.localized")},
            {"localOFX", 9, 0, sys("/Library/OFX/Plugins")},
        };
    }

    void installApplication(const char *relative, const char *identifier, const QVariantMap &info = {})
    {
        ASSERT_TRUE(VTTestSandbox::makeApplication(VTPath::join(sys("/Applications"), QLatin1String(relative)),
                                                   QLatin1String(identifier), info));
    }
    void installPremiere(const char *name, const char *version)
    {
        const QString entry = QLatin1String(name);
        installApplication(qPrintable(entry + u'/' + entry + QStringLiteral(".app")), "com.adobe.AdobePremierePro",
                           {{QStringLiteral("CFBundleVersion"), QLatin1String(version)}});
    }

    VTTestSandbox m_sandbox;
};

} // namespace

TEST_F(VTPluginFoldersTest, DictionaryInMatchingOrderAndMatchingIsAPlainPrefixTest)
{
    const VTPluginFolders folders = VTPluginFolders::build();
    const auto expected = expectedFolders();
    ASSERT_EQ(folders.folders().size(), qsizetype(expected.size()));
    for (qsizetype i = 0; i < folders.folders().size(); ++i) {
        const auto &[key, kind, access, path] = expected[size_t(i)];
        const VTPluginFolders::Folder &folder = folders.folders().at(i);
        EXPECT_EQ(folder.key, QLatin1String(key));
        EXPECT_EQ(folder.kind, kind) << key;
        EXPECT_EQ(folder.access, access) << key;
        EXPECT_EQ(folder.path, path) << key;
        EXPECT_EQ(folders.path(QLatin1String(key)), path) << key;
        const auto found = folders.match(VTPath::join(path, QStringLiteral("Group/Item.bundle")));
        ASSERT_TRUE(found.has_value()) << key;
        EXPECT_EQ(found->key, QLatin1String(key));
        EXPECT_EQ(found->kind, kind) << key;
        EXPECT_EQ(found->access, access) << key;
    }
    EXPECT_TRUE(folders.path(QStringLiteral("noSuchKey")).isEmpty());
    EXPECT_EQ(folders.disabledPath(),
              sys("/Library/Application Support/Vantorel/Hearthkit/Tessary Disabled Plugins"));

    // Text prefix, not path components.
    const auto sibling = folders.match(sys("/Library/Plug-Ins/FxPlugOld/Blur.fxplug"));
    ASSERT_TRUE(sibling.has_value());
    EXPECT_EQ(sibling->key, QStringLiteral("localFxPlug"));
    EXPECT_FALSE(folders.match(sys("/Library/Plug-Ins/Other/x")).has_value());
    EXPECT_FALSE(folders.match(folders.disabledPath()).has_value());
    EXPECT_FALSE(folders.match(QString()).has_value());

    // A home that is the system root gives every user folder the path of the
    // all-users folder before it: the first match wins.
    m_sandbox.environment().set("HOME", m_sandbox.root());
    const VTPluginFolders coinciding = VTPluginFolders::build();
    ASSERT_EQ(coinciding.path(QStringLiteral("userVST")), coinciding.path(QStringLiteral("localVST")));
    const auto found = coinciding.match(sys("/Library/Audio/Plug-Ins/VST/Verb.vst"));
    ASSERT_TRUE(found.has_value());
    EXPECT_EQ(found->key, QStringLiteral("localVST"));
    EXPECT_EQ(found->access, VTPluginKind::AllUsers);
}

TEST_F(VTPluginFoldersTest, FinalCutExpressAndSymphonyMoveTheirFoldersWhenTheTableIsBuilt)
{
    const VTPluginFolders before = VTPluginFolders::build();
    installApplication("Final Cut Pro.app", "com.apple.FinalCutPro");
    installApplication("Final Cut Express.app", "com.apple.FinalCutExpress");
    installApplication("Avid Symphony/Avid Symphony.app", "com.avid.Symphony");
    const VTPluginFolders folders = VTPluginFolders::build();
    EXPECT_EQ(folders.path(QStringLiteral("localFxScript")),
              sys("/Library/Application Support/Final Cut Express System Support/Plugins"));
    EXPECT_EQ(folders.path(QStringLiteral("userFxScript")), home("Library/Preferences/Final Cut Express User Data/Plugins"));
    // Items of kind 1 still derive the "Pro" folders.
    EXPECT_EQ(folders.basePath(VTPluginKind::FxScript, 0),
              sys("/Library/Application Support/Final Cut Pro System Support/Plugins"));
    EXPECT_EQ(folders.basePath(VTPluginKind::FxScript, 1), home("Library/Preferences/Final Cut Pro User Data/Plugins"));
    const QString symphony = sys("/Applications/Avid Symphony/SupportingFiles/AVX_Plug-Ins");
    EXPECT_EQ(folders.path(QStringLiteral("avidAVX")), symphony);
    EXPECT_EQ(folders.basePath(VTPluginKind::AvidAVX, 0), symphony);

    // Applications are looked up when the value is built, not later.
    EXPECT_EQ(before.path(QStringLiteral("localFxScript")),
              sys("/Library/Application Support/Final Cut Pro System Support/Plugins"));
    EXPECT_EQ(before.path(QStringLiteral("avidAVX")), sys("/Applications/Avid Media Composer/SupportingFiles/AVX_Plug-Ins"));
    EXPECT_EQ(before.basePath(VTPluginKind::AvidAVX, 0), before.path(QStringLiteral("avidAVX")));
}

TEST_F(VTPluginFoldersTest, AdobeFolderTakesTheFirstNumericEntryInDescendingTextOrder)
{
    EXPECT_EQ(VTPluginFolders::adobeMediaCoreFolder(), adobe("7.0/MediaCore")) << "no Adobe folder at all";
    ASSERT_TRUE(VTTestSandbox::makeFolder(adobe("CS5/MediaCore")));
    ASSERT_TRUE(VTTestSandbox::makeFile(adobe("ReadMe.txt")));
    EXPECT_EQ(VTPluginFolders::adobeMediaCoreFolder(), adobe("7.0/MediaCore")) << "no numeric entry";
    for (const char *entry : {"7.0/MediaCore", "12.0/MediaCore"})
        ASSERT_TRUE(VTTestSandbox::makeFolder(adobe(entry)));
    EXPECT_EQ(VTPluginFolders::adobeMediaCoreFolder(), adobe("7.0/MediaCore"));
    ASSERT_TRUE(VTTestSandbox::makeFolder(adobe("8.5/MediaCore")));
    EXPECT_EQ(VTPluginFolders::adobeMediaCoreFolder(), adobe("8.5/MediaCore"));

    // The base path is not rooted twice.
    const VTPluginFolders folders = VTPluginFolders::build();
    EXPECT_EQ(folders.path(QStringLiteral("adobeCommon")), adobe("8.5/MediaCore"));
    EXPECT_EQ(folders.basePath(VTPluginKind::AdobePlugin, 0), adobe("8.5/MediaCore"));
    EXPECT_EQ(folders.basePath(VTPluginKind::AdobePlugin, 1),
              home("Library/Application Support/Adobe/Common/Plug-ins/8.5/MediaCore"));
}

TEST_F(VTPluginFoldersTest, MissingAdobeFolderFollowsTheLastPremiereVersion)
{
    installPremiere("Adobe Premiere Pro CS4", "4.0");
    installPremiere("Adobe Premiere Pro CS5", "5.0");
    EXPECT_EQ(VTPluginFolders::adobeMediaCoreFolder(), adobe("CS5/MediaCore"));

    // Only the first character of a ".0" version survives.
    installPremiere("Adobe Premiere Pro CS6", "10.0");
    EXPECT_EQ(VTPluginFolders::adobeMediaCoreFolder(), adobe("CS1/MediaCore"));

    installPremiere("Adobe Premiere Pro CS7", "5.5");
    EXPECT_EQ(VTPluginFolders::adobeMediaCoreFolder(), adobe("CS5.5/MediaCore"));

    // An existing numeric folder needs no Premiere version.
    ASSERT_TRUE(VTTestSandbox::makeFolder(adobe("7.0/MediaCore")));
    EXPECT_EQ(VTPluginFolders::adobeMediaCoreFolder(), adobe("7.0/MediaCore"));
}

TEST_F(VTPluginFoldersTest, BasePathsByKindAndAccessAndNoneForUnknownKinds)
{
    const VTPluginFolders folders = VTPluginFolders::build();
    // A kind's records derive the folder of their access; OpenFX is found in
    // "OFX" but derives "OpenFX".
    for (const auto &[key, kind, access, path] : expectedFolders()) {
        if (kind != VTPluginKind::OpenFX) {
            EXPECT_EQ(folders.basePath(kind, access), path) << key;
        }
    }
    // Kinds with an all-users folder only still derive a home form.
    const std::tuple<qint64, qint64, QString> derived[] = {
        {VTPluginKind::AvidAVX, 1, home("Applications/Avid Media Composer/SupportingFiles/AVX_Plug-Ins")},
        {VTPluginKind::AdobePlugin, 1, home("Library/Application Support/Adobe/Common/Plug-ins/7.0/MediaCore")},
        {VTPluginKind::AvidAVX2, 1, home("Library/Application Support/Avid/AVX2_Plug-ins")},
        {VTPluginKind::AvidRTAS, 1, home("Library/Application Support/Digidesign/Plug-Ins")},
        {VTPluginKind::OpenFX, 0, sys("/Library/OpenFX/Plugins")},
        {VTPluginKind::OpenFX, 1, home("Library/OpenFX/Plugins")},
    };
    for (const auto &[kind, access, path] : derived)
        EXPECT_EQ(folders.basePath(kind, access), path) << kind << " " << access;
    for (qint64 kind = VTPluginKind::FxPlug; kind <= VTPluginKind::OpenFX; ++kind) {
        // Any access but 0 is the current user's.
        for (qint64 access : {qint64(-1), qint64(2)})
            EXPECT_EQ(folders.basePath(kind, access), folders.basePath(kind, 1)) << kind << " " << access;
    }
    for (qint64 kind : {qint64(-1), qint64(10), qint64(100)}) {
        EXPECT_EQ(folders.basePath(kind, 0), QString()) << kind;
        EXPECT_EQ(folders.basePath(kind, 1), QString()) << kind;
    }
}

TEST_F(VTPluginFoldersTest, TypeFilterFolderSets)
{
    const VTPluginFolders folders = VTPluginFolders::build();
    const auto paths = [&folders](std::initializer_list<const char *> keys) {
        QStringList result;
        for (const char *key : keys)
            result.append(folders.path(QLatin1String(key)));
        return result;
    };
    QStringList all;
    for (const auto &folder : expectedFolders())
        all.append(std::get<3>(folder));

    for (qint64 filter : {qint64(0), qint64(6), qint64(9), qint64(-1), qint64(1000)})
        EXPECT_EQ(folders.foldersForFilter(filter), all) << filter;
    EXPECT_EQ(folders.foldersForFilter(1),
              paths({"localFxPlug", "userFxPlug", "localFxScript", "userFxScript", "localAU", "userAU"}));
    EXPECT_EQ(folders.foldersForFilter(2),
              paths({"localFxPlug", "userFxPlug", "localAU", "userAU", "localMotionTemplate", "userMotionTemplate"}));
    EXPECT_EQ(folders.foldersForFilter(3), paths({"avidAVX", "avidAVX2", "avidRTAS"}));
    EXPECT_EQ(folders.foldersForFilter(4), paths({"adobeCommon", "localVST", "userVST"}));
    EXPECT_EQ(folders.foldersForFilter(5), QStringList{sys("/Library/OFX/Plugins")});
    EXPECT_EQ(folders.foldersForFilter(7),
              paths({"localFxPlug", "userFxPlug", "localFxScript", "userFxScript", "localMotionTemplate",
                     "userMotionTemplate", "avidAVX", "avidAVX2", "adobeCommon", "localOFX"}));
    EXPECT_EQ(folders.foldersForFilter(8), paths({"localAU", "userAU", "localVST", "userVST"}));
}

TEST_F(VTPluginFoldersTest, PathForPluginTakesTheFirstExistingInDictionaryOrder)
{
    const VTPluginFolders folders = VTPluginFolders::build();
    EXPECT_TRUE(folders.pathForPlugin(QStringLiteral("Verb.vst"), QStringLiteral("Reverbs")).isEmpty());

    const QString userVerb = home("Library/Audio/Plug-Ins/VST/Reverbs/Verb.vst");
    ASSERT_TRUE(VTTestSandbox::makeFolder(userVerb));
    EXPECT_EQ(folders.pathForPlugin(QStringLiteral("Verb.vst"), QStringLiteral("Reverbs")), userVerb);
    EXPECT_TRUE(folders.pathForPlugin(QStringLiteral("Verb.vst"), QString()).isEmpty()) << "the subfolder matters";

    // An FxPlug folder comes before the VST folders in the dictionary.
    const QString odd = sys("/Library/Plug-Ins/FxPlug/Reverbs/Verb.vst");
    ASSERT_TRUE(VTTestSandbox::makeFile(odd));
    EXPECT_EQ(folders.pathForPlugin(QStringLiteral("Verb.vst"), QStringLiteral("/Reverbs/")), odd);

    const QString top = sys("/Library/OFX/Plugins/Glow.ofx.bundle");
    ASSERT_TRUE(VTTestSandbox::makeFolder(top));
    EXPECT_EQ(folders.pathForPlugin(QStringLiteral("Glow.ofx.bundle"), QString()), top);
}

TEST_F(VTPluginFoldersTest, CurrentUserReadsTheDollarVariable)
{
    m_sandbox.environment().unset("$USER");
    EXPECT_TRUE(VTPluginFolders::currentUser().isEmpty()) << "USER itself is not read";
    m_sandbox.environment().set("$USER", QStringLiteral("ann"));
    EXPECT_EQ(VTPluginFolders::currentUser(), QStringLiteral("ann"));
}

TEST_F(VTPluginFoldersTest, SharedInstanceIsReplaceableAcrossThreads)
{
    auto mine = std::make_shared<const VTPluginFolders>(VTPluginFolders::build());
    VTPluginFolders::setShared(mine);
    EXPECT_EQ(VTPluginFolders::shared(), mine);

    // Dropping it makes the next use build a new one from the system as it is now.
    installApplication("Final Cut Express.app", "com.apple.FinalCutExpress");
    VTPluginFolders::setShared(nullptr);
    const auto rebuilt = VTPluginFolders::shared();
    ASSERT_TRUE(rebuilt);
    EXPECT_NE(rebuilt, mine);
    EXPECT_TRUE(rebuilt->path(QStringLiteral("localFxScript")).contains(QStringLiteral("Final Cut Express")));

    std::atomic<int> seenEmpty{0};
    std::vector<std::thread> readers;
    for (int i = 0; i < 4; ++i) {
        readers.emplace_back([&seenEmpty] {
            for (int n = 0; n < 200; ++n) {
                const auto folders = VTPluginFolders::shared();
                if (!folders || folders->folders().size() != 15)
                    ++seenEmpty;
                else
                    (void)folders->basePath(n % 10, n % 2);
            }
        });
    }
    for (int n = 0; n < 50; ++n)
        VTPluginFolders::setShared(n % 2 ? mine : rebuilt);
    for (std::thread &reader : readers)
        reader.join();
    EXPECT_EQ(seenEmpty.load(), 0);
    VTPluginFolders::setShared(nullptr);
}
