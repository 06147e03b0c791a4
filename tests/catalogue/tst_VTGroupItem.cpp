#include "CatalogueTestSupport.h"

#include "VTPluginKind.h"

namespace {

using namespace VTPluginKind;

PluginPtr plugin(const char *name, qint64 enabled = Enabled, qint64 access = AllUsers, const char *version = nullptr,
                 qint64 type = FxPlug)
{
    VTPluginItem::ArchivedFields fields;
    fields.shortName = QString::fromUtf8(name);
    fields.fileName = fields.shortName + QStringLiteral(".fxplug");
    fields.version = QString::fromUtf8(version);
    fields.pluginEnabled = enabled;
    fields.pluginAccess = access;
    fields.pluginType = type;
    return VTPluginItem::fromArchivedFields(fields);
}

GroupPtr group(const char *title, std::initializer_list<ItemPtr> children = {})
{
    const QString name = QString::fromUtf8(title);
    GroupPtr result = VTGroupItem::create(name, QStringLiteral("/G/") + name, name);
    for (const ItemPtr &child : children)
        result->addChild(child);
    return result;
}

QStringList split(const char *names)
{
    return QString::fromLatin1(names).split(u' ', Qt::SkipEmptyParts);
}

} // namespace

TEST(VTGroupItem, EnabledStateAndAccessOfMixedChildren)
{
    EXPECT_EQ(group("Empty")->groupEnabled(), Mixed);
    EXPECT_EQ(group("On", {plugin("a"), plugin("b")})->groupEnabled(), Enabled);
    EXPECT_EQ(group("Both", {plugin("a"), plugin("b", Disabled)})->groupEnabled(), Mixed);
    const GroupPtr off = group("Off", {plugin("a", Disabled), plugin("b", Disabled)});
    EXPECT_EQ(group("Outer", {off})->groupEnabled(), Disabled);
    EXPECT_EQ(group("Outer", {off, plugin("c")})->groupEnabled(), Mixed);
    // An empty nested group is mixed and makes its parent mixed.
    EXPECT_EQ(group("Outer", {plugin("c"), group("Hollow")})->groupEnabled(), Mixed);
    // Any value other than 1 counts as disabled for a plug-in.
    EXPECT_EQ(group("Odd", {plugin("a", 7)})->groupEnabled(), Disabled);

    EXPECT_EQ(group("Empty")->groupAccess(), UnknownAccess);
    EXPECT_EQ(group("All", {plugin("a"), plugin("b")})->groupAccess(), AllUsers);
    const GroupPtr user = group("User", {plugin("a", Enabled, CurrentUser)});
    EXPECT_EQ(user->groupAccess(), CurrentUser);
    EXPECT_EQ(group("Nested", {user, plugin("b", Disabled, CurrentUser)})->groupAccess(), CurrentUser);
    EXPECT_EQ(group("Both", {user, plugin("b")})->groupAccess(), UnknownAccess);
    EXPECT_EQ(group("HollowChild", {plugin("b"), group("Hollow")})->groupAccess(), UnknownAccess);
}

TEST(VTGroupItem, ChildrenParentsAndCounts)
{
    const PluginPtr leaf = plugin("leaf");
    const GroupPtr c = group("C", {leaf});
    const GroupPtr b = group("B", {c});
    const GroupPtr a = group("A", {b, plugin("top")});
    EXPECT_EQ(leaf->parent(), c);
    EXPECT_EQ(leaf->absoluteParent(), a);
    EXPECT_EQ(c->absoluteParent(), a);
    EXPECT_EQ(b->absoluteParent(), a);
    EXPECT_EQ(a->absoluteParent(), nullptr);

    EXPECT_EQ(displayTitles(a->allChildren()), split("B C leaf top"));
    QStringList plugins;
    for (const PluginPtr &p : a->allPluginChildren())
        plugins.append(p->shortName());
    EXPECT_EQ(plugins, split("leaf top"));

    EXPECT_TRUE(c->removeChild(leaf));
    EXPECT_FALSE(c->removeChild(leaf));
    EXPECT_EQ(leaf->parent(), nullptr);

    // The back reference does not keep a released group alive.
    const PluginPtr orphan = plugin("orphan");
    {
        const GroupPtr temporary = group("T", {orphan});
        EXPECT_EQ(orphan->parent(), temporary);
    }
    EXPECT_EQ(orphan->parent(), nullptr);

    // Counts: a nested group adds all its plug-ins to the enabled count.
    const GroupPtr inner = group("Inner", {plugin("x"), plugin("y", Disabled), plugin("z", Disabled)});
    const GroupPtr outer = group("Outer", {plugin("a"), plugin("b"), inner});
    EXPECT_EQ(outer->totalChildCount(), 5);
    EXPECT_EQ(outer->totalEnabledChildCount(), 5);
    EXPECT_EQ(inner->totalEnabledChildCount(), 1);
    const GroupPtr quiet = group("Quiet", {plugin("a", Disabled), inner});
    EXPECT_EQ(quiet->totalChildCount(), 4);
    EXPECT_EQ(quiet->totalEnabledChildCount(), 3);
}

TEST(VTGroupItem, RenameAndEnableReachTheWholeSubtree)
{
    const PluginPtr locked = plugin("locked", Disabled, AllUsers);
    locked->setIsLocked(true);
    const PluginPtr deep = plugin("deep", Disabled, AllUsers);
    const GroupPtr warm = group("Warm", {deep});
    const PluginPtr top = plugin("top", Disabled, AllUsers);
    const GroupPtr color = group("Color", {top, warm, locked});

    color->renameChildSubdirs(QStringLiteral("Colour"));
    EXPECT_EQ(top->subdir(), QStringLiteral("Colour"));
    EXPECT_EQ(deep->subdir(), QStringLiteral("Colour/Warm"));
    EXPECT_EQ(locked->subdir(), QStringLiteral("Colour"));

    color->enableChildren(Enabled);
    EXPECT_EQ(top->pluginEnabled(), Enabled);
    EXPECT_EQ(deep->pluginEnabled(), Enabled);
    EXPECT_EQ(locked->pluginEnabled(), Disabled);
}

TEST(VTGroupItem, BasePathCutsTheSubfolder)
{
    const GroupPtr g = VTGroupItem::create(QStringLiteral("B"), QStringLiteral("/Library/Plug-Ins/FxPlug/A/B"),
                                           QStringLiteral("A/B"));
    EXPECT_EQ(g->basePath(), QStringLiteral("/Library/Plug-Ins/FxPlug"));
    g->setSubdir(QString());
    EXPECT_EQ(g->basePath(), QStringLiteral("/Library/Plug-Ins/FxPlug/A/B"));
    g->setSubdir(QStringLiteral("a/b/c/d/e/f/g"));
    EXPECT_EQ(g->basePath(), QStringLiteral("/Library/Plug-Ins/FxPlug/A/B"));
    g->setGroupPath(QStringLiteral("/Library//Plug-Ins/FxPlug/B/"));
    g->setSubdir(QStringLiteral("B"));
    EXPECT_EQ(g->basePath(), QStringLiteral("/Library/Plug-Ins/FxPlug"));
}

TEST(VTGroupItem, FilteredCopyKeepsMatchesInOrderAndTheGroupsPlaces)
{
    const PluginPtr blur = plugin("Gaussian Blur");
    const GroupPtr stylize = group("Stylize", {plugin("Motion blur"), plugin("Emboss")});
    const GroupPtr root = group("Root", {blur, plugin("Glow"), group("Blurs", {plugin("Soft")}), stylize,
                                         group("Other", {plugin("Noise")})});
    stylize->setGroupEnabled(0);

    const GroupPtr filtered = root->groupWithFilteredChildren(QStringLiteral("BLUR"));
    EXPECT_NE(filtered, root);
    EXPECT_EQ(displayTitles(filtered->children()),
              (QStringList{QStringLiteral("Gaussian Blur"), QStringLiteral("Blurs"), QStringLiteral("Stylize")}));
    // The title matched, so the group stays, with its children filtered.
    EXPECT_TRUE(filtered->children().at(1)->asGroup()->children().isEmpty());
    EXPECT_EQ(displayTitles(filtered->children().at(2)->asGroup()->children()), QStringList{QStringLiteral("Motion blur")});
    // The originals are untouched, and the plug-ins are the same records.
    EXPECT_EQ(root->children().size(), 5);
    EXPECT_EQ(stylize->children().size(), 2);
    EXPECT_EQ(filtered->children().at(0), blur);
    EXPECT_EQ(blur->parent(), root);
    // A group's copy keeps the original's place, stored state and parent.
    const GroupPtr stylizeCopy = filtered->children().at(2)->asGroup();
    EXPECT_EQ(stylizeCopy->subdir(), stylize->subdir());
    EXPECT_EQ(stylizeCopy->storedGroupPath(), stylize->storedGroupPath());
    EXPECT_EQ(stylizeCopy->storedGroupEnabled(), 0);
    EXPECT_EQ(stylizeCopy->parent(), root);
}

TEST(VTGroupItem, SortsRecursivelyWithPluginsBeforeGroups)
{
    const GroupPtr inner = group("Inner", {plugin("i9", Enabled, AllUsers, "9.0"), plugin("i10", Enabled, AllUsers, "10.0")});
    const GroupPtr root = group("Root", {inner, plugin("v9", Enabled, AllUsers, "9.0"), plugin("v10", Disabled, AllUsers, "10.0"),
                                         plugin("v2", Enabled, AllUsers, "2.1")});

    // Versions as text: "10.0" before "9.0".
    root->sortChildrenByVersion(false);
    EXPECT_EQ(displayTitles(root->children()), split("v10 v2 v9 Inner"));
    EXPECT_EQ(displayTitles(inner->children()), split("i10 i9"));
    root->sortChildrenByVersion(true);
    EXPECT_EQ(displayTitles(root->children()), split("Inner v9 v2 v10"));
    EXPECT_EQ(displayTitles(inner->children()), split("i9 i10"));

    root->sortChildrenByStatus(false);
    EXPECT_EQ(displayTitles(root->children()), split("v10 v9 v2 Inner"));

    root->sortChildrenByName(false);
    EXPECT_EQ(displayTitles(root->children()), split("Inner v10 v2 v9"));
}

TEST(VTGroupItem, SortsByTypeWithGroupAsANameAndByNameIgnoringCase)
{
    const GroupPtr root = group("Root", {plugin("vst", Enabled, AllUsers, nullptr, VST), group("G"),
                                         plugin("fx", Enabled, AllUsers, nullptr, FxPlug),
                                         plugin("au", Enabled, AllUsers, nullptr, AudioUnit)});
    root->sortChildrenByType(false);
    EXPECT_EQ(displayTitles(root->children()), split("au fx G vst"));
    EXPECT_EQ(displayTitles(VTCatalogueItem::sorted(root->children(), VTSortKey::Type, true)), split("vst G fx au"));
    root->sortChildrenByName(true);
    EXPECT_EQ(displayTitles(root->children()), split("vst G fx au"));
}

class VTGroupItemOnDisk : public CatalogueSandbox
{
};

TEST_F(VTGroupItemOnDisk, GroupPathIsWhereMostChildrenAre)
{
    const auto scanned = [](const QString &name, qint64 enabled) {
        return VTPluginItem::createScanned(name + QStringLiteral(".fxplug"), name, QStringLiteral("Color"), QString(),
                                           FxPlug, AllUsers, enabled);
    };
    const QString enabledFolder = VTPath::join(systemRoot(), QStringLiteral("Library/Plug-Ins/FxPlug/Color"));
    const QString disabledFolder = disabledRoot() + QStringLiteral("/Library/Plug-Ins/FxPlug/Color");

    const GroupPtr color = VTGroupItem::create(QStringLiteral("Color"), QStringLiteral("/recorded"), QStringLiteral("Color"));
    EXPECT_EQ(color->groupPath(), QStringLiteral("/recorded"));
    color->addChild(scanned(QStringLiteral("a"), Disabled));
    color->addChild(scanned(QStringLiteral("b"), Enabled));
    // Equal counts: the folder met first wins.
    EXPECT_EQ(color->groupPath(), disabledFolder);
    color->addChild(scanned(QStringLiteral("c"), Enabled));
    EXPECT_EQ(color->groupPath(), enabledFolder);
    EXPECT_EQ(color->storedGroupPath(), QStringLiteral("/recorded"));

    // A child group counts with its own folder's parent.
    const GroupPtr outer = VTGroupItem::create(QStringLiteral("Outer"), QStringLiteral("/x"), QString());
    outer->addChild(color);
    EXPECT_EQ(outer->groupPath(), VTPath::removeLastComponent(enabledFolder));
}
