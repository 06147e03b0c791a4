// The listing is part of the program's interface: scripts read -allplugins,
// installers and drags read -data. Work on the scan's speed must not change a
// byte of either, so both are compared with what the program printed before
// that work: in full for the demo system (tests/e2e/listings), as SHA-256
// digests for a generated system of 10,000 plug-ins. Paths are written
// relative to the sandbox ("@"), so the temporary folder does not matter.
//
// To record new expectations after a deliberate change, run with
// TESSARY_RECORD_LISTINGS=DIR and compare what lands in DIR by hand.

#include "E2ESystem.h"

#include <QCryptographicHash>
#include <QDir>

#include <gtest/gtest.h>

namespace {

// One line per leaf of the archive's property list: its place in the tree,
// then its value. Keeps every order and every field, and a diff names the
// field that changed.
void flatten(const QVariant &value, const QString &place, const QString &base, QStringList &lines)
{
    switch (value.typeId()) {
    case QMetaType::QVariantMap: {
        const QVariantMap map = value.toMap();
        for (auto it = map.cbegin(); it != map.cend(); ++it)
            flatten(it.value(), place + u'/' + it.key(), base, lines);
        break;
    }
    case QMetaType::QVariantList: {
        const QVariantList list = value.toList();
        for (qsizetype i = 0; i < list.size(); ++i)
            flatten(list.at(i), place + u'/' + QString::number(i), base, lines);
        break;
    }
    case QMetaType::QString:
        lines.append(place + QStringLiteral(" = \"") + value.toString().replace(base, QStringLiteral("@")) + u'"');
        break;
    case QMetaType::QByteArray:
        lines.append(place + QStringLiteral(" = <") + QString::fromLatin1(value.toByteArray().toHex()) + u'>');
        break;
    default:
        if (value.canConvert<VTPropertyList::Uid>() && value.typeId() == qMetaTypeId<VTPropertyList::Uid>())
            lines.append(place + QStringLiteral(" = uid ") + QString::number(value.value<VTPropertyList::Uid>().value));
        else
            lines.append(place + QStringLiteral(" = ") + value.toString());
    }
}

struct Listings {
    QByteArray plain; // -allplugins
    QByteArray data;  // -allplugins -data, flattened
};

Listings listingsOf(const E2ESystem &system, const QString &base)
{
    Listings listings;
    const E2ESystem::Run plain = system.run({QStringLiteral("-allplugins")});
    const E2ESystem::Run data = system.run({QStringLiteral("-allplugins"), QStringLiteral("-data")});
    EXPECT_EQ(plain.exitCode, 0) << plain.err.toStdString();
    EXPECT_EQ(data.exitCode, 0) << data.err.toStdString();
    listings.plain = QString::fromUtf8(plain.out).replace(base, QStringLiteral("@")).toUtf8();
    QStringList lines;
    flatten(VTPropertyList::fromData(data.out), QString(), base, lines);
    listings.data = lines.join(u'\n').toUtf8() + '\n';
    return listings;
}

void record(const QString &name, const QByteArray &bytes)
{
    const QString folder = qEnvironmentVariable("TESSARY_RECORD_LISTINGS");
    if (folder.isEmpty())
        return;
    QDir().mkpath(folder);
    QFile file(folder + u'/' + name);
    if (file.open(QIODevice::WriteOnly))
        file.write(bytes);
}

QByteArray expected(const QString &name)
{
    QFile file(qEnvironmentVariable("TESSARY_SOURCE_DIR") + QStringLiteral("/tests/e2e/listings/") + name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(missing: ") + name.toUtf8() + ')';
}

std::string sha256(const QByteArray &bytes)
{
    return QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex().toStdString();
}

// Empty when equal; otherwise the first line that differs, both ways.
std::string firstDifference(const QByteArray &actual, const QByteArray &wanted)
{
    const QList<QByteArray> got = actual.split('\n');
    const QList<QByteArray> want = wanted.split('\n');
    for (qsizetype i = 0; i < std::max(got.size(), want.size()); ++i) {
        if (got.value(i) != want.value(i)) {
            return "line " + std::to_string(i + 1) + ": got \"" + got.value(i).toStdString() + "\", expected \""
                + want.value(i).toStdString() + '"';
        }
    }
    return std::string();
}

// The sandbox's base folder: root and home lie side by side in it.
QString baseOf(const E2ESystem &system)
{
    return QFileInfo(system.root()).path();
}

} // namespace

TEST(ListingUnchanged, DemoSystemListsAndArchivesAsBefore)
{
    E2ESystem system(E2ESystem::Runner::CurrentUser);
    system.builder().demo();
    ASSERT_TRUE(system.builder().ok()) << system.builder().errors().join(u'\n').toStdString();
    const Listings listings = listingsOf(system, baseOf(system));
    record(QStringLiteral("demo-allplugins.txt"), listings.plain);
    record(QStringLiteral("demo-data.txt"), listings.data);

    EXPECT_EQ(firstDifference(listings.plain, expected(QStringLiteral("demo-allplugins.txt"))), "");
    EXPECT_EQ(firstDifference(listings.data, expected(QStringLiteral("demo-data.txt"))), "");
    const E2ESystem::Run plist = system.run({QStringLiteral("-allplugins"), QStringLiteral("-plist")});
    EXPECT_EQ(plist.exitCode, 0);
    EXPECT_TRUE(plist.out.isEmpty());
}

TEST(ListingUnchanged, TenThousandPluginsListAndArchiveAsBefore)
{
    E2ESystem system(E2ESystem::Runner::CurrentUser);
    system.builder().scaled(10000, 1);
    ASSERT_TRUE(system.builder().ok()) << system.builder().errors().join(u'\n').toStdString();
    const Listings listings = listingsOf(system, baseOf(system));
    record(QStringLiteral("scaled-allplugins.txt"), listings.plain);
    record(QStringLiteral("scaled-data.txt"), listings.data);

    // Motion templates are folders, which the listing leaves out.
    EXPECT_EQ(listings.plain.count('\n'), 9000);
    EXPECT_EQ(sha256(listings.plain), "85a48e256ceb6b9df8a909900607fd4b65422f36411f37b4b35e77fb806d8977");
    EXPECT_EQ(sha256(listings.data), "d7ad271651e491c14bcf76b087884957fecb082de82eed8353d26afca8b91570");
}
