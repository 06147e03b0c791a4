// The crash tester window on the offscreen platform, running real tests
// against the stand-in host, and answering the cross-process signal on a
// private session bus.

#include "AppController.h"
#include "VTCrashTesterWindow.h"
#include "VTMainThread.h"
#include "VTPluginKind.h"
#include "VTSandboxBuilder.h"
#include "VTTestBus.h"
#include "VTTestSandbox.h"
#include "VTWidgetTest.h"
#include "VTWidgetInterface.h"

#include <QApplication>
#include <QComboBox>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QFileInfo>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>

#include <gtest/gtest.h>

#include <csignal>


using namespace VTPluginKind;

namespace {

using VTWidgetTest::answerNextWith;
using VTWidgetTest::visibleMessageBox;
using VTWidgetTest::waitUntil;

void saveScreenshot(QWidget &window, const QString &name)
{
    if (const QString folder = qEnvironmentVariable("TESSARY_SCREENSHOTS"); !folder.isEmpty())
        window.grab().save(folder + u'/' + name);
}

void stopHost()
{
    const QString identifier = QStringLiteral("com.apple.FinalCutPro");
    for (pid_t pid = VTHostProcesses::runningProcess(identifier); pid != 0; pid = VTHostProcesses::runningProcess(identifier)) {
        ::kill(pid, SIGTERM);
        waitUntil([&] { return VTHostProcesses::runningProcess(identifier) != pid; });
    }
}

QString s_busAddress;

} // namespace

TEST(VTCrashTesterWindow, RunsGrowsAndShrinksAndAsksBeforeClosingARun)
{
    qputenv("TESSARY_CRASHTEST_TIMING", "10000,50");
    VTTestSandbox sandbox;
    VTSandboxBuilder builder(sandbox.root(), sandbox.home());
    QStringList plugins;
    for (const char *name : {"Gaussian Blur", "Film Grain", "Color Warp"})
        plugins << builder.addBundle(FxPlug, AllUsers, QString::fromUtf8(name));
    builder.createAllFolders();
    builder.addStandInHost(QStringLiteral("Final Cut Pro.app"), QStringLiteral("com.apple.FinalCutPro"),
                           QStringLiteral(TESSARY_STANDIN_HOST), {FxPlug}, {QStringLiteral("Film Grain.fxplug")});
    ASSERT_TRUE(builder.ok()) << builder.errors().join(u'\n').toStdString();

    VTMainThread::setEventLoopRunning(true);
    AppController controller(std::make_unique<VTWidgetInterface>(), true);
    controller.loadPluginData();
    VTCrashTesterWindow window(controller);
    window.crashLocateClick();
    ASSERT_EQ(window.hostChooser()->count(), 6);
    EXPECT_FALSE(window.progressPanel()->isVisible());
    EXPECT_EQ(window.runButton()->text(), QStringLiteral("Run Test"));
    const QRect idle = window.geometry();
    saveScreenshot(window, QStringLiteral("crash-tester-idle.png"));

    window.runButton()->click();
    ASSERT_TRUE(waitUntil([&] { return window.statusLine()->text().startsWith(QLatin1String("Processing")); }));
    EXPECT_EQ(window.runButton()->text(), QStringLiteral("Cancel"));
    EXPECT_FALSE(window.hostChooser()->isEnabled());
    EXPECT_EQ(window.geometry().top(), idle.top());
    EXPECT_GT(window.geometry().height(), idle.height());
    saveScreenshot(window, QStringLiteral("crash-tester-running.png"));

    // Clean-up ends the running state; the culprit is disabled again after it.
    ASSERT_TRUE(waitUntil([&] {
        return !window.tester().isRunning() && !QFileInfo::exists(plugins.at(1)) && visibleMessageBox();
    })) << (visibleMessageBox() ? visibleMessageBox()->text().toStdString() : std::string());
    EXPECT_EQ(visibleMessageBox()->text(), QStringLiteral("Crash Tester found problems with the \"Film Grain\" plugin."));
    visibleMessageBox()->accept();
    EXPECT_EQ(window.geometry(), idle);
    EXPECT_TRUE(window.hostChooser()->isEnabled());
    EXPECT_EQ(window.runButton()->text(), QStringLiteral("Run Test"));
    EXPECT_TRUE(QFileInfo::exists(plugins.at(0)) && QFileInfo::exists(plugins.at(2)));

    // Without the culprit the host survives pass 0: a run that waits.
    stopHost();
    controller.waitForReloads();
    window.runButton()->click();
    ASSERT_TRUE(waitUntil([&] { return window.tester().hostLaunched(); }));
    answerNextWith(&window, QStringLiteral("Cancel"));
    EXPECT_FALSE(window.close());
    EXPECT_TRUE(window.tester().isRunning());
    answerNextWith(&window, QStringLiteral("End Crash Test"));
    EXPECT_TRUE(window.close());
    ASSERT_TRUE(waitUntil([&] { return !window.tester().isRunning(); }));
    EXPECT_TRUE(QFileInfo::exists(plugins.at(0)) && QFileInfo::exists(plugins.at(2)));
    EXPECT_EQ(visibleMessageBox(), nullptr); // a cancelled run reports nothing

    if (s_busAddress.isEmpty())
        FAIL() << "no private dbus-daemon (install the dbus package)";
    QDBusConnection::sessionBus().send(QDBusMessage::createSignal(
        QStringLiteral("/com/vantorel/Tessary"), QStringLiteral("com.vantorel.Tessary"), QStringLiteral("vtRemoteLaunchCrashTest")));
    EXPECT_TRUE(waitUntil([&] { return window.isVisible(); }));
    EXPECT_FALSE(window.tester().isRunning());

    stopHost();
    controller.waitForReloads();
    VTMainThread::setEventLoopRunning(false);
}

int main(int argc, char **argv)
{
    // A private session bus, set before anything connects to one. Started
    // with posix_spawn: a QProcess start on this thread would hide its later
    // hand-overs to the crash tester's worker from ThreadSanitizer.
    const VTTest::SessionBus bus;
    s_busAddress = bus.address();
    if (!s_busAddress.isEmpty())
        qputenv("DBUS_SESSION_BUS_ADDRESS", s_busAddress.toUtf8());
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
