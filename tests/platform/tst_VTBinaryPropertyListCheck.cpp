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
    const HandMade ascii{.key = QByteArray("\x53" "a\0b", 4)};
    EXPECT_FALSE(VTBinaryPropertyListCheck::isSafe(ascii.bytes()));
    // libplist keeps such a key cut short, or aborts the process on it.
    EXPECT_FALSE(VTPropertyList::fromData(ascii.bytes()).isValid());

    EXPECT_FALSE(VTBinaryPropertyListCheck::isSafe(HandMade{.key = QByteArray("\x62" "\0a\0\0", 5)}.bytes()));
    // U+0100 has a zero byte but is no NUL.
    EXPECT_TRUE(VTBinaryPropertyListCheck::isSafe(HandMade{.key = QByteArray("\x62" "\0a\x01\0", 5)}.bytes()));
}

TEST(VTBinaryPropertyListCheck, BrokenStructureIsRejected)
{
    // An integer as a key, a key that claims 127 characters, a reference
    // past the objects, more objects than the file holds, a moved table.
    EXPECT_FALSE(VTBinaryPropertyListCheck::isSafe(HandMade{.key = QByteArray("\x10\x05", 2)}.bytes()));
    EXPECT_FALSE(VTBinaryPropertyListCheck::isSafe(HandMade{.key = QByteArray("\x5F\x10\x7F" "abc", 6)}.bytes()));
    EXPECT_FALSE(VTBinaryPropertyListCheck::isSafe(HandMade{.keyRef = 7}.bytes()));
    EXPECT_FALSE(VTBinaryPropertyListCheck::isSafe(HandMade{.objectCount = 200}.bytes()));
    EXPECT_FALSE(VTBinaryPropertyListCheck::isSafe(HandMade{.tableShift = 100}.bytes()));
    EXPECT_FALSE(VTBinaryPropertyListCheck::isSafe(HandMade().bytes().left(30)));
}
