#include "VTCrashTester.h"

#include "VTException.h"
#include "VTLog.h"
#include "VTMainThread.h"
#include "VTPluginItem.h"

#include <QThread>

#include <csignal>
#include <thread>

#include <syslog.h>

VTCrashTestTiming VTCrashTestTiming::fromEnvironment()
{
    static const VTCrashTestTiming timing = [] {
        VTCrashTestTiming read;
        const QStringList parts = qEnvironmentVariable("TESSARY_CRASHTEST_TIMING").split(QLatin1Char(','));
        bool waitOK = false;
        bool stepOK = false;
        const int wait = parts.value(0).toInt(&waitOK);
        const int step = parts.value(1).toInt(&stepOK);
        if (parts.size() == 2 && waitOK && stepOK && wait > 0 && step > 0) {
            read.wait = std::chrono::milliseconds(wait);
            read.step = std::chrono::milliseconds(step);
        }
        return read;
    }();
    return timing;
}

VTCrashTester::VTCrashTester(VTCrashTestCatalogue &catalogue, VTCrashTestDisplay *display, FILE *output)
    : m_catalogue(catalogue)
    , m_display(display)
    , m_output(output)
    , m_timing(VTCrashTestTiming::fromEnvironment())
    , m_processes([this](VTHostProcesses::Event event, const QString &identifier) { observe(event, identifier); })
{
}

VTCrashTester::~VTCrashTester() = default;

void VTCrashTester::runCrashTestClick()
{
    if (m_running) {
        m_cancelled = true;
        return;
    }
    // Set here, not only in the run, so a second click before the thread
    // starts cancels instead of starting another run.
    m_running = true;
    std::thread([this] { runCrashTest(); }).detach();
}

void VTCrashTester::onMainThread(const std::function<void()> &step)
{
    VTMainThread::runAndWait(step);
}

void VTCrashTester::observe(VTHostProcesses::Event event, const QString &bundleIdentifier)
{
    const QString identifier = bundleIdentifier.toLower();
    VTMainThread::run([this, event, identifier] {
        if (!m_observing || identifier != m_host.bundleIdentifier.toLower())
            return;
        if (event == VTHostProcesses::Event::DidLaunch)
            m_launched = true;
        else
            m_crashed = true;
    });
}

void VTCrashTester::updateStatus(const QString &text)
{
    VTLog::appendLog(text);
    if (!m_display) {
        fprintf(m_output, "%s\n", text.toUtf8().constData());
        fflush(m_output);
        return;
    }
    onMainThread([this, text] { m_display->showStatus(text); });
}

void VTCrashTester::report(const QString &logText, const QString &message, const QString &informative,
                           const QString &printed)
{
    VTLog::appendLog(logText);
    if (m_display) {
        onMainThread([this, message, informative] { m_display->showSheet(message, informative); });
    } else if (!printed.isEmpty()) {
        fprintf(m_output, "%s\n", printed.toUtf8().constData());
        fflush(m_output);
    }
}

VTCrashTester::Wait VTCrashTester::waitFor(const std::atomic<bool> &flag) const
{
    const auto start = std::chrono::steady_clock::now();
    while (!flag && std::chrono::steady_clock::now() - start < m_timing.wait) {
        if (m_cancelled)
            return Wait::Cancelled;
        std::this_thread::sleep_for(m_timing.step);
    }
    return flag ? Wait::Done : Wait::TimedOut;
}

void VTCrashTester::quitHost()
{
    onMainThread([this] {
        const pid_t pid = VTHostProcesses::runningProcess(m_host.bundleIdentifier);
        if (pid == 0)
            VTLog::appendLogAndPrint(QStringLiteral("Unable to quit - app is not running"));
        else if (::kill(pid, SIGTERM) != 0)
            VTLog::appendLogAndPrint(QStringLiteral("Unable to quit - app did not terminate"));
    });
}

QString VTCrashTester::runCrashTest()
{
    m_running = true;
    QString culprit;
    try {
        culprit = run();
    } catch (...) {
        VTException::logCurrentException("-[AppController runCrashTest]");
    }
    m_running = false;
    return culprit;
}

QString VTCrashTester::run()
{
    m_cancelled = false;
    m_launchCount = 0;
    VTLog::appendLog(QStringLiteral("Running crash test..."));
    if (m_display) {
        onMainThread([this] {
            m_display->authorize();
            m_display->resizeCrashTestDialog(true);
        });
    }
    m_host = VTCrashTestHost::forIndex(m_hostIndex);
    const QString name = m_host.displayName;

    if (VTHostProcesses::isRunning(m_host.bundleIdentifier)) {
        const QString please = QStringLiteral("Please close %1 before running the test.").arg(name);
        VTLog::appendLog(QStringLiteral("%1 is running. Please close it before launching the test.").arg(name));
        if (m_display) {
            onMainThread([this, please] {
                m_display->showSheet(please, QString());
                m_display->resizeCrashTestDialog(false);
            });
        } else {
            fprintf(m_output, "%s\n", please.toUtf8().constData());
            fflush(m_output);
        }
        return {};
    }
    if (m_cancelled) {
        cleanup({}, false);
        return {};
    }

    if (m_display)
        onMainThread([this] { m_display->startCrashTestProgress(); });
    updateStatus(QStringLiteral("Initializing..."));
    m_observing = true;

    QStringList paths;
    onMainThread([this, &paths] { paths = m_catalogue.enabledPluginPaths(); });
    if (m_cancelled) {
        cleanup({}, false);
        return {};
    }
    QStringList candidates;
    QList<PluginPtr> records;
    onMainThread([&] {
        for (const QString &path : std::as_const(paths)) {
            const PluginPtr plugin = m_catalogue.pluginFromPath(path);
            if (plugin && m_host.candidateKinds.contains(plugin->pluginType())) {
                candidates.append(path);
                records.append(plugin);
            }
        }
    });
    if (m_cancelled) {
        cleanup(records, false);
        return {};
    }
    const auto count = static_cast<int>(candidates.size());
    if (m_display)
        onMainThread([this, count] { m_display->setupCrashTestProgressBar(count); });

    const QString unableToLaunch = QStringLiteral("Unable to launch %1. Crash Test aborted.").arg(name);
    int processed = 0;
    for (int pass = 0;; ++pass) {
        if (pass >= count + 1) {
            report(QStringLiteral("Crash Tester was unable to discover the cause of the crash. It is likely that the "
                                  "crash is not caused by a plugin."),
                   QStringLiteral("Crash Tester was unable to discover the cause of the crash."),
                   QStringLiteral("It is likely that the crash is not caused by a plugin."),
                   QStringLiteral("Crash Tester was unable to discover the cause of the crash. It is likely that the "
                                  "crash is not caused by a plugin."));
            cleanup(records, true);
            return {};
        }
        if (m_cancelled) {
            cleanup(records, false);
            return {};
        }
        if (pass > 0) {
            const PluginPtr plugin = records.at(pass - 1);
            ++processed;
            updateStatus(QStringLiteral("Processing %1 (%2 of %3)").arg(plugin->shortName()).arg(processed).arg(count));
            onMainThread([this, &plugin] {
                if (m_display)
                    m_display->incrementCrashTestProgress();
                m_catalogue.moveFilter(plugin, 0);
            });
            std::this_thread::sleep_for(m_timing.step);
        } else {
            updateStatus(QStringLiteral("Performing test pass..."));
        }

        m_crashed = false;
        m_launched = false;
        ++m_launchCount;
        if (!m_processes.launch(m_host.bundleIdentifier)) {
            report(unableToLaunch, QStringLiteral("Unable to launch %1").arg(name), QStringLiteral("Crash Test aborted."),
                   unableToLaunch);
            cleanup(records, true);
            return {};
        }
        Wait wait = waitFor(m_launched);
        if (wait == Wait::TimedOut) {
            report(unableToLaunch, QStringLiteral("Unable to launch %1").arg(name), QStringLiteral("Crash Test aborted."),
                   unableToLaunch);
            cleanup(records, true);
            return {};
        }
        if (wait == Wait::Done)
            wait = waitFor(m_crashed);
        if (wait == Wait::Cancelled) {
            cleanup(records, false);
            return {};
        }

        if (!m_crashed) {
            if (pass == 0) {
                const QString replicate = QStringLiteral(
                    "Crash Tester has been unable to replicate the crash. Test aborted. Crash Tester is designed to "
                    "locate plugins that crash at startup.");
                report(replicate, QStringLiteral("Crash Tester has been unable to reproduce the crash. Test aborted."),
                       QStringLiteral("Crash Tester is designed to locate plugins that crash at startup."), QString());
                if (!m_display)
                    syslog(LOG_NOTICE, "%s", replicate.toUtf8().constData());
                cleanup(records, true);
                return {};
            }
            const PluginPtr culprit = records.at(pass - 1);
            report(QStringLiteral("Crash Tester found problems with the \"%1\" plugin. This plugin has been disabled.")
                       .arg(culprit->shortName()),
                   QStringLiteral("Crash Tester found problems with the \"%1\" plugin.").arg(culprit->shortName()),
                   QStringLiteral("This plugin has been disabled."),
                   QStringLiteral("Crash Tester found problems with the \"%1\" plugin. This plugin has been disabled.")
                       .arg(culprit->shortName()));
            cleanup(records, false);
            onMainThread([this, &culprit] {
                m_catalogue.moveFilter(culprit, 0);
                m_catalogue.reloadData();
            });
            return candidates.at(pass - 1);
        }

        if (m_cancelled) {
            cleanup(records, false);
            return {};
        }
        quitHost();
        if (waitFor(m_crashed) != Wait::Done) {
            VTLog::appendLog(QStringLiteral("Unable to close %1. Crash test aborted.").arg(name));
            if (m_display) {
                onMainThread([this, name] {
                    m_display->showSheet(QStringLiteral("Unable to close %1.").arg(name), QStringLiteral("Crash Test aborted."));
                });
            } else {
                fprintf(m_output, "%s\n", QStringLiteral("Unable to close %1.").arg(name).toUtf8().constData());
                fflush(m_output);
            }
            cleanup(records, true);
            return {};
        }
    }
}

void VTCrashTester::cleanup(const QList<PluginPtr> &candidates, bool reload)
{
    onMainThread([this, &candidates, reload] {
        try {
            VTLog::appendLog(QStringLiteral("Cleaning up crash test..."));
            VTLog::appendLog(QStringLiteral("Enabling disabled plugins..."));
            // The records, not the paths: a disabled record no longer answers
            // to its enabled path. Every candidate, also those never reached.
            for (const PluginPtr &plugin : candidates)
                m_catalogue.moveFilter(plugin, 1);
            m_observing = false;
            if (m_display) {
                m_display->endCrashTestProgress();
                if (reload)
                    m_catalogue.reloadData();
            }
        } catch (...) {
            VTException::logCurrentException("-[AppController cleanupCrashTest:reloadData:]");
        }
        m_running = false;
    });
}
