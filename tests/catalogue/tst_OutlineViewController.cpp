// Building the tree by hand: group chains, placing plug-ins, lookups,
// search, and the hand-over of additions to the main thread. Finding the
// record of a path on disk is what every command-line command does first:
// the end-to-end tests prove it on enabled, disabled and grouped plug-ins.

#include "CatalogueTestSupport.h"

#include "VTMainThread.h"

#include <QCoreApplication>

#include <thread>

using namespace VTSandboxKind;

class OutlineViewControllerTest : public CatalogueSandbox
{
protected:
    PluginPtr add(const QString &name, const QString &subdir, qint64 enabled = 1, qint64 kind = FxPlug)
    {
        return catalogue().addPlugin(name + QStringLiteral(".fxplug"), name, subdir, QString(), kind, AllUsers, enabled);
    }
};

TEST_F(OutlineViewControllerTest, CreateGroupPathInAllItsForms)
{
    OutlineViewController &tree = catalogue();
    const QString base = QStringLiteral("/base");
    EXPECT_FALSE(tree.createGroupPath(QString(), base, true));

    bool made = false;
    const GroupPtr top = tree.createGroupPath(QStringLiteral("Pack.localized/2.0/Warm"), base, false, &made);
    ASSERT_TRUE(top);
    EXPECT_TRUE(made);
    EXPECT_EQ(top->title(), QStringLiteral("Pack"));
    EXPECT_EQ(top->subdir(), QStringLiteral("Pack.localized"));
    EXPECT_EQ(top->storedGroupPath(), QStringLiteral("/base/Pack.localized"));
    const GroupPtr numeric = top->children().value(0)->asGroup();
    EXPECT_EQ(numeric->title(), QStringLiteral("2.0"));
    EXPECT_EQ(numeric->children().value(0)->asGroup()->storedGroupPath(), QStringLiteral("/base/Pack.localized/2.0/Warm"));
    EXPECT_TRUE(tree.dataArray().isEmpty()) << "the caller adds a new top-level group";

    tree.addItemToDataArray(top);
    // The existing chain is reused; the out value says nothing was made at the top.
    const GroupPtr cool = tree.createGroupPath(QStringLiteral("Pack.localized/2.0/Cool"), base, true, &made);
    EXPECT_FALSE(made);
    EXPECT_EQ(cool->subdir(), QStringLiteral("Pack.localized/2.0/Cool"));
    EXPECT_EQ(cool->parent(), numeric);
    EXPECT_EQ(numeric->children().size(), 2);
    EXPECT_FALSE(tree.createGroupPath(QStringLiteral("Pack.localized/Other"), base));
    EXPECT_EQ(tree.createGroupPath(QStringLiteral("Pack.localized/2.0"), base, true), numeric);
    EXPECT_EQ(tree.dataArray().size(), 1);
}

TEST_F(OutlineViewControllerTest, PluginsArePlacedIntoTheirGroupChains)
{
    OutlineViewController &tree = catalogue();
    const PluginPtr top = add(QStringLiteral("Top"), QString());
    const PluginPtr a = add(QStringLiteral("A"), QStringLiteral("Color"));
    const PluginPtr b = add(QStringLiteral("B"), QStringLiteral("Color"), 0);
    ASSERT_EQ(tree.dataArray().size(), 2);
    const GroupPtr color = tree.dataArray().at(1)->asGroup();
    EXPECT_EQ(color->children(), (QList<ItemPtr>{a, b}));
    EXPECT_EQ(a->parent(), color);

    // A plug-in met before its folders: the deepest group of the new chain
    // is what lands at the top level.
    const PluginPtr deep = add(QStringLiteral("Deep"), QStringLiteral("X/Y"));
    const GroupPtr landed = tree.dataArray().last()->asGroup();
    EXPECT_EQ(landed->subdir(), QStringLiteral("X/Y"));
    EXPECT_EQ(deep->parent(), landed);

    // A plug-in that already has a parent only joins that parent.
    const PluginPtr moved = VTPluginItem::createScanned(QStringLiteral("M.fxplug"), QStringLiteral("M"),
                                                        QStringLiteral("Elsewhere"), QString(), FxPlug, AllUsers, 1);
    moved->setParent(color);
    EXPECT_FALSE(tree.groupFromPlugin(moved));
    EXPECT_EQ(color->children().last(), moved);
    EXPECT_FALSE(tree.groupMatchingSubdir(QStringLiteral("Elsewhere")));

    EXPECT_EQ(tree.allPlugins(), (QList<PluginPtr>{top, a, b, moved, deep}));
    EXPECT_EQ(tree.allPluginsForGroup(color), (QList<PluginPtr>{a, b, moved}));
    EXPECT_EQ(VTCatalogueLoader::countTotalItemsInArray(tree.dataArray()), 5);
    EXPECT_EQ(VTCatalogueLoader::countTotalItemsInArray(tree.dataArray(), 2), 4) << "stops once the limit is reached";
    EXPECT_EQ(VTCatalogueLoader::countTotalEnabledItemsInArray(tree.dataArray()), 4);
}

TEST_F(OutlineViewControllerTest, SearchFiltersAndClearingRestoresTheExactTopLevel)
{
    OutlineViewController &tree = catalogue();
    add(QStringLiteral("Gaussian Blur"), QString());
    add(QStringLiteral("Sharpen"), QString());
    add(QStringLiteral("Motion blur"), QStringLiteral("Blur Pack"));
    add(QStringLiteral("Radial"), QStringLiteral("Blur Pack"));
    add(QStringLiteral("Tint"), QStringLiteral("Color"));
    const QList<ItemPtr> before = tree.dataArray();

    tree.search(QStringLiteral("BLUR"));
    const QList<ItemPtr> found = tree.dataArray();
    ASSERT_EQ(found.size(), 2);
    EXPECT_EQ(found[0], before[0]);
    const GroupPtr pack = found[1]->asGroup();
    EXPECT_NE(pack, before[2]) << "a filtered copy, the original stays whole";
    ASSERT_EQ(pack->children().size(), 1);
    EXPECT_EQ(pack->children()[0]->displayTitle(), QStringLiteral("Motion blur"));
    EXPECT_EQ(before[2]->asGroup()->children().size(), 2);

    // A group whose title matches stays even when no child does.
    tree.search(QStringLiteral("pack"));
    ASSERT_EQ(tree.dataArray().size(), 1);
    EXPECT_TRUE(tree.dataArray()[0]->asGroup()->children().isEmpty());

    tree.search(QString());
    EXPECT_EQ(tree.dataArray(), before);
    EXPECT_FALSE(tree.backupDataArray());

    // A reload owns the tree: a search meanwhile changes nothing.
    tree.setIsReloading(true);
    tree.search(QStringLiteral("blur"));
    EXPECT_EQ(tree.dataArray(), before);
    tree.setIsReloading(false);
}

TEST_F(OutlineViewControllerTest, AdditionsFromWorkersAreAppliedOnTheMainThread)
{
    OutlineViewController &tree = catalogue();
    VTMainThread::setEventLoopRunning(true);
    tree.clearData();
    std::thread worker([this] {
        add(QStringLiteral("One"), QStringLiteral("Shared"));
        add(QStringLiteral("Two"), QStringLiteral("Shared"));
        add(QStringLiteral("Loose"), QString());
    });
    worker.join();
    // Nothing is in the top level until the main thread has run the steps,
    // yet the second plug-in found the group the first one made.
    EXPECT_TRUE(tree.dataArray().isEmpty());
    QCoreApplication::sendPostedEvents();
    VTMainThread::setEventLoopRunning(false);
    tree.setIsReloading(false);
    EXPECT_EQ(outline(tree.dataArray()), QStringLiteral("Shared/ (Shared)\n  One.fxplug 0 0 1\n  Two.fxplug 0 0 1\n"
                                                         "Loose.fxplug 0 0 1\n"));

    // Additions still on their way when the tree is cleared are dropped.
    VTMainThread::setEventLoopRunning(true);
    std::thread late([this] { add(QStringLiteral("Late"), QString()); });
    late.join();
    tree.clearData();
    QCoreApplication::sendPostedEvents();
    VTMainThread::setEventLoopRunning(false);
    tree.setIsReloading(false);
    EXPECT_TRUE(tree.dataArray().isEmpty());
}
