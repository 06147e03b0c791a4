// The start of a window run as an unprivileged user: the folder repair and
// the administrator password guard, with the real helper through sudo -n and
// a second account that must not gain anything from the repair.

#include "FsTestSupport.h"
#include "VTPath.h"
#include "VTTestSandbox.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace {

class StartupChecks : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_user = FsTest::testUser();
        m_other = FsTest::testUser(QStringLiteral("tessary-test-pw"));
        if (!m_user.valid() || !m_other.valid())
            GTEST_SKIP() << "needs root and the unprivileged test accounts";
        ASSERT_TRUE(m_sandbox.isValid());
        m_family = m_sandbox.systemPath(QStringLiteral("Library/Application Support/Vantorel/Hearthkit"));
        m_disabled = VTPath::join(m_family, QStringLiteral("Tessary Disabled Plugins"));
        ASSERT_TRUE(VTTestSandbox::makeFolder(m_sandbox.home()));
        ASSERT_EQ(FsTest::run(QStringLiteral("/bin/chown"), {QStringLiteral("-R"), m_user.name, m_sandbox.home()}).exitCode, 0);
    }

    // The application-support folders as a fresh machine has them: root's,
    // readable by all; `vendorOwner` owns the vendor folder and below.
    void makeSystemFolders(const FsTest::User &vendorOwner)
    {
        ASSERT_TRUE(VTTestSandbox::makeFolder(m_family));
        const QString vendor = VTPath::removeLastComponent(m_family);
        ASSERT_TRUE(FsTest::chmodPath(m_sandbox.root(), 0755));
        for (const QString &folder : {vendor, m_family})
            ASSERT_TRUE(FsTest::chownPath(folder, vendorOwner) && FsTest::chmodPath(folder, 0755));
    }

    FsTest::Run start(const FsTest::User &user, const QStringList &arguments = {})
    {
        return FsTest::runAs(user, VTPath::join(FsTest::binaryDir(), QStringLiteral("tests/app/tessary-startup-driver")),
                             arguments,
                             {QStringLiteral("TESSARY_SYSTEM_ROOT=") + m_sandbox.root(),
                              QStringLiteral("HOME=") + m_sandbox.home(), QStringLiteral("TESSARY_ESCALATE=sudo -n"),
                              QStringLiteral("QT_QPA_PLATFORM=offscreen")});
    }

    // Whether `user` can create a file in `folder`.
    bool canWrite(const FsTest::User &user, const QString &folder)
    {
        return FsTest::runAs(user, QStringLiteral("/usr/bin/touch"), {VTPath::join(folder, QStringLiteral("planted"))}, {})
                   .exitCode
            == 0;
    }

    FsTest::User m_user;
    FsTest::User m_other;
    VTTestSandbox m_sandbox;
    QString m_family;
    QString m_disabled;
};

TEST_F(StartupChecks, MissingRootIsCreatedQuietlyWhereTheUserMayWriteAfterTheGrantedGuard)
{
    makeSystemFolders(m_user);
    // This account may use sudo without a password: the guard is passed.
    const FsTest::Run run = start(m_user, {QStringLiteral("--require-admin")});
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_EQ(run.out, "RELOADED\n");
    EXPECT_EQ(FsTest::statOf(m_disabled).st_uid, m_user.uid);
    EXPECT_TRUE(S_ISDIR(FsTest::statOf(m_disabled).st_mode));
}

TEST_F(StartupChecks, RepairGivesTheFolderToTheUserAloneAndFollowsNoLink)
{
    const FsTest::User root{QStringLiteral("root"), 0, 0};
    makeSystemFolders(root);
    // A link planted in the family folder to a file outside it, and an
    // existing group-writable sibling that the repair must close.
    const QString outside = m_sandbox.systemPath(QStringLiteral("outside"));
    ASSERT_TRUE(FsTest::writeFile(outside, "root's\n") && FsTest::chmodPath(outside, 0644));
    ASSERT_EQ(::symlink(VTPath::toNative(outside).constData(),
                        VTPath::toNative(VTPath::join(m_family, QStringLiteral("link"))).constData()),
              0);
    const QString sibling = VTPath::join(m_family, QStringLiteral("Sibling"));
    ASSERT_TRUE(VTTestSandbox::makeFolder(sibling) && FsTest::chmodPath(sibling, 0777));

    const FsTest::Run run = start(m_user);
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_EQ(run.out, "ALERT Permissions incorrectly set\nRELOADED\n");
    for (const QString &folder : {m_family, m_disabled, sibling}) {
        const struct stat st = FsTest::statOf(folder);
        EXPECT_EQ(st.st_uid, m_user.uid) << folder.toStdString();
        EXPECT_EQ(st.st_mode & 0777, 0755u) << folder.toStdString();
        EXPECT_FALSE(canWrite(m_other, folder)) << folder.toStdString();
    }
    EXPECT_TRUE(canWrite(m_user, m_disabled));
    const struct stat target = FsTest::statOf(outside);
    EXPECT_EQ(target.st_uid, 0u);
    EXPECT_EQ(target.st_mode & 0777, 0644u);

    // Repaired once, the next start asks nothing.
    EXPECT_EQ(start(m_user).out, "RELOADED\n");
}

TEST_F(StartupChecks, CancelledRepairChangesNothingAndTheStartGoesOn)
{
    const FsTest::User root{QStringLiteral("root"), 0, 0};
    makeSystemFolders(root);
    const FsTest::Run run = start(m_user, {QStringLiteral("--cancel")});
    EXPECT_EQ(run.out, "ALERT Permissions incorrectly set\nRELOADED\n");
    // The reload may still make its own folder with administrator rights;
    // the family folder keeps its owner and rights.
    EXPECT_EQ(FsTest::statOf(m_family).st_uid, 0u);
    EXPECT_EQ(FsTest::statOf(m_family).st_mode & 0777, 0755u);
    EXPECT_FALSE(canWrite(m_user, m_family));
}

TEST_F(StartupChecks, ADisabledRootThatIsNoFolderIsReportedAndLeftAlone)
{
    makeSystemFolders(m_user);
    const QString outside = m_sandbox.systemPath(QStringLiteral("outside"));
    ASSERT_TRUE(VTTestSandbox::makeFolder(outside) && FsTest::chmodPath(outside, 0700));
    for (const bool asLink : {false, true}) {
        SCOPED_TRACE(asLink ? "link" : "file");
        ::unlink(VTPath::toNative(m_disabled).constData());
        if (asLink)
            ASSERT_EQ(::symlink(VTPath::toNative(outside).constData(), VTPath::toNative(m_disabled).constData()), 0);
        else
            ASSERT_TRUE(FsTest::writeFile(m_disabled, "not a folder\n") && FsTest::chownPath(m_disabled, m_user));
        const FsTest::Run run = start(m_user);
        EXPECT_EQ(run.out, "ALERT The folder for disabled plug-ins is not a folder\nRELOADED\n");
        EXPECT_EQ(asLink, S_ISLNK(FsTest::statOf(m_disabled).st_mode));
        EXPECT_EQ(FsTest::statOf(outside).st_uid, 0u);
        EXPECT_EQ(FsTest::statOf(outside).st_mode & 0777, 0700u);
    }
}

TEST_F(StartupChecks, RequiredAdminPasswordRefusedEndsBeforeAnyReload)
{
    makeSystemFolders(m_other);
    FsTest::chownPath(m_sandbox.home(), m_other);
    // This account needs a password for sudo, so "sudo -n" refuses it.
    const FsTest::Run refused = start(m_other, {QStringLiteral("--require-admin")});
    ASSERT_EQ(refused.exitCode, 0) << refused.err.toStdString();
    EXPECT_EQ(refused.out, "QUIT\n");
    EXPECT_FALSE(FsTest::exists(m_disabled)) << "the repair ran after a refused guard";
}

} // namespace
