// Enabling, disabling and removal run by an unprivileged user (the driver
// under setpriv) against folders it may not write: refused authorization,
// alone and in the middle of a batch, administrator rights through the
// privileged helper (sudo -n), a plug-in whose immutable flag the user cannot
// clear, and a removal that stops at the first failure. Needs root to set
// the scene; skipped visibly otherwise.

#include "OperationsTestSupport.h"

#include "VTFileManager.h"

#include <algorithm>

using namespace VTSandboxKind;

namespace {

class OperationsAsUserTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_user = FsTest::testUser();
        if (!m_user.valid())
            GTEST_SKIP() << "needs root and the unprivileged test account";
        // A second account, for what another user could have put or changed.
        m_other = FsTest::testUser(QStringLiteral("tessary-test-pw"));
        ASSERT_TRUE(m_other.valid());
        ASSERT_TRUE(m_sandbox.isValid());
        m_builder = std::make_unique<VTSandboxBuilder>(m_sandbox.root(), m_sandbox.home());
    }

    // Everything so far belongs to the user; folders made root's afterwards
    // are the ones it may not write.
    void handOver()
    {
        ASSERT_TRUE(m_builder->ok()) << m_builder->errors().join(u'\n').toStdString();
        for (const QString &top : {m_sandbox.root(), m_sandbox.home()}) {
            ASSERT_EQ(FsTest::run(QStringLiteral("/bin/chown"), {QStringLiteral("-R"), m_user.name, top}).exitCode, 0);
        }
    }
    // A folder (with its missing parents, which stay the user's) that the
    // user may not write.
    void makeRootsOwn(const QString &folder)
    {
        ASSERT_TRUE(VTTestSandbox::makeFolder(folder));
        handOver();
        ASSERT_TRUE(FsTest::chownPath(folder, FsTest::User{QStringLiteral("root"), 0, 0}));
        ASSERT_TRUE(FsTest::chmodPath(folder, 0755));
    }

    QString bundle(const QString &name, const QString &group = QString(), bool enabled = true, qint64 access = AllUsers)
    {
        VTBundleOptions options;
        options.group = group;
        options.enabled = enabled;
        return m_builder->addBundle(FxPlug, access, name, options);
    }
    QString mirror(const QString &path) const { return m_builder->layout().mirror(path); }

    FsTest::Run driver(const QStringList &arguments, bool authorize = false)
    {
        QStringList environment = {QStringLiteral("TESSARY_SYSTEM_ROOT=") + m_sandbox.root(),
                                   QStringLiteral("HOME=") + m_sandbox.home(),
                                   QStringLiteral("TESSARY_MOVE_LOCK_WAIT_MS=1000")};
        QStringList words = arguments;
        if (authorize) {
            environment << QStringLiteral("TESSARY_ESCALATE=sudo -n");
            words.prepend(QStringLiteral("--authorize"));
        }
        return FsTest::runAs(m_user, OpsTest::driverPath(), words, environment);
    }

    // The driver run by root: the program's superuser mode.
    FsTest::Run rootDriver(const QStringList &arguments) const
    {
        QProcessEnvironment environment;
        environment.insert(QStringLiteral("PATH"), QStringLiteral("/usr/bin:/bin:/usr/sbin:/sbin"));
        environment.insert(QStringLiteral("TESSARY_SYSTEM_ROOT"), m_sandbox.root());
        environment.insert(QStringLiteral("HOME"), m_sandbox.home());
        return FsTest::run(OpsTest::driverPath(), arguments, {}, environment);
    }

    // The driver's log, entries without their dates.
    QStringList logLines() const
    {
        return OpsTest::logEntries(QString::fromUtf8(
            FsTest::readFile(m_sandbox.homePath(QStringLiteral("Library/Logs/Vantorel/Tessary.task.1.log")))));
    }
    // The driver's YES and NO answers.
    static QList<QByteArray> answers(const FsTest::Run &run)
    {
        QList<QByteArray> found;
        for (const QByteArray &line : run.out.split('\n')) {
            if (line == "YES" || line == "NO" || line == "CANCELLED")
                found << line;
        }
        return found;
    }
    static QStringList posted(const FsTest::Run &run)
    {
        QStringList messages;
        for (const QByteArray &line : run.out.split('\n')) {
            if (line.startsWith("POST "))
                messages << QString::fromUtf8(line.mid(5));
        }
        return messages;
    }

    FsTest::User m_user;
    FsTest::User m_other;
    VTTestSandbox m_sandbox;
    std::unique_ptr<VTSandboxBuilder> m_builder;
};

} // namespace

TEST_F(OperationsAsUserTest, ARefusedAuthorizationLeavesThePluginWholeWhereItWas)
{
    const QString a = bundle(QStringLiteral("A"), QStringLiteral("G"));
    handOver();
    const QString reference = VTPath::join(m_sandbox.root(), QStringLiteral("A.reference"));
    ASSERT_TRUE(VTFileManager::copyFile(a, reference, false));
    const QString folder = mirror(VTPath::removeLastComponent(a));
    makeRootsOwn(folder);

    const FsTest::Run run = driver({QStringLiteral("disable"), QStringLiteral("A.fxplug")});
    EXPECT_EQ(answers(run), QList<QByteArray>{"NO"}) << run.out.toStdString();
    EXPECT_TRUE(OpsTest::sameTree(reference, a));
    EXPECT_FALSE(FsTest::exists(mirror(a)));
    EXPECT_TRUE(QDir(folder).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot)) << "no partial copy";
    EXPECT_EQ(posted(run), QStringList{QStringLiteral("Could not disable plugin A. Please check your file permissions.")});
    const QStringList log = logLines();
    EXPECT_TRUE(log.contains(QStringLiteral("File permissions are preventing Tessary from moving %1 to %2 - authorizing...")
                                 .arg(a, mirror(a))));
    EXPECT_TRUE(log.contains(QStringLiteral("User cancelled authorization.")));
    EXPECT_TRUE(log.contains(QStringLiteral("Could not disable plugin.")));
    EXPECT_TRUE(run.err.contains("Could not disable plugin.")) << "also on the system console";

    // The guarded move alone reports the cancel it caused.
    const FsTest::Run move = driver({QStringLiteral("move"), a, mirror(a)});
    EXPECT_EQ(answers(move), (QList<QByteArray>{"NO", "CANCELLED"}));
}

TEST_F(OperationsAsUserTest, ARefusalInTheMiddleOfABatchLeavesTheRestAndEndsNormally)
{
    QStringList plugins;
    QStringList names;
    for (int i = 0; i < 5; ++i) {
        plugins << bundle(QStringLiteral("P%1").arg(i), QStringLiteral("G%1").arg(i));
        names << QStringLiteral("P%1.fxplug").arg(i);
    }
    handOver();
    makeRootsOwn(mirror(VTPath::removeLastComponent(plugins.at(2))));

    const FsTest::Run run = driver(QStringList{QStringLiteral("toggle"), QStringLiteral("Disable")} + names);
    EXPECT_TRUE(run.out.contains("DONE"));
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(FsTest::exists(mirror(plugins.at(i))), i < 2) << i;
        EXPECT_EQ(FsTest::exists(plugins.at(i)), i >= 2) << i;
    }
    const QStringList log = logLines();
    EXPECT_EQ(log.count(QStringLiteral("User cancelled authorization.")), 1);
    EXPECT_FALSE(log.contains(QStringLiteral("Disabling plugin P3..."))) << "the batch stopped";
    EXPECT_EQ(log.count(QStringLiteral("Loading plugin data...")), 1) << "the normal ending: no reload from the worker";
}

TEST_F(OperationsAsUserTest, AdministratorRightsMoveThePluginButNeverOntoADestinationInTheWay)
{
    const QString a = bundle(QStringLiteral("A"), QStringLiteral("Locked Group"));
    handOver();
    const QString group = VTPath::removeLastComponent(a);
    // The user may not take the bundle out of its folder.
    ASSERT_TRUE(FsTest::chownPath(group, FsTest::User{QStringLiteral("root"), 0, 0}));
    ASSERT_TRUE(FsTest::chmodPath(group, 0755));
    const QString reference = VTPath::join(m_sandbox.root(), QStringLiteral("A.reference"));
    ASSERT_TRUE(VTFileManager::copyFile(a, reference, false));
    // A folder of the user's own where the plug-in would go.
    const QString inTheWay = mirror(a);
    ASSERT_TRUE(FsTest::writeFile(VTPath::join(inTheWay, QStringLiteral("marker")), "mine"));
    ASSERT_TRUE(FsTest::chownPath(inTheWay, m_user));

    const FsTest::Run refused = driver({QStringLiteral("move"), a, inTheWay}, true);
    EXPECT_EQ(answers(refused), QList<QByteArray>{"NO"}) << refused.out.toStdString() << refused.err.toStdString();
    EXPECT_TRUE(OpsTest::sameTree(reference, a));
    EXPECT_EQ(QDir(inTheWay).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
              QStringList{QStringLiteral("marker")});
    const QStringList log = logLines();
    EXPECT_FALSE(log.contains(QStringLiteral("User cancelled authorization.")));
    EXPECT_TRUE(std::any_of(log.begin(), log.end(), [&](const QString &line) {
        return line.startsWith(QStringLiteral("Unable to move %1 to %2 - ").arg(a, inTheWay));
    })) << log.join(u'\n').toStdString();

    ASSERT_TRUE(QDir(inTheWay).removeRecursively());
    const FsTest::Run run = driver({QStringLiteral("disable"), QStringLiteral("A.fxplug")}, true);
    EXPECT_EQ(answers(run), QList<QByteArray>{"YES"}) << run.out.toStdString() << run.err.toStdString();
    EXPECT_TRUE(OpsTest::sameTree(reference, mirror(a)));
    EXPECT_FALSE(FsTest::exists(group)) << "the privileged branch removes the emptied source folder";
    EXPECT_TRUE(posted(run).isEmpty());
    EXPECT_TRUE(logLines().contains(
        QStringLiteral("File permissions are preventing Tessary from moving %1 to %2 - authorizing...").arg(a, mirror(a))));
}

TEST_F(OperationsAsUserTest, TheMoveLockIsTheUsersOwnAndAHeldLockEndsInAnError)
{
    const QString a = bundle(QStringLiteral("A"));
    handOver();
    // The first move makes the lock file, in a folder of the user's own.
    ASSERT_EQ(answers(driver({QStringLiteral("disable"), QStringLiteral("A.fxplug")})), QList<QByteArray>{"YES"});
    const QString lock = m_sandbox.homePath(QStringLiteral("Library/Caches/com.vantorel.Tessary/moves.lock"));
    EXPECT_EQ(FsTest::statOf(lock).st_uid, m_user.uid);
    EXPECT_EQ(FsTest::statOf(lock).st_mode & 0777, 0600u);
    EXPECT_EQ(FsTest::statOf(VTPath::removeLastComponent(lock)).st_mode & 0777, 0700u);
    // Another account cannot even open it, so it cannot hold up this user.
    EXPECT_NE(FsTest::runAs(m_other, QStringLiteral("/usr/bin/flock"), {QStringLiteral("-n"), lock, QStringLiteral("true")}, {})
                  .exitCode,
              0);

    // Held by another process of the same user: the move gives up with an
    // error at the end of its wait, and the plug-in stays whole.
    FsTest::Process holder;
    ASSERT_TRUE(holder.start(QStringLiteral("/usr/bin/setpriv"),
                             {QStringLiteral("--reuid=%1").arg(m_user.uid), QStringLiteral("--regid=%1").arg(m_user.gid),
                              QStringLiteral("--init-groups"), QStringLiteral("/usr/bin/flock"), QStringLiteral("-x"), lock,
                              QStringLiteral("/bin/sh"), QStringLiteral("-c"), QStringLiteral("echo held; exec cat")}));
    ASSERT_EQ(holder.readLine(30000), QByteArray("held"));
    const FsTest::Run run = driver({QStringLiteral("enable"), QStringLiteral("A.fxplug")});
    EXPECT_EQ(answers(run), QList<QByteArray>{"NO"}) << run.out.toStdString();
    EXPECT_TRUE(posted(run).join(u'\n').contains(QStringLiteral("kept moves waiting"))) << run.out.toStdString();
    EXPECT_TRUE(FsTest::exists(VTPath::join(mirror(a), QStringLiteral("Contents/Info.plist"))));
    holder.closeInput();
    (void)holder.finish(30000);
    EXPECT_EQ(answers(driver({QStringLiteral("enable"), QStringLiteral("A.fxplug")})), QList<QByteArray>{"YES"});
    EXPECT_TRUE(FsTest::exists(VTPath::join(a, QStringLiteral("Contents/Info.plist"))));
}

// Planted, tampered with or squatted: nothing a second account could have
// put or changed in the disabled tree is enabled into an all-users folder.
TEST_F(OperationsAsUserTest, WhatAnotherAccountCouldHaveChangedIsNeverEnabledForAllUsers)
{
    const QStringList cases = {QStringLiteral("Planted"), QStringLiteral("Tampered"), QStringLiteral("Squatted")};
    QStringList hosts;
    QStringList disabled;
    for (const QString &group : cases) {
        hosts << VTPath::removeLastComponent(bundle(QStringLiteral("In") + group, group));
        disabled << bundle(group, group, false);
    }
    handOver();
    for (const QString &host : hosts) {
        ASSERT_TRUE(FsTest::chownPath(host, FsTest::User{QStringLiteral("root"), 0, 0}));
        ASSERT_TRUE(FsTest::chmodPath(host, 0755));
    }
    const auto asOther = [this](const QString &script, const QString &target) {
        return FsTest::runAs(m_other, QStringLiteral("/bin/sh"), {QStringLiteral("-c"), script, target}, {}).exitCode == 0;
    };
    // The other account's plug-in, in a folder open to everyone as a
    // careless repair leaves it.
    const QString planted = VTPath::removeLastComponent(disabled.at(0));
    ASSERT_EQ(FsTest::run(QStringLiteral("/bin/chown"), {QStringLiteral("-R"), m_other.name, disabled.at(0)}).exitCode, 0);
    ASSERT_TRUE(FsTest::chownPath(planted, FsTest::User{QStringLiteral("root"), 0, 0}));
    ASSERT_TRUE(FsTest::chmodPath(planted, 01777));
    ASSERT_TRUE(asOther(QStringLiteral("echo code > \"$0/Contents/bin\""), disabled.at(0)));
    // The user's own plug-in with a file others may write, which the other
    // account rewrote.
    const QString info = VTPath::join(disabled.at(1), QStringLiteral("Contents/Info.plist"));
    ASSERT_TRUE(FsTest::chmodPath(info, 0666));
    ASSERT_TRUE(asOther(QStringLiteral("echo ' ' >> \"$0\""), info));
    // The user's own plug-in in a folder of the other account's.
    ASSERT_TRUE(FsTest::chownPath(VTPath::removeLastComponent(disabled.at(2)), m_other));

    for (int i = 0; i < cases.size(); ++i) {
        SCOPED_TRACE(cases.at(i).toStdString());
        const FsTest::Run run = driver({QStringLiteral("enable"), cases.at(i) + QStringLiteral(".fxplug")}, true);
        EXPECT_EQ(answers(run), QList<QByteArray>{"NO"}) << run.out.toStdString() << run.err.toStdString();
        EXPECT_FALSE(posted(run).isEmpty()) << "the refusal is reported";
        EXPECT_FALSE(FsTest::exists(VTPath::join(hosts.at(i), VTPath::lastComponent(disabled.at(i)))));
        EXPECT_TRUE(FsTest::exists(VTPath::join(disabled.at(i), QStringLiteral("Contents/Info.plist"))));
    }
}

// What a second account planted in disabled folders open to everyone: a
// move journal beside a copy of a file, naming that file as the source of a
// finished move, deletes nothing at the next start (not the user's document
// in a user's run, not a root file in root's); a plug-in planted in the
// mirror of the user's own folder is not enabled into the user's home.
TEST_F(OperationsAsUserTest, WhatAnotherAccountPlantedInAnOpenDisabledFolderDeletesAndEnablesNothing)
{
    const QString a = bundle(QStringLiteral("A"), QStringLiteral("Shared"));
    const QString own = bundle(QStringLiteral("Own"), QStringLiteral("Mine"), true, CurrentUser);
    handOver();
    const QString shared = mirror(VTPath::removeLastComponent(a));
    const QString disabledFolder = mirror(VTPath::removeLastComponent(own));
    for (const QString &open : {shared, disabledFolder}) {
        ASSERT_TRUE(VTTestSandbox::makeFolder(open));
        ASSERT_TRUE(FsTest::chmodPath(open, 01777));
    }
    const QString document = m_sandbox.homePath(QStringLiteral("Documents/thesis"));
    ASSERT_TRUE(FsTest::writeFile(document, "years of work"));
    ASSERT_TRUE(FsTest::chownPath(document, m_user));
    const QString system = VTPath::join(m_sandbox.path(), QStringLiteral("passwd"));
    ASSERT_TRUE(FsTest::writeFile(system, "root:x:0:0"));

    for (const bool superuser : {false, true}) {
        SCOPED_TRACE(superuser ? "root's run" : "the user's run");
        const QString victim = superuser ? system : document;
        const FsTest::Run plant = FsTest::runAs(
            m_other, QStringLiteral("/bin/sh"),
            {QStringLiteral("-c"),
             QStringLiteral("cp \"$0\" \"$1/$2\" && printf 'VTMOVE1\\n%s\\000%s\\000' \"$0\" \"$2\" > \"$1/.vtmove.00000000deadbee$3.journal\""),
             victim, shared, VTPath::lastComponent(victim), superuser ? QStringLiteral("1") : QStringLiteral("0")},
            {});
        ASSERT_EQ(plant.exitCode, 0) << plant.err.toStdString();
        const FsTest::Run run = superuser ? rootDriver({QStringLiteral("list")}) : driver({QStringLiteral("list")});
        EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
        EXPECT_EQ(FsTest::readFile(victim), superuser ? QByteArray("root:x:0:0") : QByteArray("years of work"));
    }

    // No administrator rights involved in the user's own folder.
    const FsTest::Run plant = FsTest::runAs(m_other, QStringLiteral("/bin/sh"),
                                            {QStringLiteral("-c"), QStringLiteral("mkdir -p \"$0/Evil.fxplug/Contents\" && echo code > \"$0/Evil.fxplug/Contents/bin\""),
                                             disabledFolder},
                                            {});
    ASSERT_EQ(plant.exitCode, 0) << plant.err.toStdString();
    const FsTest::Run run = driver({QStringLiteral("enable"), QStringLiteral("Evil.fxplug")});
    EXPECT_EQ(answers(run), QList<QByteArray>{"NO"}) << run.out.toStdString() << run.err.toStdString();
    EXPECT_FALSE(FsTest::exists(VTPath::join(VTPath::removeLastComponent(own), QStringLiteral("Evil.fxplug"))));
    EXPECT_TRUE(posted(run).join(u'\n').contains(QStringLiteral("another user could have changed it")))
        << run.out.toStdString();
}

// A link a second account put where the disabled tree should be does not
// steer a superuser's run: nothing goes where the link points.
TEST_F(OperationsAsUserTest, ASuperuserRunFollowsNoLinkAnotherAccountPutInTheDisabledTree)
{
    const QString a = bundle(QStringLiteral("A"));
    handOver();
    const QString disabledRoot = m_builder->layout().disabledRoot();
    const QString family = VTPath::removeLastComponent(disabledRoot);
    ASSERT_TRUE(VTTestSandbox::makeFolder(family));
    ASSERT_TRUE(QDir(disabledRoot).removeRecursively());
    ASSERT_TRUE(FsTest::chownPath(family, FsTest::User{QStringLiteral("root"), 0, 0}));
    ASSERT_TRUE(FsTest::chmodPath(family, 01777));
    const QString closed = VTPath::join(m_sandbox.path(), QStringLiteral("closed"));
    ASSERT_TRUE(VTTestSandbox::makeFolder(closed));
    ASSERT_TRUE(FsTest::chmodPath(closed, 0700));
    ASSERT_EQ(FsTest::runAs(m_other, QStringLiteral("/bin/ln"), {QStringLiteral("-s"), closed, disabledRoot}, {}).exitCode, 0);

    const FsTest::Run run = rootDriver({QStringLiteral("disable"), QStringLiteral("A.fxplug")});
    EXPECT_EQ(answers(run), QList<QByteArray>{"NO"}) << run.out.toStdString() << run.err.toStdString();
    EXPECT_TRUE(FsTest::exists(VTPath::join(a, QStringLiteral("Contents/Info.plist"))));
    EXPECT_TRUE(QDir(closed).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot))
        << FsTest::run(QStringLiteral("/usr/bin/find"), {closed}).out.toStdString() << run.out.toStdString();
}

TEST_F(OperationsAsUserTest, ARemovalStopsAtTheFirstFailureAndAnImmutablePluginTheUserCannotUnlockStaysWhole)
{
    const QString a = bundle(QStringLiteral("A"), QStringLiteral("Kept"));
    const QString b = bundle(QStringLiteral("B"));
    const QString c = bundle(QStringLiteral("C"));
    handOver();
    const QString kept = VTPath::removeLastComponent(a);
    ASSERT_TRUE(FsTest::chownPath(kept, FsTest::User{QStringLiteral("root"), 0, 0}));

    const FsTest::Run run = driver({QStringLiteral("remove"), QStringLiteral("A.fxplug"), QStringLiteral("B.fxplug")});
    EXPECT_TRUE(FsTest::exists(a));
    EXPECT_TRUE(FsTest::exists(b)) << "the run stopped at the first failure";
    EXPECT_EQ(posted(run), QStringList{QStringLiteral("Unable to remove plugin A.")});
    EXPECT_TRUE(run.out.contains(
        QStringLiteral("Unable to remove plugin A. Please check you have write permissions for the directory %1.\n")
            .arg(kept)
            .toUtf8()))
        << run.out.toStdString();
    EXPECT_TRUE(logLines().contains(QStringLiteral("Unable to remove plugin A.")));

    if (!VTFileManager::lockFile(c) || !VTFileManager::isFileLocked(c))
        GTEST_SKIP() << "this file system has no immutable attribute";
    const FsTest::Run disable = driver({QStringLiteral("disable"), QStringLiteral("C.fxplug")});
    (void)VTFileManager::unlockFile(c);
    EXPECT_EQ(answers(disable), QList<QByteArray>{"NO"});
    EXPECT_TRUE(FsTest::exists(VTPath::join(c, QStringLiteral("Contents/Info.plist"))));
    EXPECT_FALSE(FsTest::exists(mirror(c)));
    const QStringList messages = posted(disable);
    ASSERT_FALSE(messages.isEmpty());
    EXPECT_TRUE(messages.first().startsWith(QStringLiteral("Unable to unlock item %1 - ").arg(c)))
        << messages.first().toStdString();
    EXPECT_EQ(messages.last(), QStringLiteral("Could not disable plugin C. Please check your file permissions."));
}
