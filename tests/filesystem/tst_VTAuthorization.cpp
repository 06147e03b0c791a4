// Administrator rights: the superuser's direct paths (the test runs as root),
// and the helper path as an unprivileged user, through the test driver,
// "sudo -n" and the NOPASSWD rule the fixture installs.

#include "FsTestSupport.h"
#include "VTAuthorization.h"
#include "VTFileManager.h"

#include <QDateTime>

#include <gtest/gtest.h>

#include <algorithm>

#include <csignal>
#include <sys/resource.h>

using namespace std::chrono_literals;

namespace {

class SuperuserTest : public FsTest::SandboxTest
{
protected:
    void SetUp() override
    {
        if (!FsTest::isRoot())
            GTEST_SKIP() << "these are the superuser's paths; run the tests as root";
        SandboxTest::SetUp();
    }
    QString path(const QString &relative) const { return m_sandbox.systemPath(VTPath::join(QStringLiteral("/Library/Plug-Ins"), relative)); }
    QString trashFiles(const QString &name = QString()) const { return VTPath::join(m_sandbox.homePath(QStringLiteral(".local/share/Trash/files")), name); }

    VTAuthorization *auth = VTAuthorization::sharedController(true);
};

TEST_F(SuperuserTest, TheSingletonKeepsItsFirstForm)
{
    EXPECT_EQ(VTAuthorization::sharedController(false), auth);
    EXPECT_EQ(VTAuthorization::sharedController(), auth);
    EXPECT_TRUE(auth->hasGUI());
    EXPECT_TRUE(auth->isAuthorized());
    EXPECT_TRUE(auth->canAuthorize());
    EXPECT_TRUE(auth->authStart());
    EXPECT_TRUE(auth->authStartWithUser(QStringLiteral("anyone"), QStringLiteral("anything")));
    EXPECT_TRUE(auth->userDirectory().isEmpty());
}

TEST_F(SuperuserTest, ToolsRunDirectlyAndReportSuccessWhateverTheyDid)
{
    ASSERT_TRUE(FsTest::writeFile(path(QStringLiteral("a/Glow.fxplug")), "x"));
    EXPECT_TRUE(auth->authMoveFile(path(QStringLiteral("a/Glow.fxplug")), path(QStringLiteral("no/such/folder/Glow.fxplug"))));
    EXPECT_TRUE(auth->authCopyFile(path(QStringLiteral("a/Glow.fxplug")), path(QStringLiteral("no/such/folder/copy"))));
    EXPECT_EQ(auth->authExecTask(QStringLiteral("/bin/mv"), {QStringLiteral("--no-such-option")}, false), 0);
    EXPECT_TRUE(auth->authCreateDir(path(QStringLiteral("made/deep"))));
    EXPECT_TRUE(VTFileManager::waitUntil([this] { return FsTest::exists(path(QStringLiteral("made/deep"))); }, 5s));
    EXPECT_TRUE(FsTest::exists(path(QStringLiteral("a/Glow.fxplug"))));

    EXPECT_TRUE(auth->authMoveFile(path(QStringLiteral("a/Glow.fxplug")), path(QStringLiteral("made/Glow.fxplug"))));
    EXPECT_TRUE(VTFileManager::waitUntil([this] { return FsTest::exists(path(QStringLiteral("made/Glow.fxplug"))); }, 5s));
    EXPECT_EQ(auth->authExecTask(QStringLiteral("/bin/cp"), {path(QStringLiteral("made/Glow.fxplug")), path(QStringLiteral("made/copy"))}, false), 0);
    EXPECT_TRUE(FsTest::exists(path(QStringLiteral("made/copy"))));
}

TEST_F(SuperuserTest, RefusalsAndTheirConsoleLines)
{
    const QString library = m_sandbox.systemPath(QStringLiteral("/Library"));
    ASSERT_TRUE(QDir().mkpath(library));
    testing::internal::CaptureStderr();
    EXPECT_EQ(auth->authExecTask(QStringLiteral("/no/such/tool"), {}), VTAuthorization::StatusToolMissing);
    EXPECT_FALSE(auth->authMoveFile(QString(), path(QStringLiteral("x"))));
    EXPECT_FALSE(auth->authMoveFile(path(QStringLiteral("x")), QString()));
    EXPECT_FALSE(auth->authCopyFile(QString(), path(QStringLiteral("x"))));
    EXPECT_FALSE(auth->authCopyFile(path(QStringLiteral("x")), QString()));
    EXPECT_FALSE(auth->authMoveFile(path(QStringLiteral("missing")), path(QStringLiteral("x"))));
    EXPECT_FALSE(auth->authMoveFile(library, path(QStringLiteral("x"))));
    EXPECT_FALSE(auth->authRemoveFile(QStringLiteral("/")));
    EXPECT_FALSE(auth->authTrashFile(m_sandbox.home()));
    EXPECT_FALSE(auth->authTrashFolderContents(library));
    EXPECT_FALSE(auth->authMoveFolderContents(library, path(QStringLiteral("x"))));
    const QByteArray text = QByteArray::fromStdString(testing::internal::GetCapturedStderr());
    for (const QByteArray &line : {
             QByteArray("Unable to execute task: path /no/such/tool doesn't exist"),
             QByteArray("Error in authMoveFile: old path is null"),
             QByteArray("Error in authMoveFile: new path is null"),
             QByteArray("Error in authCopyFile: old path is null"),
             QByteArray("Error in authCopyFile: new path is null"),
             QByteArray("Unable to move path " + library.toUtf8() + " because it is a system directory."),
             QByteArray("Unable to delete path / because it is a system directory."),
             QByteArray("Unable to trash path " + m_sandbox.home().toUtf8() + " because it is a system directory."),
             QByteArray("Unable to trash folder contents of path " + library.toUtf8() + " because it is a system directory."),
             QByteArray("Unable to move contents of path " + library.toUtf8() + " because it is a system directory."),
         })
        EXPECT_TRUE(text.contains(line)) << line.toStdString();
    EXPECT_TRUE(FsTest::exists(library));
}

TEST_F(SuperuserTest, DeleteOnRootRemovesTheDestinationNotTheSource)
{
    // The name is taken, so the would-be destination carries the time of the
    // call: one is waiting for each second the call may fall in.
    ASSERT_TRUE(FsTest::writeFile(trashFiles(QStringLiteral("Glow.fxplug")), "already there"));
    const QDateTime now = QDateTime::currentDateTime();
    QStringList stamped;
    for (int second = 0; second < 4; ++second) {
        stamped << trashFiles(QStringLiteral("Glow_%1.fxplug").arg(now.addSecs(second).toString(QStringLiteral("yyyyMMddHHmmss"))));
        ASSERT_TRUE(FsTest::writeFile(stamped.last(), "would-be destination"));
    }
    ASSERT_TRUE(FsTest::writeFile(path(QStringLiteral("Glow.fxplug")), "source"));
    EXPECT_TRUE(auth->authTrashFile(path(QStringLiteral("Glow.fxplug")), true));
    EXPECT_TRUE(VTFileManager::waitUntil([&stamped] {
        return std::any_of(stamped.begin(), stamped.end(), [](const QString &file) { return !FsTest::exists(file); });
    }, 30s)) << "the would-be destination is removed";
    EXPECT_EQ(FsTest::readFile(path(QStringLiteral("Glow.fxplug"))), "source");
    EXPECT_EQ(FsTest::readFile(trashFiles(QStringLiteral("Glow.fxplug"))), "already there");

    // Without that flag the contents of a folder go to the trash one by one.
    ASSERT_TRUE(FsTest::writeFile(path(QStringLiteral("Folder/one")), "1"));
    ASSERT_TRUE(FsTest::writeFile(path(QStringLiteral("Folder/two")), "2"));
    EXPECT_TRUE(auth->authTrashFolderContents(path(QStringLiteral("Folder"))));
    EXPECT_TRUE(VTFileManager::waitUntil([this] { return QDir(path(QStringLiteral("Folder"))).isEmpty(); }, 5s));
    EXPECT_TRUE(VTFileManager::waitUntil([this] { return FsTest::exists(trashFiles(QStringLiteral("two"))); }, 5s));
    EXPECT_TRUE(auth->authTrashFolderContents(path(QStringLiteral("Folder"))));
}

// ---- as an unprivileged user -------------------------------------------------

class UserTest : public FsTest::AccountsTest
{
protected:
    // The driver, run with these words, answers `expected`; a failure shows
    // what it answered and what it wrote on standard error.
    [[nodiscard]] testing::AssertionResult answers(const QByteArray &expected, const QStringList &arguments,
                                                   const QString &escalate = QStringLiteral("sudo -n"), const FsTest::User *as = nullptr) const
    {
        const FsTest::Run run = drive(arguments, escalate, as);
        if (run.out.trimmed() == expected)
            return testing::AssertionSuccess();
        return testing::AssertionFailure() << "answered " << run.out.trimmed().toStdString() << ": " << run.err.toStdString();
    }
    // Every driver run starts a new log and shifts the older ones along.
    QString log() const
    {
        QByteArray all;
        for (int i = 5; i >= 1; --i)
            all += FsTest::readFile(home(QStringLiteral("Library/Logs/Vantorel/tessary-fs-driver.%1.log").arg(i)));
        return QString::fromUtf8(all);
    }
};

TEST_F(UserTest, MovesCopiesFoldersAndTrashFallBackToTheHelper)
{
    const QString folder = path(QStringLiteral("Library/Plug-Ins/FxPlug"));
    ASSERT_TRUE(FsTest::makeBundle(VTPath::join(folder, QStringLiteral("Glow.fxplug"))));
    ASSERT_TRUE(FsTest::writeFile(VTPath::join(folder, QStringLiteral("Old.fxplug")), "old"));
    const QString disabled = path(QStringLiteral("Library/Disabled/Library/Plug-Ins/FxPlug"));

    EXPECT_TRUE(answers("YES", {QStringLiteral("mkdir"), disabled}));
    EXPECT_TRUE(FsTest::exists(disabled));
    EXPECT_TRUE(answers("YES", {QStringLiteral("move"), VTPath::join(folder, QStringLiteral("Glow.fxplug")),
                                VTPath::join(disabled, QStringLiteral("Glow.fxplug"))}));
    EXPECT_EQ(FsTest::getXattr(VTPath::join(disabled, QStringLiteral("Glow.fxplug")), "user.com.apple.FinderInfo"), QByteArray("FCSCxxxx", 8));
    EXPECT_TRUE(answers("YES", {QStringLiteral("copy"), VTPath::join(disabled, QStringLiteral("Glow.fxplug")),
                                VTPath::join(folder, QStringLiteral("Glow.fxplug"))}));
    EXPECT_TRUE(FsTest::exists(VTPath::join(folder, QStringLiteral("Glow.fxplug/Contents/MacOS/Glow"))));
    EXPECT_TRUE(answers("YES", {QStringLiteral("trash"), VTPath::join(folder, QStringLiteral("Old.fxplug"))}));
    EXPECT_FALSE(FsTest::exists(VTPath::join(folder, QStringLiteral("Old.fxplug"))));

    const QString text = log();
    EXPECT_TRUE(text.contains(QStringLiteral("Error creating folder: ")));
    EXPECT_TRUE(text.contains(QStringLiteral("Error moving file: ")));
    EXPECT_TRUE(text.contains(QStringLiteral("Error copying file: ")));
    EXPECT_GE(text.count(QStringLiteral("Authorizing...")), 4) << text.toStdString();

    // The user's own trash-cli lists the item with where it came from.
    const FsTest::Run list = FsTest::runAs(m_user, QStringLiteral("/usr/bin/trash-list"), {}, {QStringLiteral("HOME=") + home()});
    EXPECT_TRUE(list.out.contains(VTPath::join(folder, QStringLiteral("Old.fxplug")).toUtf8())) << list.out.toStdString() << list.err.toStdString();
}

TEST_F(UserTest, ThePrivilegedTrashKeepsTheTrashRules)
{
    const QString folder = path(QStringLiteral("Library/Plug-Ins/FxPlug"));
    const QString trash = VTPath::join(home(), QStringLiteral(".local/share/Trash"));
    const auto infos = [&trash] {
        return QDir(VTPath::join(trash, QStringLiteral("info"))).entryList(QDir::Files | QDir::Hidden, QDir::Name);
    };
    ASSERT_TRUE(FsTest::writeFile(VTPath::join(folder, QStringLiteral("Glow.fxplug")), "one"));

    // Refused rights: the item stays and no record is left behind.
    EXPECT_TRUE(answers("NO", {QStringLiteral("trash"), VTPath::join(folder, QStringLiteral("Glow.fxplug"))}, QStringLiteral("false")));
    EXPECT_EQ(FsTest::readFile(VTPath::join(folder, QStringLiteral("Glow.fxplug"))), "one");
    EXPECT_EQ(infos(), QStringList());

    // Two items of one name within a second: the second takes the next
    // free name and replaces nothing.
    EXPECT_TRUE(answers("YES", {QStringLiteral("trash"), VTPath::join(folder, QStringLiteral("Glow.fxplug"))}));
    ASSERT_TRUE(FsTest::writeFile(VTPath::join(folder, QStringLiteral("Glow.fxplug")), "two"));
    EXPECT_TRUE(answers("YES", {QStringLiteral("trash"), VTPath::join(folder, QStringLiteral("Glow.fxplug"))}));
    EXPECT_EQ(FsTest::readFile(VTPath::join(trash, QStringLiteral("files/Glow.fxplug"))), "one");
    EXPECT_EQ(FsTest::readFile(VTPath::join(trash, QStringLiteral("files/Glow 2.fxplug"))), "two");
    EXPECT_EQ(infos(), (QStringList{QStringLiteral("Glow 2.fxplug.trashinfo"), QStringLiteral("Glow.fxplug.trashinfo")}));
    EXPECT_EQ(FsTest::statOf(VTPath::join(trash, QStringLiteral("info/Glow 2.fxplug.trashinfo"))).st_uid, m_user.uid);
}

TEST_F(UserTest, RefusedOrImpossibleAuthorizationAnswersNo)
{
    const QString source = path(QStringLiteral("Library/Plug-Ins/FxPlug/Glow.fxplug"));
    ASSERT_TRUE(FsTest::writeFile(source, "x"));
    const QString target = path(QStringLiteral("Library/Plug-Ins/Glow.fxplug"));
    for (const QString &escalate : {QStringLiteral("false"), QStringLiteral("/no/such/escalation")})
        EXPECT_TRUE(answers("NO", {QStringLiteral("move"), source, target}, escalate)) << escalate.toStdString();
    // Without a window an escalation that may ask for a password is refused.
    FsTest::Run run = drive({QStringLiteral("no-gui-move"), source, target}, QStringLiteral("pkexec"));
    EXPECT_EQ(run.out.trimmed(), "NO");
    EXPECT_TRUE(run.err.contains("Unable to authorize"));
    // A user sudo does not know for this helper.
    EXPECT_TRUE(answers("NO", {QStringLiteral("move"), source, target}, QStringLiteral("sudo -n"), &m_other));
    EXPECT_TRUE(FsTest::exists(source));
    EXPECT_FALSE(FsTest::exists(target));
}

TEST_F(UserTest, APasswordAuthorizesThroughSudo)
{
    ASSERT_TRUE(FsTest::chownPath(home(), m_other));
    EXPECT_TRUE(answers("YES", {QStringLiteral("authorize-user"), m_other.name, QStringLiteral("tessary-secret-1")}, QStringLiteral("false"),
                        &m_other));
    FsTest::Run run = drive({QStringLiteral("authorize-user"), QStringLiteral("root"), QStringLiteral("tessary-secret-1")}, QStringLiteral("false"), &m_other);
    EXPECT_EQ(run.out.trimmed(), "NO");
    EXPECT_TRUE(run.err.contains("Authorization failed. Invalid username or password"));
    run = drive({QStringLiteral("authorize-user"), m_other.name, QStringLiteral("wrong password")}, QStringLiteral("false"), &m_other);
    EXPECT_EQ(run.out.trimmed(), "NO");
    EXPECT_TRUE(run.err.contains("Authorization failed. Invalid username or password"));
    EXPECT_TRUE(log().contains(QStringLiteral("Authorization failed. Invalid username or password")));
}

// The helper learns its requester from the escalation before it clears the
// environment: the user's own home counts as the user's, another account's
// does not.
TEST_F(UserTest, TheHelperKnowsWhoAsks)
{
    const QString otherHome = path(QStringLiteral("other-home"));
    const QString mine = VTPath::join(home(), QStringLiteral("Library/Plug-Ins/FxPlug/Mine.fxplug"));
    const QString theirs = VTPath::join(otherHome, QStringLiteral("Library/Plug-Ins/FxPlug/Theirs.fxplug"));
    ASSERT_TRUE(FsTest::writeFile(VTPath::join(mine, QStringLiteral("file")), "x"));
    ASSERT_TRUE(FsTest::writeFile(VTPath::join(theirs, QStringLiteral("file")), "x"));
    ASSERT_EQ(FsTest::run(QStringLiteral("/bin/chown"), {QStringLiteral("-R"), m_user.name, VTPath::join(home(), QStringLiteral("Library"))}).exitCode, 0);
    ASSERT_EQ(FsTest::run(QStringLiteral("/bin/chown"), {QStringLiteral("-R"), m_other.name, otherHome}).exitCode, 0);
    ASSERT_TRUE(FsTest::chmodPath(otherHome, 0755));

    EXPECT_TRUE(answers("0", {QStringLiteral("exec"), QStringLiteral("/bin/chmod"), QStringLiteral("-R"), QStringLiteral("go-rx"), mine}));
    EXPECT_EQ(FsTest::statOf(VTPath::join(mine, QStringLiteral("file"))).st_mode & 07777, 0600u);
    EXPECT_TRUE(answers(QByteArray::number(EPERM),
                        {QStringLiteral("exec"), QStringLiteral("/bin/chmod"), QStringLiteral("-R"), QStringLiteral("go-rx"), theirs}));
    EXPECT_EQ(FsTest::statOf(VTPath::join(theirs, QStringLiteral("file"))).st_mode & 07777, 0644u);
}

TEST_F(UserTest, AHelperOthersCouldChangeIsPassedOver)
{
    // The driver and a helper beside it in a folder anyone may write: the
    // program passes that helper over and starts the trusted one.
    const QString folder = path(QStringLiteral("open-bin"));
    ASSERT_TRUE(QDir().mkpath(folder));
    const QString driver = VTPath::join(folder, QFileInfo(FsTest::driverPath()).fileName());
    const QString planted = VTPath::join(folder, QStringLiteral("tessary-helper"));
    ASSERT_TRUE(QFile::copy(FsTest::driverPath(), driver));
    ASSERT_TRUE(QFile::copy(FsTest::helperPath(), planted));
    ASSERT_TRUE(FsTest::chmodPath(folder, 0777));
    const FsTest::Run run = FsTest::runAs(m_user, driver, {QStringLiteral("exec"), QStringLiteral("/bin/mkdir"), path(QStringLiteral("made"))},
                                          environment());
    EXPECT_EQ(run.out.trimmed(), "0") << run.err.toStdString();
    EXPECT_TRUE(FsTest::exists(path(QStringLiteral("made"))));
    EXPECT_TRUE(log().contains(QStringLiteral("Not using the helper %1: others may change it").arg(planted))) << log().toStdString();
}

// Another account's tree, too deep for the walk or for the descriptors the
// helper may open, ends the repair in a failure the program can report:
// never a crash, never a success for a walk that stopped half-way.
TEST_F(UserTest, ARepairOverAnotherAccountsDeepTreeFailsInsteadOfCrashingOrPretending)
{
    const FsTest::User &planter = m_other;
    const QString vendor = path(QStringLiteral("Library/Application Support/Vantorel"));
    auto plant = [&](const QString &name, int depth) {
        const QString top = VTPath::join(vendor, name);
        QString deepest = top;
        for (int i = 0; i < depth; ++i)
            deepest += QStringLiteral("/d");
        EXPECT_TRUE(QDir().mkpath(deepest));
        EXPECT_TRUE(FsTest::writeFile(VTPath::join(deepest, QStringLiteral("file")), "x"));
        EXPECT_EQ(FsTest::run(QStringLiteral("/bin/chown"), {QStringLiteral("-R"), planter.name, top}).exitCode, 0);
        return deepest;
    };
    const QString tooDeep = plant(QStringLiteral("tooDeep"), 300);
    for (const QStringList &repair : {QStringList{QStringLiteral("/usr/sbin/chown"), QStringLiteral("-R"), m_user.name},
                                      QStringList{QStringLiteral("/bin/chmod"), QStringLiteral("-R"), QStringLiteral("a+rw")}}) {
        EXPECT_TRUE(answers(QByteArray::number(ELOOP),
                            QStringList{QStringLiteral("exec")} + repair + QStringList{VTPath::join(vendor, QStringLiteral("tooDeep"))}));
    }
    EXPECT_EQ(FsTest::statOf(VTPath::join(tooDeep, QStringLiteral("file"))).st_uid, planter.uid);

    // Within the depth limit but beyond the helper's descriptors: the
    // escalation keeps the caller's limit, so the walk runs out part-way.
    const QString deep = plant(QStringLiteral("deep"), 200);
    struct rlimit saved {};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &saved), 0);
    struct rlimit low = saved;
    low.rlim_cur = 64;
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &low), 0);
    const FsTest::Run run = drive({QStringLiteral("exec"), QStringLiteral("/usr/sbin/chown"), QStringLiteral("-R"), m_user.name,
                                   VTPath::join(vendor, QStringLiteral("deep"))});
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &saved), 0);
    EXPECT_EQ(run.out.trimmed(), QByteArray::number(EMFILE)) << run.err.toStdString();
    EXPECT_EQ(FsTest::statOf(VTPath::join(deep, QStringLiteral("file"))).st_uid, planter.uid);
}

TEST_F(UserTest, TheHelperEndsWithTheProgram)
{
    FsTest::Process driver;
    ASSERT_TRUE(driver.start(QStringLiteral("/usr/bin/setpriv"),
                             FsTest::asUser(m_user, environment()) << FsTest::driverPath() << QStringLiteral("hold")));
    ASSERT_EQ(driver.readLine(20000), "ready");
    // Holding the helper, the program is closed to ptrace by its own user:
    // the kernel then gives its /proc entries to root.
    EXPECT_EQ(FsTest::statOf(QStringLiteral("/proc/%1/environ").arg(driver.pid())).st_uid, 0u);

    // Only the helpers this program started: other tests may run their own.
    const auto startedByDriver = [&driver](qint64 pid) {
        while (pid > 1 && pid != driver.pid()) {
            const QByteArray stat = FsTest::readFile(QStringLiteral("/proc/%1/stat").arg(pid));
            pid = stat.mid(stat.lastIndexOf(')') + 2).split(' ').value(1).toLongLong();
        }
        return pid == driver.pid();
    };
    QList<qint64> helpers;
    const QString helper = QFileInfo(FsTest::helperPath()).canonicalFilePath();
    for (const QString &pid : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs)) {
        if (QFileInfo(QStringLiteral("/proc/%1/exe").arg(pid)).symLinkTarget() == helper && !FsTest::processIsGone(pid.toLongLong())
            && startedByDriver(pid.toLongLong()))
            helpers << pid.toLongLong();
    }
    ASSERT_FALSE(helpers.isEmpty());
    ::kill(driver.pid(), SIGKILL);
    (void)driver.finish(5000);
    // Well inside the helper's own 30-second fallback: the end of its input ends it.
    for (const qint64 pid : helpers)
        EXPECT_TRUE(VTFileManager::waitUntil([pid] { return FsTest::processIsGone(pid); }, 5s)) << pid;
}

} // namespace
