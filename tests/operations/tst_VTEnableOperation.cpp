// Enabling and disabling on a sandboxed system: the mirror folders, the
// clean-up after an enable, locked plug-ins, refusals, groups, the check box
// and the toolbar toggle with its progress thresholds.

#include "OperationsTestSupport.h"

#include "VTCatalogueModel.h"
#include "VTFileManager.h"

using namespace VTSandboxKind;

using EnableOperationTest = OpsTest::OperationsTest;

TEST_F(EnableOperationTest, DisablingMakesTheMirrorFoldersAndEnablingRemovesThemUpToTheRoot)
{
    const QString bundle = this->bundle(QStringLiteral("A"), QStringLiteral("MyGroup"));
    const QString reference = keepReference(bundle);
    reload();
    PluginPtr a = plugin(QStringLiteral("A.fxplug"));
    ASSERT_TRUE(a);

    EXPECT_TRUE(enabling().moveFilter(a, 0));
    // The mirror tree repeats the plug-in's path within the managed system.
    const QString disabled = disabledRoot() + QStringLiteral("/Library/Plug-Ins/FxPlug/MyGroup/A.fxplug");
    EXPECT_FALSE(exists(bundle));
    EXPECT_TRUE(OpsTest::sameTree(reference, disabled));
    EXPECT_TRUE(VTSandboxFiles::isFolder(fxPlug(QStringLiteral("MyGroup")))) << "the emptied group folder stays";
    EXPECT_EQ(a->pluginEnabled(), 0);
    EXPECT_EQ(a->actualPath(), disabled);
    EXPECT_TRUE(view().reloadedItems.contains(a)) << "the row is redrawn";
    const QStringList log = logLines();
    EXPECT_TRUE(log.contains(QStringLiteral("Disabling plugin A...")));
    EXPECT_TRUE(log.contains(QStringLiteral("Moving file from %1 to %2").arg(bundle, disabled)));
    EXPECT_TRUE(log.contains(QStringLiteral("Plugin successfully moved to %1").arg(disabled)));
    EXPECT_EQ(ui().steps(QStringLiteral("busy")).size(), 1);
    EXPECT_EQ(ui().steps(QStringLiteral("idle")).size(), 1);
    // Disabling it again finds it in the disabled tree.
    EXPECT_FALSE(enabling().moveFilter(a, 0));
    EXPECT_TRUE(logged(QStringLiteral("Error: plugin is already disabled.")));
    EXPECT_TRUE(exists(disabled));

    // Enabled again as the scan finds it; a ".DS_Store" does not keep a folder.
    ASSERT_TRUE(VTTestSandbox::makeFile(VTPath::join(mirror(fxPlug()), QStringLiteral(".DS_Store")), "x"));
    reload();
    a = plugin(QStringLiteral("A.fxplug"));
    ASSERT_EQ(a->pluginEnabled(), 0);
    EXPECT_TRUE(enabling().moveFilter(a, 1));
    EXPECT_TRUE(OpsTest::sameTree(reference, bundle));
    EXPECT_EQ(a->pluginEnabled(), 1);
    EXPECT_EQ(a->actualPath(), bundle);
    EXPECT_FALSE(exists(disabledRoot())) << "every emptied folder up to the root itself is gone";
    EXPECT_TRUE(exists(VTPath::removeLastComponent(disabledRoot())));
    EXPECT_TRUE(logged(QStringLiteral("Cleaning up plugin path %1...").arg(disabled)));
    EXPECT_FALSE(enabling().moveFilter(a, 1));
    EXPECT_TRUE(logged(QStringLiteral("Error: plugin is already enabled.")));
    EXPECT_TRUE(posted().isEmpty());
}

TEST_F(EnableOperationTest, TheCleanUpStopsAtTheFirstFolderThatHoldsSomethingAndALockedPluginStays)
{
    bundle(QStringLiteral("A"), QStringLiteral("Outer/Inner"), false);
    bundle(QStringLiteral("B"), QStringLiteral("Outer"), false);
    const QString locked = lockedBundle(QStringLiteral("Managed"));
    reload();

    EXPECT_TRUE(enabling().moveFilter(plugin(QStringLiteral("A.fxplug")), 1));
    EXPECT_FALSE(exists(mirror(fxPlug(QStringLiteral("Outer/Inner")))));
    EXPECT_TRUE(exists(mirror(fxPlug(QStringLiteral("Outer/B.fxplug")))));
    EXPECT_TRUE(exists(disabledRoot()));

    // A locked plug-in stays where it is and counts as moved.
    const PluginPtr managed = plugin(QStringLiteral("Managed.fxplug"));
    ASSERT_TRUE(managed && managed->isLocked());
    EXPECT_TRUE(enabling().moveFilter(managed, 0));
    EXPECT_TRUE(exists(locked));
    EXPECT_FALSE(exists(mirror(locked)));
    EXPECT_EQ(managed->pluginEnabled(), 1);
    EXPECT_TRUE(logged(QStringLiteral("Unable to move Managed - plugin is locked")));
    EXPECT_TRUE(posted().isEmpty());
    EXPECT_TRUE(view().reloadedItems.contains(managed));
}

TEST_F(EnableOperationTest, ADestinationInTheWayIsNeverReplacedAndAPluginGoneFromDiskFails)
{
    const QString bundle = builder().addBundle(FxPlug, AllUsers, QStringLiteral("A"));
    const QString reference = keepReference(bundle);
    reload();
    const PluginPtr a = plugin(QStringLiteral("A.fxplug"));
    const QString disabled = mirror(bundle);
    ASSERT_TRUE(VTTestSandbox::makeFile(VTPath::join(disabled, QStringLiteral("older copy")), "older"));

    EXPECT_FALSE(enabling().moveFilter(a, 0));
    EXPECT_TRUE(OpsTest::sameTree(reference, bundle));
    EXPECT_FALSE(exists(VTPath::join(disabled, QStringLiteral("A.fxplug")))) << "not moved into what is in the way";
    EXPECT_EQ(a->pluginEnabled(), 1);
    const QString unableToMove = QStringLiteral("Unable to move %1 to %2 - File exists").arg(bundle, disabled);
    const QStringList refusal{unableToMove, QStringLiteral("Could not disable plugin A. Please check your file permissions.")};
    EXPECT_EQ(posted(), refusal);
    EXPECT_TRUE(logged(unableToMove));
    EXPECT_TRUE(logged(QStringLiteral("Could not disable plugin.")));

    // Gone from disk: the move fails quietly, though the guarded move alone
    // counts a vanished source as moved.
    ASSERT_TRUE(QDir(disabled).removeRecursively());
    ASSERT_TRUE(QDir(bundle).removeRecursively());
    EXPECT_FALSE(enabling().moveFilter(a, 0));
    EXPECT_EQ(a->actualPath(), bundle);
    EXPECT_EQ(posted(), refusal);
    EXPECT_TRUE(operations().guardedMove().moveFileFrom(bundle, disabled));
    EXPECT_FALSE(exists(disabled));
    EXPECT_FALSE(operations().guardedMove().moveFileFrom(QString(), disabled));
}

TEST_F(EnableOperationTest, ImmutableFlagsAlongBothPathsAreClearedUpToTheFirstMissingFolder)
{
    if (!FsTest::isRoot())
        GTEST_SKIP() << "setting the immutable attribute needs root";
    const QString bundle = this->bundle(QStringLiteral("A"), QStringLiteral("G/Inner"));
    reload();
    const QString outer = fxPlug(QStringLiteral("G"));
    const QString inner = fxPlug(QStringLiteral("G/Inner"));
    for (const QString &path : {bundle, inner, outer}) {
        if (!VTFileManager::lockFile(path) || !VTFileManager::isFileLocked(path))
            GTEST_SKIP() << "this file system has no immutable attribute";
    }

    // A destination that does not exist yet: its existing folders are
    // cleared, the walk ends at the first missing one.
    cleanup().unlockItemsInPath(VTPath::join(inner, QStringLiteral("Missing/Deeper/X.fxplug")));
    EXPECT_FALSE(VTFileManager::isFileLocked(outer));
    EXPECT_FALSE(VTFileManager::isFileLocked(inner));
    EXPECT_TRUE(VTFileManager::isFileLocked(bundle)) << "not on the path";

    ASSERT_TRUE(VTFileManager::lockFile(inner));
    EXPECT_TRUE(enabling().moveFilter(plugin(QStringLiteral("A.fxplug")), 0));
    EXPECT_TRUE(exists(mirror(bundle)));
    EXPECT_FALSE(VTFileManager::isFileLocked(inner));
    EXPECT_FALSE(VTFileManager::isFileLocked(mirror(bundle)));
    EXPECT_TRUE(posted().isEmpty());
}

TEST_F(EnableOperationTest, AGroupMovesAllItsDescendantsAndAMixedStatusDoesNothing)
{
    for (const QString &name : {QStringLiteral("A"), QStringLiteral("B")})
        bundle(name, QStringLiteral("G"));
    bundle(QStringLiteral("C"), QStringLiteral("G/Sub"));
    reload();
    const GroupPtr g = group(QStringLiteral("G"));
    ASSERT_TRUE(g);
    ui().clear();

    enabling().setEnabled(-1, g, true);
    waitForOperations();
    EXPECT_TRUE(ui().steps().isEmpty());
    EXPECT_TRUE(exists(fxPlug(QStringLiteral("G/A.fxplug"))));

    enabling().setEnabled(0, g, true);
    waitForOperations();
    for (const QString &relative : {QStringLiteral("G/A.fxplug"), QStringLiteral("G/B.fxplug"), QStringLiteral("G/Sub/C.fxplug")}) {
        EXPECT_FALSE(exists(fxPlug(relative))) << relative.toStdString();
        EXPECT_TRUE(exists(mirror(fxPlug(relative)))) << relative.toStdString();
    }
    // The bar counts the group's direct children; the sub-group has no step
    // of its own, but its plug-ins step the bar as they move.
    EXPECT_EQ(ui().steps(QStringLiteral("max:")), QStringList{QStringLiteral("max:3")});
    EXPECT_EQ(ui().steps(QStringLiteral("step")).size(), 3);
    EXPECT_EQ(ui().steps(QStringLiteral("text:")), QStringList{QStringLiteral("text:Moving files...")});
    EXPECT_EQ(ui().steps(QStringLiteral("end")).size(), 1);
    EXPECT_EQ(ui().steps(QStringLiteral("stats:")).size(), 2) << "once for the group, once for the sub-group";
    EXPECT_EQ(g->groupEnabled(), 0);
    EXPECT_TRUE(logged(QStringLiteral("Disabling group G...")));
}

TEST_F(EnableOperationTest, TheCheckBoxMovesAPluginAtOnceAndAGroupOnAWorker)
{
    bundle(QStringLiteral("A"), QStringLiteral("G"));
    bundle(QStringLiteral("B"), QStringLiteral("G"));
    reload();
    const PluginPtr a = plugin(QStringLiteral("A.fxplug"));
    const GroupPtr g = group(QStringLiteral("G"));
    int buttonRefreshes = 0;
    operations().context().setWindowSteps({[&buttonRefreshes] { ++buttonRefreshes; }, {}});

    enabling().statusCheckBoxChanged(a, 0);
    EXPECT_EQ(a->pluginEnabled(), 0);
    EXPECT_TRUE(exists(mirror(fxPlug(QStringLiteral("G/A.fxplug")))));
    EXPECT_TRUE(view().reloadedItems.contains(g)) << "the parent's mixed state is redrawn";
    EXPECT_EQ(buttonRefreshes, 1);

    // Clearing the box of a group marks its unlocked records at once.
    enabling().statusCheckBoxChanged(g, 0);
    EXPECT_EQ(plugin(QStringLiteral("B.fxplug"))->pluginEnabled(), 0);
    waitForOperations();
    EXPECT_TRUE(exists(mirror(fxPlug(QStringLiteral("G/B.fxplug")))));
    EXPECT_EQ(ui().steps(QStringLiteral("max:")), QStringList{QStringLiteral("max:2")});
    EXPECT_EQ(buttonRefreshes, 2);
}

TEST_F(EnableOperationTest, TheTreeModelsStatusColumnHandsTheNewStateToTheOperation)
{
    const QString bundle = builder().addBundle(FxPlug, AllUsers, QStringLiteral("A"));
    reload();
    VTCatalogueModel model(catalogue());
    const PluginPtr a = plugin(QStringLiteral("A.fxplug"));
    const QModelIndex status = model.indexForItem(a.get(), VTCatalogueModel::ColStatus);
    ASSERT_TRUE(status.isValid());
    EXPECT_FALSE(model.flags(status) & Qt::ItemIsUserCheckable) << "not checkable without an operation behind it";
    EXPECT_FALSE(model.setData(status, Qt::Unchecked, Qt::CheckStateRole));

    model.setStatusCheckBoxHandler([this](const ItemPtr &item, qint64 value) { enabling().statusCheckBoxChanged(item, value); });
    EXPECT_TRUE(model.flags(status) & Qt::ItemIsUserCheckable);
    EXPECT_TRUE(model.setData(status, Qt::Unchecked, Qt::CheckStateRole));
    EXPECT_TRUE(exists(mirror(bundle)));
    EXPECT_EQ(model.data(status, Qt::CheckStateRole).value<Qt::CheckState>(), Qt::Unchecked);
    EXPECT_TRUE(model.setData(status, Qt::Checked, Qt::CheckStateRole));
    EXPECT_TRUE(exists(bundle));
    EXPECT_FALSE(model.setData(model.indexForItem(a.get(), VTCatalogueModel::ColName), Qt::Unchecked, Qt::CheckStateRole));
}

TEST_F(EnableOperationTest, TheToggleShowsProgressOnlyAboveFourRowsOrFourPlugins)
{
    QList<ItemPtr> four;
    for (int i = 0; i < 4; ++i)
        builder().addBundle(FxPlug, AllUsers, QStringLiteral("P%1").arg(i));
    for (int i = 0; i < 5; ++i)
        bundle(QStringLiteral("U%1").arg(i), QStringLiteral("Five"), true, AudioUnit);
    for (int g = 0; g < 5; ++g) {
        for (int i = 0; i < 2; ++i)
            bundle(QStringLiteral("V%1%2").arg(g).arg(i), QStringLiteral("Pair%1").arg(g), true, VST);
    }
    reload();
    for (int i = 0; i < 4; ++i)
        four << plugin(QStringLiteral("P%1.fxplug").arg(i));
    QList<ItemPtr> fiveGroups;
    for (int g = 0; g < 5; ++g)
        fiveGroups << group(QStringLiteral("Pair%1").arg(g));
    const QList<ItemPtr> oneGroupOfFive{group(QStringLiteral("Five"))};

    const int reloadsBefore = view().treeReloads;
    enabling().enableDisable(four, QStringLiteral("Disable"));
    waitForOperations();
    EXPECT_TRUE(ui().steps(QStringLiteral("sheet")).isEmpty());
    EXPECT_EQ(ui().steps(QStringLiteral("end")).size(), 1) << "the sheet is closed even when never shown";
    EXPECT_EQ(plugin(QStringLiteral("P3.fxplug"))->pluginEnabled(), 0);
    EXPECT_EQ(view().treeReloads, reloadsBefore + 1);
    EXPECT_TRUE(logged(QStringLiteral("Toggling enabled status...")));

    ui().clear();
    enabling().enableDisable(oneGroupOfFive, QStringLiteral("Disable"));
    waitForOperations();
    EXPECT_EQ(ui().steps(QStringLiteral("max:")), QStringList{QStringLiteral("max:5")});
    EXPECT_EQ(ui().steps(QStringLiteral("text:")), QStringList{QStringLiteral("text:Moving files...")});

    ui().clear();
    enabling().enableDisable(fiveGroups, QStringLiteral("Disable"));
    waitForOperations();
    EXPECT_EQ(ui().steps(QStringLiteral("max:")), QStringList{QStringLiteral("max:5")}) << "rows, not the ten plug-ins";

    // Any label but "Disable" enables.
    enabling().enableDisable(fiveGroups, QStringLiteral("Enable"));
    waitForOperations();
    EXPECT_EQ(group(QStringLiteral("Pair4"))->groupEnabled(), 1);
    EXPECT_EQ(reloadRequests(), 0) << "normal runs end without a data reload";
}

TEST_F(EnableOperationTest, CancellingAToggleLeavesTheRestAndEndsLikeANormalRun)
{
    QStringList bundles;
    for (int i = 0; i < 8; ++i)
        bundles << builder().addBundle(FxPlug, AllUsers, QStringLiteral("P%1").arg(i));
    reload();
    const QList<ItemPtr> all = catalogue().dataArray();
    ASSERT_EQ(all.size(), 8);
    int buttonRefreshes = 0;
    operations().context().setWindowSteps({[&buttonRefreshes] { ++buttonRefreshes; }, {}});

    // Cancel is pressed while the bar shows the third plug-in done.
    ui().setOnIncrement([this](int steps) {
        if (steps == 3)
            frame().cancelProgress();
    });
    enabling().enableDisable(all, QStringLiteral("Disable"));
    waitForOperations();
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(exists(mirror(bundles.at(i))), i < 3) << i;
    EXPECT_FALSE(frame().processingCancelled());
    EXPECT_EQ(reloadRequests(), 0) << "the normal ending, not a reload from the worker";
    EXPECT_EQ(buttonRefreshes, 1);
    EXPECT_EQ(ui().steps(QStringLiteral("end")).size(), 1);
}
