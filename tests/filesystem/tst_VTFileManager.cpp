// VTFileManager on real files: names, emptiness, packages, moves, copies,
// removal, locks, permissions and the wait.

#include "FsTestSupport.h"
#include "VTFileManager.h"

#include <QElapsedTimer>

#include <gtest/gtest.h>

#include <atomic>
#include <fcntl.h>
#include <thread>

using namespace std::chrono_literals;

namespace {

class FileManagerTest : public FsTest::SandboxTest
{
protected:
    QString path(const QString &relative) const { return m_sandbox.systemPath(VTPath::join(QStringLiteral("/Library"), relative)); }
    QString path(const char *relative) const { return path(QString::fromUtf8(relative)); }
};

TEST_F(FileManagerTest, WildcardsMatchAnyRunOfCharactersAndListOneFolderSortedByName)
{
    EXPECT_TRUE(VTFileManager::nameMatchesWildcard(QStringLiteral("Adobe Premiere Pro 2024.app"), QStringLiteral("Adobe Premiere Pro *.app")));
    EXPECT_TRUE(VTFileManager::nameMatchesWildcard(QStringLiteral("Adobe Premiere Pro .app"), QStringLiteral("Adobe Premiere Pro *.app")));
    EXPECT_FALSE(VTFileManager::nameMatchesWildcard(QStringLiteral("Adobe Premiere Pro 2024.app.zip"), QStringLiteral("Adobe Premiere Pro *.app")));
    EXPECT_TRUE(VTFileManager::nameMatchesWildcard(QStringLiteral("aXbXc"), QStringLiteral("a*b*c")));
    EXPECT_TRUE(VTFileManager::nameMatchesWildcard(QStringLiteral("abcbc"), QStringLiteral("a*bc")));
    EXPECT_FALSE(VTFileManager::nameMatchesWildcard(QStringLiteral("abcb"), QStringLiteral("a*bc")));
    EXPECT_TRUE(VTFileManager::nameMatchesWildcard(QString(), QStringLiteral("*")));
    EXPECT_FALSE(VTFileManager::nameMatchesWildcard(QStringLiteral("x"), QString()));
    EXPECT_FALSE(VTFileManager::nameMatchesWildcard(QStringLiteral("glow.app"), QStringLiteral("Glow*")));

    for (const char *name : {"Host 9.app", "Host 10.app", "Host.app", "Other 1.app", "Host 2.app.bak"})
        ASSERT_TRUE(QDir().mkpath(path(QStringLiteral("Apps/") + QLatin1String(name))));
    EXPECT_EQ(VTFileManager::filesMatchingWildcardPath(path("Apps/Host *.app")), QStringList({path("Apps/Host 10.app"), path("Apps/Host 9.app")}));
    EXPECT_TRUE(VTFileManager::filesMatchingWildcardPath(path("Missing/Host *.app")).isEmpty());
    EXPECT_EQ(VTFileManager::filesMatchingWildcardPath(path("Apps/*")).size(), 5);
}

TEST_F(FileManagerTest, UniqueAndValidatedNames)
{
    ASSERT_TRUE(FsTest::writeFile(path("Glow.fxplug"), ""));
    ASSERT_TRUE(FsTest::writeFile(path("Glow 2.fxplug"), ""));
    ASSERT_TRUE(FsTest::writeFile(path("Plain"), ""));
    EXPECT_EQ(VTFileManager::uniqueFilename(path("Free.fxplug")), path("Free.fxplug"));
    EXPECT_EQ(VTFileManager::uniqueFilename(path("Glow.fxplug")), path("Glow 3.fxplug"));
    EXPECT_EQ(VTFileManager::uniqueFilename(path("Plain")), path("Plain 2"));

    EXPECT_EQ(VTFileManager::validateFilename(QStringLiteral(".hidden")), QStringLiteral("hidden"));
    EXPECT_EQ(VTFileManager::validateFilename(QStringLiteral(".")), QStringLiteral("."));
    EXPECT_EQ(VTFileManager::validateFilename(QStringLiteral("  My/Group:1\n")), QStringLiteral("My-Group-1"));
    EXPECT_EQ(VTFileManager::validateFilename(QStringLiteral("a\tb\\c")), QStringLiteral("a-b-c"));
    EXPECT_EQ(VTFileManager::validateFilename(QStringLiteral("Ünïcode ok")), QStringLiteral("Ünïcode ok"));
}

TEST_F(FileManagerTest, EmptyFoldersMayHoldFinderLeftoversAndEmptyFolders)
{
    ASSERT_TRUE(FsTest::writeFile(path("E/.DS_Store"), "x"));
    ASSERT_TRUE(FsTest::writeFile(path("E/Icon\r"), "x"));
    ASSERT_TRUE(QDir().mkpath(path("E/sub/deeper")));
    ASSERT_TRUE(FsTest::writeFile(path("E/sub/.DS_Store"), "x"));
    EXPECT_TRUE(VTFileManager::isFolderEmpty(path("E")));
    ASSERT_TRUE(FsTest::writeFile(path("E/sub/deeper/file"), ""));
    EXPECT_FALSE(VTFileManager::isFolderEmpty(path("E")));
    EXPECT_FALSE(VTFileManager::removeFolderIfEmpty(path("E")));
    for (const char *kept : {"E/sub/deeper/file", "E/sub/.DS_Store", "E/.DS_Store", "E/Icon\r"})
        EXPECT_TRUE(FsTest::exists(path(kept))) << kept << " is removed nowhere in a folder that is not empty";
    ASSERT_TRUE(QFile::remove(path("E/sub/deeper/file")));
    EXPECT_TRUE(VTFileManager::removeFolderIfEmpty(path("E")));
    EXPECT_FALSE(FsTest::exists(path("E")));
}

TEST_F(FileManagerTest, PackagesAreBundleFoldersOrHoldAnInfoList)
{
    ASSERT_TRUE(QDir().mkpath(path("Glow.FXPLUG")));
    ASSERT_TRUE(QDir().mkpath(path("Tool.aaxplugin")));
    ASSERT_TRUE(FsTest::writeFile(path("Odd.thing/Contents/Info.plist"), "<plist/>"));
    ASSERT_TRUE(QDir().mkpath(path("Plain folder.v2")));
    ASSERT_TRUE(FsTest::writeFile(path("file.plugin"), ""));
    EXPECT_TRUE(VTFileManager::isPackageAtPath(path("Glow.FXPLUG")));
    EXPECT_TRUE(VTFileManager::isPackageAtPath(path("Tool.aaxplugin")));
    EXPECT_TRUE(VTFileManager::isPackageAtPath(path("Odd.thing")));
    EXPECT_FALSE(VTFileManager::isPackageAtPath(path("Plain folder.v2")));
    EXPECT_FALSE(VTFileManager::isPackageAtPath(path("file.plugin")));
    EXPECT_FALSE(VTFileManager::isPackageAtPath(path("missing.plugin")));
}

TEST_F(FileManagerTest, MovesCopiesAndRemovalsOfWholeBundlesAndOfWhatIsGone)
{
    const QString bundle = path("Plug-Ins/FxPlug/Glow.fxplug");
    ASSERT_TRUE(FsTest::makeBundle(bundle));
    const QString disabled = path("Disabled/Plug-Ins/FxPlug/Glow.fxplug");
    ASSERT_TRUE(VTFileManager::createDirectory(VTPath::removeLastComponent(disabled), 2s));
    ASSERT_TRUE(VTFileManager::moveFile(bundle, disabled, 2s));
    EXPECT_FALSE(FsTest::exists(bundle));
    EXPECT_EQ(FsTest::getXattr(disabled, "user.com.apple.FinderInfo"), QByteArray("FCSCxxxx", 8));

    const QString copy = path("Copy/Glow.fxplug");
    ASSERT_TRUE(QDir().mkpath(path("Copy")));
    ASSERT_TRUE(VTFileManager::copyFile(disabled, copy, 2s));
    EXPECT_EQ(FsTest::readFile(VTPath::join(copy, QStringLiteral("Contents/MacOS/Glow"))), QByteArray(70000, 'x'));
    // Neither a move nor a copy replaces what is there.
    EXPECT_FALSE(VTFileManager::copyFile(disabled, copy, false));
    ASSERT_TRUE(FsTest::writeFile(bundle, "newer"));
    EXPECT_FALSE(VTFileManager::moveFile(bundle, disabled, false));
    EXPECT_EQ(FsTest::readFile(bundle), "newer");
    EXPECT_TRUE(log().contains("Error moving file: "));

    EXPECT_TRUE(VTFileManager::removeFile(copy, 2s));
    EXPECT_FALSE(FsTest::exists(copy));
    // What is gone counts as removed and as trashed.
    EXPECT_TRUE(VTFileManager::removeFile(copy, false));
    EXPECT_TRUE(VTFileManager::trashFile(copy, false));
    EXPECT_TRUE(VTFileManager::trashFile(copy, 1s));
    EXPECT_TRUE(VTFileManager::trashDirectoryContents(copy));
    EXPECT_FALSE(VTFileManager::copyFile(QString(), copy));
    EXPECT_FALSE(VTFileManager::copyFile(disabled, QString()));
    const QByteArray text = log();
    EXPECT_TRUE(text.contains("Error copying file: source path is nil"));
    EXPECT_TRUE(text.contains(QByteArray("Error copying file " + disabled.toUtf8() + ": destination path is nil")));
}

TEST_F(FileManagerTest, CaseOnlyRenamesPassThroughAFreeName)
{
    ASSERT_TRUE(FsTest::writeFile(path("glow.plugin/Contents/Info.plist"), "mine"));
    ASSERT_TRUE(FsTest::writeFile(path("Glow 2.plugin"), "someone else's"));
    EXPECT_TRUE(VTFileManager::moveFile(path("glow.plugin"), path("Glow.plugin"), 2s));
    EXPECT_EQ(FsTest::readFile(path("Glow.plugin/Contents/Info.plist")), "mine");
    EXPECT_FALSE(FsTest::exists(path("glow.plugin")));
    EXPECT_EQ(FsTest::readFile(path("Glow 2.plugin")), "someone else's");
    EXPECT_FALSE(FsTest::exists(path("Glow 3.plugin")));
}

TEST_F(FileManagerTest, FoldersOnAMissingVolumeAreNotCreated)
{
    ASSERT_TRUE(QDir().mkpath(m_sandbox.systemPath(QStringLiteral("/Volumes/Disk"))));
    EXPECT_TRUE(VTFileManager::isDriveMountedForPath(m_sandbox.systemPath(QStringLiteral("/Volumes/Disk/Library"))));
    EXPECT_FALSE(VTFileManager::isDriveMountedForPath(m_sandbox.systemPath(QStringLiteral("/Volumes/Gone/Library"))));
    EXPECT_TRUE(VTFileManager::isDriveMountedForPath(m_sandbox.systemPath(QStringLiteral("/Volumes"))));
    EXPECT_TRUE(VTFileManager::isDriveMountedForPath(path("anything")));
    EXPECT_FALSE(VTFileManager::createDirectory(m_sandbox.systemPath(QStringLiteral("/Volumes/Gone/Library/x")), false));
    EXPECT_FALSE(FsTest::exists(m_sandbox.systemPath(QStringLiteral("/Volumes/Gone"))));
    EXPECT_TRUE(log().contains(QByteArray("mountpoint: " + m_sandbox.systemPath(QStringLiteral("/Volumes/Gone")).toUtf8())));
}

TEST_F(FileManagerTest, NamesThatAreNotUtf8AreLeftAloneNotLost)
{
    const QString folder = path("Mixed");
    ASSERT_TRUE(FsTest::writeFile(VTPath::join(folder, QStringLiteral("good.plugin")), "good"));
    const QByteArray bad = VTPath::toNative(folder) + "/bad\xff\xfe.plugin";
    const int fd = ::open(bad.constData(), O_CREAT | O_WRONLY, 0644);
    ASSERT_GE(fd, 0);
    ::close(fd);

    const QStringList entries = VTFileManager::contentsOfDirectory(folder);
    EXPECT_EQ(entries, QStringList({VTPath::join(folder, QStringLiteral("good.plugin"))}));
    EXPECT_TRUE(VTFileManager::trashDirectoryContents(folder, false));
    EXPECT_EQ(::access(bad.constData(), F_OK), 0);
    EXPECT_TRUE(log().contains("not valid UTF-8"));
    // The temporary folder's own removal cannot name it either.
    ::unlink(bad.constData());
}

TEST_F(FileManagerTest, CompressionUsesTheSystemsDittoAndFailsCleanlyWithout)
{
    const QString source = path("Glow.fxplug");
    ASSERT_TRUE(FsTest::makeBundle(source));
    const QString archive = path("Glow.zip");
    EXPECT_FALSE(VTFileManager::compressFile(source, archive));

    const QString ditto = m_sandbox.systemPath(QStringLiteral("/usr/bin/ditto"));
    ASSERT_TRUE(FsTest::writeFile(ditto, "#!/bin/sh\nprintf '%s\\n' \"$@\" > \"$(dirname \"$0\")/args\"\nfor last; do :; done\necho zip > \"$last\"\n"));
    ASSERT_TRUE(FsTest::chmodPath(ditto, 0755));
    ASSERT_TRUE(FsTest::writeFile(archive, "older archive"));
    EXPECT_TRUE(VTFileManager::compressFile(source, archive));
    EXPECT_EQ(FsTest::readFile(archive), "zip\n");
    EXPECT_EQ(FsTest::readFile(m_sandbox.systemPath(QStringLiteral("/usr/bin/args"))),
              QByteArray("-ck\n--keepParent\n" + source.toUtf8() + '\n' + archive.toUtf8() + '\n'));
    // The older archive went to the Trash, not away.
    EXPECT_EQ(FsTest::readFile(m_sandbox.homePath(QStringLiteral(".local/share/Trash/files/Glow.zip"))), "older archive");
}

TEST_F(FileManagerTest, TouchRenewsTheModificationTime)
{
    const QString file = path("touched");
    ASSERT_TRUE(FsTest::writeFile(file, ""));
    const timespec old[2] = {{1000000000, 0}, {1000000000, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, VTPath::toNative(file).constData(), old, 0), 0);
    EXPECT_TRUE(VTFileManager::touchFile(file, true));
    EXPECT_GT(FsTest::statOf(file).st_mtim.tv_sec, 1000000000);
}

TEST(FileManagerWait, WaitsForTheConditionOrTheTimeout)
{
    // Generous bounds: each only has to tell "returned" from "waited on".
    std::atomic<bool> done{false};
    std::thread setter([&done] {
        std::this_thread::sleep_for(150ms);
        done = true;
    });
    QElapsedTimer timer;
    timer.start();
    EXPECT_TRUE(VTFileManager::waitUntil([&done] { return done.load(); }, 60s));
    EXPECT_LT(timer.elapsed(), 30000) << "returned when the condition held, not at the time-out";
    setter.join();

    timer.restart();
    EXPECT_FALSE(VTFileManager::waitUntil([] { return false; }, 1s));
    EXPECT_GE(timer.elapsed(), 1000);
    EXPECT_LT(timer.elapsed(), 30000);
}

class LockTest : public FileManagerTest
{
protected:
    void SetUp() override
    {
        FileManagerTest::SetUp();
        if (!FsTest::isRoot())
            GTEST_SKIP() << "the immutable attribute needs root";
        ASSERT_TRUE(FsTest::writeFile(path("probe"), ""));
        if (!VTFileManager::lockFile(path("probe")))
            GTEST_SKIP() << "this file system has no immutable attribute";
        ASSERT_TRUE(VTFileManager::unlockFile(path("probe")));
    }
};

TEST_F(LockTest, LockedItemsAreUnlockedBeforeTheyAreMovedOrRemoved)
{
    const QString bundle = path("Glow.fxplug");
    ASSERT_TRUE(FsTest::makeBundle(bundle));
    const QString executable = VTPath::join(bundle, QStringLiteral("Contents/MacOS/Glow"));
    VTFileManager::lockFolder(bundle);
    EXPECT_TRUE(VTFileManager::isFileLocked(executable));
    EXPECT_FALSE(VTFileManager::isFileLocked(bundle));
    VTFileManager::unlockFolder(bundle);
    EXPECT_FALSE(VTFileManager::isFileLocked(executable));

    const QString locked = path("locked.plugin");
    ASSERT_TRUE(FsTest::writeFile(locked, "x"));
    ASSERT_TRUE(VTFileManager::lockFile(locked));
    EXPECT_EQ(FsTest::run(QStringLiteral("/bin/rm"), {QStringLiteral("-f"), locked}).exitCode, 1);
    EXPECT_TRUE(VTFileManager::trashFile(locked, 2s));
    EXPECT_FALSE(FsTest::exists(locked));

    ASSERT_TRUE(FsTest::writeFile(locked, "y"));
    ASSERT_TRUE(VTFileManager::lockFile(locked));
    EXPECT_TRUE(VTFileManager::removeFile(locked, 2s));
    EXPECT_FALSE(FsTest::exists(locked));

    // A move unlocks what lies inside the destination's would-be item.
    const QString target = path("Target");
    ASSERT_TRUE(FsTest::writeFile(path("Target/Glow.fxplug/inner"), "in"));
    ASSERT_TRUE(VTFileManager::lockFile(path("Target/Glow.fxplug/inner")));
    (void)VTFileManager::moveFile(bundle, target, false);
    EXPECT_FALSE(VTFileManager::isFileLocked(path("Target/Glow.fxplug/inner")));
}

TEST_F(FileManagerTest, WritableAndDeletableFollowPermissionsAndStickyFolders)
{
    const FsTest::User user = FsTest::testUser();
    if (!user.valid())
        GTEST_SKIP() << "needs root and the unprivileged test account";
    ASSERT_TRUE(FsTest::chmodPath(m_sandbox.root(), 0755));
    const QString shared = path("Shared");
    ASSERT_TRUE(FsTest::writeFile(VTPath::join(shared, QStringLiteral("roots")), ""));
    ASSERT_TRUE(FsTest::writeFile(VTPath::join(shared, QStringLiteral("mine")), ""));
    ASSERT_TRUE(FsTest::chownPath(VTPath::join(shared, QStringLiteral("mine")), user));
    ASSERT_TRUE(FsTest::chmodPath(shared, 01777));
    const QString closed = path("Closed");
    ASSERT_TRUE(FsTest::writeFile(VTPath::join(closed, QStringLiteral("open")), ""));
    ASSERT_TRUE(FsTest::chmodPath(VTPath::join(closed, QStringLiteral("open")), 0666));
    for (const QString &folder : {path(QString()), m_sandbox.systemPath(QString())})
        ASSERT_TRUE(FsTest::chmodPath(folder, 0755));

    auto ask = [&user](const char *question, const QString &file) {
        return FsTest::runAs(user, FsTest::driverPath(), {QLatin1String(question), file}, {}).out.trimmed();
    };
    EXPECT_EQ(ask("deletable", VTPath::join(shared, QStringLiteral("mine"))), "YES");
    EXPECT_EQ(ask("deletable", VTPath::join(shared, QStringLiteral("roots"))), "NO");
    EXPECT_EQ(ask("writable", VTPath::join(shared, QStringLiteral("roots"))), "NO");
    EXPECT_EQ(ask("writable", VTPath::join(closed, QStringLiteral("open"))), "YES");
    EXPECT_EQ(ask("deletable", VTPath::join(closed, QStringLiteral("open"))), "NO");
    EXPECT_EQ(ask("lock", VTPath::join(shared, QStringLiteral("mine"))), "NO");
}

} // namespace

TEST_F(FileManagerTest, ASuperuserFollowsNoLinkPlantedInAPath)
{
    if (!FsTest::isRoot())
        GTEST_SKIP() << "the link rule differs for the superuser only";
    // Another user's link where a folder of the path should be.
    ASSERT_TRUE(FsTest::writeFile(path("Glow.fxplug"), "glow"));
    ASSERT_TRUE(QDir().mkpath(path("victim")));
    ASSERT_EQ(::symlink(VTPath::toNative(path("victim")).constData(), VTPath::toNative(path("trap")).constData()), 0);
    // Neither the plain move nor the privileged one behind it goes through.
    (void)VTFileManager::moveFile(path("Glow.fxplug"), path("trap/Glow.fxplug"), true);
    (void)VTFileManager::copyFile(path("Glow.fxplug"), path("trap/Copy.fxplug"), true);
    EXPECT_TRUE(QDir(path("victim")).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot));
    EXPECT_EQ(FsTest::readFile(path("Glow.fxplug")), "glow");
}
