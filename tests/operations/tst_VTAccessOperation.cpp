// Access changes on a sandboxed system: plug-ins moving between the
// all-users and the current user's folders with their group and state, the
// kinds that never move, the roll-back of a failed move, group walks with
// their progress threshold, the access column and the toolbar toggle.

#include "OperationsTestSupport.h"

using namespace VTSandboxKind;

using AccessOperationTest = OpsTest::OperationsTest;

TEST_F(AccessOperationTest, APluginMovesToTheOtherFolderKeepingItsGroupAndState)
{
    const QString a = bundle(QStringLiteral("A"), QStringLiteral("Color"));
    const QString d = bundle(QStringLiteral("D"), QStringLiteral("Color"), false, AudioUnit, CurrentUser);
    reload();
    const PluginPtr plugA = plugin(QStringLiteral("A.fxplug"));
    const PluginPtr plugD = plugin(QStringLiteral("D.component"));

    access().setAccess(1, plugA, false, false);
    EXPECT_FALSE(exists(a));
    EXPECT_TRUE(exists(userFxPlug(QStringLiteral("Color/A.fxplug"))));
    EXPECT_EQ(plugA->pluginAccess(), 1);
    EXPECT_EQ(plugA->pluginEnabled(), 1);
    EXPECT_EQ(plugA->actualPath(), userFxPlug(QStringLiteral("Color/A.fxplug")));
    EXPECT_TRUE(logged(QStringLiteral("Setting access for plugin A to current user...")));
    EXPECT_TRUE(view().reloadedItems.contains(plugA->parent())) << "the parent row is redrawn";

    // A disabled plug-in moves within the disabled tree and stays disabled.
    access().setAccess(0, plugD, false);
    waitForOperations();
    EXPECT_FALSE(exists(d));
    EXPECT_TRUE(exists(mirror(folder(AudioUnit, AllUsers, QStringLiteral("Color/D.component")))));
    EXPECT_EQ(plugD->pluginEnabled(), 0);
    EXPECT_EQ(plugD->pluginAccess(), 0);
    EXPECT_TRUE(logged(QStringLiteral("Setting access for plugin D to all users...")));

    // Asking again for where it already is does nothing.
    const int lines = logLines().size();
    access().setAccess(0, plugD, false, false);
    EXPECT_EQ(logLines().size(), lines);
    EXPECT_TRUE(posted().isEmpty());
}

TEST_F(AccessOperationTest, AvidAndAdobePluginsNeverMoveAndOpenFXDoes)
{
    const QList<qint64> fixed{AvidAVX, AdobePlugin, AvidAVX2, AvidRTAS};
    QStringList paths;
    for (const qint64 kind : fixed)
        paths << bundle(QStringLiteral("K%1").arg(kind), QStringLiteral("Color"), true, kind);
    const QString fx = bundle(QStringLiteral("Fx"), QStringLiteral("Color"));
    const QString ofx = bundle(QStringLiteral("Ofx"), QString(), true, OpenFX);
    reload();
    ui().clear();
    for (const qint64 kind : fixed)
        EXPECT_TRUE(VTAccessOperation::isAccessFixed(kind)) << kind;
    EXPECT_FALSE(VTAccessOperation::isAccessFixed(OpenFX));

    for (const PluginPtr &each : catalogue().allPlugins()) {
        if (VTAccessOperation::isAccessFixed(each->pluginType()))
            access().setAccess(1, each, true);
    }
    waitForOperations();
    EXPECT_TRUE(ui().steps().isEmpty());
    EXPECT_FALSE(logged(QStringLiteral("Setting access for plugin K3 to current user...")));

    // Nor inside a group that moves, nor through the access column.
    access().accessCellEdited(group(QStringLiteral("Color")), 1);
    waitForOperations();
    EXPECT_TRUE(exists(userFxPlug(QStringLiteral("Color/Fx.fxplug"))));
    for (const QString &path : std::as_const(paths))
        EXPECT_TRUE(exists(path)) << path.toStdString();
    for (const PluginPtr &each : catalogue().allPlugins()) {
        if (VTAccessOperation::isAccessFixed(each->pluginType())) {
            EXPECT_EQ(each->pluginAccess(), 0) << each->shortName().toStdString();
        }
    }

    // OpenFX has no current-user folder, but a request goes ahead to where
    // the record's path leads. Records derive an OpenFX folder the scan does
    // not look in, so there is nothing at the record's path to move and the
    // scanned file stays where it is.
    const PluginPtr open = plugin(QStringLiteral("Ofx.bundle"));
    ASSERT_TRUE(open);
    access().setAccess(1, open, false, false);
    EXPECT_TRUE(logged(QStringLiteral("Setting access for plugin Ofx to current user...")));
    EXPECT_EQ(open->pluginAccess(), 1);
    EXPECT_TRUE(VTPath::isInside(open->pluginPath(), m_env.home()));
    EXPECT_TRUE(exists(ofx));
    EXPECT_TRUE(posted().isEmpty());
}

TEST_F(AccessOperationTest, AFileInTheWrongPlaceMovesBackAndAFailedMoveRollsBack)
{
    const QString inHome = bundle(QStringLiteral("A"), QString(), true, FxPlug, CurrentUser);
    reload();
    const PluginPtr plugA = plugin(QStringLiteral("A.fxplug"));
    // The record says all users while the file is still in the home.
    plugA->setPluginAccess(0);
    ASSERT_EQ(plugA->actualPath(), inHome);

    access().setAccess(0, plugA, false, false);
    EXPECT_FALSE(exists(inHome));
    EXPECT_TRUE(exists(fxPlug(QStringLiteral("A.fxplug"))));
    EXPECT_EQ(plugA->pluginAccess(), 0);

    // Again with a move that fails (as after a refused authorization): the
    // record ends at the other access.
    ASSERT_TRUE(operations().guardedMove().moveFileFrom(fxPlug(QStringLiteral("A.fxplug")), inHome));
    plugA->setActualPath(inHome);
    frame().setProcessingCancelled(true);
    access().setAccess(0, plugA, false, false);
    EXPECT_TRUE(exists(inHome));
    EXPECT_EQ(plugA->pluginAccess(), 1);
    const QString failure = QStringLiteral("Failed to move file %1 to %2").arg(inHome, fxPlug(QStringLiteral("A.fxplug")));
    EXPECT_TRUE(posted().contains(failure));
    EXPECT_TRUE(logged(failure));
}

TEST_F(AccessOperationTest, AGroupWalksItsPluginsDepthFirstAndShowsProgressAboveThree)
{
    for (const QString &name : {QStringLiteral("A"), QStringLiteral("B"), QStringLiteral("C")})
        bundle(name, QStringLiteral("Three"));
    for (const QString &name : {QStringLiteral("D"), QStringLiteral("E")})
        bundle(name, QStringLiteral("Four"));
    bundle(QStringLiteral("G"), QStringLiteral("Four/Sub"), false);
    lockedBundle(QStringLiteral("L"), QStringLiteral("Four"));
    reload();

    access().setAccess(1, group(QStringLiteral("Three")), true, false);
    EXPECT_TRUE(ui().steps(QStringLiteral("sheet")).isEmpty());
    EXPECT_EQ(ui().steps(QStringLiteral("step")).size(), 3);
    EXPECT_TRUE(exists(userFxPlug(QStringLiteral("Three/C.fxplug"))));

    ui().clear();
    const GroupPtr four = group(QStringLiteral("Four"));
    ASSERT_EQ(four->children().size(), 4) << "the first size that shows progress";
    access().setAccess(1, four, true);
    waitForOperations();
    EXPECT_EQ(ui().steps(QStringLiteral("max:")), QStringList{QStringLiteral("max:4")});
    EXPECT_EQ(ui().steps(QStringLiteral("text:")), QStringList{QStringLiteral("text:Moving files...")});
    EXPECT_EQ(ui().steps(QStringLiteral("step")).size(), 3) << "the locked plug-in takes no step";
    for (const QString &name : {QStringLiteral("D"), QStringLiteral("E")})
        EXPECT_TRUE(exists(userFxPlug(QStringLiteral("Four/%1.fxplug").arg(name)))) << name.toStdString();
    EXPECT_TRUE(exists(mirror(userFxPlug(QStringLiteral("Four/Sub/G.fxplug")))));
    EXPECT_TRUE(exists(fxPlug(QStringLiteral("Four/L.fxplug"))));
    EXPECT_EQ(four->storedGroupPath(), userFxPlug(QStringLiteral("Four")));
    EXPECT_TRUE(logged(QStringLiteral("Setting access for group Four to current user...")));
    EXPECT_TRUE(logged(QStringLiteral("Setting access for group Sub to current user...")));
    EXPECT_TRUE(view().reloadedItems.contains(four));
}

TEST_F(AccessOperationTest, TheToggleLabelGivesTheDirectionAndTheAccessCellAnswersAtOnce)
{
    QList<ItemPtr> selection;
    for (int i = 0; i < 4; ++i)
        bundle(QStringLiteral("P%1").arg(i));
    bundle(QStringLiteral("Q"), QStringLiteral("G"));
    const QString locked = lockedBundle(QStringLiteral("L"));
    reload();
    for (int i = 0; i < 4; ++i)
        selection << plugin(QStringLiteral("P%1.fxplug").arg(i));
    const GroupPtr g = group(QStringLiteral("G"));
    selection << g;
    int disabledButtons = 0;
    access().setDisableUserButton([&disabledButtons] { ++disabledButtons; });
    const int redisplays = view().treeReloads;

    access().toggleUserAccess(selection, QStringLiteral("Current User"));
    waitForOperations();
    for (int i = 0; i < 4; ++i)
        EXPECT_TRUE(exists(userFxPlug(QStringLiteral("P%1.fxplug").arg(i))));
    EXPECT_TRUE(exists(userFxPlug(QStringLiteral("G/Q.fxplug"))));
    EXPECT_EQ(ui().steps(QStringLiteral("max:")), QStringList{QStringLiteral("max:5")}) << "five records";
    EXPECT_EQ(ui().steps(QStringLiteral("step")).size(), 5);
    EXPECT_EQ(disabledButtons, 1);
    EXPECT_GT(view().treeReloads, redisplays);
    EXPECT_EQ(reloadRequests(), 0);

    ui().clear();
    access().toggleUserAccess(selection.mid(0, 2), QStringLiteral("All Users"));
    waitForOperations();
    EXPECT_TRUE(exists(fxPlug(QStringLiteral("P0.fxplug"))));
    EXPECT_TRUE(exists(userFxPlug(QStringLiteral("P2.fxplug"))));
    EXPECT_TRUE(ui().steps(QStringLiteral("sheet")).isEmpty()) << "two plug-ins show no sheet";

    // The access cell: the record answers at once, the files follow.
    int buttonRefreshes = 0;
    operations().context().setWindowSteps({[&buttonRefreshes] { ++buttonRefreshes; }, {}});
    int edits = 0;
    QObject::connect(&access(), &VTAccessOperation::outlineViewItemsChanged, [&edits] { ++edits; });
    const PluginPtr p0 = plugin(QStringLiteral("P0.fxplug"));
    access().accessCellEdited(p0, 1);
    EXPECT_EQ(p0->pluginAccess(), 1) << "before the move has finished";
    access().accessCellEdited(g, 0);
    EXPECT_EQ(g->groupAccess(), 0);
    const PluginPtr plugL = plugin(QStringLiteral("L.fxplug"));
    access().accessCellEdited(plugL, 1);
    EXPECT_EQ(plugL->pluginAccess(), 0);
    waitForOperations();
    EXPECT_FALSE(exists(fxPlug(QStringLiteral("P0.fxplug"))));
    EXPECT_TRUE(exists(userFxPlug(QStringLiteral("P0.fxplug"))));
    EXPECT_TRUE(exists(fxPlug(QStringLiteral("G/Q.fxplug"))));
    EXPECT_TRUE(exists(locked));
    EXPECT_EQ(buttonRefreshes, 3);
    EXPECT_EQ(edits, 3);
}
