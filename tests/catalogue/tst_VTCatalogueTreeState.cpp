// What the tree keeps besides its records: sorting by column, expanded
// groups and the architecture selections, seen through a scripted outline.
// The selection across a reload is checked through the controller's reload
// in the application tests.

#include "CatalogueTestSupport.h"

#include "VTArchitectureSelection.h"
#include "VTCatalogueSorter.h"
#include "VTExpandedItems.h"
#include "VTUserDefaults.h"

using namespace VTSandboxKind;
using Arch = VTMachOWriter::Arch;

namespace {

bool isSortedIgnoringCase(const QStringList &texts, bool descending = false)
{
    return std::is_sorted(texts.cbegin(), texts.cend(), [descending](const QString &a, const QString &b) {
        return (descending ? b.compare(a, Qt::CaseInsensitive) : a.compare(b, Qt::CaseInsensitive)) < 0;
    });
}

} // namespace

class TreeState : public CatalogueSandbox
{
protected:
    void SetUp() override
    {
        CatalogueSandbox::SetUp();
        m_view = std::make_unique<ScriptedCatalogueView>(catalogue());
        catalogue().setView(m_view.get());
    }

    void TearDown() override
    {
        catalogue().setView(nullptr);
        m_view.reset();
        CatalogueSandbox::TearDown();
    }

    ScriptedCatalogueView &view() { return *m_view; }

    std::unique_ptr<ScriptedCatalogueView> m_view;
};

TEST_F(TreeState, ColumnClicksFollowTheClickRule)
{
    builder().demo();
    reload();
    VTCatalogueSorter sorter(catalogue());

    sorter.didClickTableColumn(QStringLiteral("colName"));
    EXPECT_TRUE(isSortedIgnoringCase(displayTitles(catalogue().dataArray())));
    EXPECT_EQ(VTUserDefaults::value(QStringLiteral("sortedColumn")).toString(), QStringLiteral("colName"));
    EXPECT_FALSE(VTUserDefaults::value(QStringLiteral("sortedDescending")).toBool());
    EXPECT_EQ(view().indicator, std::make_pair(QStringLiteral("colName"), false));

    sorter.didClickTableColumn(QStringLiteral("colName"));
    EXPECT_TRUE(isSortedIgnoringCase(displayTitles(catalogue().dataArray()), true));
    EXPECT_TRUE(VTUserDefaults::value(QStringLiteral("sortedDescending")).toBool());
    // Groups sort their subtrees the same way.
    QStringList colorChildren = displayTitles(catalogue().groupMatchingSubdir(QStringLiteral("Color"))->children());
    EXPECT_EQ(colorChildren, (QStringList{QStringLiteral("Warm"), QStringLiteral("Tint"), QStringLiteral("Color Warp")}));

    sorter.didClickTableColumn(QStringLiteral("colVersion"));
    EXPECT_FALSE(VTUserDefaults::value(QStringLiteral("sortedDescending")).toBool());
    EXPECT_EQ(view().clearedIndicators, QStringList{QStringLiteral("colName")});
    // Plug-ins by version as text, every group after them.
    const QList<ItemPtr> byVersion = catalogue().dataArray();
    const auto firstGroup = std::find_if(byVersion.cbegin(), byVersion.cend(), [](const ItemPtr &i) { return i->isGroup(); });
    EXPECT_TRUE(std::all_of(firstGroup, byVersion.cend(), [](const ItemPtr &i) { return i->isGroup(); }));

    // Type: a group counts as "Group", between "FxScript" and "OpenFX Plugin".
    sorter.didClickTableColumn(QStringLiteral("colType"));
    QStringList types;
    for (const ItemPtr &item : catalogue().dataArray())
        types.append(VTCatalogueModel::columnValue(*item, VTCatalogueModel::ColType).toString());
    EXPECT_TRUE(isSortedIgnoringCase(types)) << types.join(u',').toStdString();
    EXPECT_GT(types.indexOf(QStringLiteral("Group")), types.lastIndexOf(QStringLiteral("FxScript")));
    EXPECT_LT(types.lastIndexOf(QStringLiteral("Group")), types.indexOf(QStringLiteral("OpenFX Plugin")));

    // Clicks during a reload are ignored.
    const QList<ItemPtr> before = catalogue().dataArray();
    catalogue().setIsReloading(true);
    sorter.didClickTableColumn(QStringLiteral("colName"));
    catalogue().setIsReloading(false);
    EXPECT_EQ(catalogue().dataArray(), before);
    EXPECT_EQ(VTUserDefaults::value(QStringLiteral("sortedColumn")).toString(), QStringLiteral("colType"));
}

TEST_F(TreeState, StoredSortingIsAppliedAndAFailedSortChangesNothing)
{
    builder().demo();
    reload();
    VTCatalogueSorter sorter(catalogue());
    EXPECT_EQ(VTCatalogueSorter::sortedColumn(), QStringLiteral("colName"));
    VTUserDefaults::setValue(QStringLiteral("sortedDescending"), true);
    sorter.applySorting();
    EXPECT_TRUE(isSortedIgnoringCase(displayTitles(catalogue().dataArray()), true));

    const QString before = outline(catalogue().dataArray());
    view().failRedisplay = true;
    sorter.didClickTableColumn(QStringLiteral("colStatus"));
    view().failRedisplay = false;
    EXPECT_EQ(outline(catalogue().dataArray()), before);
    EXPECT_TRUE(VTUserDefaults::value(QStringLiteral("sortedColumn")).toString().isEmpty());
    EXPECT_TRUE(VTTest::logText().contains(QStringLiteral("Exception in outlineView:didClickTableColumn:")));
}

TEST_F(TreeState, ExpandedGroupsAreRememberedAndRestored)
{
    builder().demo();
    reload();
    VTExpandedItems expanded(catalogue());
    view().didExpand = [&expanded](const ItemPtr &item) { expanded.outlineViewItemDidExpand(item); };
    const GroupPtr color = catalogue().groupMatchingSubdir(QStringLiteral("Color"));
    const GroupPtr warm = catalogue().groupMatchingSubdir(QStringLiteral("Color/Warm"));
    view().expandItem(color, false);
    view().expandItem(warm, false);
    expanded.outlineViewItemDidExpand(color);
    expanded.outlineViewItemDidExpand(pluginNamed(catalogue().allPlugins(), QStringLiteral("Tint.fxplug")));
    EXPECT_EQ(VTExpandedItems::expandedItems(), (QStringList{QStringLiteral("Color"), QStringLiteral("Color/Warm")}));
    expanded.outlineViewItemDidCollapse(warm);
    EXPECT_EQ(VTExpandedItems::expandedItems(), QStringList{QStringLiteral("Color")});

    VTUserDefaults::setValue(QStringLiteral("expandedItems"),
                             QStringList{QStringLiteral("Color/Warm"), QStringLiteral("Gone"), QStringLiteral("Color")});
    reload(); // new records; the outline collapsed everything
    const GroupPtr newWarm = catalogue().groupMatchingSubdir(QStringLiteral("Color/Warm"));
    ASSERT_NE(newWarm, warm);
    EXPECT_FALSE(view().isExpanded(newWarm));
    expanded.loadExpandedItems();
    EXPECT_TRUE(view().isExpanded(catalogue().groupMatchingSubdir(QStringLiteral("Color"))));
    EXPECT_TRUE(VTTest::logText().contains(QStringLiteral("Loading expanded items...")));
}

TEST_F(TreeState, ArchitectureSelectionsPickPluginsLackingTheOther)
{
    const auto archs = [](QList<Arch> list, const QString &group = QString()) {
        VTBundleOptions options;
        options.architectures = std::move(list);
        options.group = group;
        return options;
    };
    builder().addBundle(FxPlug, AllUsers, QStringLiteral("Old32"), archs({Arch::I386, Arch::PPC}));
    builder().addBundle(FxPlug, AllUsers, QStringLiteral("New64"), archs({Arch::X86_64}, QStringLiteral("Outer/Inner")));
    builder().addBundle(AudioUnit, AllUsers, QStringLiteral("PowerOnly"), archs({Arch::PPC64, Arch::PPC}));
    builder().addBundle(AudioUnit, AllUsers, QStringLiteral("Both"), archs({Arch::I386, Arch::X86_64}));
    builder().addBundle(AudioUnit, AllUsers, QStringLiteral("NoCode"), archs({}));
    builder().addFile(FxScript, AllUsers, QStringLiteral("Script.txt"));
    reload();
    VTArchitectureSelection selection(catalogue());
    const auto selectedNames = [this] {
        QStringList names = displayTitles(view().selectedItems());
        names.sort();
        return names;
    };

    selection.select32BitOnlyPlugins();
    EXPECT_EQ(selectedNames(), QStringList{QStringLiteral("Old32")});
    selection.select64BitOnlyPlugins();
    EXPECT_EQ(selectedNames(), QStringList{QStringLiteral("New64")});
    // The plug-in's topmost group was expanded with all below it.
    EXPECT_TRUE(view().isExpanded(catalogue().groupMatchingSubdir(QStringLiteral("Outer"))));
    EXPECT_TRUE(view().isExpanded(catalogue().groupMatchingSubdir(QStringLiteral("Outer/Inner"))));
    selection.selectPPCOnlyPlugins();
    EXPECT_EQ(selectedNames(), QStringList{QStringLiteral("PowerOnly")});
    selection.selectIntelOnlyPlugins();
    EXPECT_EQ(selectedNames(), (QStringList{QStringLiteral("Both"), QStringLiteral("New64")}));

    // Without plug-ins the selection is simply cleared.
    catalogue().setDataArray({});
    view().selectItems({});
    selection.select32BitOnlyPlugins();
    EXPECT_TRUE(view().selectedItems().isEmpty());
}
