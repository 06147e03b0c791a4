// Groups on a sandboxed system: proposed and cleaned names, new groups and
// the depth limit, renames in every place a group exists, and moves into
// groups with the overwrite question.

#include "OperationsTestSupport.h"

#include "VTGroupPlaces.h"
#include "VTPlainFiles.h"

using namespace VTSandboxKind;

using GroupOperationTest = OpsTest::OperationsTest;

TEST_F(GroupOperationTest, ProposedNamesTakeTheFirstFreeNumberAndTypedNamesAreCleaned)
{
    const QString folder = m_env.systemPath(QStringLiteral("/Proposals"));
    ASSERT_TRUE(VTTestSandbox::makeFolder(folder));
    EXPECT_EQ(VTGroupOperation::proposeGroupFilename(folder), QStringLiteral("Group"));
    // A file of that name takes the name as well as a folder does.
    ASSERT_TRUE(VTTestSandbox::makeFile(VTPath::join(folder, QStringLiteral("Group"))));
    EXPECT_EQ(VTGroupOperation::proposeGroupFilename(folder), QStringLiteral("Group 2"));
    ASSERT_TRUE(VTTestSandbox::makeFolder(VTPath::join(folder, QStringLiteral("Group 3"))));
    EXPECT_EQ(VTGroupOperation::proposeGroupFilename(folder), QStringLiteral("Group 2"));
    ASSERT_TRUE(VTTestSandbox::makeFolder(VTPath::join(folder, QStringLiteral("Group 2"))));
    EXPECT_EQ(VTGroupOperation::proposeGroupFilename(folder), QStringLiteral("Group 4"));
    EXPECT_TRUE(logged(QStringLiteral("Proposed group filename for %1: Group 4").arg(folder)));
    EXPECT_TRUE(VTGroupOperation::proposeGroupFilename(QString()).isEmpty());

    // What the user types is cleaned into one folder name, or refused.
    const struct {
        const char *typed;
        std::optional<QString> cleaned;
    } cases[] = {
        {"Warm", QStringLiteral("Warm")},
        {".hidden", QStringLiteral("hidden")},
        {"..twice", QStringLiteral(".twice")},
        {"a/b~c", QStringLiteral("abc")},
        {"back\\slash", QStringLiteral("backslash")},
        {"/", QString()},
        {"~/~", QString()},
        {".", std::nullopt},
        {"", std::nullopt},
    };
    for (const auto &each : cases)
        EXPECT_EQ(VTGroupOperation::validateFilename(QString::fromUtf8(each.typed)), each.cleaned) << each.typed;
}

TEST_F(GroupOperationTest, WithoutAGroupSelectedNewGroupsGoIntoTheDisabledFxPlugTree)
{
    int sorts = 0;
    const GroupPtr first = groups().addGroup(nullptr, [&sorts] { ++sorts; });
    const GroupPtr second = groups().addGroup(nullptr);
    ASSERT_TRUE(first && second);
    const QString folder = mirror(fxPlug());
    EXPECT_TRUE(VTSandboxFiles::isFolder(VTPath::join(folder, QStringLiteral("Group"))));
    EXPECT_TRUE(VTSandboxFiles::isFolder(VTPath::join(folder, QStringLiteral("Group 2"))));
    EXPECT_EQ(first->title(), QStringLiteral("Group"));
    EXPECT_EQ(first->subdir(), QStringLiteral("Group"));
    EXPECT_EQ(first->groupPath(), VTPath::join(folder, QStringLiteral("Group")));
    EXPECT_EQ(second->subdir(), QStringLiteral("Group 2"));
    EXPECT_EQ(catalogue().dataArray(), (QList<ItemPtr>{first, second}));
    EXPECT_EQ(sorts, 1);
    EXPECT_EQ(view().selection, QList<ItemPtr>{second}) << "the new row is selected";
    EXPECT_FALSE(exists(fxPlug(QStringLiteral("Group")))) << "no host sees a new top-level group";

    // The scan finds the folder again as an (empty) group.
    reload();
    EXPECT_TRUE(group(QStringLiteral("Group 2")));
}

TEST_F(GroupOperationTest, ASelectedPluginAddsTheGroupBesideItAndTenLevelsAreTheLimit)
{
    QStringList levels;
    for (int level = 1; level <= 10; ++level)
        levels << QStringLiteral("L%1").arg(level);
    const QString deepest = levels.join(u'/');
    bundle(QStringLiteral("Deep"), deepest);
    bundle(QStringLiteral("A"), QStringLiteral("Color"));
    reload();
    const PluginPtr deep = plugin(QStringLiteral("Deep.fxplug"));
    const GroupPtr tenth = group(deepest);
    const GroupPtr color = group(QStringLiteral("Color"));
    ASSERT_TRUE(deep && tenth && color);

    const GroupPtr added = groups().addGroup(plugin(QStringLiteral("A.fxplug")));
    ASSERT_TRUE(added);
    EXPECT_TRUE(VTSandboxFiles::isFolder(fxPlug(QStringLiteral("Color/Group"))));
    EXPECT_EQ(added->subdir(), QStringLiteral("Color/Group"));
    EXPECT_EQ(added->parent(), color);
    EXPECT_TRUE(color->children().contains(added));

    EXPECT_EQ(VTGroupOperation::levelForItem(nullptr), -1);

    EXPECT_FALSE(groups().addGroup(deep));
    EXPECT_FALSE(exists(fxPlug(deepest + QStringLiteral("/Group"))));
    EXPECT_EQ(ui().steps(QStringLiteral("alert:")),
              QStringList{QStringLiteral("alert:You have reached the limit of 10 subdirectories.|This limit has been "
                                         "imposed for performance reasons.|")});

    const GroupPtr eleventh = groups().addGroup(tenth);
    ASSERT_TRUE(eleventh);
    EXPECT_EQ(VTGroupOperation::levelForItem(eleventh), 10);
    EXPECT_TRUE(VTSandboxFiles::isFolder(fxPlug(deepest + QStringLiteral("/Group"))));
}

TEST_F(GroupOperationTest, AGroupFolderThatCannotBeMadeIsReportedAndNoRecordIsAdded)
{
    const QString a = bundle(QStringLiteral("A"), QStringLiteral("Color"));
    reload();
    const GroupPtr color = group(QStringLiteral("Color"));
    // The group's folder has become a plain file behind the tree's back.
    ASSERT_TRUE(QDir(fxPlug(QStringLiteral("Color"))).removeRecursively());
    ASSERT_TRUE(VTTestSandbox::makeFile(fxPlug(QStringLiteral("Color")), "x"));

    EXPECT_FALSE(groups().addGroup(color));
    const QString wanted = fxPlug(QStringLiteral("Color/Group"));
    const QString reason = VTPlainFiles::describe(ENOTDIR);
    EXPECT_EQ(ui().steps(QStringLiteral("alert:")),
              QStringList{QStringLiteral("alert:Unable to create group. Please check you have write permissions for "
                                         "the folder %1.|%2|").arg(wanted, reason)});
    const QString failure = QStringLiteral("Unable to create group - %1. Please check you have write permissions for "
                                           "the folder %2.").arg(reason, wanted);
    EXPECT_EQ(posted(), QStringList{failure});
    EXPECT_TRUE(logged(failure));
    EXPECT_EQ(color->children().size(), 1);
}

TEST_F(GroupOperationTest, ThePlacesOfAGroupAreFortyInRenameOrder)
{
    const QStringList places = VTGroupPlaces::candidates(QStringLiteral("Warm"), disabledRoot());
    ASSERT_EQ(places.size(), 40);
    EXPECT_EQ(places.first(), fxPlug(QStringLiteral("Warm")));
    EXPECT_EQ(places.at(10), userFxPlug(QStringLiteral("Warm")));
    EXPECT_EQ(places.at(20), mirror(fxPlug(QStringLiteral("Warm"))));
    EXPECT_EQ(places.last(), mirror(m_env.homePath(QStringLiteral("Library/OFX/Plugins/Warm"))));
    // Every folder of the folder dictionary except the all-users templates
    // is among them, enabled and disabled.
    for (const auto &kindFolder : catalogue().pluginFolderDict()->folders()) {
        const QString place = VTPath::join(kindFolder.path, QStringLiteral("Warm"));
        EXPECT_EQ(places.contains(place), kindFolder.key != QLatin1String("localMotionTemplate")) << place.toStdString();
        EXPECT_EQ(places.contains(mirror(place)), kindFolder.key != QLatin1String("localMotionTemplate"));
    }
    EXPECT_TRUE(VTGroupPlaces::candidates(QString(), disabledRoot()).isEmpty());
}

TEST_F(GroupOperationTest, RenamingMovesEveryPlaceAndTheRecords)
{
    bundle(QStringLiteral("A"), QStringLiteral("Warm"));
    bundle(QStringLiteral("B"), QStringLiteral("Warm"), false);
    bundle(QStringLiteral("C"), QStringLiteral("Warm"), true, VST, CurrentUser);
    const QString user = folder(VST, CurrentUser);
    reload();
    const GroupPtr warm = group(QStringLiteral("Warm"));
    ASSERT_TRUE(warm);
    ASSERT_EQ(warm->children().size(), 3);

    // What names no new folder is ignored.
    for (const QString &typed : {QStringLiteral("/"), QStringLiteral("."), QString(), QStringLiteral("Warm"),
                                 QStringLiteral(".Warm")})
        EXPECT_FALSE(groups().nameCellEdited(warm, typed)) << typed.toStdString();
    EXPECT_FALSE(groups().nameCellEdited(plugin(QStringLiteral("A.fxplug")), QStringLiteral("Other")));
    EXPECT_FALSE(groups().renameGroup(warm, QStringLiteral("..")));
    EXPECT_TRUE(exists(fxPlug(QStringLiteral("Warm/A.fxplug"))));
    EXPECT_EQ(reloadRequests(), 0);
    EXPECT_FALSE(logged(QStringLiteral("Renaming group Warm to Other...")));
    // A group record without a subfolder would stand for the kinds' folders.
    const GroupPtr broken = VTGroupItem::create(QStringLiteral("Broken"), fxPlug(), QString());
    EXPECT_FALSE(groups().renameGroup(broken, QStringLiteral("Other")));
    EXPECT_TRUE(VTSandboxFiles::isFolder(fxPlug()));
    EXPECT_FALSE(exists(VTPath::join(VTPath::removeLastComponent(fxPlug()), QStringLiteral("Other"))));

    EXPECT_TRUE(groups().nameCellEdited(warm, QStringLiteral(".Hot")));
    for (const QString &path : {fxPlug(QStringLiteral("Hot/A.fxplug")), mirror(fxPlug(QStringLiteral("Hot/B.fxplug"))),
                                VTPath::join(user, QStringLiteral("Hot/C.vst"))})
        EXPECT_TRUE(exists(path)) << path.toStdString();
    for (const QString &path : {fxPlug(QStringLiteral("Warm")), mirror(fxPlug(QStringLiteral("Warm"))),
                                VTPath::join(user, QStringLiteral("Warm"))})
        EXPECT_FALSE(exists(path)) << path.toStdString();
    EXPECT_EQ(warm->title(), QStringLiteral("Hot"));
    EXPECT_EQ(warm->subdir(), QStringLiteral("Hot"));
    for (const ItemPtr &child : warm->children()) {
        EXPECT_EQ(child->subdir(), QStringLiteral("Hot"));
        EXPECT_TRUE(exists(child->asPlugin()->pluginPath()));
    }
    EXPECT_EQ(reloadRequests(), 1);
    EXPECT_EQ(logCount(QStringLiteral("Old path is ")), 40);
    EXPECT_EQ(logCount(QStringLiteral("New path is ")), 3);
    EXPECT_TRUE(logged(QStringLiteral("Renaming group Warm to Hot...")));
    EXPECT_TRUE(posted().isEmpty());
}

TEST_F(GroupOperationTest, ANestedGroupKeepsItsPlaceAndARenameOntoAnExistingFolderStopsThere)
{
    bundle(QStringLiteral("N"), QStringLiteral("Color/Warm"));
    bundle(QStringLiteral("D"), QStringLiteral("Color/Warm/Deep"));
    bundle(QStringLiteral("A"), QStringLiteral("Warm"));
    bundle(QStringLiteral("U"), QStringLiteral("Warm"), true, FxPlug, CurrentUser);
    bundle(QStringLiteral("Other"), QStringLiteral("Hot"), true, FxPlug, CurrentUser);
    reload();
    const GroupPtr nested = group(QStringLiteral("Color/Warm"));
    const GroupPtr warm = group(QStringLiteral("Warm"));
    ASSERT_TRUE(nested && warm);

    // A nested group: only the last level is renamed, its plug-ins follow.
    EXPECT_TRUE(groups().renameGroup(nested, QStringLiteral("Hot")));
    EXPECT_EQ(nested->subdir(), QStringLiteral("Color/Hot"));
    EXPECT_EQ(nested->storedGroupPath(), fxPlug(QStringLiteral("Color/Hot")));
    EXPECT_EQ(plugin(QStringLiteral("N.fxplug"))->subdir(), QStringLiteral("Color/Hot"));
    EXPECT_EQ(plugin(QStringLiteral("D.fxplug"))->subdir(), QStringLiteral("Color/Hot/Deep"));
    EXPECT_TRUE(exists(plugin(QStringLiteral("N.fxplug"))->pluginPath()));
    EXPECT_TRUE(exists(plugin(QStringLiteral("D.fxplug"))->pluginPath()));
    EXPECT_TRUE(exists(fxPlug(QStringLiteral("Color"))));

    EXPECT_FALSE(groups().renameGroup(warm, QStringLiteral("Hot")));
    // The all-users place comes first and stays renamed; the current user's
    // place meets the existing folder.
    EXPECT_TRUE(exists(fxPlug(QStringLiteral("Hot/A.fxplug"))));
    EXPECT_TRUE(exists(userFxPlug(QStringLiteral("Warm/U.fxplug"))));
    EXPECT_TRUE(exists(userFxPlug(QStringLiteral("Hot/Other.fxplug"))));
    EXPECT_FALSE(exists(userFxPlug(QStringLiteral("Hot/U.fxplug"))));
    const QString from = userFxPlug(QStringLiteral("Warm"));
    const QString to = userFxPlug(QStringLiteral("Hot"));
    EXPECT_TRUE(posted().contains(QStringLiteral("Unable to move path %1 to %2").arg(from, to)));
    EXPECT_TRUE(logged(QStringLiteral("Unable to move path from %1 to %2").arg(from, to)));
    EXPECT_EQ(warm->title(), QStringLiteral("Warm"));
    EXPECT_EQ(ui().steps(QStringLiteral("busy")).size(), ui().steps(QStringLiteral("idle")).size());
}

TEST_F(GroupOperationTest, MovingIntoAGroupMovesTheFileAndTheRecordButNotALockedPluginOrIntoAnUnmadeFolder)
{
    const QString a = bundle(QStringLiteral("A"));
    const QString d = bundle(QStringLiteral("D"), QString(), false);
    const QString locked = lockedBundle(QStringLiteral("L"));
    bundle(QStringLiteral("B"), QStringLiteral("G"));
    reload();
    const GroupPtr g = group(QStringLiteral("G"));
    const PluginPtr plugA = plugin(QStringLiteral("A.fxplug"));
    const PluginPtr plugD = plugin(QStringLiteral("D.fxplug"));

    EXPECT_TRUE(groups().moveItem(plugin(QStringLiteral("L.fxplug")), g));
    EXPECT_TRUE(exists(locked));
    EXPECT_TRUE(logged(QStringLiteral("Unable to move L - plugin is locked")));

    EXPECT_TRUE(groups().moveItem(plugA, g));
    EXPECT_FALSE(exists(a));
    EXPECT_TRUE(exists(fxPlug(QStringLiteral("G/A.fxplug"))));
    EXPECT_EQ(plugA->subdir(), QStringLiteral("G"));
    EXPECT_EQ(plugA->parent(), g);
    EXPECT_TRUE(logged(QStringLiteral("Moving plugin A to group G")));

    EXPECT_TRUE(groups().moveItem(plugD, g)) << "a disabled plug-in moves within the disabled tree";
    EXPECT_FALSE(exists(d));
    EXPECT_TRUE(exists(mirror(fxPlug(QStringLiteral("G/D.fxplug")))));
    EXPECT_EQ(plugD->pluginEnabled(), 0);

    EXPECT_TRUE(groups().moveItem(plugA, nullptr));
    EXPECT_TRUE(exists(a));
    EXPECT_FALSE(plugA->parent());
    EXPECT_TRUE(plugA->subdir().isEmpty());
    EXPECT_TRUE(posted().isEmpty());

    if (!FsTest::isRoot())
        GTEST_SKIP() << "the folder's failure goes on to a privileged attempt, which needs root here";
    ASSERT_TRUE(VTTestSandbox::makeFile(fxPlug(QStringLiteral("File")), "x"));
    const GroupPtr blocked = VTGroupItem::create(QStringLiteral("Inner"), fxPlug(QStringLiteral("File/Inner")),
                                                 QStringLiteral("File/Inner"));
    EXPECT_FALSE(groups().moveItem(plugA, blocked));
    EXPECT_TRUE(exists(a));
    const QStringList alerts = ui().steps(QStringLiteral("alert:Unable to create directory "));
    ASSERT_EQ(alerts.size(), 1);
    EXPECT_TRUE(alerts.first().startsWith(QStringLiteral("alert:Unable to create directory %1|").arg(fxPlug(QStringLiteral("File/Inner")))));
}

TEST_F(GroupOperationTest, ASameNamedPluginInTheTargetIsReplacedOnlyWhenTheUserSaysSo)
{
    const QString top = bundle(QStringLiteral("A"));
    bundle(QStringLiteral("A"), QStringLiteral("G"));
    ASSERT_TRUE(builder().ok());
    const QString inGroup = fxPlug(QStringLiteral("G/A.fxplug"));
    // Tell the two copies apart by a file only the top-level one has.
    ASSERT_TRUE(VTTestSandbox::makeFile(VTPath::join(top, QStringLiteral("Contents/marker")), "top"));
    reload();
    QList<ItemPtr> topLevel = catalogue().dataArray();
    topLevel.removeIf([](const ItemPtr &item) { return item->isGroup(); });
    ASSERT_EQ(topLevel.size(), 1);
    const ItemPtr topA = topLevel.first();
    const GroupPtr g = group(QStringLiteral("G"));
    const QString question = QStringLiteral("alert:The plugin A already exists at this location. Do you wish to "
                                            "overwrite it?||Overwrite,Cancel");

    ui().answerNext(VTUserInterface::SecondButton);
    EXPECT_FALSE(groups().moveItem(topA, g));
    EXPECT_EQ(ui().steps(QStringLiteral("alert:")), QStringList{question});
    EXPECT_TRUE(exists(top));
    EXPECT_FALSE(exists(VTPath::join(inGroup, QStringLiteral("Contents/marker"))));
    EXPECT_TRUE(logged(QStringLiteral("User chose not to overwrite plugin.")));
    EXPECT_TRUE(logged(QStringLiteral("Destination plugin %1 already exists. Asking the user what to do...").arg(inGroup)));

    ui().answerNext(VTUserInterface::FirstButton);
    EXPECT_TRUE(groups().moveItem(topA, g));
    EXPECT_FALSE(exists(top));
    EXPECT_TRUE(exists(VTPath::join(inGroup, QStringLiteral("Contents/marker"))));
    EXPECT_EQ(trashList(), QStringList{inGroup}) << "the replaced copy is in the Trash";
}
