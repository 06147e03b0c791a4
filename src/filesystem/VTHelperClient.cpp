#include "VTHelperClient.h"

#include "VTHelperProtocol.h"
#include "VTLog.h"
#include "VTPath.h"

#include <cerrno>
#include <cstring>
#include <vector>

#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

extern char **environ;

VTHelperClient::~VTHelperClient()
{
    stop();
}

bool VTHelperClient::start(const QStringList &command, const QString &helperPath,
                           const std::optional<QByteArray> &password, std::chrono::seconds passwordTimeout)
{
    stop();
    {
        std::lock_guard lock(m_mutex);
        m_startState = StartState::Pending;
        m_replies.clear();
        m_asyncRequests.clear();
    }
    m_exitStatus = -1;
    m_thread = std::thread(&VTHelperClient::threadMain, this, command, helperPath, password, passwordTimeout);
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [this] { return m_startState != StartState::Pending; });
    return m_startState == StartState::Ready;
}

void VTHelperClient::stop()
{
    if (!m_thread.joinable())
        return;
    {
        std::lock_guard lock(m_writeMutex);
        if (m_socket >= 0)
            ::shutdown(m_socket, SHUT_WR);
    }
    m_thread.join();
    std::lock_guard lock(m_writeMutex);
    if (m_socket >= 0) {
        ::close(m_socket);
        m_socket = -1;
    }
}

bool VTHelperClient::spawn(const QStringList &command, const QString &helperPath)
{
    int pair[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair) != 0)
        return false;
    std::vector<QByteArray> words;
    for (const QString &word : command)
        words.push_back(word.toLocal8Bit());
    words.push_back(VTPath::toNative(helperPath));
    std::vector<char *> argv;
    for (QByteArray &word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, pair[1], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, pair[1], STDOUT_FILENO);
    pid_t pid = -1;
    const int error = ::posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(pair[1]);
    if (error != 0) {
        ::close(pair[0]);
        VTLog::appendLog(QStringLiteral("Unable to start %1: %2").arg(command.join(u' '), QString::fromLocal8Bit(std::strerror(error))));
        return false;
    }
    std::lock_guard lock(m_writeMutex);
    m_socket = pair[0];
    m_pid = pid;
    return true;
}

bool VTHelperClient::awaitReady(std::optional<std::chrono::seconds> timeout)
{
    if (timeout) {
        pollfd watch{m_socket, POLLIN, 0};
        int ready = 0;
        do {
            ready = ::poll(&watch, 1, static_cast<int>(std::chrono::milliseconds(*timeout).count()));
        } while (ready < 0 && errno == EINTR);
        if (ready <= 0)
            return false;
    }
    std::uint32_t magic = 0;
    std::int32_t euid = -1;
    if (!VTHelperProtocol::readExact(m_socket, &magic, sizeof magic) || !VTHelperProtocol::readExact(m_socket, &euid, sizeof euid))
        return false;
    if (magic != VTHelperProtocol::ReadyMagic)
        return false;
    if (euid != 0) {
        VTLog::appendLog(QStringLiteral("The privileged helper runs without administrator rights (user id %1)").arg(euid));
        return false;
    }
    return true;
}

void VTHelperClient::threadMain(QStringList command, QString helperPath, std::optional<QByteArray> password,
                                std::chrono::seconds passwordTimeout)
{
    bool ready = spawn(command, helperPath);
    if (ready && password) {
        const QByteArray line = *password + '\n';
        ready = VTHelperProtocol::writeExact(m_socket, line.constData(), static_cast<std::size_t>(line.size()));
    }
    if (ready)
        ready = awaitReady(password ? std::optional(passwordTimeout) : std::nullopt);
    if (ready) {
        const char *line = VTHelperProtocol::StartLine;
        ready = VTHelperProtocol::writeExact(m_socket, line, std::strlen(line));
    }
    m_running = ready;
    if (!ready && m_socket >= 0) {
        // A tool still waiting for another password try gets end of input.
        std::lock_guard lock(m_writeMutex);
        ::shutdown(m_socket, SHUT_WR);
    }
    {
        std::lock_guard lock(m_mutex);
        m_startState = ready ? StartState::Ready : StartState::Failed;
    }
    m_changed.notify_all();
    if (ready)
        readReplies();
    finishChild();
}

void VTHelperClient::readReplies()
{
    VTHelperProtocol::Reply reply;
    while (VTHelperProtocol::readReply(m_socket, reply)) {
        QString asyncRequest;
        bool isAsync = false;
        {
            std::lock_guard lock(m_mutex);
            const auto found = m_asyncRequests.find(reply.id);
            if (found != m_asyncRequests.end()) {
                isAsync = true;
                asyncRequest = found->second;
                m_asyncRequests.erase(found);
            } else {
                m_replies[reply.id] = reply.status;
            }
        }
        if (isAsync && reply.status != 0)
            VTLog::appendLog(QStringLiteral("Privileged task %1 failed: %2")
                                 .arg(asyncRequest, QString::fromLocal8Bit(std::strerror(reply.status))));
        m_changed.notify_all();
    }
}

void VTHelperClient::finishChild()
{
    m_running = false;
    m_changed.notify_all();
    if (m_pid <= 0)
        return;
    int status = 0;
    while (::waitpid(m_pid, &status, 0) < 0 && errno == EINTR) {
    }
    m_pid = -1;
    const int code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    m_exitStatus = code;
    if (code != 0)
        VTLog::appendLog(QStringLiteral("Privileged helper ended with status %1").arg(code));
}

int VTHelperClient::execute(const QStringList &arguments, bool wait)
{
    if (!m_running)
        return StatusHelperGone;
    std::vector<std::string> vector;
    for (const QString &argument : arguments)
        vector.push_back(VTPath::toNative(argument).toStdString());
    quint32 id = 0;
    {
        std::lock_guard writeLock(m_writeMutex);
        {
            std::lock_guard lock(m_mutex);
            id = ++m_nextId;
            if (!wait)
                m_asyncRequests[id] = arguments.join(u' ');
        }
        const std::string request = VTHelperProtocol::encodeRequest(id, vector);
        if (m_socket < 0 || !VTHelperProtocol::writeExact(m_socket, request.data(), request.size())) {
            std::lock_guard lock(m_mutex);
            m_asyncRequests.erase(id);
            return StatusHelperGone;
        }
    }
    if (!wait)
        return 0;
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [this, id] { return m_replies.count(id) || !m_running; });
    const auto found = m_replies.find(id);
    if (found == m_replies.end())
        return StatusHelperGone;
    const int status = found->second;
    m_replies.erase(found);
    return status;
}
