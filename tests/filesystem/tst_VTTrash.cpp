// The freedesktop.org Trash: what we trash must be listed and restorable by
// trash-cli, never overwrite anything, and leave no stray records behind.

#include "FsTestSupport.h"
#include "VTTrash.h"

#include <QDateTime>
#include <QUrl>

#include <gtest/gtest.h>

namespace {

class TrashTest : public FsTest::SandboxTest
{
protected:
    QString trash(const QString &relative = QString()) const { return VTPath::join(m_sandbox.homePath(QStringLiteral(".local/share/Trash")), relative); }
    QString item(const QString &relative) const { return m_sandbox.systemPath(VTPath::join(QStringLiteral("/Library/Plug-Ins"), relative)); }
};

TEST_F(TrashTest, AnItemGoesToTheHomeTrashWithARecordThatTrashCliListsAndRestores)
{
    const QString original = item(QStringLiteral("FxPlug/Glow.fxplug"));
    ASSERT_TRUE(FsTest::makeBundle(original));
    QString trashed;
    const QDateTime before = QDateTime::currentDateTime().addSecs(-1);
    ASSERT_TRUE(VTTrash::trashItem(original, &trashed));

    EXPECT_FALSE(FsTest::exists(original));
    EXPECT_EQ(trashed, trash(QStringLiteral("files/Glow.fxplug")));
    EXPECT_TRUE(FsTest::exists(VTPath::join(trashed, QStringLiteral("Contents/MacOS/Glow"))));
    EXPECT_EQ(FsTest::statOf(trash()).st_mode & 07777, 0700u);

    const QList<QByteArray> lines = FsTest::readFile(trash(QStringLiteral("info/Glow.fxplug.trashinfo"))).split('\n');
    ASSERT_GE(lines.size(), 3);
    EXPECT_EQ(lines.at(0), "[Trash Info]");
    ASSERT_TRUE(lines.at(1).startsWith("Path="));
    EXPECT_EQ(QUrl::fromPercentEncoding(lines.at(1).mid(5)), original);
    ASSERT_TRUE(lines.at(2).startsWith("DeletionDate="));
    const QDateTime date = QDateTime::fromString(QString::fromLatin1(lines.at(2).mid(13)), Qt::ISODate);
    EXPECT_TRUE(date >= before && date <= QDateTime::currentDateTime().addSecs(1)) << lines.at(2).toStdString();

    // trash-cli lists names that need quoting too, and puts the bundle back.
    const QStringList odd = {QStringLiteral("semi;colon $(x) 100%.plugin"), QStringLiteral("-leading dash")};
    for (const QString &name : odd) {
        ASSERT_TRUE(FsTest::writeFile(item(QStringLiteral("FxPlug/") + name), name.toUtf8()));
        ASSERT_TRUE(VTTrash::trashItem(item(QStringLiteral("FxPlug/") + name)));
    }
    const FsTest::Run list = FsTest::trashCli(m_sandbox.home(), QStringLiteral("trash-list"));
    ASSERT_EQ(list.exitCode, 0) << list.err.toStdString();
    for (const QString &name : odd + QStringList{QStringLiteral("Glow.fxplug")})
        EXPECT_TRUE(list.out.contains(item(QStringLiteral("FxPlug/") + name).toUtf8())) << list.out.toStdString();
    // trash-restore asks which entry to put back; there is one below this path.
    const FsTest::Run restore = FsTest::trashCli(m_sandbox.home(), QStringLiteral("trash-restore"), {original}, "0\n");
    EXPECT_EQ(restore.exitCode, 0) << restore.err.toStdString();
    EXPECT_EQ(FsTest::readFile(VTPath::join(original, QStringLiteral("Contents/Info.plist"))), "<plist><dict/></plist>\n");
    EXPECT_FALSE(FsTest::exists(trash(QStringLiteral("info/Glow.fxplug.trashinfo"))));
}

TEST_F(TrashTest, EqualNamesGetUniqueNamesAndNothingIsOverwritten)
{
    for (const QString &folder : {QStringLiteral("FxPlug"), QStringLiteral("FxPlug 2"), QStringLiteral("Other")}) {
        const QString original = item(folder + QStringLiteral("/Glow.fxplug"));
        ASSERT_TRUE(FsTest::writeFile(original, folder.toUtf8()));
        ASSERT_TRUE(VTTrash::trashItem(original));
    }
    ASSERT_TRUE(FsTest::writeFile(item(QStringLiteral("Glow")), "plain"));
    ASSERT_TRUE(FsTest::writeFile(item(QStringLiteral("x/Glow")), "plain 2"));
    ASSERT_TRUE(VTTrash::trashItem(item(QStringLiteral("Glow"))));
    ASSERT_TRUE(VTTrash::trashItem(item(QStringLiteral("x/Glow"))));

    EXPECT_EQ(FsTest::readFile(trash(QStringLiteral("files/Glow.fxplug"))), "FxPlug");
    EXPECT_EQ(FsTest::readFile(trash(QStringLiteral("files/Glow 2.fxplug"))), "FxPlug 2");
    EXPECT_EQ(FsTest::readFile(trash(QStringLiteral("files/Glow 3.fxplug"))), "Other");
    EXPECT_EQ(FsTest::readFile(trash(QStringLiteral("files/Glow 2"))), "plain 2");
    const QStringList infos = QDir(trash(QStringLiteral("info"))).entryList(QDir::Files);
    EXPECT_EQ(infos.size(), 5);
}

TEST_F(TrashTest, LongNamesStayLegalInTheRecordFolder)
{
    // 251 bytes; the record name may have 255 - ".trashinfo" - ".fxplug" =
    // 238 bytes of stem, and the 'é' takes bytes 237 and 238, so a cut at 238
    // would keep half of it.
    const QString name = QString(237, u'a') + QStringLiteral("é") + QString(5, u'b') + QStringLiteral(".fxplug");
    ASSERT_EQ(name.toUtf8().size(), 251);
    ASSERT_TRUE(FsTest::writeFile(item(name), "long"));
    QString trashed;
    ASSERT_TRUE(VTTrash::trashItem(item(name), &trashed));
    EXPECT_EQ(FsTest::readFile(trashed), "long");
    EXPECT_EQ(VTPath::lastComponent(trashed), QString(237, u'a') + QStringLiteral(".fxplug"));
    const QStringList infos = QDir(trash(QStringLiteral("info"))).entryList(QDir::Files);
    ASSERT_EQ(infos.size(), 1);
    EXPECT_EQ(infos.first(), VTPath::lastComponent(trashed) + QStringLiteral(".trashinfo"));
}

TEST_F(TrashTest, ATrashThatIsALinkIsNotUsed)
{
    const QString elsewhere = m_sandbox.systemPath(QStringLiteral("/elsewhere"));
    ASSERT_TRUE(QDir().mkpath(elsewhere));
    ASSERT_TRUE(QDir().mkpath(m_sandbox.homePath(QStringLiteral(".local/share"))));
    ASSERT_EQ(::symlink(VTPath::toNative(elsewhere).constData(), VTPath::toNative(trash()).constData()), 0);
    ASSERT_TRUE(FsTest::writeFile(item(QStringLiteral("Glow.fxplug")), "x"));

    EXPECT_FALSE(VTTrash::trashItem(item(QStringLiteral("Glow.fxplug"))));
    EXPECT_TRUE(FsTest::exists(item(QStringLiteral("Glow.fxplug"))));
    EXPECT_TRUE(QDir(elsewhere).isEmpty());
}

TEST_F(TrashTest, AFailedMoveLeavesNoRecordBehind)
{
    if (!FsTest::isRoot())
        GTEST_SKIP() << "needs root to make a folder immutable";
    const QString folder = item(QStringLiteral("Locked"));
    ASSERT_TRUE(FsTest::writeFile(VTPath::join(folder, QStringLiteral("Glow.fxplug")), "x"));
    if (FsTest::run(QStringLiteral("/usr/bin/chattr"), {QStringLiteral("+i"), folder}).exitCode != 0)
        GTEST_SKIP() << "this file system has no immutable attribute";
    const bool trashed = VTTrash::trashItem(VTPath::join(folder, QStringLiteral("Glow.fxplug")));
    FsTest::run(QStringLiteral("/usr/bin/chattr"), {QStringLiteral("-i"), folder});

    EXPECT_FALSE(trashed);
    EXPECT_TRUE(FsTest::exists(VTPath::join(folder, QStringLiteral("Glow.fxplug"))));
    EXPECT_TRUE(QDir(trash(QStringLiteral("info"))).entryList(QDir::Files).isEmpty());
}

TEST(TrashNames, ALeadingDotIsNoExtensionAndCandidatesFitTheLimit)
{
    EXPECT_EQ(VTTrash::candidateName(".hidden", 2), ".hidden 2");
    const QByteArray longName = QByteArray(300, 'x') + ".vst3";
    for (int n : {1, 2, 1234}) {
        const QByteArray candidate = VTTrash::candidateName(longName, n);
        EXPECT_LE(candidate.size() + 10, 255);
        EXPECT_TRUE(candidate.endsWith(".vst3"));
    }
}

} // namespace

TEST_F(TrashTest, ASuperuserTrashingForAUserGivesTheTrashAndItsRecordToThatUser)
{
    if (!FsTest::isRoot())
        GTEST_SKIP() << "only the superuser trashes for another user";
    const FsTest::User user = FsTest::testUser();
    ASSERT_TRUE(user.valid()) << "the unprivileged test account could not be prepared";
    const QString share = m_sandbox.homePath(QStringLiteral(".local/share"));
    ASSERT_TRUE(QDir().mkpath(share));
    for (const QString &folder : {m_sandbox.home(), m_sandbox.homePath(QStringLiteral(".local")), share})
        ASSERT_TRUE(FsTest::chownPath(folder, user));
    ASSERT_TRUE(FsTest::writeFile(item(QStringLiteral("Glow.fxplug")), "x"));

    QString trashed;
    ASSERT_TRUE(VTTrash::trashItem(item(QStringLiteral("Glow.fxplug")), &trashed));
    for (const QString &path : {trash(), trash(QStringLiteral("files")), trash(QStringLiteral("info")),
                                trash(QStringLiteral("info/Glow.fxplug.trashinfo"))})
        EXPECT_EQ(FsTest::statOf(path).st_uid, user.uid) << path.toStdString();
}
