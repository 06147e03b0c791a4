#include "VTBinaryPropertyListCheck.h"

#include "VTPropertyList.h"

#include <gtest/gtest.h>

namespace {

// A binary property list of a one-entry dictionary, object by object, so
// that single bytes can be made wrong. Objects: 0 the dictionary, 1 the key,
// 2 the value.
struct HandMade {
    QByteArray key = QByteArray("\x53" "abc", 4); // ASCII string of 3
    QByteArray value = QByteArray("\x51" "x", 2);
    int keyRef = 1;
    quint64 objectCount = 3;
    qint64 tableShift = 0;

    [[nodiscard]] QByteArray bytes() const
    {
        QByteArray out("bplist00");
        QList<int> offsets;
        offsets.append(int(out.size()));
        out.append(char(0xD1)).append(char(keyRef)).append(char(2));
        offsets.append(int(out.size()));
        out.append(key);
        offsets.append(int(out.size()));
        out.append(value);
        const qint64 table = out.size();
        for (int offset : offsets)
            out.append(char(offset));
        QByteArray trailer(32, '\0');
        trailer[6] = 1; // offset size
        trailer[7] = 1; // reference size
        trailer[15] = char(objectCount);
        trailer[31] = char(table + tableShift);
        return out + trailer;
    }
};

} // namespace

TEST(VTBinaryPropertyListCheck, WellFormedListsPass)
{
    QVariantMap map;
    map.insert(QStringLiteral("CFBundleName"), QStringLiteral("Blur"));
    map.insert(QStringLiteral("Ünïcode"), QVariantMap{{QStringLiteral("k"), qint64(-1)}});
    const QByteArray binary = VTPropertyList::toData(map, VTPropertyList::Format::Binary);
    EXPECT_TRUE(VTBinaryPropertyListCheck::isSafe(binary));
    EXPECT_TRUE(VTBinaryPropertyListCheck::isSafe(HandMade().bytes()));
    EXPECT_EQ(VTPropertyList::fromData(HandMade().bytes()).toMap().value(QStringLiteral("abc")).toString(),
              QStringLiteral("x"));
    // Only binary lists are examined.
    EXPECT_TRUE(VTBinaryPropertyListCheck::isSafe(QByteArray("<?xml version=\"1.0\"?><plist/>")));
}

TEST(VTBinaryPropertyListCheck, KeysWithNulAreRejected)
{
    HandMade ascii;
    ascii.key = QByteArray("\x53" "a\0b", 4);
    EXPECT_FALSE(VTBinaryPropertyListCheck::isSafe(ascii.bytes()));
    // libplist keeps such a key cut short, or aborts the process on it.
    EXPECT_FALSE(VTPropertyList::fromData(ascii.bytes()).isValid());

    HandMade utf16;
    utf16.key = QByteArray("\x62" "\0a\0\0", 5);
    EXPECT_FALSE(VTBinaryPropertyListCheck::isSafe(utf16.bytes()));
    utf16.key = QByteArray("\x62" "\0a\x01\0", 5); // U+0100 has a zero byte but is no NUL
    EXPECT_TRUE(VTBinaryPropertyListCheck::isSafe(utf16.bytes()));
}

TEST(VTBinaryPropertyListCheck, BrokenStructureIsRejected)
{
    HandMade notString;
    notString.key = QByteArray("\x10\x05", 2); // an integer as a key
    EXPECT_FALSE(VTBinaryPropertyListCheck::isSafe(notString.bytes()));

    HandMade longKey;
    longKey.key = QByteArray("\x5F\x10\x7F" "abc", 6); // claims 127 characters
    EXPECT_FALSE(VTBinaryPropertyListCheck::isSafe(longKey.bytes()));

    HandMade badRef;
    badRef.keyRef = 7;
    EXPECT_FALSE(VTBinaryPropertyListCheck::isSafe(badRef.bytes()));

    HandMade manyObjects;
    manyObjects.objectCount = 200;
    EXPECT_FALSE(VTBinaryPropertyListCheck::isSafe(manyObjects.bytes()));

    HandMade shiftedTable;
    shiftedTable.tableShift = 100;
    EXPECT_FALSE(VTBinaryPropertyListCheck::isSafe(shiftedTable.bytes()));

    EXPECT_FALSE(VTBinaryPropertyListCheck::isSafe(HandMade().bytes().left(30)));
}
