#include "VTGroupItem.h"
#include "VTItemArchiver.h"
#include "VTKeyedArchive.h"
#include "VTPluginItem.h"
#include "VTPluginKind.h"
#include "VTTestProcess.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

#include <vector>

namespace {

using namespace VTPluginKind;
using VTKeyedArchive::Uid;

PluginPtr plugin(const QString &name, const QString &subdir, std::optional<QStringList> architectures = std::nullopt,
                 qint64 type = FxPlug, qint64 access = AllUsers, qint64 enabled = Enabled)
{
    VTPluginItem::ArchivedFields fields;
    fields.shortName = name;
    fields.fileName = name + QStringLiteral(".fxplug");
    fields.subdir = subdir;
    fields.version = QStringLiteral("1.%1").arg(name.size());
    fields.pluginEnabled = enabled;
    fields.itemSelection = name.size() % 2;
    fields.architectures = architectures;
    fields.pluginType = type;
    fields.pluginAccess = access;
    return VTPluginItem::fromArchivedFields(fields);
}

// A record read back from an archive: every archived field equal, and
// nothing that is not archived (its place on disk, its parent, its bundle read).
void expectSamePlugin(const ItemPtr &made, const PluginPtr &original)
{
    ASSERT_TRUE(made && made->isPlugin());
    const auto a = made->asPlugin()->archivedFields();
    const auto b = original->archivedFields();
    EXPECT_EQ(a.shortName, b.shortName);
    EXPECT_EQ(a.fileName, b.fileName);
    EXPECT_EQ(a.subdir, b.subdir);
    EXPECT_EQ(a.subdir.isNull(), b.subdir.isNull());
    EXPECT_EQ(a.version, b.version);
    EXPECT_EQ(a.pluginEnabled, b.pluginEnabled);
    EXPECT_EQ(a.itemSelection, b.itemSelection);
    EXPECT_EQ(a.architectures, b.architectures);
    EXPECT_EQ(a.pluginType, b.pluginType);
    EXPECT_EQ(a.pluginAccess, b.pluginAccess);
    EXPECT_TRUE(made->asPlugin()->actualPath().isEmpty());
    EXPECT_EQ(made->parent(), nullptr);
    EXPECT_EQ(made->asPlugin()->bundleProcessThread(), nullptr);
}

// A catalogue top level: a plug-in, and a group holding a plug-in and a
// nested group with one more.
struct Catalogue {
    PluginPtr loose = plugin(QStringLiteral("Loose"), QString(), QStringList{QStringLiteral("64-bit (Intel)"),
                                                                            QStringLiteral("32-bit (PowerPC)")},
                             AudioUnit, UnknownAccess);
    PluginPtr warm = plugin(QStringLiteral("Warm"), QStringLiteral("Color"), std::nullopt, FxPlug, CurrentUser, Disabled);
    PluginPtr deep = plugin(QStringLiteral("Deep"), QStringLiteral("Color/Cool"), QStringList{}, Unknown, CurrentUser);
    GroupPtr color = VTGroupItem::create(QStringLiteral("Color"), QStringLiteral("/L/Color"), QStringLiteral("Color"));
    GroupPtr cool = VTGroupItem::create(QStringLiteral("Cool"), QStringLiteral("/L/Color/Cool"), QStringLiteral("Color/Cool"));

    Catalogue()
    {
        cool->addChild(deep);
        color->addChild(warm);
        color->addChild(cool);
    }
    [[nodiscard]] QList<ItemPtr> top() const { return {loose, color}; }
};

} // namespace

TEST(VTItemArchiver, RoundTripGivesEqualRecords)
{
    const Catalogue catalogue;
    const auto decoded = VTItemArchiver::unarchive(VTItemArchiver::archive(catalogue.top()));
    ASSERT_TRUE(decoded.has_value());
    ASSERT_EQ(decoded->items.size(), 2);
    EXPECT_EQ(decoded->records.size(), 5);
    expectSamePlugin(decoded->items.at(0), catalogue.loose);

    const GroupPtr color = decoded->items.at(1)->asGroup();
    ASSERT_TRUE(color);
    EXPECT_EQ(color->title(), QStringLiteral("Color"));
    EXPECT_EQ(color->subdir(), QStringLiteral("Color"));
    EXPECT_EQ(color->storedGroupPath(), QStringLiteral("/L/Color"));
    EXPECT_EQ(color->storedGroupEnabled(), catalogue.color->groupEnabled());
    EXPECT_EQ(color->parent(), nullptr);
    ASSERT_EQ(color->children().size(), 2);
    expectSamePlugin(color->children().at(0), catalogue.warm);

    const GroupPtr cool = color->children().at(1)->asGroup();
    ASSERT_TRUE(cool);
    EXPECT_EQ(cool->title(), QStringLiteral("Cool"));
    EXPECT_EQ(cool->storedGroupPath(), QStringLiteral("/L/Color/Cool"));
    EXPECT_EQ(cool->parent(), color);
    ASSERT_EQ(cool->children().size(), 1);
    expectSamePlugin(cool->children().at(0), catalogue.deep);
    EXPECT_EQ(color->groupEnabled(), catalogue.color->groupEnabled());
    EXPECT_EQ(color->totalChildCount(), 2);
}

TEST(VTItemArchiver, SharedRecordsAreWrittenOnceAndANestedGroupBringsItsParent)
{
    const Catalogue catalogue;
    const QByteArray once = VTItemArchiver::archive({catalogue.loose});
    const QByteArray twice = VTItemArchiver::archive({catalogue.loose, catalogue.loose});
    const auto decoded = VTItemArchiver::unarchive(twice);
    ASSERT_TRUE(decoded.has_value());
    ASSERT_EQ(decoded->items.size(), 2);
    EXPECT_EQ(decoded->items.at(0), decoded->items.at(1));
    // Only one more array element, not a second record.
    EXPECT_LT(twice.size() - once.size(), 8);

    const auto nested = VTItemArchiver::unarchive(VTItemArchiver::archive({catalogue.cool}));
    ASSERT_TRUE(nested.has_value());
    ASSERT_EQ(nested->items.size(), 1);
    const GroupPtr cool = nested->items.first()->asGroup();
    const GroupPtr color = cool->parent();
    ASSERT_TRUE(color);
    EXPECT_EQ(color->title(), QStringLiteral("Color"));
    ASSERT_EQ(color->children().size(), 2);
    EXPECT_EQ(color->children().at(1), cool);
    EXPECT_EQ(nested->records.size(), 4); // the loose plug-in is not part of it
}

TEST(VTItemArchiver, IndependentReaderWalksTheArchive)
{
    const Catalogue catalogue;
    const QJsonArray root = QJsonDocument::fromJson(VTTest::readKeyedArchive(VTItemArchiver::archive(catalogue.top()))).array();
    ASSERT_EQ(root.size(), 2);

    const auto json = [](const char *text) { return QJsonDocument::fromJson(QByteArray(text)).array(); };
    const QJsonObject loose = root.at(0).toObject();
    EXPECT_EQ(loose.value(QStringLiteral("class")).toString(), QStringLiteral("VTPluginItem"));
    EXPECT_EQ(loose.value(QStringLiteral("classes")).toArray(), json(R"j(["VTPluginItem", "NSObject"])j"));
    EXPECT_EQ(loose.value(QStringLiteral("fields")).toArray(),
              json(R"j(["Loose", "Loose.fxplug", null, "1.5", 1, 1, ["64-bit (Intel)", "32-bit (PowerPC)"], 2, -1])j"));

    const QJsonObject color = root.at(1).toObject();
    EXPECT_EQ(color.value(QStringLiteral("class")).toString(), QStringLiteral("VTGroupItem"));
    const QJsonArray colorFields = color.value(QStringLiteral("fields")).toArray();
    ASSERT_EQ(colorFields.size(), 6);
    EXPECT_EQ(colorFields.at(0).toString(), QStringLiteral("Color"));
    EXPECT_EQ(colorFields.at(2).toString(), QStringLiteral("Color"));
    EXPECT_EQ(colorFields.at(3).toString(), QStringLiteral("/L/Color"));
    EXPECT_EQ(colorFields.at(4).toInt(), -1); // one disabled plug-in, one enabled group
    EXPECT_TRUE(colorFields.at(5).isNull());

    const QJsonArray children = colorFields.at(1).toArray();
    ASSERT_EQ(children.size(), 2);
    EXPECT_EQ(children.at(0).toObject().value(QStringLiteral("fields")).toArray(),
              json(R"j(["Warm", "Warm.fxplug", "Color", "1.4", 0, 0, null, 0, 1])j"));
    const QJsonArray coolFields = children.at(1).toObject().value(QStringLiteral("fields")).toArray();
    ASSERT_EQ(coolFields.size(), 6);
    EXPECT_EQ(coolFields.at(0).toString(), QStringLiteral("Cool"));
    EXPECT_EQ(coolFields.at(4).toInt(), 1);
    // The nested group's parent is the record already met, not a copy.
    EXPECT_EQ(coolFields.at(5).toObject().value(QStringLiteral("ref")).toInt(), color.value(QStringLiteral("id")).toInt());
    EXPECT_EQ(coolFields.at(1).toArray().at(0).toObject().value(QStringLiteral("fields")).toArray(),
              json(R"j(["Deep", "Deep.fxplug", "Color/Cool", "1.4", 1, 0, [], -1, 1])j"));
}

// Archives put together by hand, as damaged or hostile data would be.
class HostileArchive : public ::testing::Test
{
protected:
    Uid reserve()
    {
        bool isNew = false;
        m_identities.push_back(std::make_unique<int>(0));
        return m_writer.reserve(m_identities.back().get(), &isNew);
    }
    Uid group(const QList<Uid> &children, Uid parent = VTKeyedArchive::Null)
    {
        const Uid uid = reserve();
        defineGroup(uid, children, parent);
        return uid;
    }
    void defineGroup(Uid uid, const QList<Uid> &children, Uid parent = VTKeyedArchive::Null)
    {
        const Uid title = m_writer.addString(QStringLiteral("G"));
        m_writer.define(uid, QStringLiteral("VTGroupItem"), {QStringLiteral("NSObject")},
                        {ref(title), ref(m_writer.addArray(children)), ref(title), ref(title),
                         ref(m_writer.addInteger(1)), ref(parent)});
    }
    Uid plugin(QVariantList fields = {})
    {
        const Uid name = m_writer.addString(QStringLiteral("P"));
        const Uid one = m_writer.addInteger(1);
        if (fields.isEmpty())
            fields = {ref(name), ref(name), ref(VTKeyedArchive::Null), ref(name), ref(one), ref(one),
                      ref(VTKeyedArchive::Null), QVariant(qint64(0)), QVariant(qint64(1))};
        const Uid uid = reserve();
        m_writer.define(uid, QStringLiteral("VTPluginItem"), {QStringLiteral("NSObject")}, fields);
        return uid;
    }
    std::optional<VTItemArchiver::Unarchived> decode(const QList<Uid> &top)
    {
        return VTItemArchiver::unarchive(m_writer.finish(m_writer.addArray(top)));
    }
    static QVariant ref(Uid uid) { return QVariant::fromValue(uid); }

    VTKeyedArchive::Writer m_writer;
    std::vector<std::unique_ptr<int>> m_identities;
};

TEST_F(HostileArchive, GroupsInACycleOrTooDeepAreRejected)
{
    const Uid self = reserve();
    defineGroup(self, {self});
    EXPECT_FALSE(decode({self}).has_value());
    const Uid a = reserve();
    const Uid b = group({a});
    defineGroup(a, {b});
    EXPECT_FALSE(decode({a}).has_value());
    // The same archive holding those groups unreferenced is read, a record
    // met twice being one record.
    const Uid p = plugin();
    const auto decoded = decode({group({p}), p});
    ASSERT_TRUE(decoded.has_value());
    ASSERT_EQ(decoded->items.size(), 2);
    EXPECT_EQ(decoded->items.at(0)->asGroup()->children().at(0), decoded->items.at(1));

    // Nested the natural way: each group decodes its child in turn.
    Uid inner = group({});
    for (int i = 0; i < VTItemArchiver::MaximumDepth + 5; ++i)
        inner = group({inner});
    EXPECT_FALSE(decode({inner}).has_value());

    // Each group is decoded from the top list before its parent, so the
    // decoder never nests; the finished tree is still too deep to walk.
    QList<Uid> chain{group({})};
    for (int i = 0; i < VTItemArchiver::MaximumDepth + 5; ++i)
        chain.append(group({chain.last()}));
    EXPECT_FALSE(decode(chain).has_value());
    EXPECT_TRUE(decode(chain.mid(0, 50)).has_value());
}

TEST_F(HostileArchive, WrongTypesAreRejected)
{
    const Uid text = m_writer.addString(QStringLiteral("not a record"));
    EXPECT_FALSE(decode({text}).has_value());
    EXPECT_FALSE(decode({VTKeyedArchive::Null}).has_value());
    EXPECT_FALSE(decode({Uid{9999}}).has_value());
    EXPECT_FALSE(decode({group({text})}).has_value());
    // A parent must be a group.
    EXPECT_FALSE(decode({group({}, plugin())}).has_value());
    // A plug-in with a string where its kind belongs, or a field missing.
    const Uid name = m_writer.addString(QStringLiteral("P"));
    const Uid one = m_writer.addInteger(1);
    EXPECT_FALSE(decode({plugin({ref(name), ref(name), ref(name), ref(name), ref(one), ref(one),
                                 ref(VTKeyedArchive::Null), ref(name), QVariant(qint64(1))})})
                     .has_value());
    EXPECT_FALSE(decode({plugin({ref(name), ref(name), ref(name), ref(name), ref(one), ref(one)})}).has_value());
    // Architectures that are not texts.
    EXPECT_FALSE(decode({plugin({ref(name), ref(name), ref(name), ref(name), ref(one), ref(one),
                                 ref(m_writer.addArray({one})), QVariant(qint64(0)), QVariant(qint64(1))})})
                     .has_value());
    EXPECT_FALSE(VTItemArchiver::unarchive(QByteArray("bplist00")).has_value());
    EXPECT_FALSE(VTItemArchiver::unarchive(QByteArray()).has_value());
}
