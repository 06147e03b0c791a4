#include "VTKeyedArchive.h"

#include <gtest/gtest.h>

using VTKeyedArchive::Reader;
using VTKeyedArchive::Uid;
using VTKeyedArchive::Writer;

namespace {

QVariantMap makeEnvelope(const QVariantList &objects, const QVariant &version = qint64(100000))
{
    return {{QStringLiteral("$archiver"), QStringLiteral("NSKeyedArchiver")},
            {QStringLiteral("$version"), version},
            {QStringLiteral("$top"), QVariantMap{{QStringLiteral("root"), QVariant::fromValue(Uid{1})}}},
            {QStringLiteral("$objects"), objects}};
}

QByteArray binary(const QVariant &value)
{
    return VTPropertyList::toData(value, VTPropertyList::Format::Binary);
}

} // namespace

TEST(VTKeyedArchive, EnvelopeLayout)
{
    Writer writer;
    const Uid name = writer.addString(QStringLiteral("Blur"));
    bool isNew = false;
    const Uid object = writer.reserve(&writer, &isNew);
    ASSERT_TRUE(isNew);
    writer.define(object, QStringLiteral("Thing"), {QStringLiteral("NSObject")},
                  {QVariant::fromValue(name), QVariant::fromValue(VTKeyedArchive::Null), QVariant(qint64(-1))});
    const QByteArray bytes = writer.finish(object);
    ASSERT_TRUE(bytes.startsWith("bplist00"));

    const QVariantMap archive = VTPropertyList::fromData(bytes).toMap();
    EXPECT_EQ(archive.value(QStringLiteral("$archiver")).toString(), QStringLiteral("NSKeyedArchiver"));
    EXPECT_EQ(archive.value(QStringLiteral("$version")).toLongLong(), 100000);
    EXPECT_EQ(archive.value(QStringLiteral("$top")).toMap().value(QStringLiteral("root")).value<Uid>(), object);
    const QVariantList objects = archive.value(QStringLiteral("$objects")).toList();
    ASSERT_GE(objects.size(), 4);
    EXPECT_EQ(objects.at(0).toString(), QStringLiteral("$null"));

    const QVariantMap entry = objects.at(qsizetype(object.value)).toMap();
    EXPECT_EQ(entry.value(QStringLiteral("$0")).value<Uid>(), name);
    EXPECT_EQ(entry.value(QStringLiteral("$1")).value<Uid>(), VTKeyedArchive::Null);
    // Scalars stay in place, negative values included.
    EXPECT_EQ(entry.value(QStringLiteral("$2")).toLongLong(), -1);
    const QVariantMap cls = objects.at(qsizetype(entry.value(QStringLiteral("$class")).value<Uid>().value)).toMap();
    EXPECT_EQ(cls.value(QStringLiteral("$classname")).toString(), QStringLiteral("Thing"));
    EXPECT_EQ(cls.value(QStringLiteral("$classes")).toStringList(),
              (QStringList{QStringLiteral("Thing"), QStringLiteral("NSObject")}));
}

TEST(VTKeyedArchive, SharedEntriesAreWrittenOnce)
{
    Writer writer;
    EXPECT_EQ(writer.addString(QStringLiteral("a")), writer.addString(QStringLiteral("a")));
    EXPECT_NE(writer.addString(QStringLiteral("a")), writer.addString(QStringLiteral("b")));
    EXPECT_EQ(writer.addInteger(-5), writer.addInteger(-5));
    EXPECT_EQ(writer.addOptionalString(QString()), VTKeyedArchive::Null);
    EXPECT_NE(writer.addOptionalString(QStringLiteral("")), VTKeyedArchive::Null);

    int first = 0, second = 0;
    bool isNew = false;
    const Uid a = writer.reserve(&first, &isNew);
    EXPECT_TRUE(isNew);
    EXPECT_EQ(writer.reserve(&first, &isNew), a);
    EXPECT_FALSE(isNew);
    EXPECT_NE(writer.reserve(&second, &isNew), a);
}

TEST(VTKeyedArchive, RoundTripThroughTheReader)
{
    Writer writer;
    bool isNew = false;
    const Uid node = writer.reserve(&writer, &isNew);
    const Uid list = writer.addArray({writer.addString(QStringLiteral("x")), writer.addInteger(7), node});
    // The object refers to itself: the UID was handed out before its fields.
    writer.define(node, QStringLiteral("Node"), {QStringLiteral("NSObject")},
                  {QVariant::fromValue(list), QVariant::fromValue(node), QVariant(qint64(1) << 40)});
    const auto reader = Reader::fromData(writer.finish(list));
    ASSERT_TRUE(reader.has_value());

    const auto root = reader->top(QStringLiteral("root"));
    ASSERT_TRUE(root.has_value());
    const auto elements = reader->array(*root);
    ASSERT_TRUE(elements.has_value());
    ASSERT_EQ(elements->size(), 3);
    EXPECT_EQ(reader->string(elements->at(0)), QStringLiteral("x"));
    EXPECT_EQ(reader->integer(elements->at(1)), 7);
    EXPECT_EQ(reader->className(elements->at(2)), QStringLiteral("Node"));
    EXPECT_EQ(reader->referenceField(node, 0), *root);
    EXPECT_EQ(reader->referenceField(node, 1), node);
    EXPECT_EQ(reader->integerField(node, 2), qint64(1) << 40);

    // Lookups of the wrong type or outside the object table answer nothing.
    EXPECT_FALSE(reader->string(elements->at(1)).has_value());
    EXPECT_FALSE(reader->integer(elements->at(0)).has_value());
    EXPECT_FALSE(reader->array(node).has_value());
    EXPECT_FALSE(reader->integerField(node, 0).has_value());
    EXPECT_FALSE(reader->referenceField(node, 2).has_value());
    EXPECT_FALSE(reader->referenceField(node, 3).has_value());
    EXPECT_FALSE(reader->string(Uid{quint64(reader->objectCount())}).has_value());
    EXPECT_FALSE(reader->string(VTKeyedArchive::Null).has_value());
    EXPECT_EQ(reader->optionalString(VTKeyedArchive::Null), QString());
    EXPECT_TRUE(reader->className(Uid{999}).isEmpty());
    EXPECT_FALSE(reader->top(QStringLiteral("other")).has_value());
}

TEST(VTKeyedArchive, ReaderRejectsOtherData)
{
    const QVariantList good{QStringLiteral("$null"), QStringLiteral("x")};
    ASSERT_TRUE(Reader::fromData(binary(makeEnvelope(good))).has_value());

    EXPECT_FALSE(Reader::fromData(QByteArray()).has_value());
    EXPECT_FALSE(Reader::fromData(QByteArray("bplist00garbage")).has_value());
    EXPECT_FALSE(Reader::fromData(binary(QVariantList{QStringLiteral("$null")})).has_value());
    EXPECT_FALSE(Reader::fromData(binary(makeEnvelope(good, qint64(99999)))).has_value());
    EXPECT_FALSE(Reader::fromData(binary(makeEnvelope(good, QStringLiteral("100000")))).has_value());
    EXPECT_FALSE(Reader::fromData(binary(makeEnvelope({}))).has_value());
    EXPECT_FALSE(Reader::fromData(binary(makeEnvelope({QStringLiteral("null")}))).has_value());
    EXPECT_FALSE(Reader::fromData(binary(makeEnvelope({qint64(0)}))).has_value());

    QVariantMap noTop = makeEnvelope(good);
    noTop.insert(QStringLiteral("$top"), QStringLiteral("root"));
    EXPECT_FALSE(Reader::fromData(binary(noTop)).has_value());

    // An array whose entries are not all references reads as no array.
    const QVariantMap cls{{QStringLiteral("$classname"), QStringLiteral("NSArray")},
                          {QStringLiteral("$classes"), QStringList{QStringLiteral("NSArray"), QStringLiteral("NSObject")}}};
    const QVariantMap array{{QStringLiteral("NS.objects"), QVariantList{QVariant::fromValue(Uid{0}), qint64(3)}},
                            {QStringLiteral("$class"), QVariant::fromValue(Uid{2})}};
    const auto reader = Reader::fromData(binary(makeEnvelope({QStringLiteral("$null"), array, cls})));
    ASSERT_TRUE(reader.has_value());
    EXPECT_EQ(reader->className(Uid{1}), QStringLiteral("NSArray"));
    EXPECT_FALSE(reader->array(Uid{1}).has_value());
}
