// The destination table of installation: one row per rule, each on a real
// file, bundle or folder, plus the resolution of the folder keys in a
// sandboxed system and the test that decides whether a drop is offered.

#include "VTFinderInfo.h"
#include "VTInstallDestination.h"
#include "VTPath.h"
#include "VTTestSandbox.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

using Action = VTInstallDestination::Action;

enum class Make { File, Folder, Bundle, BinaryBundle, TypeCodedFile };

struct Row {
    const char *name;
    QString item;       // file or folder name to make
    Make make;
    QStringList inside; // files made inside a folder
    QVariantMap info;   // Info.plist keys of a bundle
    bool forUser;
    Action action;
    QString key;
    QString category;
};

void PrintTo(const Row &row, std::ostream *out)
{
    *out << row.name;
}

const QVariantMap kNoKeys{{QStringLiteral("CFBundleIdentifier"), QStringLiteral("com.example.Plain")}};
const QVariantMap kAvx15{{QStringLiteral("AVX15_BundleVersion"), QStringLiteral("1.5")}};
const QVariantMap kAvx20{{QStringLiteral("AVX20_BundleVersion"), QStringLiteral("2.0")}};
const QVariantMap kBothAvx{{QStringLiteral("AVX15_BundleVersion"), QStringLiteral("1.5")},
                           {QStringLiteral("AVX20_BundleVersion"), QStringLiteral("2.0")}};

QString make(const QString &dir, const Row &row)
{
    const QString path = VTPath::join(dir, row.item);
    switch (row.make) {
    case Make::File:
        EXPECT_TRUE(VTTestSandbox::makeFile(path, "data"));
        break;
    case Make::TypeCodedFile:
        EXPECT_TRUE(VTTestSandbox::makeFile(path, "script"));
        EXPECT_TRUE(VTFinderInfo::setTypeCode(path, "FCSC"));
        break;
    case Make::Folder:
        EXPECT_TRUE(VTTestSandbox::makeFolder(path));
        for (const QString &name : row.inside)
            EXPECT_TRUE(VTTestSandbox::makeFile(VTPath::join(path, name), "x"));
        break;
    case Make::Bundle:
    case Make::BinaryBundle:
        EXPECT_TRUE(VTTestSandbox::makeBundle(path, row.info,
                                              row.make == Make::Bundle ? VTPropertyList::Format::Xml
                                                                       : VTPropertyList::Format::Binary));
        break;
    }
    return path;
}

class DestinationTable : public ::testing::TestWithParam<Row>
{
};

TEST_P(DestinationTable, PicksTheFolderOfTheFirstMatchingRule)
{
    const Row &row = GetParam();
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString path = make(dir.path(), row);
    const VTInstallDestination destination = VTInstallDestination::forPath(path, row.forUser);
    EXPECT_EQ(destination.action, row.action);
    EXPECT_EQ(destination.folderKey, row.key);
    EXPECT_EQ(destination.category, row.category);
}

const QString kTitles = QStringLiteral("Titles.localized");
const QString kGenerators = QStringLiteral("Generators.localized");
const QString kEffects = QStringLiteral("Effects.localized");
const QString kTransitions = QStringLiteral("Transitions.localized");
constexpr bool User = true;
constexpr bool All = false;

QString s(const char *text)
{
    return QString::fromLatin1(text);
}

INSTANTIATE_TEST_SUITE_P(
    Rules, DestinationTable,
    ::testing::Values(
        Row{"FxPlugForTheUser", s("Blur.fxplug"), Make::Bundle, {}, kNoKeys, User, Action::Install, s("userFxPlug"), {}},
        Row{"FxPlugForAll", s("Blur.fxplug"), Make::Bundle, {}, kNoKeys, All, Action::Install, s("localFxPlug"), {}},
        Row{"ExtensionCaseIgnored", s("Blur.FxPlug"), Make::Bundle, {}, kNoKeys, User, Action::Install, s("userFxPlug"), {}},
        Row{"OfxBundleAlwaysForAll", s("MyFilter.ofx.bundle"), Make::Bundle, {}, kNoKeys, User, Action::Install, s("localOFX"), {}},
        Row{"OfxBundleBeatsAvxKeys", s("MyFilter.OFX.bundle"), Make::Bundle, {}, kAvx15, All, Action::Install, s("localOFX"), {}},
        Row{"Avx15Key", s("Sharpen.bundle"), Make::Bundle, {}, kAvx15, User, Action::Install, s("avidAVX"), {}},
        Row{"Avx20Key", s("Sharpen.bundle"), Make::Bundle, {}, kAvx20, User, Action::Install, s("avidAVX2"), {}},
        Row{"Avx20KeyInBinaryInfo", s("Sharpen.bundle"), Make::BinaryBundle, {}, kAvx20, All, Action::Install, s("avidAVX2"), {}},
        Row{"Avx15TestedFirst", s("Sharpen.bundle"), Make::Bundle, {}, kBothAvx, User, Action::Install, s("avidAVX"), {}},
        Row{"BundleWithoutAvxKeysUser", s("Old.bundle"), Make::Bundle, {}, kNoKeys, User, Action::Install, s("userFxScript"), {}},
        Row{"BundleWithoutAvxKeysAll", s("Old.bundle"), Make::Bundle, {}, kNoKeys, All, Action::Install, s("localFxScript"), {}},
        Row{"BundleWithoutInfoPlist", s("Bare.bundle"), Make::Folder, {}, {}, User, Action::Install, s("userFxScript"), {}},
        Row{"AvxFileGoesToAvx2", s("Grain.avx"), Make::Bundle, {}, kNoKeys, User, Action::Install, s("avidAVX2"), {}},
        Row{"Dpm", s("Verb.dpm"), Make::Bundle, {}, kNoKeys, User, Action::Install, s("avidRTAS"), {}},
        Row{"MotiTitle", s("Lower Third.moti"), Make::File, {}, {}, User, Action::Install, s("userMotionTemplate"), kTitles},
        Row{"MotnGenerator", s("Sky.motn"), Make::File, {}, {}, All, Action::Install, s("localMotionTemplate"), kGenerators},
        Row{"MoefEffect", s("Haze.moef"), Make::File, {}, {}, User, Action::Install, s("userMotionTemplate"), kEffects},
        Row{"LoneMotrFileUnrecognized", s("Swipe.motr"), Make::File, {}, {}, User, Action::Unrecognized, {}, {}},
        Row{"Txt", s("Fade.txt"), Make::File, {}, {}, User, Action::Install, s("userFxScript"), {}},
        Row{"Fcfcc", s("Wipe.fcfcc"), Make::File, {}, {}, All, Action::Install, s("localFxScript"), {}},
        Row{"TypeCodeWithoutExtension", s("Ripple"), Make::TypeCodedFile, {}, {}, User, Action::Install, s("userFxScript"), {}},
        Row{"TypeCodeTestedBeforeComponent", s("Odd.component"), Make::TypeCodedFile, {}, {}, All, Action::Install, s("localFxScript"), {}},
        Row{"ComponentUser", s("Delay.component"), Make::Bundle, {}, kNoKeys, User, Action::Install, s("userAU"), {}},
        Row{"ComponentAll", s("Delay.component"), Make::Bundle, {}, kNoKeys, All, Action::Install, s("localAU"), {}},
        Row{"Vst", s("Synth.vst"), Make::Bundle, {}, kNoKeys, User, Action::Install, s("userVST"), {}},
        Row{"AdobePluginAlwaysForAll", s("Glow.plugin"), Make::Bundle, {}, kNoKeys, User, Action::Install, s("adobeCommon"), {}},
        Row{"FolderWithGenerator", s("Warm"), Make::Folder, {s("Warm.motn"), s("small.png")}, {}, User, Action::Install, s("userMotionTemplate"), kGenerators},
        Row{"FolderWithTitleAndGenerator", s("Warm"), Make::Folder, {s("Warm.motn"), s("Warm.moti")}, {}, User, Action::Install, s("userMotionTemplate"), kTitles},
        Row{"FolderEffectBeforeGenerator", s("Warm"), Make::Folder, {s("Warm.motn"), s("Warm.moef")}, {}, All, Action::Install, s("localMotionTemplate"), kEffects},
        Row{"FolderWithTransition", s("Slide"), Make::Folder, {s("Slide.motr")}, {}, User, Action::Install, s("userMotionTemplate"), kTransitions},
        Row{"FolderWithNumericName", s("Warm 2.0"), Make::Folder, {s("Warm 2.0.motn")}, {}, User, Action::Install, s("userMotionTemplate"), kGenerators},
        Row{"FolderWithOtherTemplateIsGroup", s("Warm"), Make::Folder, {s("Cold.motn")}, {}, User, Action::MakeGroup, {}, {}},
        Row{"PlainFolderIsGroup", s("Color"), Make::Folder, {s("A.fxplug")}, {}, User, Action::MakeGroup, {}, {}},
        Row{"HiddenFolderIsGroup", s(".cache"), Make::Folder, {}, {}, User, Action::MakeGroup, {}, {}},
        Row{"UnknownPackageUnrecognized", s("Tool.app"), Make::Bundle, {}, kNoKeys, User, Action::Unrecognized, {}, {}},
        Row{"PackageByInfoPlistUnrecognized", s("Thing"), Make::Bundle, {}, kNoKeys, User, Action::Unrecognized, {}, {}},
        Row{"HiddenFileSkipped", s(".DS_Store"), Make::File, {}, {}, User, Action::Skip, {}, {}},
        Row{"HiddenPluginStillInstalled", s(".Blur.fxplug"), Make::File, {}, {}, User, Action::Install, s("userFxPlug"), {}},
        Row{"UnknownExtension", s("ReadMe.pdf"), Make::File, {}, {}, User, Action::Unrecognized, {}, {}},
        Row{"NoExtensionNoTypeCode", s("Ripple"), Make::File, {}, {}, User, Action::Unrecognized, {}, {}}),
    [](const ::testing::TestParamInfo<Row> &info) { return std::string(info.param.name); });

TEST(InstallDestination, DropIsOfferedOnlyWhenEveryFileQualifies)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const auto file = [&](const char *name) {
        const QString path = VTPath::join(dir.path(), QString::fromLatin1(name));
        EXPECT_TRUE(VTTestSandbox::makeFile(path, "x"));
        return path;
    };
    QStringList accepted;
    for (const QString &extension : VTInstallDestination::droppableExtensions())
        accepted << file(("Item." + extension.toStdString()).c_str());
    const QString motr = file("Swipe.MOTR");
    const QString folder = VTPath::join(dir.path(), QStringLiteral("Group"));
    ASSERT_TRUE(VTTestSandbox::makeFolder(folder));
    const QString typeCoded = file("Ripple");
    ASSERT_TRUE(VTFinderInfo::setTypeCode(typeCoded, "FCSC"));
    const QString otherCode = file("Notes");
    ASSERT_TRUE(VTFinderInfo::setTypeCode(otherCode, "TEXT"));

    EXPECT_EQ(VTInstallDestination::droppableExtensions().size(), 13);
    EXPECT_TRUE(VTInstallDestination::acceptsDrop(accepted));
    EXPECT_TRUE(VTInstallDestination::acceptsDrop({motr, folder, typeCoded}))
        << "a lone .motr is offered although installation does not recognise it";
    EXPECT_FALSE(VTInstallDestination::acceptsDrop(accepted + QStringList{file("ReadMe.pdf")}));
    EXPECT_FALSE(VTInstallDestination::acceptsDrop({otherCode}));
    EXPECT_FALSE(VTInstallDestination::acceptsDrop({}));
}

} // namespace
