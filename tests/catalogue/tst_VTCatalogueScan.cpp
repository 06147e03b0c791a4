// The catalogue scan end to end: sandboxes made by the sandbox builder are
// reloaded, and the tree is checked against what was built.

#include "CatalogueTestSupport.h"

#include "VTPathClassifier.h"
#include "VTPluginKind.h"
#include "VTPluginScanner.h"
#include "VTUserDefaults.h"

#include <sys/stat.h>
#include <unistd.h>

using namespace VTSandboxKind;

namespace {

// Every group's children point back at it and lie below its subdir.
void expectConsistent(const QList<ItemPtr> &items, const GroupPtr &parent = nullptr)
{
    for (const ItemPtr &item : items) {
        EXPECT_EQ(item->parent(), parent) << item->displayTitle().toStdString();
        if (parent) {
            EXPECT_TRUE(item->subdir() == parent->subdir() || item->subdir().startsWith(parent->subdir() + u'/'))
                << item->subdir().toStdString() << " below " << parent->subdir().toStdString();
        }
        if (const GroupPtr group = item->asGroup())
            expectConsistent(group->children(), group);
    }
}

} // namespace

using CatalogueScan = CatalogueSandbox;

TEST_F(CatalogueScan, EveryPluginOfTheDemoSystemIsInTheTreeAsBuiltAndFoldersBecomeGroupsOnce)
{
    builder().demo();
    reload();
    const VTSandboxManifest &manifest = builder().manifest();
    const QList<PluginPtr> plugins = catalogue().allPlugins();
    ASSERT_EQ(plugins.size(), manifest.plugins.size()) << outline(catalogue().dataArray()).toStdString();

    for (const VTSandboxPlugin &built : manifest.plugins) {
        SCOPED_TRACE(built.path.toStdString());
        const PluginPtr plugin = pluginNamed(plugins, built.fileName, built.enabled ? 1 : 0);
        ASSERT_TRUE(plugin);
        EXPECT_EQ(plugin->pluginType(), built.kind);
        EXPECT_EQ(plugin->pluginAccess(), built.access);
        EXPECT_EQ(plugin->subdir(), built.group.isEmpty() ? QString() : built.group);
        // Text even where no bundle says it ("-data" archives it as text).
        EXPECT_FALSE(plugin->version().isNull());
        // OpenFX records derive "/Library/OpenFX/Plugins", where nothing is,
        // so their bundles are never read.
        if (built.kind != OpenFX) {
            EXPECT_EQ(plugin->shortName(), built.name);
            EXPECT_EQ(plugin->version(), built.version);
            EXPECT_EQ(plugin->architectures().value_or(QStringList()), built.architectureTexts());
        }
        // The group chain follows the folders, one level at a time.
        QString subdir = built.group;
        for (GroupPtr group = plugin->parent(); group; group = group->parent()) {
            EXPECT_EQ(group->subdir(), subdir);
            subdir = VTPath::removeLastComponent(subdir);
        }
        EXPECT_TRUE(VTPath::components(subdir).isEmpty()) << "a level of the chain is missing";
    }
    expectConsistent(catalogue().dataArray());

    OutlineViewController &tree = catalogue();

    // A Motion template folder is the plug-in itself, not a group.
    const PluginPtr glow = pluginNamed(tree.allPlugins(), QStringLiteral("Glow"));
    ASSERT_TRUE(glow);
    EXPECT_EQ(glow->pluginType(), MotionTemplate);
    EXPECT_EQ(glow->subdir(), QStringLiteral("Generators.localized"));
    EXPECT_FALSE(tree.groupMatchingSubdir(QStringLiteral("Generators.localized/Glow")));
    EXPECT_EQ(tree.groupMatchingSubdir(QStringLiteral("Generators.localized"))->title(), QStringLiteral("Generators"));

    // A numeric folder is walked and keeps its whole name.
    const GroupPtr numeric = tree.groupMatchingSubdir(QStringLiteral("Film/2.0"));
    ASSERT_TRUE(numeric);
    EXPECT_EQ(numeric->title(), QStringLiteral("2.0"));
    EXPECT_EQ(numeric->children().size(), 1);

    // Color exists in the enabled place and in the disabled tree: one group.
    int colorGroups = 0;
    for (const ItemPtr &item : tree.dataArray())
        colorGroups += item->isGroup() && item->subdir() == QLatin1String("Color") ? 1 : 0;
    EXPECT_EQ(colorGroups, 1);
    const GroupPtr color = tree.groupMatchingSubdir(QStringLiteral("Color"));
    EXPECT_EQ(color->groupEnabled(), VTPluginKind::Mixed);
    QStringList states;
    for (const ItemPtr &child : color->children())
        states.append(child->displayTitle() + u'=' + QString::number(VTCatalogueModel::columnValue(*child, VTCatalogueModel::ColStatus).toInt()));
    states.sort();
    EXPECT_EQ(states, (QStringList{QStringLiteral("Color Warp=1"), QStringLiteral("Tint=0"), QStringLiteral("Warm=1")}));

    // A group that exists only in the disabled tree is disabled as a whole.
    EXPECT_EQ(tree.groupMatchingSubdir(QStringLiteral("Legacy"))->groupEnabled(), VTPluginKind::Disabled);
    // Entries the walk passes over leave no trace.
    for (const QString &ignored : {QStringLiteral("Old.Disabled"), QStringLiteral(".Disabled"), QStringLiteral("ReadMe.pdf")})
        EXPECT_FALSE(outline(tree.dataArray()).contains(ignored)) << ignored.toStdString();
}

TEST_F(CatalogueScan, TemplateNamesIgnoreCaseAndFoldersListInCaseBlindOrder)
{
    VTTemplateOptions upper;
    upper.extension = QStringLiteral("MOTN");
    builder().addMotionTemplate(AllUsers, QStringLiteral("Generators"), QStringLiteral("Spark"), upper);
    VTTemplateOptions mixed;
    mixed.stem = QStringLiteral("Flare");
    const QString flare = builder().addMotionTemplate(AllUsers, QStringLiteral("Generators"), QStringLiteral("flare"), mixed);
    // "glow2.motn" comes before "Media" once case is ignored, so the walk
    // stops before the subfolder.
    VTTemplateOptions withMedia;
    withMedia.subfolders = {QStringLiteral("Media")};
    builder().addMotionTemplate(AllUsers, QStringLiteral("Generators"), QStringLiteral("glow2"), withMedia);
    ASSERT_TRUE(builder().ok()) << builder().errors().join(u'\n').toStdString();
    reload();

    const QString tree = outline(catalogue().dataArray());
    for (const char *name : {"Spark", "flare", "glow2"}) {
        const PluginPtr plugin = pluginNamed(catalogue().allPlugins(), QString::fromLatin1(name));
        ASSERT_TRUE(plugin) << name << tree.toStdString();
        EXPECT_EQ(plugin->pluginType(), MotionTemplate) << name;
        EXPECT_FALSE(catalogue().groupMatchingSubdir(QStringLiteral("Generators.localized/") + QString::fromLatin1(name)))
            << name;
    }
    EXPECT_FALSE(catalogue().groupMatchingSubdir(QStringLiteral("Generators.localized/glow2/Media")));
    // The classification on its own, without the walk's hint, agrees.
    EXPECT_TRUE(VTPathClassifier::isMotionTemplateFolder(flare, QStringLiteral("flare")));
}

TEST_F(CatalogueScan, TypeFilterAndFxFactoryPreferenceChooseTheFolders)
{
    builder().demo();
    const VTSandboxManifest &manifest = builder().manifest();

    VTUserDefaults::setValue(QStringLiteral("filter"), 5);
    reload();
    EXPECT_EQ(catalogue().allPlugins().size(), manifest.countOfKind(OpenFX));
    for (const PluginPtr &plugin : catalogue().allPlugins())
        EXPECT_EQ(plugin->pluginType(), OpenFX);
    EXPECT_TRUE(pluginNamed(catalogue().allPlugins(), QStringLiteral("Glow OFX.bundle"), 0)) << "the mirror is scanned";

    VTUserDefaults::setValue(QStringLiteral("filter"), 0);
    VTUserDefaults::setValue(QStringLiteral("ignoreFxFactory"), 1);
    reload();
    EXPECT_FALSE(pluginNamed(catalogue().allPlugins(), QStringLiteral("Noise Reduction.fxplug")));
    EXPECT_FALSE(catalogue().groupMatchingSubdir(QStringLiteral("Noise Pack")));
    // A bundle managed by FxFactory is still listed, locked.
    const PluginPtr managed = pluginNamed(catalogue().allPlugins(), QStringLiteral("Managed Keyer.fxplug"));
    ASSERT_TRUE(managed);
    EXPECT_TRUE(managed->isLocked());
    EXPECT_EQ(catalogue().allPlugins().size(), manifest.plugins.size() - 1);
}

// Disabled plug-ins of every kind are classified in the demo case above; the
// disabled path is written out in the item and sandbox preset tests.
TEST_F(CatalogueScan, APathUnderNoFolderIsOfUnknownKindAndAccess)
{
    const QString stray = VTPath::join(m_env.root(), QStringLiteral("Elsewhere/Stray.fxplug"));
    ASSERT_TRUE(VTTestSandbox::makeBundle(stray, {{QStringLiteral("CFBundleName"), QStringLiteral("Stray")}}));
    loader().processPluginAtPath(stray);
    const PluginPtr unknown = pluginNamed(catalogue().allPlugins(), QStringLiteral("Stray.fxplug"));
    ASSERT_TRUE(unknown);
    EXPECT_EQ(unknown->pluginType(), -1);
    EXPECT_EQ(unknown->pluginAccess(), -1);
    EXPECT_EQ(unknown->pluginTypeName(), QStringLiteral("Unknown"));
}

TEST_F(CatalogueScan, StatisticsLineCountsPluginsAndEnabledOnes)
{
    reload();
    EXPECT_EQ(m_ui.statistics().first(), QStringLiteral("Populating plugins..."));
    EXPECT_EQ(m_ui.statistics().last(), QStringLiteral("0 plugins, 0 enabled"));

    builder().addBundle(FxPlug, AllUsers, QStringLiteral("Solo"));
    reload();
    EXPECT_EQ(m_ui.statistics().last(), QStringLiteral("1 plugin, 1 enabled"));

    // A nested group adds all its plug-ins to the enabled count.
    builder().addBundle(FxPlug, AllUsers, QStringLiteral("Off"), {{QStringLiteral("A/B"), false}});
    builder().addBundle(FxPlug, AllUsers, QStringLiteral("Off Too"), {{QStringLiteral("A"), false}});
    reload();
    EXPECT_EQ(m_ui.statistics().last(), QStringLiteral("3 plugins, 2 enabled"));
    EXPECT_EQ(m_ui.loading().mid(m_ui.loading().size() - 2), (QList<bool>{true, false}));
}

TEST_F(CatalogueScan, ScaledSystemReloadsToTheSameTreeEveryTime)
{
    builder().scaled(200, 7);
    reload();
    const QString first = outline(catalogue().dataArray());
    const QList<PluginPtr> plugins = catalogue().allPlugins();
    EXPECT_EQ(plugins.size(), 200);
    EXPECT_EQ(std::count_if(plugins.cbegin(), plugins.cend(), [](const PluginPtr &p) { return p->pluginEnabled() == 0; }),
              builder().manifest().disabledCount());
    reload();
    EXPECT_EQ(outline(catalogue().dataArray()), first);
    expectConsistent(catalogue().dataArray());
}

TEST_F(CatalogueScan, WalkAnswersTheGroupTestAsTheFileSystemDoes)
{
    builder().demo();
    builder().addMotionTemplate(AllUsers, QStringLiteral("Titles"), QStringLiteral("2.0"));
    builder().addGroup(FxPlug, AllUsers, QStringLiteral("Empty.localized/3.5"));
    const std::shared_ptr<const VTPluginFolders> folders = catalogue().pluginFolderDict();
    int groups = 0;
    VTPluginScanner(false).listPlugins(true, true, folders->foldersForFilter(0), catalogue().disabledPath(),
                                       [&](const QString &path, bool isGroupFolder) {
                                           const VTPathClassification asked =
                                               VTPathClassifier::classify(path, *folders, catalogue().disabledPath());
                                           EXPECT_EQ(VTPathClassifier::classify(path, *folders, catalogue().disabledPath(),
                                                                                isGroupFolder).isGroup,
                                                     asked.isGroup)
                                               << path.toStdString();
                                           groups += asked.isGroup ? 1 : 0;
                                       });
    EXPECT_GT(groups, 10);
}

TEST_F(CatalogueScan, HostileNamesLinksAndDepthStillGiveAConsistentTree)
{
    const QStringList names{QStringLiteral("With Spaces"), QStringLiteral("Say \"Hi\" it's"),
                            QStringLiteral("Line\nBreak"), QStringLiteral("-rf"), QStringLiteral("--help"),
                            QStringLiteral("Cafe\u0301 Cre\u0300me")};
    for (const QString &name : names)
        builder().addBundle(FxPlug, AllUsers, name, {{QStringLiteral("-dash group/\"quoted\"")}});
    QString deep;
    for (int level = 0; level < 150; ++level)
        deep = VTPath::join(deep, QStringLiteral("d%1").arg(level));
    builder().addBundle(VST, AllUsers, QStringLiteral("Deep"), {{deep}});
    const QString fxplug = builder().folder(FxPlug, AllUsers);
    builder().addLink(FxPlug, AllUsers, QStringLiteral("Loop/Back"), QStringLiteral(".."));
    builder().addLink(FxPlug, AllUsers, QStringLiteral("Again"), fxplug);
    builder().addLink(FxPlug, AllUsers, QStringLiteral("Nowhere.fxplug"), QStringLiteral("/no/such/place"));
    // A name that is not UTF-8 is logged and left alone.
    const QByteArray badName = QFile::encodeName(fxplug) + "/Bad\xff.fxplug";
    ASSERT_EQ(::mkdir(badName.constData(), 0755), 0);

    reload();
    const QList<PluginPtr> plugins = catalogue().allPlugins();
    QStringList found;
    for (const PluginPtr &plugin : plugins)
        found.append(plugin->fileName());
    for (const QString &name : names)
        EXPECT_EQ(found.count(name + QStringLiteral(".fxplug")), 1) << name.toStdString();
    EXPECT_EQ(found.count(QStringLiteral("Deep.vst")), 1);
    // The dangling link has a plug-in's extension and is listed like one.
    EXPECT_EQ(found.size(), names.size() + 2) << found.join(u'|').toStdString();
    EXPECT_FALSE(catalogue().groupMatchingSubdir(QStringLiteral("Loop/Back")));
    EXPECT_FALSE(catalogue().groupMatchingSubdir(QStringLiteral("Again")));
    const GroupPtr bottom = catalogue().groupMatchingSubdir(deep);
    ASSERT_TRUE(bottom);
    EXPECT_EQ(bottom->children().size(), 1);
    expectConsistent(catalogue().dataArray());
    EXPECT_TRUE(VTTest::logText().contains(QStringLiteral("whose name is not valid UTF-8")));
    ::rmdir(badName.constData()); // the temporary folder's clean-up skips such names
}

TEST_F(CatalogueScan, UnreadableFoldersAreLoggedAndTheReloadGoesOn)
{
    builder().addBundle(AudioUnit, AllUsers, QStringLiteral("Visible"));
    builder().addBundle(AudioUnit, AllUsers, QStringLiteral("Hidden"), {{QStringLiteral("Closed")}});
    builder().addBundle(VST, AllUsers, QStringLiteral("Later"));
    // A kind's folder that is a file cannot be listed, by anyone.
    const QString notAFolder = builder().folder(AvidRTAS, AllUsers);
    ASSERT_TRUE(VTTestSandbox::makeFile(notAFolder, "not a folder"));
    // A folder without permissions can be listed by the superuser only.
    const bool asRoot = ::geteuid() == 0;
    const QString closed = VTPath::join(builder().folder(AudioUnit, AllUsers), QStringLiteral("Closed"));
    ASSERT_EQ(::chmod(QFile::encodeName(closed).constData(), 0), 0);
    reload();
    ::chmod(QFile::encodeName(closed).constData(), 0755);

    QStringList found;
    for (const PluginPtr &plugin : catalogue().allPlugins())
        found.append(plugin->fileName());
    found.sort();
    QStringList expected{QStringLiteral("Later.vst"), QStringLiteral("Visible.component")};
    if (asRoot)
        expected.prepend(QStringLiteral("Hidden.component"));
    EXPECT_EQ(found, expected);
    const QString log = VTTest::logText();
    EXPECT_TRUE(log.contains(QStringLiteral("Error getting contents of directory %1 - Not a directory").arg(notAFolder)));
    if (!asRoot) {
        EXPECT_TRUE(log.contains(QStringLiteral("Error getting contents of directory %1 - Permission denied").arg(closed)));
    }
}
