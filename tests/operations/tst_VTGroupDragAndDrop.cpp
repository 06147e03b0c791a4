// Drag and drop inside the tree on a sandboxed system: what may be dragged
// and where it may be dropped, and the reorder thread that moves plug-ins
// and groups, its progress threshold and its stop at the first failure.

#include "OperationsTestSupport.h"

#include "VTExpandedItems.h"
#include "VTGroupDragAndDrop.h"
#include "VTItemArchiver.h"
#include "VTUserDefaults.h"

using namespace VTSandboxKind;
using DropOperation = VTGroupDragAndDrop::DropOperation;

namespace {

class DragAndDropTest : public OpsTest::OperationsTest
{
protected:
    VTGroupDragAndDrop &dnd() { return operations().dragAndDrop(); }

    // Drags the records and drops them onto `target`, then waits for the
    // reorder to end.
    bool dragAndDrop(const QList<ItemPtr> &items, const ItemPtr &target)
    {
        const std::optional<QByteArray> data = dnd().writeItems(items);
        if (!data)
            return false;
        const bool accepted = dnd().acceptDrop(*data, target, -1);
        waitForOperations();
        return accepted;
    }
};

} // namespace

TEST_F(DragAndDropTest, ADragCarriesUnlockedRecordsOntoGroupsOrTheTopLevelAndNeverIntoThemselves)
{
    bundle(QStringLiteral("A"), QStringLiteral("G"));
    bundle(QStringLiteral("B"), QStringLiteral("G/Sub"));
    bundle(QStringLiteral("C"), QStringLiteral("Other"));
    lockedBundle(QStringLiteral("L"));
    reload();
    VTUserDefaults::setValue(QStringLiteral("expandedItems"), QStringList{QStringLiteral("G/Sub")});
    const GroupPtr g = group(QStringLiteral("G"));
    const GroupPtr sub = group(QStringLiteral("G/Sub"));

    const std::optional<QByteArray> data = dnd().writeItems({plugin(QStringLiteral("A.fxplug")), sub});
    ASSERT_TRUE(data);
    EXPECT_EQ(dnd().expandedSubdirs(), QStringList{QStringLiteral("G/Sub")});
    const auto decoded = VTItemArchiver::unarchive(*data);
    ASSERT_TRUE(decoded);
    ASSERT_EQ(decoded->items.size(), 2);
    EXPECT_EQ(decoded->items.at(0)->asPlugin()->fileName(), QStringLiteral("A.fxplug"));
    EXPECT_EQ(decoded->items.at(1)->subdir(), QStringLiteral("G/Sub"));
    EXPECT_FALSE(dnd().writeItems({plugin(QStringLiteral("A.fxplug")), plugin(QStringLiteral("L.fxplug"))}));

    const QByteArray pluginData = *dnd().writeItems({plugin(QStringLiteral("C.fxplug"))});
    const QByteArray groupData = *dnd().writeItems({g});

    EXPECT_EQ(dnd().validateDrop(pluginData, plugin(QStringLiteral("A.fxplug"))), DropOperation::None);
    EXPECT_EQ(dnd().validateDrop(pluginData, g), DropOperation::Move);
    EXPECT_EQ(dnd().validateDrop(pluginData, nullptr), DropOperation::Move);
    EXPECT_EQ(dnd().validateDrop(groupData, sub), DropOperation::None) << "into its own subgroup";
    EXPECT_EQ(dnd().validateDrop(groupData, g), DropOperation::Move) << "onto itself moves nothing";
    EXPECT_EQ(dnd().validateDrop(groupData, group(QStringLiteral("Other"))), DropOperation::Move);
    EXPECT_EQ(dnd().validateDrop(QByteArrayLiteral("not an archive"), g), DropOperation::None);
    EXPECT_FALSE(dnd().acceptDrop(QByteArrayLiteral("not an archive"), g, 0));
    EXPECT_FALSE(dnd().acceptDrop(pluginData, plugin(QStringLiteral("A.fxplug")), 0));
    waitForOperations();
    EXPECT_TRUE(exists(fxPlug(QStringLiteral("Other/C.fxplug"))));

    // Dropped anyway, a group is refused by the reorder itself.
    EXPECT_TRUE(dnd().acceptDrop(groupData, sub, 0));
    waitForOperations();
    EXPECT_TRUE(exists(fxPlug(QStringLiteral("G/A.fxplug"))));
    EXPECT_TRUE(exists(fxPlug(QStringLiteral("G/Sub/B.fxplug"))));
    EXPECT_FALSE(exists(fxPlug(QStringLiteral("G/Sub/G"))));
    EXPECT_EQ(ui().steps(QStringLiteral("alert:")),
              QStringList{QStringLiteral("alert:Unable to move G.|A group cannot be moved into one of its own subgroups.|")});
    EXPECT_EQ(posted(), QStringList{QStringLiteral("Cannot move group G into its own subgroup Sub.")});
    EXPECT_EQ(reloadRequests(), 0);
}

TEST_F(DragAndDropTest, PluginsDroppedOntoAGroupMoveIntoItAndTheFirstFailureStopsTheRest)
{
    const QString a = bundle(QStringLiteral("A"));
    const QString b = bundle(QStringLiteral("B"), QStringLiteral("Other"), false);
    bundle(QStringLiteral("C"), QStringLiteral("G"));
    for (const QString &name : {QStringLiteral("P"), QStringLiteral("Q"), QStringLiteral("R"), QStringLiteral("S")})
        bundle(name);
    bundle(QStringLiteral("Q"), QStringLiteral("G"));
    reload();
    const GroupPtr g = group(QStringLiteral("G"));
    view().selection = {g};

    EXPECT_TRUE(dragAndDrop(
        {plugin(QStringLiteral("A.fxplug")), plugin(QStringLiteral("B.fxplug")), plugin(QStringLiteral("C.fxplug"))}, g));
    EXPECT_FALSE(exists(a));
    EXPECT_FALSE(exists(b));
    EXPECT_TRUE(exists(fxPlug(QStringLiteral("G/A.fxplug"))));
    EXPECT_TRUE(exists(mirror(fxPlug(QStringLiteral("G/B.fxplug")))));
    EXPECT_TRUE(exists(fxPlug(QStringLiteral("G/C.fxplug"))));
    EXPECT_FALSE(logged(QStringLiteral("Moving plugin C to group G"))) << "already in the group";
    EXPECT_TRUE(logged(QStringLiteral("User reordered existing plugins.")));
    EXPECT_EQ(reloadRequests(), 1);
    EXPECT_TRUE(view().selection.isEmpty());
    EXPECT_TRUE(ui().steps(QStringLiteral("sheet")).isEmpty()) << "three plug-ins show no sheet";
    EXPECT_EQ(ui().steps(QStringLiteral("step")).size(), 2);

    // Four show progress; the Q already in the group is kept, which stops
    // the reorder there.
    QList<ItemPtr> topLevel;
    for (const QString &name : {QStringLiteral("P"), QStringLiteral("Q"), QStringLiteral("R"), QStringLiteral("S")}) {
        for (const PluginPtr &each : catalogue().allPlugins()) {
            if (each->shortName() == name && !each->parent())
                topLevel << each;
        }
    }
    ASSERT_EQ(topLevel.size(), 4);
    ui().clear();
    ui().answerNext(VTUserInterface::SecondButton);
    EXPECT_TRUE(dragAndDrop(topLevel, g));
    EXPECT_EQ(ui().steps(QStringLiteral("max:")), QStringList{QStringLiteral("max:4")});
    EXPECT_EQ(ui().steps(QStringLiteral("text:")), QStringList{QStringLiteral("text:Moving files...")});
    EXPECT_TRUE(exists(fxPlug(QStringLiteral("G/P.fxplug"))));
    EXPECT_TRUE(exists(fxPlug(QStringLiteral("Q.fxplug"))));
    EXPECT_TRUE(exists(fxPlug(QStringLiteral("R.fxplug")))) << "the reorder stopped at Q";
    EXPECT_TRUE(exists(fxPlug(QStringLiteral("S.fxplug"))));
    EXPECT_EQ(ui().steps(QStringLiteral("alert:Unable")),
              QStringList{QStringLiteral("alert:Unable to move Q.|Please check your file permissions.|")});
    EXPECT_TRUE(posted().contains(QStringLiteral("Unable to move Q.")));
    EXPECT_EQ(ui().steps(QStringLiteral("end")).size(), 1);
    EXPECT_EQ(reloadRequests(), 1) << "a stopped reorder leaves the tree for the next reload";
}

TEST_F(DragAndDropTest, AGroupDroppedOntoAnotherTakesItsContentAndLeavesNoEmptyFolders)
{
    bundle(QStringLiteral("A"), QStringLiteral("Src"));
    bundle(QStringLiteral("C"), QStringLiteral("Src"), false);
    bundle(QStringLiteral("D"), QStringLiteral("Src/Sub"));
    bundle(QStringLiteral("B"), QStringLiteral("Dst"));
    ASSERT_TRUE(builder().ok());
    ASSERT_TRUE(VTTestSandbox::makeFile(fxPlug(QStringLiteral("Src/.DS_Store")), "x"));
    reload();
    const GroupPtr src = group(QStringLiteral("Src"));
    VTUserDefaults::setValue(QStringLiteral("expandedItems"), QStringList{QStringLiteral("Src")});

    // The group and one of its own plug-ins: the plug-in goes with the group.
    EXPECT_TRUE(dragAndDrop({src, plugin(QStringLiteral("A.fxplug"))}, group(QStringLiteral("Dst"))));
    for (const QString &path : {fxPlug(QStringLiteral("Dst/Src/A.fxplug")), mirror(fxPlug(QStringLiteral("Dst/Src/C.fxplug"))),
                                fxPlug(QStringLiteral("Dst/Src/Sub/D.fxplug")), fxPlug(QStringLiteral("Dst/B.fxplug"))})
        EXPECT_TRUE(exists(path)) << path.toStdString();
    EXPECT_FALSE(exists(fxPlug(QStringLiteral("Src"))));
    EXPECT_FALSE(exists(mirror(fxPlug(QStringLiteral("Src")))));
    EXPECT_EQ(logCount(QStringLiteral("Moving plugin A to group ")), 1);
    EXPECT_TRUE(VTExpandedItems::expandedItems().contains(QStringLiteral("Dst/Src"))) << "opens again after the reload";
    EXPECT_EQ(reloadRequests(), 1);
    // Until then the tree shows the rebuilt group below the target.
    const GroupPtr dst = group(QStringLiteral("Dst"));
    const QList<ItemPtr> children = dst->children();
    EXPECT_TRUE(std::any_of(children.cbegin(), children.cend(),
                            [](const ItemPtr &child) { return child->subdir() == QLatin1String("Dst/Src"); }));
    EXPECT_FALSE(groups().moveChildrenOfItem(dst, dst)) << "never into itself";

    // An empty group's folder moves itself; at the top level.
    ASSERT_TRUE(VTTestSandbox::makeFolder(fxPlug(QStringLiteral("Dst/Empty"))));
    reload();
    EXPECT_TRUE(dragAndDrop({group(QStringLiteral("Dst/Empty"))}, nullptr));
    EXPECT_TRUE(VTSandboxFiles::isFolder(fxPlug(QStringLiteral("Empty"))));
    EXPECT_FALSE(exists(fxPlug(QStringLiteral("Dst/Empty"))));

    // And a group with content, from inside another to the top level.
    reload();
    EXPECT_TRUE(dragAndDrop({group(QStringLiteral("Dst/Src"))}, nullptr));
    EXPECT_TRUE(exists(fxPlug(QStringLiteral("Src/A.fxplug"))));
    EXPECT_TRUE(exists(fxPlug(QStringLiteral("Src/Sub/D.fxplug"))));
    EXPECT_TRUE(exists(mirror(fxPlug(QStringLiteral("Src/C.fxplug")))));
    EXPECT_FALSE(exists(fxPlug(QStringLiteral("Dst/Src"))));
    EXPECT_TRUE(posted().isEmpty());
}
