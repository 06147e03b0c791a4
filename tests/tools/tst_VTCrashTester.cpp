// The crash tester against real host processes (the stand-in host) on
// sandboxes: launches, crashes and surviving launches are real, and every
// outcome is checked on the disk.

#include "AppController.h"
#include "VTCrashTestCommand.h"
#include "VTCrashTester.h"
#include "VTPluginKind.h"
#include "VTSandboxBuilder.h"
#include "VTSandboxLayout.h"
#include "VTTestProcess.h"
#include "VTTestSandbox.h"

#include <QFileInfo>
#include <QProcess>

#include <gtest/gtest.h>

#include <csignal>
#include <thread>

namespace {

using namespace VTPluginKind;
using namespace std::chrono_literals;

const QString HostIdentifier = QStringLiteral("com.apple.FinalCutPro");

// A window that records what it was asked to do.
class RecordingDisplay final : public VTCrashTestDisplay
{
public:
    void authorize() override {}
    void resizeCrashTestDialog(bool running) override { steps << (running ? QStringLiteral("grow") : QStringLiteral("shrink")); }
    void startCrashTestProgress() override { steps << QStringLiteral("start"); }
    void setupCrashTestProgressBar(int maximum) override { steps << QStringLiteral("max:%1").arg(maximum); }
    void incrementCrashTestProgress() override { steps << QStringLiteral("increment"); }
    void showStatus(const QString &text) override { steps << text; }
    void showSheet(const QString &message, const QString &informative) override { sheets << message + u'|' + informative; }
    void endCrashTestProgress() override { steps << QStringLiteral("end"); }

    QStringList steps;
    QStringList sheets;
};

// The controller's catalogue, counting reloads.
class CountingCatalogue final : public VTCrashTestCatalogue
{
public:
    explicit CountingCatalogue(AppController &controller) : m_catalogue(controller) {}
    QStringList enabledPluginPaths() override { return m_catalogue.enabledPluginPaths(); }
    PluginPtr pluginFromPath(const QString &path) override { return m_catalogue.pluginFromPath(path); }
    bool moveFilter(const PluginPtr &plugin, qint64 status) override { return m_catalogue.moveFilter(plugin, status); }
    void reloadData() override
    {
        ++reloads;
        m_catalogue.reloadData();
    }
    int reloads = 0;

private:
    VTControllerCrashTestCatalogue m_catalogue;
};

void stopHost(const QString &identifier)
{
    for (pid_t pid = VTHostProcesses::runningProcess(identifier); pid != 0; pid = VTHostProcesses::runningProcess(identifier)) {
        ::kill(pid, SIGTERM);
        for (int tries = 0; tries < 600 && VTHostProcesses::runningProcess(identifier) == pid; ++tries)
            std::this_thread::sleep_for(50ms);
    }
}

// A sandbox with FxPlug candidates "P1".."Pn", a VST plug-in the host does
// not load, and the stand-in host that crashes on `crashOn`.
class CrashTestSandbox
{
public:
    CrashTestSandbox(int candidates, const QStringList &crashOn, const QString &identifier = HostIdentifier)
        : builder(sandbox.root(), sandbox.home())
        , m_identifier(identifier)
    {
        // The waits shortened, still long enough for a crash on a busy machine:
        // a host that takes longer counts as surviving.
        qputenv("TESSARY_CRASHTEST_TIMING", "10000,50");
        for (int index = 1; index <= candidates; ++index)
            plugins << builder.addBundle(FxPlug, AllUsers, QStringLiteral("P%1").arg(index));
        other = builder.addBundle(VST, AllUsers, QStringLiteral("Other"));
        builder.createAllFolders();
        builder.addStandInHost(QStringLiteral("Final Cut Pro.app"), identifier, QStringLiteral(TESSARY_STANDIN_HOST),
                               {FxPlug, FxScript, AudioUnit}, crashOn);
        controller = AppController::initWithoutGUI();
        if (controller)
            controller->loadPluginData();
        catalogue = std::make_unique<CountingCatalogue>(*controller);
        tester = std::make_unique<VTCrashTester>(*catalogue, &display);
    }
    ~CrashTestSandbox()
    {
        stopHost(m_identifier);
        if (controller)
            controller->waitForReloads();
    }

    [[nodiscard]] bool ready() const { return builder.ok() && controller; }
    [[nodiscard]] QStringList disabledOnDisk() const
    {
        QStringList disabled;
        for (const QString &path : plugins + QStringList{other}) {
            if (!QFileInfo::exists(path))
                disabled << QFileInfo(path).completeBaseName();
        }
        return disabled;
    }

    VTTestSandbox sandbox;
    VTSandboxBuilder builder;
    QStringList plugins;
    QString other;
    std::unique_ptr<AppController> controller;
    std::unique_ptr<CountingCatalogue> catalogue;
    RecordingDisplay display;
    std::unique_ptr<VTCrashTester> tester;

private:
    QString m_identifier;
};

} // namespace

TEST(VTCrashTester, FindsTheKthCandidateAndLeavesOnlyItDisabled)
{
    CrashTestSandbox box(4, {QStringLiteral("P3.fxplug")});
    ASSERT_TRUE(box.ready()) << box.builder.errors().join(u'\n').toStdString();
    box.tester->setHostIndex(7); // outside 1 to 5: the first host

    EXPECT_EQ(box.tester->runCrashTest(), box.plugins.at(2));
    EXPECT_EQ(box.tester->launchCount(), 4); // passes 0 to 3, no halving
    EXPECT_FALSE(box.tester->isRunning());
    EXPECT_EQ(box.disabledOnDisk(), QStringList{QStringLiteral("P3")});
    EXPECT_EQ(box.catalogue->reloads, 1);
    EXPECT_EQ(box.display.sheets, QStringList{QStringLiteral(
                                      "Crash Tester found problems with the \"P3\" plugin.|This plugin has been disabled.")});
    EXPECT_EQ(box.display.steps.mid(0, 7),
              (QStringList{QStringLiteral("grow"), QStringLiteral("start"), QStringLiteral("Initializing..."),
                           QStringLiteral("max:4"), QStringLiteral("Performing test pass..."),
                           QStringLiteral("Processing P1 (1 of 4)"), QStringLiteral("increment")}));
    EXPECT_EQ(box.display.steps.count(QStringLiteral("increment")), 3);
    EXPECT_EQ(box.display.steps.last(), QStringLiteral("end"));
    // The surviving launch is left running.
    EXPECT_TRUE(VTHostProcesses::isRunning(HostIdentifier));
}

TEST(VTCrashTester, FailuresEnableEveryCandidateAgainAndReload)
{
    const QString unable = QStringLiteral("Crash Tester was unable to discover the cause of the crash.|It is likely that "
                                          "the crash is not caused by a plugin.");
    const struct {
        const char *name;
        int candidates;
        const char *crashOn;
        int launches;
        bool hostLeftRunning;
        QString sheet;
    } cases[] = {
        {"crashes with every candidate disabled", 3, "*", 4, false, unable},
        {"no candidates, crashing", 0, "*", 1, false, unable},
        {"crash not reproduced", 2, "Absent.fxplug", 1, true,
         QStringLiteral("Crash Tester has been unable to reproduce the crash. Test aborted.|Crash Tester is designed to "
                        "locate plugins that crash at startup.")},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        CrashTestSandbox box(c.candidates, {QString::fromUtf8(c.crashOn)});
        ASSERT_TRUE(box.ready());
        EXPECT_TRUE(box.tester->runCrashTest().isEmpty());
        EXPECT_EQ(box.tester->launchCount(), c.launches);
        EXPECT_EQ(box.disabledOnDisk(), QStringList());
        EXPECT_EQ(box.catalogue->reloads, 1);
        EXPECT_EQ(box.display.sheets, QStringList{c.sheet});
        EXPECT_EQ(VTHostProcesses::isRunning(HostIdentifier), c.hostLeftRunning);
    }
}

TEST(VTCrashTester, CancelDuringAWaitEnablesEverythingWithoutReload)
{
    CrashTestSandbox box(3, {QStringLiteral("P2.fxplug")});
    ASSERT_TRUE(box.ready());
    QString culprit = QStringLiteral("unset");
    std::thread run([&] { culprit = box.tester->runCrashTest(); });
    // Pass 2 (P1 and P2 disabled) survives: its wait is the one cancelled.
    for (int tries = 0; tries < 1200 && !(box.tester->launchCount() == 3 && box.tester->hostLaunched()); ++tries)
        std::this_thread::sleep_for(50ms);
    const int launches = box.tester->launchCount();
    box.tester->cancel();
    run.join();
    ASSERT_EQ(launches, 3);

    EXPECT_TRUE(culprit.isEmpty());
    EXPECT_EQ(box.disabledOnDisk(), QStringList());
    EXPECT_EQ(box.catalogue->reloads, 0);
    EXPECT_EQ(box.display.sheets, QStringList());
    EXPECT_FALSE(box.tester->isRunning());
}

TEST(VTCrashTester, RunningHostsAreFoundByTheExactIdentifier)
{
    {
        SCOPED_TRACE("host already running");
        CrashTestSandbox box(1, {});
        ASSERT_TRUE(box.ready());
        QProcess host;
        host.start(box.sandbox.systemPath(QStringLiteral("Applications/Final Cut Pro.app/Contents/MacOS/Final Cut Pro")));
        ASSERT_TRUE(host.waitForStarted());
        EXPECT_TRUE(box.tester->runCrashTest().isEmpty());
        EXPECT_EQ(box.tester->launchCount(), 0);
        EXPECT_EQ(box.display.sheets, QStringList{QStringLiteral("Please close Final Cut Pro before running the test.|")});
        EXPECT_EQ(box.display.steps, (QStringList{QStringLiteral("grow"), QStringLiteral("shrink")}));
        host.terminate();
        host.waitForFinished();
    }
    {
        // Another system's copy of the host (another root, another test run)
        // is not the managed system's host.
        SCOPED_TRACE("same host outside the managed system");
        CrashTestSandbox box(1, {QStringLiteral("P1.fxplug")});
        ASSERT_TRUE(box.ready());
        const QString elsewhere = box.sandbox.path() + QStringLiteral("/elsewhere");
        ASSERT_EQ(QProcess::execute(QStringLiteral("cp"), {QStringLiteral("-a"), box.sandbox.systemPath(QStringLiteral("Applications")),
                                                         elsewhere}),
                  0);
        // This copy crashes on nothing, so it stays up for the whole run.
        ASSERT_TRUE(VTTestSandbox::makeFile(elsewhere + QStringLiteral("/Final Cut Pro.app/Contents/Resources/StandInHost.ini"),
                                            "[General]\nkinds=0\ncrashOn=\n"));
        QProcess host;
        host.start(elsewhere + QStringLiteral("/Final Cut Pro.app/Contents/MacOS/Final Cut Pro"));
        ASSERT_TRUE(host.waitForStarted());
        EXPECT_EQ(VTHostProcesses::runningProcess(HostIdentifier), 0);
        EXPECT_EQ(box.tester->runCrashTest(), box.plugins.at(0));
        EXPECT_FALSE(host.waitForFinished(0)) << "the other system's host was stopped";
        host.terminate();
        host.waitForFinished();
    }
    {
        // The start-up check misses it; the launch observers still see it.
        SCOPED_TRACE("identifier differing in case");
        const QString lower = HostIdentifier.toLower();
        CrashTestSandbox box(2, {QStringLiteral("P1.fxplug")}, lower);
        ASSERT_TRUE(box.ready());
        QProcess host;
        host.start(box.sandbox.systemPath(QStringLiteral("Applications/Final Cut Pro.app/Contents/MacOS/Final Cut Pro")));
        ASSERT_TRUE(host.waitForStarted());
        for (int tries = 0; tries < 600 && !VTHostProcesses::isRunning(lower); ++tries)
            std::this_thread::sleep_for(50ms);
        EXPECT_FALSE(VTHostProcesses::isRunning(HostIdentifier));
        host.terminate();
        host.waitForFinished();

        EXPECT_EQ(box.tester->runCrashTest(), box.plugins.at(0));
        EXPECT_EQ(box.disabledOnDisk(), QStringList{QStringLiteral("P1")});
    }
}

TEST(VTCrashTester, CommandPrintsTheRunAndExitsByTheOutcome)
{
    CrashTestSandbox box(2, {QStringLiteral("P2.fxplug")});
    ASSERT_TRUE(box.ready());
    // Through a pipe, as a CI script reads it: the host left running must not
    // hold the pipe open after the command has ended.
    const auto run = [](const QString &host) {
        VTTest::RunOptions options;
        options.timeoutMs = 300000;
        const VTTest::Run result = VTTest::run(QStringLiteral("/bin/bash"),
                                               {QStringLiteral("-c"), QStringLiteral("set -o pipefail; \"$0\" -crashtest \"$1\" | cat"),
                                                qEnvironmentVariable("TESSARY_PROGRAM"), host},
                                               options);
        return std::pair{result.exitCode, QString::fromUtf8(result.out).split(u'\n', Qt::SkipEmptyParts)};
    };
    const auto [status, lines] = run(QStringLiteral("Final Cut Pro"));
    EXPECT_EQ(status, 0);
    EXPECT_EQ(lines, (QStringList{QStringLiteral("Initializing..."), QStringLiteral("Performing test pass..."),
                                  QStringLiteral("Unable to quit - app is not running"),
                                  QStringLiteral("Processing P1 (1 of 2)"),
                                  QStringLiteral("Unable to quit - app is not running"),
                                  QStringLiteral("Processing P2 (2 of 2)"),
                                  QStringLiteral("Crash Tester found problems with the \"P2\" plugin. This plugin has "
                                                 "been disabled.")}));
    EXPECT_EQ(box.disabledOnDisk(), QStringList{QStringLiteral("P2")});

    // The surviving host is still up, so a second run stops at once.
    const auto [again, againLines] = run(QStringLiteral("0"));
    EXPECT_EQ(again, 1);
    EXPECT_EQ(againLines, QStringList{QStringLiteral("Please close Final Cut Pro before running the test.")});
    EXPECT_EQ(run(QStringLiteral("Final Cut")).first, 1);
}
