#pragma once

#include "VTCatalogueItem.h"
#include "VTCrashTestHost.h"
#include "VTHostProcesses.h"

#include <QStringList>

#include <atomic>
#include <chrono>
#include <cstdio>

// What the crash tester needs of the catalogue; called on the main thread.
class VTCrashTestCatalogue
{
public:
    virtual ~VTCrashTestCatalogue() = default;
    // Enabled plug-in paths without group folders, in listing order.
    [[nodiscard]] virtual QStringList enabledPluginPaths() = 0;
    [[nodiscard]] virtual PluginPtr pluginFromPath(const QString &path) = 0;
    // Status 0 disables, 1 enables.
    virtual bool moveFilter(const PluginPtr &plugin, qint64 newStatus) = 0;
    virtual void reloadData() = 0;
};

// The crash tester window's steps; called on the main thread. A run without
// a window has none (the tester prints instead).
class VTCrashTestDisplay
{
public:
    virtual ~VTCrashTestDisplay() = default;
    // Starts the administrator authorization unless it is already granted.
    virtual void authorize() = 0;
    // true: button "Cancel", chooser disabled, window grown by the progress
    // panel (top edge kept); false: the idle form. Nothing when already so.
    virtual void resizeCrashTestDialog(bool running) = 0;
    virtual void startCrashTestProgress() = 0;
    virtual void setupCrashTestProgressBar(int maximum) = 0;
    virtual void incrementCrashTestProgress() = 0;
    virtual void showStatus(const QString &text) = 0;
    virtual void showSheet(const QString &message, const QString &informativeText) = 0;
    // Clean-up: status line and bar hidden, idle form.
    virtual void endCrashTestProgress() = 0;
};

// The 30-second waits for a launch and a crash and their 1-second steps.
// TESSARY_CRASHTEST_TIMING="<wait ms>,<step ms>" shortens them for tests; it
// is read once.
struct VTCrashTestTiming
{
    std::chrono::milliseconds wait{30000};
    std::chrono::milliseconds step{1000};

    [[nodiscard]] static VTCrashTestTiming fromEnvironment();
};

// Finds the plug-in that makes a host crash while it starts: launches the
// host with every candidate enabled, then disables one candidate more before
// each further launch until a launch survives. The last one disabled is the
// culprit; it stays disabled and every other candidate is enabled again.
class VTCrashTester
{
public:
    // Without a display the status lines go to `output`.
    VTCrashTester(VTCrashTestCatalogue &catalogue, VTCrashTestDisplay *display, FILE *output = stdout);
    ~VTCrashTester();
    VTCrashTester(const VTCrashTester &) = delete;
    VTCrashTester &operator=(const VTCrashTester &) = delete;

    // Main thread. The chooser's index; set before a run.
    void setHostIndex(int index) { m_hostIndex = index; }
    // The Run Test / Cancel button: starts a run on a thread of its own when
    // none is active, else cancels the active one.
    void runCrashTestClick();
    void cancel() { m_cancelled = true; }

    // The whole run on the calling thread (a worker, or the command line's
    // thread). Answers the culprit's path, empty when none was found.
    QString runCrashTest();

    [[nodiscard]] bool isRunning() const { return m_running; }
    [[nodiscard]] bool isCancelled() const { return m_cancelled; }
    [[nodiscard]] bool hostLaunched() const { return m_launched; }
    [[nodiscard]] int launchCount() const { return m_launchCount; }

private:
    enum class Wait { Done, TimedOut, Cancelled };

    QString run();
    // Polls `flag` each step until set, the wait is over or the user cancels.
    Wait waitFor(const std::atomic<bool> &flag) const;
    void observe(VTHostProcesses::Event event, const QString &bundleIdentifier);
    void updateStatus(const QString &text);
    // Logs `logText`; shows the sheet with a window, else prints `printed`.
    void report(const QString &logText, const QString &message, const QString &informative, const QString &printed);
    void quitHost();
    void cleanup(const QList<PluginPtr> &candidates, bool reload);
    void onMainThread(const std::function<void()> &step);

    VTCrashTestCatalogue &m_catalogue;
    VTCrashTestDisplay *m_display;
    FILE *m_output;
    VTCrashTestTiming m_timing;
    VTCrashTestHost m_host;
    int m_hostIndex = 0;
    // Written by the run, read by whoever watches it.
    std::atomic<int> m_launchCount{0};
    // Written on the main thread (button, observers), polled by the run.
    std::atomic<bool> m_running{false};
    std::atomic<bool> m_cancelled{false};
    std::atomic<bool> m_launched{false};
    std::atomic<bool> m_crashed{false};
    std::atomic<bool> m_observing{false};
    VTHostProcesses m_processes;
};
