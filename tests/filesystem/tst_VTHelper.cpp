// The privileged helper as a root entry point facing hostile input: started
// directly (the test runs as root), fed requests through the program's own
// client, and attacked by an unprivileged process racing it.

#include "FsTestSupport.h"
#include "VTFileManager.h"
#include "VTHelperClient.h"

#include <QElapsedTimer>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QThread>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <thread>
#include <sys/stat.h>

using namespace std::chrono_literals;

namespace {

const QString Mv = QStringLiteral("/bin/mv");
const QString Cp = QStringLiteral("/bin/cp");
const QString Rm = QStringLiteral("/bin/rm");
const QString Mkdir = QStringLiteral("/bin/mkdir");
const QString Chmod = QStringLiteral("/bin/chmod");
const QString Chown = QStringLiteral("/usr/sbin/chown");
const QString Touch = QStringLiteral("/usr/bin/touch");

class HelperTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (!FsTest::isRoot())
            GTEST_SKIP() << "the helper acts as the superuser; run the tests as root";
        ASSERT_TRUE(m_dir.isValid());
        ASSERT_TRUE(m_client.start({}, FsTest::helperPath()));
    }

    int exec(const QString &tool, const QStringList &arguments) { return m_client.execute(QStringList{tool} + arguments, true); }
    // Inside a Library folder, where recursive actions are allowed.
    QString path(const QString &relative) const { return VTPath::join(m_dir.path(), QStringLiteral("Library/Tests/") + relative); }
    QString path(const char *relative) const { return path(QString::fromUtf8(relative)); }

    QTemporaryDir m_dir;
    VTHelperClient m_client;
};

TEST_F(HelperTest, PerformsEachAllowListedActionAndEndsAtEndOfInput)
{
    ASSERT_TRUE(FsTest::writeFile(path("a/file"), "data"));
    EXPECT_EQ(exec(Mkdir, {QStringLiteral("-p"), path("b/c/d")}), 0);
    EXPECT_EQ(FsTest::statOf(path("b/c/d")).st_mode & 07777, 0755u);

    EXPECT_EQ(exec(Mv, {QStringLiteral("-f"), path("a/file"), path("b/moved")}), 0);
    EXPECT_EQ(FsTest::readFile(path("b/moved")), "data");
    EXPECT_EQ(exec(Mv, {QStringLiteral("-f"), path("b/moved"), path("b/c/moved")}), 0);
    EXPECT_TRUE(FsTest::exists(path("b/c/moved")));

    EXPECT_EQ(exec(Cp, {QStringLiteral("-f"), QStringLiteral("-p"), QStringLiteral("-R"), path("b/c"), path("copy")}), 0);
    EXPECT_EQ(FsTest::readFile(path("copy/moved")), "data");
    EXPECT_EQ(exec(Cp, {path("b/c"), path("copy2")}), EISDIR);

    const FsTest::User nobody = FsTest::lookUpUser(QStringLiteral("nobody"));
    ASSERT_TRUE(nobody.valid());
    EXPECT_EQ(exec(Chown, {QStringLiteral("-R"), QStringLiteral("nobody"), path("copy")}), 0);
    EXPECT_EQ(FsTest::statOf(path("copy/moved")).st_uid, nobody.uid);
    EXPECT_EQ(exec(Chmod, {QStringLiteral("-R"), QStringLiteral("a+rw"), path("copy")}), 0);
    EXPECT_EQ(FsTest::statOf(path("copy")).st_mode & 07777, 01777u);
    EXPECT_EQ(FsTest::statOf(path("copy/moved")).st_mode & 0666, 0666u);

    EXPECT_EQ(exec(Touch, {QStringLiteral("-c"), path("never")}), 0);
    EXPECT_FALSE(FsTest::exists(path("never")));
    EXPECT_EQ(exec(Touch, {path("made")}), 0);
    EXPECT_TRUE(FsTest::exists(path("made")));

    EXPECT_EQ(exec(Rm, {QStringLiteral("-Rdf"), path("copy")}), 0);
    EXPECT_FALSE(FsTest::exists(path("copy")));
    EXPECT_EQ(exec(Rm, {QStringLiteral("-Rdf"), path("copy")}), 0);
    EXPECT_EQ(exec(Rm, {path("copy")}), ENOENT);
    EXPECT_EQ(exec(Mv, {path("missing"), path("x")}), ENOENT);

    // It ends at end of input, and a request after that is answered as gone.
    QElapsedTimer timer;
    timer.start();
    m_client.stop();
    EXPECT_FALSE(m_client.isRunning());
    EXPECT_EQ(m_client.exitStatus(), 0);
    EXPECT_LT(timer.elapsed(), 5000);
    EXPECT_EQ(m_client.execute({Touch, path("late")}, true), VTHelperClient::StatusHelperGone);
}

TEST_F(HelperTest, LockedFoldersAreLiftedForAStepAndLockedItemsInsideATreeAreNeverRemoved)
{
    const auto chattr = [](const char *flag, const QString &target) {
        return FsTest::run(QStringLiteral("chattr"), {QString::fromLatin1(flag), target}).exitCode == 0;
    };
    const auto locked = [](const QString &target) {
        return FsTest::run(QStringLiteral("lsattr"), {QStringLiteral("-d"), target}).out.split(' ').value(0).contains('i');
    };
    ASSERT_TRUE(FsTest::writeFile(path("a/file"), "data"));
    ASSERT_TRUE(QDir().mkpath(path("b")));
    ASSERT_TRUE(FsTest::writeFile(path("t/x/kept"), "locked"));
    ASSERT_TRUE(FsTest::writeFile(path("t/other"), "other"));
    // A locked file with a second name elsewhere.
    ASSERT_TRUE(FsTest::writeFile(path("system"), "system"));
    ASSERT_TRUE(QDir().mkpath(path("links")));
    ASSERT_EQ(::link(VTPath::toNative(path("system")).constData(), VTPath::toNative(path("links/second")).constData()), 0);
    ASSERT_TRUE(chattr("+i", path("a")) && chattr("+i", path("b")) && chattr("+i", path("t/x/kept")) && chattr("+i", path("system")))
        << "chattr +i needs a file system with the immutable attribute and CAP_LINUX_IMMUTABLE";
    const auto unlockAll = qScopeGuard([&] {
        for (const char *item : {"a", "b", "t/x/kept", "system"})
            (void)chattr("-i", path(QString::fromLatin1(item)));
    });

    // Both folders whose entries change are locked; each is locked again after.
    EXPECT_EQ(exec(Mv, {path("a/file"), path("b/file")}), 0);
    EXPECT_EQ(FsTest::readFile(path("b/file")), "data");
    EXPECT_EQ(exec(Cp, {path("b/file"), path("b/copy")}), 0);
    EXPECT_EQ(FsTest::readFile(path("b/copy")), "data");
    EXPECT_TRUE(locked(path("a")));
    EXPECT_TRUE(locked(path("b")));

    // A tree holding a locked item is refused whole, and the lock stays.
    EXPECT_EQ(exec(Rm, {QStringLiteral("-Rdf"), path("t")}), EPERM);
    EXPECT_EQ(FsTest::readFile(path("t/other")), "other");
    EXPECT_EQ(FsTest::readFile(path("t/x/kept")), "locked");
    EXPECT_TRUE(locked(path("t/x/kept")));

    // Removing the second name never unlocks the file for its first.
    EXPECT_EQ(exec(Rm, {QStringLiteral("-f"), path("links/second")}), EPERM);
    EXPECT_TRUE(locked(path("system")));
}

TEST_F(HelperTest, RefusesEverythingOutsideTheAllowList)
{
    ASSERT_TRUE(FsTest::writeFile(path("f"), "x"));
    const QString f = path("f");
    EXPECT_EQ(exec(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), QStringLiteral("true")}), EPERM);
    EXPECT_EQ(exec(QStringLiteral("/tmp/mv"), {f, path("g")}), EPERM);
    EXPECT_EQ(exec(QStringLiteral("mv"), {f, path("g")}), EPERM);
    EXPECT_EQ(m_client.execute({}, true), EPERM);
    // Options a tool has but the helper does not take.
    EXPECT_EQ(exec(Mv, {QStringLiteral("-t"), path("d"), f}), EINVAL);
    EXPECT_EQ(exec(Rm, {QStringLiteral("--no-preserve-root"), QStringLiteral("-rf"), f}), EINVAL);
    // Relative, unclean and top-level operands.
    EXPECT_EQ(exec(Mv, {QStringLiteral("f"), path("g")}), EINVAL);
    EXPECT_EQ(exec(Mv, {path("x/../f"), path("g")}), EINVAL);
    EXPECT_EQ(exec(Rm, {QStringLiteral("-Rf"), QStringLiteral("/nonexistent-top-level")}), EINVAL);
    EXPECT_EQ(exec(Chmod, {QStringLiteral("-R"), QStringLiteral("a+rw"), QStringLiteral("/nonexistent-top-level")}), EINVAL);
    // Recursive actions only below a Library folder or in a Trash, whose
    // owner is root or the requester and which nobody else can write.
    const QString outside = VTPath::join(m_dir.path(), QStringLiteral("etc/conf"));
    const QString openLibrary = VTPath::join(m_dir.path(), QStringLiteral("open/Library/Tests/tree"));
    ASSERT_TRUE(FsTest::writeFile(VTPath::join(outside, QStringLiteral("file")), "keep"));
    ASSERT_TRUE(FsTest::writeFile(VTPath::join(openLibrary, QStringLiteral("file")), "keep"));
    ASSERT_EQ(::chmod(VTPath::toNative(VTPath::join(m_dir.path(), QStringLiteral("open"))).constData(), 0777), 0);
    for (const QString &tree : {outside, openLibrary}) {
        SCOPED_TRACE(tree.toStdString());
        EXPECT_EQ(exec(Rm, {QStringLiteral("-Rf"), tree}), EPERM);
        EXPECT_EQ(exec(Chmod, {QStringLiteral("-R"), QStringLiteral("a+rw"), tree}), EPERM);
        EXPECT_EQ(exec(Chown, {QStringLiteral("-R"), QStringLiteral("nobody"), tree}), EPERM);
        EXPECT_EQ(FsTest::readFile(VTPath::join(tree, QStringLiteral("file"))), "keep");
        EXPECT_EQ(FsTest::statOf(VTPath::join(tree, QStringLiteral("file"))).st_uid, 0u);
    }
    const QString trashed = VTPath::join(m_dir.path(), QStringLiteral(".local/share/Trash/files/old"));
    ASSERT_TRUE(FsTest::writeFile(VTPath::join(trashed, QStringLiteral("file")), "x"));
    EXPECT_EQ(exec(Rm, {QStringLiteral("-Rf"), trashed}), 0);
    EXPECT_FALSE(FsTest::exists(trashed));
    EXPECT_EQ(exec(Chmod, {QStringLiteral("u+s"), f}), EINVAL);
    EXPECT_EQ(exec(Chmod, {QStringLiteral("4755"), f}), EINVAL);
    EXPECT_EQ(exec(Chown, {QStringLiteral("no-such-user-here"), f}), EINVAL);
    EXPECT_EQ(FsTest::statOf(f).st_mode & 07777, 0644u);
    EXPECT_TRUE(FsTest::exists(f));
}

TEST_F(HelperTest, HostileNamesAreOnlyEverNames)
{
    const QStringList names = {
        QStringLiteral("with space"),   QStringLiteral("quote'\"both"), QStringLiteral("semi;colon"),
        QStringLiteral("$(touch PWNED)"), QStringLiteral("`touch PWNED`"), QStringLiteral("new\nline"),
        QStringLiteral("-rf"),          QStringLiteral("--help"),       QStringLiteral("-"),
        QStringLiteral("--"),           QStringLiteral("*"),            QStringLiteral("back\\slash"),
    };
    ASSERT_TRUE(QDir().mkpath(path("dst")));
    const FsTest::User nobody = FsTest::lookUpUser(QStringLiteral("nobody"));
    for (const QString &name : names) {
        SCOPED_TRACE(name.toStdString());
        const QString source = path(QStringLiteral("src/") + name);
        const QString moved = path(QStringLiteral("dst/") + name);
        const QString copied = path(QStringLiteral("copies/") + name);
        ASSERT_TRUE(FsTest::writeFile(source, name.toUtf8()));
        ASSERT_TRUE(QDir().mkpath(path("copies")));

        EXPECT_EQ(exec(Mv, {QStringLiteral("-f"), QStringLiteral("--"), source, moved}), 0);
        EXPECT_EQ(FsTest::readFile(moved), name.toUtf8());
        EXPECT_EQ(exec(Cp, {QStringLiteral("-f"), QStringLiteral("-p"), QStringLiteral("-R"), QStringLiteral("--"), moved, copied}), 0);
        EXPECT_EQ(FsTest::readFile(copied), name.toUtf8());
        EXPECT_EQ(exec(Chmod, {QStringLiteral("--"), QStringLiteral("600"), copied}), 0);
        EXPECT_EQ(FsTest::statOf(copied).st_mode & 07777, 0600u);
        EXPECT_EQ(exec(Chown, {QStringLiteral("nobody"), copied}), 0);
        EXPECT_EQ(FsTest::statOf(copied).st_uid, nobody.uid);
        EXPECT_EQ(exec(Touch, {QStringLiteral("-c"), QStringLiteral("--"), copied}), 0);
        const QString folder = path(QStringLiteral("dirs/") + name + QStringLiteral("/inner"));
        EXPECT_EQ(exec(Mkdir, {QStringLiteral("-p"), QStringLiteral("--"), folder}), 0);
        EXPECT_TRUE(FsTest::exists(folder));
        EXPECT_EQ(exec(Rm, {QStringLiteral("-Rdf"), QStringLiteral("--"), copied}), 0);
        EXPECT_FALSE(FsTest::exists(copied));
        EXPECT_TRUE(FsTest::exists(moved));
        // Given bare, a leading-dash name is an option the helper refuses,
        // never a file it acts on.
        EXPECT_NE(exec(Rm, {QStringLiteral("-f"), name}), 0);
    }
    EXPECT_FALSE(FsTest::exists(path("PWNED")));
    EXPECT_FALSE(FsTest::exists(QStringLiteral("/PWNED")));
    EXPECT_EQ(QDir(path("dst")).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden).size(), names.size());
}

TEST_F(HelperTest, NeverWalksThroughASymbolicLink)
{
    ASSERT_TRUE(FsTest::writeFile(path("canary/file"), "keep"));
    ASSERT_TRUE(QDir().mkpath(path("vendor")));
    ASSERT_EQ(::symlink(VTPath::toNative(path("canary")).constData(), VTPath::toNative(path("vendor/sub")).constData()), 0);

    // The kernel names the refusal ELOOP or, for a link where a folder must
    // be, ENOTDIR.
    const QList<int> refused = {ELOOP, ENOTDIR};
    EXPECT_TRUE(refused.contains(exec(Rm, {QStringLiteral("-Rf"), path("vendor/sub/file")})));
    EXPECT_TRUE(refused.contains(exec(Chmod, {QStringLiteral("777"), path("vendor/sub/file")})));
    EXPECT_TRUE(refused.contains(exec(Mv, {path("vendor/sub/file"), path("stolen")})));
    EXPECT_TRUE(refused.contains(exec(Mkdir, {QStringLiteral("-p"), path("vendor/sub/new")})));
    EXPECT_FALSE(FsTest::exists(path("canary/new")));
    EXPECT_EQ(exec(Chmod, {QStringLiteral("-R"), QStringLiteral("a+rw"), path("vendor")}), 0);
    EXPECT_EQ(exec(Chown, {QStringLiteral("-R"), QStringLiteral("nobody"), path("vendor")}), 0);
    EXPECT_EQ(FsTest::statOf(path("canary/file")).st_mode & 07777, 0644u);
    EXPECT_EQ(FsTest::statOf(path("canary/file")).st_uid, 0u);
    // The link itself is an item like any other: removing it leaves its target.
    EXPECT_EQ(exec(Rm, {QStringLiteral("-Rf"), path("vendor/sub")}), 0);
    EXPECT_FALSE(FsTest::exists(path("vendor/sub")));
    EXPECT_EQ(FsTest::readFile(path("canary/file")), "keep");
}

TEST(HelperLifetime, EndsWhenItsParentEnds)
{
    if (!FsTest::isRoot())
        GTEST_SKIP() << "needs root";
    QTemporaryDir dir;
    // The helper's input stays open (a sleeping writer holds the pipe far
    // longer than the wait below), so only the parent's death can end it.
    const QString script = QStringLiteral("mkfifo \"$1/in\"; sleep 300 > \"$1/in\" & echo $!; \"$0\" < \"$1/in\" > /dev/null & echo $!; wait");
    FsTest::Process shell;
    ASSERT_TRUE(shell.start(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), script, FsTest::helperPath(), dir.path()}));
    const QByteArray sleeper = shell.readLine(10000);
    const QByteArray pid = shell.readLine(10000);
    ASSERT_FALSE(pid.isEmpty());
    QThread::msleep(200);
    ASSERT_FALSE(FsTest::processIsGone(pid.toLongLong()));
    ::kill(shell.pid(), SIGKILL);
    (void)shell.finish(5000);

    EXPECT_TRUE(VTFileManager::waitUntil([&pid] { return FsTest::processIsGone(pid.toLongLong()); }, 30s));
    ::kill(static_cast<pid_t>(sleeper.toInt()), SIGKILL);
}

// Exchanges two names (one atomic renameat2 each time) as fast as it can
// until killed; prints the number of exchanges when it ends.
const char ExchangeScript[] = R"(
import ctypes, signal, sys
libc = ctypes.CDLL(None, use_errno=True)
a, b = sys.argv[1].encode(), sys.argv[2].encode()
swaps = 0
def stop(*_):
    print(swaps, flush=True)
    sys.exit(0)
signal.signal(signal.SIGTERM, stop)
while True:
    if libc.renameat2(-100, a, -100, b, 2) == 0:
        swaps += 1
)";

// `user` exchanging `a` and `b` until killed; the script is put in `folder`.
bool startExchanging(FsTest::Process &racer, const FsTest::User &user, const QString &folder, const QString &a, const QString &b)
{
    const QString script = VTPath::join(folder, QStringLiteral("exchange.py"));
    return FsTest::writeFile(script, ExchangeScript)
        && racer.start(QStringLiteral("/usr/bin/setpriv"), FsTest::asUser(user, {}) << QStringLiteral("/usr/bin/python3") << script << a << b);
}

// ---- two accounts --------------------------------------------------------------
// The requester's own helper, started by the program through "sudo -n" as one
// unprivileged account, while a second account works against it in a folder
// a careless repair left open to everyone.

class TwoAccountsTest : public FsTest::AccountsTest
{
protected:
    void SetUp() override
    {
        AccountsTest::SetUp();
        if (IsSkipped() || HasFatalFailure())
            return;
        ASSERT_TRUE(QDir().mkpath(allUsers()));
        ASSERT_TRUE(QDir().mkpath(shared()));
        ASSERT_TRUE(FsTest::chmodPath(shared(), 01777));
    }

    QString allUsers(const QString &relative = QString()) const { return path(QStringLiteral("Library/Plug-Ins/FxPlug/") + relative); }
    QString shared(const QString &relative = QString()) const
    {
        return path(QStringLiteral("Library/Application Support/Vantorel/") + relative);
    }

    // One request through the user's helper: the status it answered, or -1
    // when no answer came.
    int request(const QStringList &tool) const
    {
        bool answered = false;
        const int status = drive(QStringList{QStringLiteral("exec")} + tool).out.trimmed().toInt(&answered);
        return answered ? status : -1;
    }
    // A shell command run by the second account; $1... are `arguments`.
    bool asOther(const QString &script, const QStringList &arguments) const
    {
        const FsTest::Run run = FsTest::runAs(m_other, QStringLiteral("/bin/sh"),
                                              QStringList{QStringLiteral("-c"), script, QStringLiteral("sh")} + arguments, {});
        return run.exitCode == 0;
    }
};

// The helper started directly by root, raced by an account that owns the
// folder it works in.
TEST_F(TwoAccountsTest, AFolderSwappedForALinkNeverLetsTheHelperOutOfTheTree)
{
    const FsTest::User &attacker = m_user;
    const int fileCount = 2000;
    for (int i = 0; i < 10; ++i)
        ASSERT_TRUE(FsTest::writeFile(path(QStringLiteral("canary/f%1").arg(i)), "canary"));
    for (int i = 0; i < fileCount; ++i)
        ASSERT_TRUE(FsTest::writeFile(path(QStringLiteral("vendor/sub/file%1").arg(i)), "payload"));
    ASSERT_TRUE(QDir().mkpath(path("dest")));
    const mode_t canaryMode = FsTest::statOf(path("canary")).st_mode & 07777;
    // vendor/sub and a link to the canary folder change places all the time.
    ASSERT_EQ(::symlink(VTPath::toNative(path("canary")).constData(), VTPath::toNative(path("vendor/sub.link")).constData()), 0);
    ASSERT_EQ(FsTest::run(QStringLiteral("/bin/chown"), {QStringLiteral("-R"), attacker.name, path("vendor")}).exitCode, 0);
    FsTest::Process attack;
    ASSERT_TRUE(startExchanging(attack, attacker, m_dir.path(), path("vendor/sub"), path("vendor/sub.link")));
    QThread::msleep(200);

    VTHelperClient helper;
    ASSERT_TRUE(helper.start({}, FsTest::helperPath()));
    int answered = 0;
    for (int i = 0; i < fileCount; ++i) {
        const QString name = QStringLiteral("file%1").arg(i);
        // Mostly refused: the attacker owns the folder (see the planted-content
        // rule); the path resolution under the race is what is tried here.
        if (helper.execute({Mv, QStringLiteral("-f"), path(QStringLiteral("vendor/sub/") + name), path(QStringLiteral("dest/") + name)}, true)
            != VTHelperClient::StatusHelperGone)
            ++answered;
        if (i % 100 == 0) {
            // The permission repair and the other whole-tree actions, racing too.
            (void)helper.execute({Chmod, QStringLiteral("-R"), QStringLiteral("a+rw"), path("vendor")}, true);
            (void)helper.execute({Chown, QStringLiteral("-R"), attacker.name, path("vendor")}, true);
            (void)helper.execute({Rm, QStringLiteral("-f"), path(QStringLiteral("vendor/sub/f%1").arg(i % 10))}, true);
            (void)helper.execute({Touch, path(QStringLiteral("vendor/sub/new%1").arg(i))}, true);
        }
        // A whole-tree copy flushes every file, so only a few of them.
        if (i % 1000 == 700)
            (void)helper.execute({Cp, QStringLiteral("-R"), path("vendor/sub"), path(QStringLiteral("dest/copy%1").arg(i))}, true);
    }
    ::kill(attack.pid(), SIGTERM);
    const int swaps = attack.finish(10000).out.trimmed().toInt();
    helper.stop();

    EXPECT_GT(swaps, 100) << "the attacker barely ran; the race proves nothing";
    EXPECT_EQ(answered, fileCount) << "the helper stopped answering during the race";
    const QStringList canary = QDir(path("canary")).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System);
    EXPECT_EQ(canary.size(), 10) << canary.join(u' ').toStdString();
    const struct stat folder = FsTest::statOf(path("canary"));
    EXPECT_EQ(folder.st_mode & 07777, canaryMode);
    EXPECT_EQ(folder.st_uid, 0u);
    for (int i = 0; i < 10; ++i) {
        const QString file = path(QStringLiteral("canary/f%1").arg(i));
        const struct stat st = FsTest::statOf(file);
        EXPECT_EQ(st.st_mode & 07777, 0644u) << i;
        EXPECT_EQ(st.st_uid, 0u) << i;
        EXPECT_EQ(FsTest::readFile(file), "canary") << i;
    }
}

// A folder the other account puts at the destination (in the moment the
// helper starts) is "exists": the plug-in never goes into it.
TEST_F(TwoAccountsTest, AFolderRacedIntoTheDestinationIsRefused)
{
    ASSERT_TRUE(FsTest::makeBundle(allUsers(QStringLiteral("Glow.fxplug"))));
    ASSERT_TRUE(asOther(QStringLiteral("mkdir \"$1\""), {shared(QStringLiteral("Glow.fxplug"))}));
    for (const QStringList &tool : {QStringList{Mv}, QStringList{Cp, QStringLiteral("-R")}}) {
        SCOPED_TRACE(tool.join(u' ').toStdString());
        EXPECT_EQ(request(tool + QStringList{allUsers(QStringLiteral("Glow.fxplug")), shared(QStringLiteral("Glow.fxplug"))}), EEXIST);
        EXPECT_TRUE(QDir(shared(QStringLiteral("Glow.fxplug"))).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot));
        EXPECT_TRUE(FsTest::exists(allUsers(QStringLiteral("Glow.fxplug/Contents/MacOS/Glow"))));
    }
}

// What the helper copies or moves into a root-owned folder is root's and
// closed to others, so no account can rewrite an installed plug-in later;
// the other account's plug-in is not taken at all.
TEST_F(TwoAccountsTest, WhatArrivesInAnAllUsersFolderIsRootsAndClosedToOthers)
{
    ASSERT_TRUE(FsTest::makeBundle(home(QStringLiteral("Downloads/Mine.fxplug"))));
    ASSERT_EQ(FsTest::run(QStringLiteral("/bin/chown"), {QStringLiteral("-R"), m_user.name, home(QStringLiteral("Downloads"))}).exitCode, 0);
    ASSERT_TRUE(asOther(QStringLiteral("mkdir -p \"$1/Contents\" && echo code > \"$1/Contents/bin\" && chmod -R go+w \"$1\""),
                        {shared(QStringLiteral("Theirs.fxplug"))}));

    EXPECT_EQ(request({Cp, QStringLiteral("-f"), QStringLiteral("-p"), QStringLiteral("-R"), home(QStringLiteral("Downloads/Mine.fxplug")),
                       allUsers(QStringLiteral("Copied.fxplug"))}),
              0);
    EXPECT_EQ(request({Mv, home(QStringLiteral("Downloads/Mine.fxplug")), allUsers(QStringLiteral("Moved.fxplug"))}), 0);
    for (const QString &arrived : {QStringLiteral("Copied.fxplug"), QStringLiteral("Moved.fxplug")}) {
        for (const QString &item : {QString(), QStringLiteral("/Contents"), QStringLiteral("/Contents/MacOS/Glow"), QStringLiteral("/Contents/Info.plist")}) {
            const QString name = arrived + item;
            const struct stat st = FsTest::statOf(allUsers(name));
            EXPECT_EQ(st.st_uid, 0u) << name.toStdString();
            EXPECT_EQ(st.st_mode & 022, 0u) << name.toStdString();
        }
    }
    EXPECT_FALSE(asOther(QStringLiteral("echo changed >> \"$1\""), {allUsers(QStringLiteral("Copied.fxplug/Contents/Info.plist"))}));

    EXPECT_EQ(request({Cp, QStringLiteral("-R"), shared(QStringLiteral("Theirs.fxplug")), allUsers(QStringLiteral("Theirs.fxplug"))}), EPERM);
    EXPECT_EQ(request({Mv, shared(QStringLiteral("Theirs.fxplug")), allUsers(QStringLiteral("Theirs.fxplug"))}), EPERM);
    EXPECT_FALSE(FsTest::exists(allUsers(QStringLiteral("Theirs.fxplug"))));
}

// A pipe swapped in for a file of a bundle the helper copies is refused on
// sight: the helper never waits in it, and every request is answered.
TEST_F(TwoAccountsTest, APipeSwappedIntoACopiedBundleNeverHoldsUpTheHelper)
{
    // The other account's bundle, copied into a folder of the user's own
    // (where the user may take whatever it likes).
    const QString bundle = shared(QStringLiteral("theirs/Swap.fxplug"));
    const QStringList swapped = {VTPath::join(bundle, QStringLiteral("Contents/bin")), shared(QStringLiteral("theirs/pipe"))};
    ASSERT_TRUE(asOther(QStringLiteral("mkdir -p \"$1/Contents\" && echo code > \"$2\" && mkfifo \"$3\""), QStringList{bundle} + swapped));
    ASSERT_TRUE(QDir().mkpath(home(QStringLiteral("Library/Plug-Ins/FxPlug"))));
    ASSERT_EQ(FsTest::run(QStringLiteral("/bin/chown"), {QStringLiteral("-R"), m_user.name, home(QStringLiteral("Library"))}).exitCode, 0);
    FsTest::Process racer;
    ASSERT_TRUE(startExchanging(racer, m_other, m_dir.path(), swapped.at(0), swapped.at(1)));

    // The user's helper as sudo starts it (sudo names the user in SUDO_UID),
    // kept for many copies: the swap must fall between a look at the file
    // and its opening, a moment of a few microseconds.
    qputenv("SUDO_UID", QByteArray::number(m_user.uid));
    VTHelperClient helper;
    const bool started = helper.start({}, FsTest::helperPath());
    qunsetenv("SUDO_UID");
    ASSERT_TRUE(started);
    // A request stuck for long is let go by opening the pipe for writing.
    std::atomic<int> answered{0};
    std::atomic<bool> finished{false};
    std::atomic<bool> stuck{false};
    std::thread watchdog([&] {
        int seen = -1;
        auto since = std::chrono::steady_clock::now();
        while (!finished) {
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            if (answered != seen) {
                seen = answered;
                since = std::chrono::steady_clock::now();
            } else if (std::chrono::steady_clock::now() - since > std::chrono::seconds(20)) {
                stuck = true;
                for (const QString &name : swapped) {
                    const int fd = ::open(VTPath::toNative(name).constData(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
                    if (fd >= 0)
                        ::close(fd);
                }
            }
        }
    });
    const int requests = 2000;
    for (int i = 0; i < requests; ++i) {
        const QString copy = home(QStringLiteral("Library/Plug-Ins/FxPlug/Copy%1.fxplug").arg(i));
        if (helper.execute({Cp, QStringLiteral("-R"), bundle, copy}, true) == VTHelperClient::StatusHelperGone)
            break;
        ++answered;
    }
    finished = true;
    watchdog.join();
    helper.stop();
    ::kill(racer.pid(), SIGTERM);
    const int swaps = racer.finish(10000).out.trimmed().toInt();

    EXPECT_GT(swaps, 1000) << "the racer barely ran; the race proves nothing";
    EXPECT_EQ(answered, requests);
    EXPECT_FALSE(stuck) << "a copy waited in the pipe";
}

// A whole-tree or single change acts on what it names and nothing else: a
// link or a hard link to a root file named as the top is refused, and a
// folder mounted inside the tree is not entered.
TEST_F(TwoAccountsTest, ChangesStayInsideTheTreeTheyName)
{
    ASSERT_TRUE(FsTest::writeFile(path("secret/key"), "key"));
    ASSERT_TRUE(FsTest::chmodPath(path("secret/key"), 0600));
    ASSERT_TRUE(FsTest::chmodPath(path("secret"), 0700));
    // A root file anyone may write, which the kernel therefore lets anyone
    // link to.
    ASSERT_TRUE(FsTest::writeFile(path("shared-file"), "shared"));
    ASSERT_TRUE(FsTest::chmodPath(path("shared-file"), 0666));
    ASSERT_TRUE(asOther(QStringLiteral("ln -s \"$1\" \"$3\" && ln \"$2\" \"$4\""),
                        {path("secret"), path("shared-file"), shared(QStringLiteral("link")), shared(QStringLiteral("hard"))}));
    const QString me = m_user.name;
    const QList<QStringList> refused = {
        {Chown, QStringLiteral("-R"), me, shared(QStringLiteral("link"))},
        {Chmod, QStringLiteral("-R"), QStringLiteral("a+rw"), shared(QStringLiteral("link"))},
        {Chown, me, shared(QStringLiteral("hard"))},
        {Chmod, QStringLiteral("0600"), shared(QStringLiteral("hard"))},
        {Chmod, QStringLiteral("-R"), QStringLiteral("0600"), shared(QStringLiteral("hard"))},
    };
    for (const QStringList &tool : refused) {
        SCOPED_TRACE(tool.join(u' ').toStdString());
        EXPECT_EQ(request(tool), tool.last().endsWith(QStringLiteral("link")) ? ELOOP : EPERM);
    }

    // The root-only folder bound into the tree the user asks to open up
    // (a mount namespace of the test's own, which the helper inherits).
    const QString tree = shared(QStringLiteral("tree"));
    ASSERT_TRUE(QDir().mkpath(VTPath::join(tree, QStringLiteral("mnt"))));
    ASSERT_TRUE(FsTest::writeFile(VTPath::join(tree, QStringLiteral("own")), "own"));
    ASSERT_EQ(FsTest::run(QStringLiteral("/bin/chown"), {QStringLiteral("-R"), me, tree}).exitCode, 0);
    QStringList command = {QStringLiteral("-m"), QStringLiteral("--propagation"), QStringLiteral("private"), QStringLiteral("/bin/sh"),
                           QStringLiteral("-c"), QStringLiteral("mount --bind \"$1\" \"$2\" && shift 2 && exec \"$@\""), QStringLiteral("sh"),
                           path("secret"), VTPath::join(tree, QStringLiteral("mnt")), QStringLiteral("/usr/bin/setpriv")};
    command << FsTest::asUser(m_user, environment()) << FsTest::driverPath() << QStringLiteral("exec") << Chmod << QStringLiteral("-R")
            << QStringLiteral("a+rw") << tree;
    const FsTest::Run run = FsTest::run(QStringLiteral("/usr/bin/unshare"), command);
    ASSERT_EQ(run.out.trimmed(), "0") << run.err.toStdString();
    EXPECT_EQ(FsTest::statOf(VTPath::join(tree, QStringLiteral("own"))).st_mode & 0666, 0666u) << "the tree itself was opened";

    const struct stat key = FsTest::statOf(path("secret/key"));
    EXPECT_EQ(key.st_uid, 0u);
    EXPECT_EQ(key.st_mode & 07777, 0600u);
    EXPECT_EQ(FsTest::statOf(path("secret")).st_mode & 07777, 0700u);
    const struct stat file = FsTest::statOf(path("shared-file"));
    EXPECT_EQ(file.st_uid, 0u);
    EXPECT_EQ(file.st_mode & 07777, 0666u);
}

} // namespace
