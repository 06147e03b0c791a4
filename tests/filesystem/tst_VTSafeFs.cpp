// The symlink-safe primitives and the tree copy shared by the program and its
// privileged helper, on real files in a temporary folder.

#include "FsTestSupport.h"
#include "VTSafeFs.h"
#include "VTTreeCopy.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <algorithm>

#include <sys/stat.h>

using VTSafeFs::Fd;

namespace {

std::string native(const QString &path)
{
    return VTPath::toNative(path).toStdString();
}

class SafeFsTest : public ::testing::Test
{
protected:
    QString path(const QString &relative) const { return VTPath::join(m_dir.path(), relative); }
    Fd open(const QString &relative) const { return Fd(VTSafeFs::openFolder(native(path(relative)), false)); }

    // A move journal as an interrupted move leaves it in dst/.
    bool journal(const char *token, const QString &source, const char *name) const
    {
        const QByteArray content = "VTMOVE1\n" + VTPath::toNative(source) + '\0' + name + '\0';
        return FsTest::writeFile(path(QStringLiteral("dst/.vtmove.%1.journal").arg(QLatin1String(token))), content);
    }

    QTemporaryDir m_dir;
};

TEST(SafeFsPaths, OnlyCleanAbsolutePathsPass)
{
    EXPECT_TRUE(VTSafeFs::isCleanAbsolutePath("/"));
    EXPECT_TRUE(VTSafeFs::isCleanAbsolutePath("/Library/Plug-Ins/FxPlug/Glow.fxplug"));
    EXPECT_TRUE(VTSafeFs::isCleanAbsolutePath("/a/-rf/--help/$(x)/semi;colon"));
    EXPECT_FALSE(VTSafeFs::isCleanAbsolutePath(""));
    EXPECT_FALSE(VTSafeFs::isCleanAbsolutePath("relative/path"));
    EXPECT_FALSE(VTSafeFs::isCleanAbsolutePath("-rf"));
    EXPECT_FALSE(VTSafeFs::isCleanAbsolutePath("/a//b"));
    EXPECT_FALSE(VTSafeFs::isCleanAbsolutePath("/a/b/"));
    EXPECT_FALSE(VTSafeFs::isCleanAbsolutePath("/a/../etc"));
    EXPECT_FALSE(VTSafeFs::isCleanAbsolutePath("/a/./b"));
    EXPECT_FALSE(VTSafeFs::isCleanAbsolutePath(std::string("/a\0b", 4)));
}

TEST_F(SafeFsTest, ResolutionWithoutLinksRefusesALinkAnywhereInThePath)
{
    ASSERT_TRUE(QDir().mkpath(path(QStringLiteral("real/inner"))));
    ASSERT_EQ(::symlink(native(path(QStringLiteral("real"))).c_str(), native(path(QStringLiteral("link"))).c_str()), 0);
    const std::string throughLink = native(path(QStringLiteral("link/inner")));

    Fd followed(VTSafeFs::openFolder(throughLink, false));
    EXPECT_TRUE(followed.valid());
    Fd refused(VTSafeFs::openFolder(throughLink, true));
    EXPECT_FALSE(refused.valid());
    EXPECT_EQ(refused.get(), -ELOOP);

    std::string leaf;
    Fd parent(VTSafeFs::openParent(throughLink + "/file", true, leaf));
    EXPECT_FALSE(parent.valid());
    Fd direct(VTSafeFs::openParent(native(path(QStringLiteral("real/inner/file"))), true, leaf));
    EXPECT_TRUE(direct.valid());
    EXPECT_EQ(leaf, "file");
}

TEST(SafeFsModes, SymbolicAndOctalModesApplyAsChmodDoes)
{
    VTSafeFs::ModeChange change;
    ASSERT_TRUE(VTSafeFs::parseModeChange("a+rw", change));
    EXPECT_EQ(change.apply(0644, false), 0666u);
    // A folder opened to everyone becomes sticky.
    EXPECT_EQ(change.apply(0755, true), 01777u);

    ASSERT_TRUE(VTSafeFs::parseModeChange("go-w,u+x", change));
    EXPECT_EQ(change.apply(0666, false), 0744u);
    ASSERT_TRUE(VTSafeFs::parseModeChange("o=rx", change));
    EXPECT_EQ(change.apply(0777, true), 0775u);
    ASSERT_TRUE(VTSafeFs::parseModeChange("u+rwX", change));
    EXPECT_EQ(change.apply(0000, true), 0700u);
    EXPECT_EQ(change.apply(0000, false), 0600u);
    ASSERT_TRUE(VTSafeFs::parseModeChange("750", change));
    EXPECT_EQ(change.apply(0644, false), 0750u);
    ASSERT_TRUE(VTSafeFs::parseModeChange("777", change));
    EXPECT_EQ(change.apply(0755, true), 01777u);

    // Set-id bits are never handed out; nonsense is refused.
    for (const char *refused : {"u+s", "4755", "2755", "a+z", "", "u", "77777", "a+rwq"}) {
        SCOPED_TRACE(refused);
        EXPECT_FALSE(VTSafeFs::parseModeChange(refused, change));
    }
}

TEST_F(SafeFsTest, WholeTreeChangesAndRemovalsFollowNoLinkAndSkipHardLinkedFiles)
{
    ASSERT_TRUE(FsTest::writeFile(path(QStringLiteral("outside.txt")), "outside"));
    ASSERT_TRUE(FsTest::chmodPath(path(QStringLiteral("outside.txt")), 0600));
    ASSERT_TRUE(FsTest::writeFile(path(QStringLiteral("canary/keep.txt")), "keep"));
    ASSERT_TRUE(FsTest::writeFile(path(QStringLiteral("vendor/sub/own.txt")), "own"));
    ASSERT_TRUE(FsTest::chmodPath(path(QStringLiteral("vendor/sub/own.txt")), 0600));
    ASSERT_EQ(::symlink(native(path(QStringLiteral("outside.txt"))).c_str(), native(path(QStringLiteral("vendor/sub/link"))).c_str()), 0);
    ASSERT_EQ(::symlink(native(path(QStringLiteral("canary"))).c_str(), native(path(QStringLiteral("vendor/sub/to-canary"))).c_str()), 0);
    ASSERT_EQ(::link(native(path(QStringLiteral("outside.txt"))).c_str(), native(path(QStringLiteral("vendor/hard"))).c_str()), 0);
    const mode_t canaryMode = FsTest::statOf(path(QStringLiteral("canary"))).st_mode & 07777;

    VTSafeFs::ModeChange change;
    ASSERT_TRUE(VTSafeFs::parseModeChange("a+rw", change));
    Fd top = open(QString());
    EXPECT_EQ(VTSafeFs::chmodAt(top.get(), "vendor", change, true), 0);
    EXPECT_EQ(FsTest::statOf(path(QStringLiteral("vendor/sub/own.txt"))).st_mode & 07777, 0666u);
    EXPECT_EQ(FsTest::statOf(path(QStringLiteral("vendor/sub"))).st_mode & 07777, 01777u);
    EXPECT_EQ(FsTest::statOf(path(QStringLiteral("outside.txt"))).st_mode & 07777, 0600u);
    EXPECT_EQ(FsTest::statOf(path(QStringLiteral("canary"))).st_mode & 07777, canaryMode);

    EXPECT_EQ(VTSafeFs::removeTree(top.get(), "vendor"), 0);
    EXPECT_FALSE(FsTest::exists(path(QStringLiteral("vendor"))));
    EXPECT_EQ(FsTest::readFile(path(QStringLiteral("canary/keep.txt"))), "keep");
    EXPECT_EQ(FsTest::readFile(path(QStringLiteral("outside.txt"))), "outside");
    EXPECT_EQ(VTSafeFs::removeTree(top.get(), "vendor"), ENOENT);
}

TEST_F(SafeFsTest, CopyKeepsContentsModesAttributesLinksAndTimes)
{
    const QString bundle = path(QStringLiteral("src/Glow.fxplug"));
    ASSERT_TRUE(FsTest::makeBundle(bundle));
    ASSERT_TRUE(FsTest::chmodPath(VTPath::join(bundle, QStringLiteral("Contents/Resources")), 0550));
    Fd source = open(QStringLiteral("src"));
    ASSERT_TRUE(QDir().mkpath(path(QStringLiteral("dst"))));
    Fd target = open(QStringLiteral("dst"));

    ASSERT_EQ(VTTreeCopy::copyItem(source.get(), "Glow.fxplug", target.get(), "Glow.fxplug", false), 0);
    const QString copy = path(QStringLiteral("dst/Glow.fxplug"));
    EXPECT_TRUE(VTTreeCopy::sameTree(source.get(), "Glow.fxplug", target.get(), "Glow.fxplug"));
    EXPECT_EQ(FsTest::getXattr(copy, "user.com.apple.FinderInfo"), QByteArray("FCSCxxxx", 8));
    EXPECT_TRUE(S_ISLNK(FsTest::statOf(VTPath::join(copy, QStringLiteral("Contents/Current"))).st_mode));
    EXPECT_EQ(FsTest::statOf(VTPath::join(copy, QStringLiteral("Contents/MacOS/Glow"))).st_mode & 07777, 0755u);
    EXPECT_EQ(FsTest::statOf(VTPath::join(copy, QStringLiteral("Contents/Resources"))).st_mode & 07777, 0550u);
    const struct stat original = FsTest::statOf(VTPath::join(bundle, QStringLiteral("Contents/Info.plist")));
    const struct stat copied = FsTest::statOf(VTPath::join(copy, QStringLiteral("Contents/Info.plist")));
    EXPECT_EQ(original.st_mtim.tv_sec, copied.st_mtim.tv_sec);
    EXPECT_EQ(original.st_mtim.tv_nsec, copied.st_mtim.tv_nsec);
    // No temporary copy is left behind.
    EXPECT_EQ(VTSafeFs::listFolder(target.get()).size(), 1u);

    // Copying onto an existing item replaces nothing.
    EXPECT_EQ(VTTreeCopy::copyItem(source.get(), "Glow.fxplug", target.get(), "Glow.fxplug", false), EEXIST);
    // A pipe cannot be carried; the copy fails and leaves nothing.
    ASSERT_EQ(::mkfifo(native(path(QStringLiteral("src/pipe"))).c_str(), 0600), 0);
    EXPECT_EQ(VTTreeCopy::copyItem(source.get(), "pipe", target.get(), "pipe", false), EOPNOTSUPP);
    EXPECT_EQ(VTSafeFs::listFolder(target.get()).size(), 1u);
}

TEST_F(SafeFsTest, MovesWithinOneFileSystemRenameAndNeverReplaceUnlessAsked)
{
    ASSERT_TRUE(FsTest::writeFile(path(QStringLiteral("a/one")), "one"));
    ASSERT_TRUE(FsTest::writeFile(path(QStringLiteral("b/one")), "other"));
    const ino_t inode = FsTest::statOf(path(QStringLiteral("a/one"))).st_ino;
    Fd a = open(QStringLiteral("a"));
    Fd b = open(QStringLiteral("b"));

    EXPECT_EQ(VTTreeCopy::moveItem(a.get(), "one", b.get(), "one", false, native(path(QStringLiteral("a/one")))), EEXIST);
    EXPECT_EQ(FsTest::readFile(path(QStringLiteral("b/one"))), "other");
    EXPECT_EQ(VTTreeCopy::moveItem(a.get(), "one", b.get(), "two", false, native(path(QStringLiteral("a/one")))), 0);
    EXPECT_EQ(FsTest::statOf(path(QStringLiteral("b/two"))).st_ino, inode);
    EXPECT_EQ(VTTreeCopy::moveItem(b.get(), "two", b.get(), "one", true, native(path(QStringLiteral("b/two")))), 0);
    EXPECT_EQ(FsTest::readFile(path(QStringLiteral("b/one"))), "one");
}

TEST_F(SafeFsTest, CleanUpResolvesWhatInterruptedMovesLeft)
{
    // Three leftovers as a crash at different moments leaves them.
    ASSERT_TRUE(FsTest::makeBundle(path(QStringLiteral("src/Whole.fxplug"))));
    ASSERT_TRUE(FsTest::makeBundle(path(QStringLiteral("src/Done.fxplug"))));
    ASSERT_TRUE(FsTest::makeBundle(path(QStringLiteral("src/Differs.fxplug"))));
    ASSERT_TRUE(QDir().mkpath(path(QStringLiteral("dst"))));
    Fd src = open(QStringLiteral("src"));
    Fd dst = open(QStringLiteral("dst"));
    // 1. Killed after the copy and its journal, before the rename.
    ASSERT_TRUE(journal("00000000000000a1", path(QStringLiteral("src/Whole.fxplug")), "Whole.fxplug"));
    ASSERT_EQ(VTTreeCopy::copyTree(src.get(), "Whole.fxplug", dst.get(), ".vtmove.00000000000000a1"), 0);
    // 2. Killed after the rename, before the source was removed.
    ASSERT_TRUE(journal("00000000000000a2", path(QStringLiteral("src/Done.fxplug")), "Done.fxplug"));
    ASSERT_EQ(VTTreeCopy::copyTree(src.get(), "Done.fxplug", dst.get(), "Done.fxplug"), 0);
    // 3. A destination that is not the source's copy: never resolved by deleting.
    ASSERT_TRUE(journal("00000000000000a3", path(QStringLiteral("src/Differs.fxplug")), "Differs.fxplug"));
    ASSERT_EQ(VTTreeCopy::copyTree(src.get(), "Differs.fxplug", dst.get(), "Differs.fxplug"), 0);
    ASSERT_TRUE(FsTest::writeFile(path(QStringLiteral("dst/Differs.fxplug/Contents/Info.plist")), "<plist>changed</plist>"));
    // 4. Killed while copying: an orphan partial copy without a journal.
    ASSERT_TRUE(FsTest::writeFile(path(QStringLiteral("dst/.vtmove.00000000000000a4/file")), "x"));
    ASSERT_TRUE(FsTest::chmodPath(path(QStringLiteral("dst/.vtmove.00000000000000a4")), 0500));
    // 5. Killed while removing the source: what is left of it is all in the
    // destination.
    ASSERT_TRUE(FsTest::makeBundle(path(QStringLiteral("src/Half.fxplug"))));
    ASSERT_TRUE(journal("00000000000000a5", path(QStringLiteral("src/Half.fxplug")), "Half.fxplug"));
    ASSERT_EQ(VTTreeCopy::copyTree(src.get(), "Half.fxplug", dst.get(), "Half.fxplug"), 0);
    ASSERT_TRUE(QDir(path(QStringLiteral("src/Half.fxplug/Contents/Resources"))).removeRecursively());

    // The recovery accepts a source only as the counterpart of the
    // destination; here: the same name in src/.
    const VTTreeCopy::SourceCheck counterpart = [this](const std::string &source, const std::string &name) {
        return source == native(path(QStringLiteral("src/") + QString::fromStdString(name)));
    };
    EXPECT_EQ(VTTreeCopy::cleanUpFolder(dst.get(), counterpart), 5);

    std::vector<std::string> left = VTSafeFs::listFolder(dst.get());
    std::sort(left.begin(), left.end());
    EXPECT_EQ(left, (std::vector<std::string>{"Differs.fxplug", "Done.fxplug", "Half.fxplug"}));
    EXPECT_FALSE(FsTest::exists(path(QStringLiteral("src/Half.fxplug"))));
    EXPECT_TRUE(FsTest::exists(path(QStringLiteral("dst/Half.fxplug/Contents/Resources/en.lproj/InfoPlist.strings"))));
    EXPECT_TRUE(FsTest::exists(path(QStringLiteral("src/Whole.fxplug/Contents/MacOS/Glow"))));
    EXPECT_FALSE(FsTest::exists(path(QStringLiteral("src/Done.fxplug"))));
    EXPECT_TRUE(FsTest::exists(path(QStringLiteral("src/Differs.fxplug/Contents/Info.plist"))));
    EXPECT_EQ(VTTreeCopy::cleanUpFolder(dst.get(), counterpart), 0);
}

TEST_F(SafeFsTest, CleanUpNeverDeletesThroughAJournalItCannotTrust)
{
    // What a finished move would let the recovery delete: a source, and its
    // copy beside the journal.
    ASSERT_TRUE(FsTest::makeBundle(path(QStringLiteral("victim/Doc.fxplug"))));
    ASSERT_TRUE(QDir().mkpath(path(QStringLiteral("dst"))));
    Fd victim = open(QStringLiteral("victim"));
    Fd dst = open(QStringLiteral("dst"));
    ASSERT_EQ(VTTreeCopy::copyTree(victim.get(), "Doc.fxplug", dst.get(), "Doc.fxplug"), 0);
    const auto plant = [&] { return journal("00000000000000b1", path(QStringLiteral("victim/Doc.fxplug")), "Doc.fxplug"); };
    const VTTreeCopy::SourceCheck anySource = [](const std::string &, const std::string &) { return true; };
    const VTTreeCopy::SourceCheck noSource = [](const std::string &, const std::string &) { return false; };

    // A source that is not the destination's counterpart.
    ASSERT_TRUE(plant());
    EXPECT_EQ(VTTreeCopy::cleanUpFolder(dst.get(), noSource), 1);
    EXPECT_TRUE(FsTest::exists(path(QStringLiteral("victim/Doc.fxplug/Contents/Info.plist"))));
    if (FsTest::isRoot()) {
        // Another user's journal, and a folder others may write: left alone.
        const FsTest::User nobody = FsTest::lookUpUser(QStringLiteral("nobody"));
        ASSERT_TRUE(nobody.valid());
        ASSERT_TRUE(plant());
        ASSERT_TRUE(FsTest::chownPath(path(QStringLiteral("dst/.vtmove.00000000000000b1.journal")), nobody));
        EXPECT_EQ(VTTreeCopy::cleanUpFolder(dst.get(), anySource), 0);
        EXPECT_TRUE(FsTest::exists(path(QStringLiteral("dst/.vtmove.00000000000000b1.journal"))));
        ASSERT_TRUE(FsTest::chownPath(path(QStringLiteral("dst/.vtmove.00000000000000b1.journal")), FsTest::User{QStringLiteral("root"), 0, 0}));
        ASSERT_TRUE(FsTest::chmodPath(path(QStringLiteral("dst")), 0777));
        EXPECT_EQ(VTTreeCopy::cleanUpFolder(dst.get(), anySource), 0);
        EXPECT_TRUE(FsTest::exists(path(QStringLiteral("victim/Doc.fxplug/Contents/Info.plist"))));
    }
}

TEST_F(SafeFsTest, SameTreeNoticesEveryKindOfDifference)
{
    ASSERT_TRUE(FsTest::makeBundle(path(QStringLiteral("a/B.plugin"))));
    Fd a = open(QStringLiteral("a"));
    auto fresh = [&](const char *name) { return VTTreeCopy::copyTree(a.get(), "B.plugin", a.get(), name) == 0; };
    ASSERT_TRUE(fresh("same"));
    EXPECT_TRUE(VTTreeCopy::sameTree(a.get(), "B.plugin", a.get(), "same"));

    ASSERT_TRUE(fresh("content"));
    ASSERT_TRUE(FsTest::writeFile(path(QStringLiteral("a/content/Contents/Info.plist")), "<plist><dict/></plisT>\n"));
    EXPECT_FALSE(VTTreeCopy::sameTree(a.get(), "B.plugin", a.get(), "content"));

    ASSERT_TRUE(fresh("extra"));
    ASSERT_TRUE(FsTest::writeFile(path(QStringLiteral("a/extra/Contents/new")), ""));
    EXPECT_FALSE(VTTreeCopy::sameTree(a.get(), "B.plugin", a.get(), "extra"));

    ASSERT_TRUE(fresh("link"));
    ASSERT_EQ(::unlink(native(path(QStringLiteral("a/link/Contents/Current"))).c_str()), 0);
    ASSERT_EQ(::symlink("MacOS/Other", native(path(QStringLiteral("a/link/Contents/Current"))).c_str()), 0);
    EXPECT_FALSE(VTTreeCopy::sameTree(a.get(), "B.plugin", a.get(), "link"));

    // Deeper than any copy goes: never taken for the same, so a recovery
    // deletes nothing on its word.
    QString deep = QStringLiteral("deep");
    for (int i = 0; i < VTSafeFs::MaxTreeDepth + 1; ++i)
        deep += QStringLiteral("/d");
    ASSERT_EQ(FsTest::run(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), QStringLiteral("mkdir -p \"$0/$1\" && cp -a \"$0/deep\" \"$0/deep2\""),
                                                      path(QStringLiteral("a")), deep})
                  .exitCode,
              0);
    EXPECT_FALSE(VTTreeCopy::sameTree(a.get(), "deep", a.get(), "deep2"));
}

} // namespace
