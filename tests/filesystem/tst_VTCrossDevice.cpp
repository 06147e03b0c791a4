// Moves and the Trash across file systems: a tmpfs mounted in a private mount
// namespace of this test process (root only; skipped visibly otherwise).

#include "FsTestSupport.h"
#include "VTFileManager.h"
#include "VTHelperClient.h"
#include "VTTrash.h"

#include <QScopeGuard>
#include <QTemporaryDir>
#include <QUrl>

#include <gtest/gtest.h>

#include <sys/mount.h>

namespace {

class CrossDeviceTest : public FsTest::SandboxTest
{
protected:
    void SetUp() override
    {
        if (const QString problem = FsTest::privateMountNamespace(); !problem.isEmpty())
            GTEST_SKIP() << problem.toStdString();
        SandboxTest::SetUp();
        ASSERT_TRUE(m_volume.isValid());
        ASSERT_EQ(::mount("tessary-test", VTPath::toNative(m_volume.path()).constData(), "tmpfs", 0, "mode=0755"), 0)
            << std::strerror(errno);
        m_mounted = true;
    }

    void TearDown() override
    {
        if (m_mounted)
            ::umount2(VTPath::toNative(m_volume.path()).constData(), MNT_DETACH);
        SandboxTest::TearDown();
    }

    QString disk(const QString &relative) const { return m_sandbox.systemPath(VTPath::join(QStringLiteral("/Library"), relative)); }
    QString volume(const QString &relative) const { return VTPath::join(m_volume.path(), relative); }

    static QStringList leftovers(const QString &folder)
    {
        return QDir(folder).entryList({QStringLiteral(".vtmove.*")}, QDir::AllEntries | QDir::Hidden | QDir::System);
    }

    QTemporaryDir m_volume;
    bool m_mounted = false;
};

TEST_F(CrossDeviceTest, TheHelperMovesAcrossFileSystemsToo)
{
    const QString bundle = disk(QStringLiteral("Glow.fxplug"));
    ASSERT_TRUE(FsTest::makeBundle(bundle));
    const QString reference = disk(QStringLiteral("reference.fxplug"));
    ASSERT_TRUE(VTFileManager::copyFile(bundle, reference, false));
    VTHelperClient helper;
    ASSERT_TRUE(helper.start({}, FsTest::helperPath()));
    EXPECT_EQ(helper.execute({QStringLiteral("/bin/mv"), QStringLiteral("-f"), bundle, volume(QStringLiteral("Glow.fxplug"))}, true), 0);
    EXPECT_FALSE(FsTest::exists(bundle));
    EXPECT_TRUE(FsTest::sameTree(reference, volume(QStringLiteral("Glow.fxplug"))));
    EXPECT_EQ(FsTest::getXattr(volume(QStringLiteral("Glow.fxplug")), "user.com.apple.FinderInfo"), QByteArray("FCSCxxxx", 8));
    EXPECT_TRUE(leftovers(m_volume.path()).isEmpty());
}

TEST_F(CrossDeviceTest, ASourceThatCannotBeRemovedStaysWholeAndTheMoveFails)
{
    const QString bundle = disk(QStringLiteral("Plug-Ins/FxPlug/Glow.fxplug"));
    ASSERT_TRUE(FsTest::makeBundle(bundle));
    for (int i = 0; i < 20; ++i)
        ASSERT_TRUE(FsTest::writeFile(VTPath::join(bundle, QStringLiteral("Contents/Resources/file%1").arg(i)), QByteArray(512, char('a' + i))));
    const QString reference = disk(QStringLiteral("reference.fxplug"));
    ASSERT_TRUE(VTFileManager::copyFile(bundle, reference, false));
    // An immutable inner file stops the source's removal part-way, even for root.
    const QString pinned = VTPath::join(bundle, QStringLiteral("Contents/Resources/file7"));
    if (!VTFileManager::lockFile(pinned))
        GTEST_SKIP() << "this file system has no immutable attribute";
    const QString folder = VTPath::removeLastComponent(bundle);
    const auto unpin = qScopeGuard([&] {
        for (const QString &name : leftovers(folder))
            VTFileManager::unlockFolder(VTPath::join(folder, name));
        (void)VTFileManager::unlockFile(pinned);
    });

    const QString moved = volume(QStringLiteral("Glow.fxplug"));
    EXPECT_FALSE(VTFileManager::moveFile(bundle, moved, false));
    // The original is whole at its place, no copy stayed behind.
    EXPECT_TRUE(FsTest::sameTree(reference, bundle));
    EXPECT_FALSE(FsTest::exists(moved));
    EXPECT_TRUE(leftovers(m_volume.path()).isEmpty());
    // Only a hidden remainder of the part that could not be removed.
    for (const QString &name : QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot))
        EXPECT_TRUE(name == QLatin1String("Glow.fxplug") || name.startsWith(QLatin1String(".vtmove."))) << name.toStdString();
}

TEST_F(CrossDeviceTest, ItemsOnAnotherFileSystemUseThatFileSystemsTrash)
{
    const QString item = volume(QStringLiteral("Plug-Ins/Glow.fxplug"));
    ASSERT_TRUE(FsTest::makeBundle(item));
    const ino_t inode = FsTest::statOf(item).st_ino;
    QString trashed;
    ASSERT_TRUE(VTTrash::trashItem(item, &trashed));
    EXPECT_EQ(trashed, volume(QStringLiteral(".Trash-0/files/Glow.fxplug")));
    // Renamed, never copied.
    EXPECT_EQ(FsTest::statOf(trashed).st_ino, inode);
    EXPECT_EQ(FsTest::statOf(volume(QStringLiteral(".Trash-0"))).st_mode & 07777, 0700u);
    EXPECT_FALSE(FsTest::exists(m_sandbox.homePath(QStringLiteral(".local/share/Trash/files/Glow.fxplug"))));

    const FsTest::Run list = FsTest::trashCli(m_sandbox.home(), QStringLiteral("trash-list"));
    EXPECT_TRUE(list.out.contains(item.toUtf8())) << list.out.toStdString() << list.err.toStdString();

    // A shared, sticky .Trash is used through a folder of the user's own.
    ASSERT_TRUE(QDir().mkpath(volume(QStringLiteral(".Trash"))));
    ASSERT_TRUE(FsTest::chmodPath(volume(QStringLiteral(".Trash")), 01777));
    ASSERT_TRUE(FsTest::writeFile(volume(QStringLiteral("second")), "2"));
    ASSERT_TRUE(VTTrash::trashItem(volume(QStringLiteral("second")), &trashed));
    EXPECT_EQ(trashed, volume(QStringLiteral(".Trash/0/files/second")));
    EXPECT_TRUE(FsTest::readFile(volume(QStringLiteral(".Trash/0/info/second.trashinfo"))).contains(QByteArray("Path=" + QUrl::toPercentEncoding(volume(QStringLiteral("second")), "/"))));

    // One that is not sticky is passed over.
    ASSERT_TRUE(FsTest::chmodPath(volume(QStringLiteral(".Trash")), 0777));
    ASSERT_TRUE(FsTest::writeFile(volume(QStringLiteral("third")), "3"));
    ASSERT_TRUE(VTTrash::trashItem(volume(QStringLiteral("third")), &trashed));
    EXPECT_EQ(trashed, volume(QStringLiteral(".Trash-0/files/third")));
}

} // namespace
