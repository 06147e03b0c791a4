#include "VTHostProcesses.h"

#include "VTApplicationLocator.h"
#include "VTBundle.h"
#include "VTLocalPaths.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <chrono>

#include <fcntl.h>
#include <spawn.h>
#include <unistd.h>
#include <sys/wait.h>

extern char **environ;

namespace {

// How often the watcher looks for ended hosts; well below the crash
// tester's one-second polling.
constexpr std::chrono::milliseconds WatchInterval{20};

} // namespace

VTHostProcesses::VTHostProcesses(Observer observer)
    : m_observer(std::move(observer))
    , m_watcher([this](const std::stop_token &stop) {
        while (!stop.stop_requested()) {
            watch();
            std::this_thread::sleep_for(WatchInterval);
        }
    })
{
}

VTHostProcesses::~VTHostProcesses() = default;

bool VTHostProcesses::launch(const QString &bundleIdentifier)
{
    const QString application = VTApplicationLocator::applicationPathForBundleIdentifier(bundleIdentifier);
    if (application.isEmpty())
        return false;
    const QString executable = VTBundle(application).executablePath();
    if (executable.isEmpty())
        return false;
    const QByteArray path = QFile::encodeName(executable);
    char *arguments[] = {const_cast<char *>(path.constData()), nullptr};
    // Started as the desktop would start an application: in a session of its
    // own and with nothing of ours on its standard streams, so a host left
    // running does not hold the caller's terminal or output pipe.
    posix_spawn_file_actions_t streams;
    posix_spawn_file_actions_init(&streams);
    posix_spawn_file_actions_addopen(&streams, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&streams, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_adddup2(&streams, STDOUT_FILENO, STDERR_FILENO);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID);
    pid_t pid = 0;
    // posix_spawn reports a failed exec, so a started host is a launched one.
    const int failure = posix_spawn(&pid, path.constData(), &streams, &attributes, arguments, environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&streams);
    if (failure != 0)
        return false;
    const std::scoped_lock lock(m_mutex);
    m_children.push_back({pid, VTApplicationLocator::bundleIdentifier(application), false});
    return true;
}

void VTHostProcesses::watch()
{
    std::vector<Child> launched;
    std::vector<Child> ended;
    {
        const std::scoped_lock lock(m_mutex);
        for (auto it = m_children.begin(); it != m_children.end();) {
            if (!it->announced) {
                launched.push_back(*it);
                it->announced = true;
            }
            int status = 0;
            if (waitpid(it->pid, &status, WNOHANG) == it->pid) {
                ended.push_back(*it);
                it = m_children.erase(it);
            } else {
                ++it;
            }
        }
    }
    for (const Child &child : launched)
        m_observer(Event::DidLaunch, child.bundleIdentifier);
    for (const Child &child : ended)
        m_observer(Event::DidTerminate, child.bundleIdentifier);
}

QString VTHostProcesses::applicationOfExecutable(const QString &executable)
{
    for (QString folder = QFileInfo(executable).path(); folder.size() > 1; folder = QFileInfo(folder).path()) {
        if (folder.endsWith(QLatin1String(".app")))
            return folder;
    }
    return {};
}

pid_t VTHostProcesses::runningProcess(const QString &bundleIdentifier)
{
    // Only hosts of the managed system count: the same application installed
    // elsewhere (another root, another user's test run) is not its host.
    QStringList applicationFolders;
    for (const bool forUser : {false, true}) {
        const QString folder = QFileInfo(VTLocalPaths::applicationDirectory(forUser)).canonicalFilePath();
        if (!folder.isEmpty())
            applicationFolders.append(folder + u'/');
    }
    const auto isManaged = [&applicationFolders](const QString &application) {
        return std::ranges::any_of(applicationFolders, [&application](const QString &folder) { return application.startsWith(folder); });
    };
    const QStringList entries = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
    for (const QString &entry : entries) {
        bool isPid = false;
        const pid_t pid = entry.toInt(&isPid);
        if (!isPid)
            continue;
        // A zombie has no executable link left: it runs no more.
        const QString executable = QFile::symLinkTarget(QStringLiteral("/proc/") + entry + QStringLiteral("/exe"));
        const QString application = applicationOfExecutable(executable);
        if (!application.isEmpty() && isManaged(application) && VTApplicationLocator::bundleIdentifier(application) == bundleIdentifier)
            return pid;
    }
    return 0;
}
