#include "VTTestProcess.h"
#include "VTTestSandbox.h"
#include "VTPropertyList.h"

#include <QDateTime>
#include <QTimeZone>

#include <gtest/gtest.h>

#include <limits>

namespace {

using VTPropertyList::Format;

QDateTime utc(int year, int month, int day, int hour, int minute, int second, int ms = 0)
{
    return QDateTime(QDate(year, month, day), QTime(hour, minute, second, ms), QTimeZone::utc());
}

// Every value type, with the integers at the edges of the signed range.
QVariantMap sampleTree(bool withFractions)
{
    const QVariantMap nested{{QStringLiteral("empty list"), QVariantList()},
                             {QStringLiteral("empty map"), QVariantMap()},
                             {QStringLiteral("deeper"), QVariantList{QVariantMap{{QStringLiteral("x"), qint64(1)}}}}};
    return {
        {QStringLiteral("true"), true}, {QStringLiteral("false"), false},
        {QStringLiteral("zero"), qint64(0)}, {QStringLiteral("small"), qint64(42)}, {QStringLiteral("minus one"), qint64(-1)},
        {QStringLiteral("below int32"), qint64(std::numeric_limits<qint32>::min()) - 1},
        {QStringLiteral("int64 min"), std::numeric_limits<qint64>::min()},
        {QStringLiteral("int64 max"), std::numeric_limits<qint64>::max()},
        {QStringLiteral("two to the forty"), qint64(1) << 40},
        {QStringLiteral("real"), 1.5}, {QStringLiteral("negative real"), -0.25},
        {QStringLiteral("string"), QStringLiteral("Grüße ✓ <&> \"q\"")}, {QStringLiteral("empty string"), QString()},
        {QStringLiteral("data"), QByteArray("\x00\x01\xff\xfe tail", 9)},
        {QStringLiteral("date"), withFractions ? utc(2020, 1, 2, 3, 4, 5, 250) : utc(2020, 1, 2, 3, 4, 5)},
        {QStringLiteral("old date"), withFractions ? utc(1990, 6, 1, 12, 0, 0, 500) : utc(1990, 6, 1, 12, 0, 0)},
        {QStringLiteral("ключ"), QStringLiteral("значение")},
        {QStringLiteral("list"), QVariantList{qint64(-7), QStringLiteral("two"), nested}},
    };
}

// The same tree as a Python literal, written independently of the C++ side.
const char *kPythonSample = R"PY(
import datetime
nested = {'empty list': [], 'empty map': {}, 'deeper': [{'x': 1}]}
expected = {
    'true': True, 'false': False, 'zero': 0, 'small': 42, 'minus one': -1,
    'below int32': -2147483649, 'int64 min': -9223372036854775808,
    'int64 max': 9223372036854775807, 'two to the forty': 1099511627776,
    'real': 1.5, 'negative real': -0.25, 'string': 'Grüße ✓ <&> "q"',
    'empty string': '', 'data': b'\x00\x01\xff\xfe tail',
    'date': datetime.datetime(2020, 1, 2, 3, 4, 5),
    'old date': datetime.datetime(1990, 6, 1, 12, 0, 0),
    'ключ': 'значение', 'list': [-7, 'two', nested],
}
)PY";

// Compares two trees node by node, types included, so that an integer that
// comes back as a string or a real is caught.
void expectSameTree(const QVariant &actual, const QVariant &expected, const QString &where)
{
    ASSERT_EQ(actual.typeId(), expected.typeId())
        << where.toStdString() << ": " << actual.typeName() << " instead of " << expected.typeName();
    if (expected.typeId() == QMetaType::QVariantMap) {
        const QVariantMap a = actual.toMap();
        const QVariantMap e = expected.toMap();
        EXPECT_EQ(a.keys(), e.keys()) << where.toStdString();
        for (auto it = e.cbegin(); it != e.cend(); ++it)
            expectSameTree(a.value(it.key()), it.value(), where + u'/' + it.key());
    } else if (expected.typeId() == QMetaType::QVariantList) {
        const QVariantList a = actual.toList();
        const QVariantList e = expected.toList();
        ASSERT_EQ(a.size(), e.size()) << where.toStdString();
        for (qsizetype i = 0; i < e.size(); ++i)
            expectSameTree(a.at(i), e.at(i), where + QStringLiteral("[%1]").arg(i));
    } else if (expected.typeId() == QMetaType::QDateTime) {
        EXPECT_EQ(actual.toDateTime().toMSecsSinceEpoch(), expected.toDateTime().toMSecsSinceEpoch())
            << where.toStdString() << ": " << actual.toDateTime().toString(Qt::ISODateWithMs).toStdString();
    } else {
        EXPECT_EQ(actual, expected) << where.toStdString() << ": " << actual.toString().toStdString();
    }
}

} // namespace

TEST(VTPropertyList, RoundTripsEveryValueType)
{
    for (const Format format : {Format::Xml, Format::Binary}) {
        SCOPED_TRACE(format == Format::Xml ? "xml" : "binary");
        // Fractions of a second survive only the binary form.
        const QVariantMap tree = sampleTree(format == Format::Binary);
        const QByteArray bytes = VTPropertyList::toData(tree, format);
        ASSERT_FALSE(bytes.isEmpty());
        EXPECT_EQ(bytes.startsWith("bplist00"), format == Format::Binary);
        expectSameTree(VTPropertyList::fromData(bytes), tree, QString());
    }
}

TEST(VTPropertyList, ReferencesHashesAndStringListsSurviveBinary)
{
    const QVariantMap tree{{QStringLiteral("$top"), QVariant::fromValue(VTPropertyList::Uid{7})},
                           {QStringLiteral("$objects"), QVariantList{QVariant::fromValue(VTPropertyList::Uid{300})}}};
    const QVariantMap map = VTPropertyList::fromData(VTPropertyList::toData(tree, Format::Binary)).toMap();
    ASSERT_EQ(map.value(QStringLiteral("$top")).userType(), qMetaTypeId<VTPropertyList::Uid>());
    EXPECT_EQ(map.value(QStringLiteral("$top")).value<VTPropertyList::Uid>().value, 7u);
    EXPECT_EQ(map.value(QStringLiteral("$objects")).toList().value(0).value<VTPropertyList::Uid>().value, 300u);

    // Hashes and string lists are written as their property-list forms.
    QVariantHash hash;
    hash.insert(QStringLiteral("k"), qint64(-3));
    const QVariantMap other{{QStringLiteral("hash"), hash},
                            {QStringLiteral("names"), QStringList{QStringLiteral("a"), QStringLiteral("b")}}};
    const QVariantMap back = VTPropertyList::fromData(VTPropertyList::toData(other, Format::Binary)).toMap();
    expectSameTree(back.value(QStringLiteral("hash")), QVariantMap{{QStringLiteral("k"), qint64(-3)}}, QString());
    expectSameTree(back.value(QStringLiteral("names")), QVariantList{QStringLiteral("a"), QStringLiteral("b")},
                   QString());
}

// Python's plistlib reads both of our forms as the sample, and we read both
// of its forms as the sample.
TEST(VTPropertyList, PythonAndWeReadEachOthersLists)
{
    VTTestSandbox sandbox;
    const QString dir = sandbox.path();
    ASSERT_TRUE(VTPropertyList::writeFile(dir + QStringLiteral("/ours.xml"), sampleTree(false), Format::Xml));
    ASSERT_TRUE(VTPropertyList::writeFile(dir + QStringLiteral("/ours.bin"), sampleTree(false), Format::Binary));
    const QString script = QString::fromUtf8(kPythonSample) + QStringLiteral(R"PY(
import plistlib, sys
for name in ('ours.xml', 'ours.bin'):
    got = plistlib.load(open(sys.argv[1] + '/' + name, 'rb'))
    for key in expected:
        if got.get(key) != expected[key]:
            print(name, key, repr(got.get(key)), '!=', repr(expected[key]))
plistlib.dump(expected, open(sys.argv[1] + '/py.xml', 'wb'), fmt=plistlib.FMT_XML)
plistlib.dump(expected, open(sys.argv[1] + '/py.bin', 'wb'), fmt=plistlib.FMT_BINARY)
)PY");
    const VTTest::Run run = VTTest::runPython(script, {dir});
    ASSERT_EQ(run.exitCode, 0) << run.out.toStdString();
    EXPECT_EQ(run.out, QByteArray()) << "differences as Python reads our lists";

    EXPECT_TRUE(VTTestSandbox::readFile(dir + QStringLiteral("/py.bin")).startsWith("bplist00"));
    for (const char *name : {"/py.xml", "/py.bin"}) {
        SCOPED_TRACE(name);
        expectSameTree(VTPropertyList::readFile(dir + QLatin1String(name)), sampleTree(false), QString());
    }
}

TEST(VTPropertyList, MalformedInputGivesAnInvalidValue)
{
    EXPECT_FALSE(VTPropertyList::fromData(QByteArray()).isValid());
    EXPECT_FALSE(VTPropertyList::fromData("this is not a property list").isValid());
    EXPECT_FALSE(VTPropertyList::fromData("bplist00").isValid());
    EXPECT_FALSE(VTPropertyList::fromData(QByteArray("bplist00") + QByteArray(40, '\xff')).isValid());
    EXPECT_FALSE(VTPropertyList::fromData("<?xml version=\"1.0\"?><plist><dict><key>a</key><string>x</dict></plist>")
                     .isValid());

    // Every cut of a binary list loses its trailer, so none may read.
    const QByteArray binary = VTPropertyList::toData(sampleTree(true), Format::Binary);
    for (qsizetype cut = 1; cut < binary.size(); ++cut)
        ASSERT_FALSE(VTPropertyList::fromData(binary.left(cut)).isValid()) << "binary cut at " << cut;

    // An XML list cut before its last closing tags is not a list either.
    const QByteArray xml = VTPropertyList::toData(sampleTree(false), Format::Xml);
    const qsizetype closing = xml.lastIndexOf("</dict>");
    ASSERT_GT(closing, 0);
    for (qsizetype cut : {xml.size() / 4, xml.size() / 2, closing})
        EXPECT_FALSE(VTPropertyList::fromData(xml.left(cut)).isValid()) << "xml cut at " << cut;
}

TEST(VTPropertyList, FilesAreWrittenWholeOrNotAtAll)
{
    VTTestSandbox sandbox;
    const QString path = sandbox.path() + QStringLiteral("/settings.plist");
    const QVariantMap first{{QStringLiteral("a"), qint64(1)}};
    ASSERT_TRUE(VTPropertyList::writeFile(path, first, Format::Xml));
    expectSameTree(VTPropertyList::readFile(path), first, QString());

    // Replacing keeps no trace of the old contents.
    const QVariantMap second{{QStringLiteral("b"), QStringLiteral("two")}};
    ASSERT_TRUE(VTPropertyList::writeFile(path, second, Format::Binary));
    expectSameTree(VTPropertyList::readFile(path), second, QString());
    EXPECT_EQ(QDir(sandbox.path()).entryList(QDir::Files), QStringList{QStringLiteral("settings.plist")});

    EXPECT_FALSE(VTPropertyList::writeFile(sandbox.path() + QStringLiteral("/missing/x.plist"), first, Format::Xml));
    EXPECT_FALSE(VTPropertyList::writeFile(path, QVariant(), Format::Xml));
    expectSameTree(VTPropertyList::readFile(path), second, QString());
    EXPECT_FALSE(VTPropertyList::readFile(sandbox.path() + QStringLiteral("/absent.plist")).isValid());
}
