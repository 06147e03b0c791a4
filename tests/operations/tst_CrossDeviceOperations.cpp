// Disabling and enabling when the disabled tree lies on another file system:
// a bundle keeps everything it holds both ways, and a destination too small
// for it leaves the plug-in whole where it was with nothing half-copied.
// Memory file systems in a private mount namespace (root only; skipped
// visibly otherwise).

#include "OperationsTestSupport.h"

#include "VTMoveRecovery.h"

#include <sys/mount.h>

using namespace VTSandboxKind;

namespace {

class CrossDeviceOperationsTest : public OpsTest::OperationsTest
{
protected:
    void SetUp() override
    {
        if (const QString problem = FsTest::privateMountNamespace(); !problem.isEmpty())
            GTEST_SKIP() << problem.toStdString();
        OperationsTest::SetUp();
    }

    void TearDown() override
    {
        if (!m_mountPoint.isEmpty())
            ::umount2(VTPath::toNative(m_mountPoint).constData(), MNT_DETACH);
        OperationsTest::TearDown();
    }

    // The folder holding the disabled tree becomes a file system of its own.
    void mountDisabledTree(const char *options)
    {
        m_mountPoint = VTPath::removeLastComponent(disabledRoot());
        ASSERT_TRUE(VTTestSandbox::makeFolder(m_mountPoint));
        ASSERT_EQ(::mount("tessary-test", VTPath::toNative(m_mountPoint).constData(), "tmpfs", 0, options), 0)
            << std::strerror(errno);
        ASSERT_TRUE(VTTestSandbox::makeFolder(disabledRoot()));
    }

    QString m_mountPoint;
};

} // namespace

TEST_F(CrossDeviceOperationsTest, ABundleKeepsEverythingItHoldsBothWays)
{
    mountDisabledTree("mode=0755");
    const QString bundle = this->bundle(QStringLiteral("Glow"), QStringLiteral("Color"));
    ASSERT_TRUE(builder().ok());
    const QString executable = VTPath::join(bundle, QStringLiteral("Contents/MacOS/Current"));
    ASSERT_EQ(::symlink("Glow", VTPath::toNative(executable).constData()), 0);
    ASSERT_TRUE(FsTest::setXattr(bundle, "user.com.apple.FinderInfo", QByteArray("FCSCxxxx", 8)));
    ASSERT_TRUE(FsTest::writeFile(VTPath::join(bundle, QStringLiteral("Contents/Resources/big.bin")), QByteArray(3 << 20, 'g')));
    const QString info = VTPath::join(bundle, QStringLiteral("Contents/Info.plist"));
    const FsTest::User nobody = FsTest::lookUpUser(QStringLiteral("nobody"));
    ASSERT_TRUE(FsTest::chownPath(info, nobody));
    ASSERT_TRUE(FsTest::chmodPath(info, 0640));
    const QString reference = keepReference(bundle);
    reload();
    const PluginPtr glow = plugin(QStringLiteral("Glow.fxplug"));
    ASSERT_NE(FsTest::statOf(bundle).st_dev, FsTest::statOf(disabledRoot()).st_dev);

    ASSERT_TRUE(enabling().moveFilter(glow, 0));
    EXPECT_FALSE(exists(bundle));
    EXPECT_TRUE(OpsTest::sameTree(reference, mirror(bundle)));
    EXPECT_EQ(FsTest::getXattr(mirror(bundle), "user.com.apple.FinderInfo"), QByteArray("FCSCxxxx", 8));
    EXPECT_TRUE(S_ISLNK(FsTest::statOf(mirror(executable)).st_mode));
    EXPECT_EQ(FsTest::statOf(mirror(info)).st_uid, nobody.uid);
    EXPECT_EQ(FsTest::statOf(mirror(info)).st_mode & 07777, 0640u);
    // Enabling for all users refuses what another account could change.
    ASSERT_TRUE(FsTest::chownPath(mirror(info), FsTest::lookUpUser(QStringLiteral("root"))));

    // Back, with something in the way: it is not replaced and nothing moves.
    ASSERT_TRUE(FsTest::writeFile(bundle, "in the way"));
    EXPECT_FALSE(enabling().moveFilter(glow, 1));
    EXPECT_EQ(FsTest::readFile(bundle), "in the way");
    EXPECT_TRUE(OpsTest::sameTree(reference, mirror(bundle)));
    EXPECT_EQ(posted().value(0), QStringLiteral("Unable to move %1 to %2 - File exists").arg(mirror(bundle), bundle));
    ASSERT_TRUE(QFile::remove(bundle));

    ASSERT_TRUE(enabling().moveFilter(glow, 1));
    EXPECT_TRUE(OpsTest::sameTree(reference, bundle));
    EXPECT_EQ(FsTest::getXattr(bundle, "user.com.apple.FinderInfo"), QByteArray("FCSCxxxx", 8));
    EXPECT_FALSE(exists(mirror(bundle)));
    EXPECT_EQ(FsTest::statOf(info).st_mode & 07777, 0640u);
    EXPECT_TRUE(VTMoveRecovery::foldersWithLeftovers({disabledRoot(), VTPath::removeLastComponent(bundle)}).isEmpty());
    EXPECT_EQ(posted().size(), 2) << "only the refusal's messages";
}

// A destination too small for the plug-in, then one that cannot be written
// at all: the plug-in stays whole where it was.
TEST_F(CrossDeviceOperationsTest, AFullOrReadOnlyDestinationLeavesThePluginWholeAndNothingHalfCopied)
{
    mountDisabledTree("mode=0755,size=512k");
    const QString bundle = builder().addBundle(FxPlug, AllUsers, QStringLiteral("Huge"));
    const QString glowBundle = builder().addBundle(FxPlug, AllUsers, QStringLiteral("Glow"));
    ASSERT_TRUE(builder().ok());
    ASSERT_TRUE(FsTest::writeFile(VTPath::join(bundle, QStringLiteral("Contents/Resources/big.bin")), QByteArray(2 << 20, 'h')));
    const QString reference = keepReference(bundle);
    const QString glowReference = keepReference(glowBundle);
    reload();
    const PluginPtr huge = plugin(QStringLiteral("Huge.fxplug"));

    EXPECT_FALSE(enabling().moveFilter(huge, 0));
    EXPECT_TRUE(OpsTest::sameTree(reference, bundle));
    EXPECT_FALSE(exists(mirror(bundle)));
    const QString folder = VTPath::removeLastComponent(mirror(bundle));
    EXPECT_TRUE(QDir(folder).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot)) << "the partial copy is gone";
    EXPECT_EQ(huge->pluginEnabled(), 1);
    const QString unableToMove = QStringLiteral("Unable to move %1 to %2 - No space left on device").arg(bundle, mirror(bundle));
    EXPECT_EQ(posted(), (QStringList{unableToMove, QStringLiteral("Could not disable plugin Huge. Please check your file permissions.")}));
    EXPECT_TRUE(logged(unableToMove));

    // What an interrupted copy left, then a destination nobody can write:
    // the move goes the privileged way, which cannot succeed either, and the
    // stale leftover does not hold it forever.
    ASSERT_TRUE(VTTestSandbox::makeFolder(VTPath::join(folder, QStringLiteral(".vtmove.0123456789abcdef"))));
    ASSERT_EQ(::mount(nullptr, VTPath::toNative(m_mountPoint).constData(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0)
        << std::strerror(errno);
    EXPECT_FALSE(enabling().moveFilter(plugin(QStringLiteral("Glow.fxplug")), 0));
    EXPECT_TRUE(OpsTest::sameTree(glowReference, glowBundle));
    EXPECT_FALSE(exists(mirror(glowBundle)));
    EXPECT_TRUE(posted().contains(QStringLiteral("Error: File %1 could not be moved to %2.").arg(glowBundle, mirror(glowBundle))));
}
