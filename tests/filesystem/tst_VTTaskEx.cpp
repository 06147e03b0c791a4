#include "FsTestSupport.h"
#include "VTFileManager.h"
#include "VTTaskEx.h"

#include <QElapsedTimer>
#include <QStandardPaths>

#include <gtest/gtest.h>

#include <chrono>

#include <sys/stat.h>
#include <unistd.h>

using namespace std::chrono_literals;

namespace {

class TaskExTest : public FsTest::SandboxTest
{
protected:
    QString file(const QString &name) const { return m_sandbox.path() + u'/' + name; }
};

// The process whose id the file holds ends within a generous time.
bool endsSoon(const QString &pidFile)
{
    const qint64 pid = VTTestSandbox::readFile(pidFile).trimmed().toLongLong();
    return VTFileManager::waitUntil([pid] { return FsTest::processIsGone(pid); }, 30s);
}

} // namespace

TEST_F(TaskExTest, CapturesOutputAndErrorApart)
{
    const VTTaskEx::Result result =
        VTTaskEx::run(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), QStringLiteral("printf out; printf err >&2")});
    EXPECT_EQ(result.outcome, VTTaskEx::Outcome::Success);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.standardOutput, "out");
    EXPECT_EQ(result.standardError, "err");

    EXPECT_EQ(VTTaskEx::stringFromTask(QStringLiteral("/bin/echo"), {QStringLiteral("héllo wörld")}),
              QStringLiteral("héllo wörld\n"));
    // Arguments reach the tool as they are: no shell splits or expands them.
    EXPECT_EQ(VTTaskEx::stringFromTask(QStringLiteral("/bin/echo"), {QStringLiteral("$HOME *"), QStringLiteral("a b")}),
              QStringLiteral("$HOME * a b\n"));
    EXPECT_EQ(VTTaskEx::dataFromTask(QStringLiteral("/usr/bin/printf"), {QStringLiteral("a\\000b")}, 10s),
              QByteArray("a\0b", 3));
}

TEST_F(TaskExTest, FeedsStandardInput)
{
    // More than a pipe holds, in both directions at once.
    QByteArray input;
    for (int i = 0; i < 200000; ++i)
        input += QByteArray::number(i) + '\n';
    const VTTaskEx::Result copy = VTTaskEx::run(QStringLiteral("/bin/cat"), {}, 30s, input);
    EXPECT_EQ(copy.outcome, VTTaskEx::Outcome::Success);
    EXPECT_EQ(copy.standardOutput.size(), input.size());
    EXPECT_TRUE(copy.standardOutput == input);

    const VTTaskEx::Result answer = VTTaskEx::run(
        QStringLiteral("/bin/sh"), {QStringLiteral("-c"), QStringLiteral("read line; echo \"got $line\"")}, std::nullopt,
        "secret\n");
    EXPECT_EQ(answer.standardOutput, "got secret\n");
}

TEST_F(TaskExTest, ExitStatuses)
{
    const QStringList exit3{QStringLiteral("-c"), QStringLiteral("exit 3")};
    const VTTaskEx::Result failed = VTTaskEx::run(QStringLiteral("/bin/sh"), exit3);
    EXPECT_EQ(failed.outcome, VTTaskEx::Outcome::FinishedWithError);
    EXPECT_EQ(failed.exitCode, 3);
    EXPECT_FALSE(failed.succeeded());
    EXPECT_EQ(VTTaskEx::terminationCodeFromTask(QStringLiteral("/bin/sh"), exit3), 3);
    EXPECT_FALSE(VTTaskEx::runTask(QStringLiteral("/bin/sh"), exit3));
    EXPECT_FALSE(VTTaskEx::runTask(QStringLiteral("/bin/sh"), exit3, 10s));

    EXPECT_TRUE(VTTaskEx::runTask(QStringLiteral("/bin/true"), {}));
    EXPECT_TRUE(VTTaskEx::runTask(QStringLiteral("/bin/true"), {}, 10s));
    EXPECT_EQ(VTTaskEx::terminationCodeFromTask(QStringLiteral("/bin/true"), {}), 0);
}

TEST_F(TaskExTest, MissingOrNonExecutableToolsFail)
{
    const QString missing = file(QStringLiteral("no-such-tool"));
    const QString plain = m_sandbox.createFile(file(QStringLiteral("plain-script")), "#!/bin/sh\necho ran\n");
    const QString folder = file(QStringLiteral("a-folder"));
    QDir().mkpath(folder);
    for (const QString &tool : {missing, plain, folder}) {
        SCOPED_TRACE(tool.toStdString());
        const VTTaskEx::Result result = VTTaskEx::run(tool, {});
        EXPECT_EQ(result.outcome, VTTaskEx::Outcome::FailedToStart);
        EXPECT_TRUE(result.standardOutput.isEmpty());
        EXPECT_FALSE(VTTaskEx::runTask(tool, {}));
        EXPECT_EQ(VTTaskEx::terminationCodeFromTask(tool, {}), -1);
        EXPECT_EQ(VTTaskEx::stringFromTask(tool, {}), QString());
        EXPECT_FALSE(VTTaskEx::runTaskAndReturn(tool, {}));
    }
    // A file marked executable that the system cannot run at all.
    const QString garbage = m_sandbox.createFile(file(QStringLiteral("bad-interpreter")), "#!/nonexistent/interpreter\n",
                                                 QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    EXPECT_EQ(VTTaskEx::run(garbage, {}).outcome, VTTaskEx::Outcome::FailedToStart);

    const QByteArray text = log();
    for (const QString &tool : {missing, plain, folder, garbage})
        EXPECT_TRUE(text.contains((QStringLiteral(" - Error: %1 is not executable\n").arg(tool)).toUtf8()))
            << tool.toStdString() << "\n" << text.toStdString();
}

TEST_F(TaskExTest, TimeOutEndsTheToolAndWhatItStartedEvenWhenTheyIgnoreTermination)
{
    const QString pidFile = file(QStringLiteral("tool.pid"));
    const QString childFile = file(QStringLiteral("child.pid"));
    // Ignored signals stay ignored in what the script starts, so only a kill
    // of the whole group ends both.
    const QString script = m_sandbox.createScript(
        file(QStringLiteral("slow")),
        QStringLiteral("trap '' TERM\necho $$ > '%1'\nsleep 30 &\necho $! > '%2'\necho started\nwait\necho finished\n")
            .arg(pidFile, childFile)
            .toUtf8());
    QElapsedTimer timer;
    timer.start();
    const VTTaskEx::Result result = VTTaskEx::run(script, {}, 1s);
    EXPECT_LT(timer.elapsed(), 25000) << "ended long before its 30 s child";
    EXPECT_EQ(result.outcome, VTTaskEx::Outcome::TimedOut);
    EXPECT_EQ(result.standardOutput, "started\n");
    EXPECT_TRUE(endsSoon(pidFile)) << "the tool still runs";
    EXPECT_TRUE(endsSoon(childFile)) << "what the tool started still runs";
    EXPECT_TRUE(log().contains(QStringLiteral(" - Task %1 timed out. Terminating...\n").arg(script).toUtf8()));

    EXPECT_EQ(VTTaskEx::dataFromTask(script, {}, 1s), "started\n");
    EXPECT_FALSE(VTTaskEx::runTask(script, {}, 1s));
    EXPECT_TRUE(endsSoon(childFile));
}

TEST_F(TaskExTest, ACrashIsNotAnExitStatus)
{
    const QString script = m_sandbox.createScript(file(QStringLiteral("crasher")), "echo before\nkill -SEGV $$\n");
    const VTTaskEx::Result result = VTTaskEx::run(script, {});
    EXPECT_EQ(result.outcome, VTTaskEx::Outcome::Crashed);
    EXPECT_EQ(result.standardOutput, "before\n");
    EXPECT_EQ(VTTaskEx::terminationCodeFromTask(script, {}), -1);
    EXPECT_FALSE(VTTaskEx::runTask(script, {}));
    EXPECT_TRUE(log().contains(QStringLiteral(" - Task %1 crashed.\n").arg(script).toUtf8()));
}

TEST_F(TaskExTest, MissingSystemToolsFallBackToTheHostsOwn)
{
    if (QFileInfo(QStringLiteral("/usr/sbin/chown")).isExecutable())
        GTEST_SKIP() << "this system has /usr/sbin/chown itself";
    const QString hostChown = QStandardPaths::findExecutable(
        QStringLiteral("chown"), {QStringLiteral("/usr/bin"), QStringLiteral("/bin"), QStringLiteral("/sbin")});
    ASSERT_FALSE(hostChown.isEmpty());
    EXPECT_EQ(VTTaskEx::resolveTool(QStringLiteral("/usr/sbin/chown")), hostChown);

    // It really runs: the owner changes (to nobody as the superuser, else to ourselves).
    const QString target = m_sandbox.createFile(file(QStringLiteral("owned")), "x");
    const uid_t owner = geteuid() == 0 ? 65534 : geteuid();
    ASSERT_TRUE(VTTaskEx::runTask(QStringLiteral("/usr/sbin/chown"), {QString::number(owner), target}));
    struct stat info {};
    ASSERT_EQ(::stat(QFile::encodeName(target).constData(), &info), 0);
    EXPECT_EQ(info.st_uid, owner);
    EXPECT_TRUE(log().contains(
        QStringLiteral(" - /usr/sbin/chown is not on this system; running %1\n").arg(hostChown).toUtf8()));

    // Only tools named in a system bin folder are looked for elsewhere.
    EXPECT_EQ(VTTaskEx::resolveTool(file(QStringLiteral("chown"))), QString());
    EXPECT_EQ(VTTaskEx::resolveTool(QStringLiteral("/usr/sbin/no-such-tool-here")), QString());
}

TEST_F(TaskExTest, RunAndReturnDoesNotWait)
{
    // The tool holds until this test lets it go (or a minute passes): a call
    // that waited for it would find the marker written.
    const QString go = file(QStringLiteral("go"));
    const QString marker = file(QStringLiteral("marker"));
    ASSERT_TRUE(VTTaskEx::runTaskAndReturn(
        QStringLiteral("/bin/sh"),
        {QStringLiteral("-c"), QStringLiteral("i=0; while [ ! -e '%1' ] && [ $i -lt 600 ]; do sleep 0.1; i=$((i+1)); done; "
                                              "echo done > '%2.part' && mv '%2.part' '%2'").arg(go, marker)}));
    EXPECT_FALSE(QFile::exists(marker));
    ASSERT_TRUE(VTTestSandbox::makeFile(go));
    EXPECT_TRUE(VTFileManager::waitUntil([&marker] { return QFile::exists(marker); }, 60s));
    EXPECT_EQ(VTTestSandbox::readFile(marker), "done\n");
}
