#pragma once

#include <QString>

#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include <sys/types.h>

// Host applications as processes: an application is an .app found by its
// bundle identifier in the managed system's Applications folders, launching
// it starts Contents/MacOS/<executable>, and a watcher thread reports the
// launch and the end of every process started here, with the bundle
// identifier, to the observer (on the watcher thread).
class VTHostProcesses
{
public:
    enum class Event { DidLaunch, DidTerminate };
    using Observer = std::function<void(Event, const QString &bundleIdentifier)>;

    explicit VTHostProcesses(Observer observer);
    // Stops watching; hosts still running are left running.
    ~VTHostProcesses();
    VTHostProcesses(const VTHostProcesses &) = delete;
    VTHostProcesses &operator=(const VTHostProcesses &) = delete;

    // Starts the application hidden (no window server here, so simply
    // started); false when there is no such application or it cannot start.
    bool launch(const QString &bundleIdentifier);

    // The pid of the first running process whose executable lies inside an
    // .app of the managed system's Applications folders with exactly this
    // identifier (letter case counts); 0 with none.
    [[nodiscard]] static pid_t runningProcess(const QString &bundleIdentifier);
    [[nodiscard]] static bool isRunning(const QString &bundleIdentifier) { return runningProcess(bundleIdentifier) != 0; }
    // The .app that holds `executable`, or empty.
    [[nodiscard]] static QString applicationOfExecutable(const QString &executable);

private:
    struct Child {
        pid_t pid;
        QString bundleIdentifier;
        bool announced;
    };
    void watch();

    Observer m_observer;
    std::mutex m_mutex;
    std::vector<Child> m_children;
    std::jthread m_watcher;
};
