#include "VTBinaryPropertyListWriter.h"
#include "VTPropertyList.h"

#include <gtest/gtest.h>

// What the writer makes must read back through libplist, the reader every
// other part of the program uses, with every type and size it chooses.
TEST(VTBinaryPropertyListWriter, EveryWidthReadsBack)
{
    VTBinaryPropertyListWriter writer;
    using Ref = VTBinaryPropertyListWriter::Ref;
    // Over 65,536 objects: references of four bytes, offsets of four. Only
    // two are in the tree (libplist takes minutes over a long array).
    std::vector<Ref> strings;
    for (int i = 0; i < 70000; ++i)
        strings.push_back(writer.string(QStringLiteral("name %1").arg(i)));
    const std::vector<Ref> named{strings.front(), strings.back()};
    const QString accented = QStringLiteral("Échelle – ✓ a text of more than fifteen characters");
    const std::vector<qint64> numbers{0, 255, 256, 65536, 4294967296LL, -1, -4294967297LL};
    std::vector<Ref> scalars{writer.string(accented), writer.string(QString()), writer.uid(0), writer.uid(300),
                             writer.uid(70000)};
    for (const qint64 number : numbers)
        scalars.push_back(writer.integer(number));
    EXPECT_EQ(writer.string(QStringLiteral("name 7")), strings[7]) << "equal strings are written once";
    const Ref top = writer.dictionary({{writer.string(QStringLiteral("strings")), writer.array(named)},
                                       {writer.string(QStringLiteral("scalars")), writer.array(scalars)},
                                       {writer.string(QStringLiteral("empty")), writer.dictionary({})}});

    const QVariantMap read = VTPropertyList::fromData(writer.finish(top)).toMap();
    const QVariantList names = read.value(QStringLiteral("strings")).toList();
    ASSERT_EQ(names.size(), 2);
    EXPECT_EQ(names.at(1).toString(), QStringLiteral("name 69999"));
    const QVariantList values = read.value(QStringLiteral("scalars")).toList();
    ASSERT_EQ(values.size(), qsizetype(5 + numbers.size()));
    EXPECT_EQ(values.at(0).toString(), accented);
    EXPECT_EQ(values.at(1).toString(), QString());
    EXPECT_EQ(values.at(2).value<VTPropertyList::Uid>().value, 0u);
    EXPECT_EQ(values.at(3).value<VTPropertyList::Uid>().value, 300u);
    EXPECT_EQ(values.at(4).value<VTPropertyList::Uid>().value, 70000u);
    for (size_t i = 0; i < numbers.size(); ++i)
        EXPECT_EQ(values.at(qsizetype(5 + i)).toLongLong(), numbers[i]) << numbers[i];
    EXPECT_EQ(read.value(QStringLiteral("empty")).typeId(), QMetaType::QVariantMap);
}
