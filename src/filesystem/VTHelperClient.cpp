#include "VTHelperClient.h"

#include "VTHelperProtocol.h"
#include "VTLog.h"
#include "VTPath.h"

#include <cerrno>
#include <cstring>
#include <vector>

#include <fcntl.h>
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

bool VTHelperClient::start(const QStringList &command, const QString &helperPath, const std::optional<Password> &password)
{
    stop();
    {
        std::lock_guard lock(m_mutex);
        m_startState = StartState::Pending;
        m_replies.clear();
        m_asyncRequests.clear();
    }
    m_exitStatus = -1;
    m_thread = std::thread(&VTHelperClient::threadMain, this, command, helperPath, password);
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

bool VTHelperClient::spawn(const QStringList &command, const QString &helperPath, bool watchErrors)
{
    int pair[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair) != 0)
        return false;
    int errors[2] = {-1, -1};
    if (watchErrors && ::pipe2(errors, O_CLOEXEC) != 0) {
        ::close(pair[0]);
        ::close(pair[1]);
        return false;
    }
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
    if (watchErrors)
        posix_spawn_file_actions_adddup2(&actions, errors[1], STDERR_FILENO);
    pid_t pid = -1;
    const int error = ::posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(pair[1]);
    if (watchErrors)
        ::close(errors[1]);
    m_errors = errors[0];
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

bool VTHelperClient::readReady()
{
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

bool VTHelperClient::awaitReady(const std::optional<Password> &password)
{
    if (!password)
        return readReady();
    // The tool prompts once; a second prompt is its "try again".
    const auto deadline = std::chrono::steady_clock::now() + password->timeout;
    QByteArray errors;
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0)
            return false;
        pollfd watch[2] = {{m_socket, POLLIN, 0}, {m_errors, POLLIN, 0}};
        const int ready = ::poll(watch, m_errors >= 0 ? 2 : 1, static_cast<int>(left.count()));
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready <= 0)
            return false;
        if (watch[0].revents)
            return readReady();
        if (watch[1].revents) {
            char buffer[512];
            const ssize_t n = ::read(m_errors, buffer, sizeof buffer);
            if (n <= 0) {
                ::close(m_errors);
                m_errors = -1;
                continue;
            }
            errors.append(buffer, n);
            if (!password->prompt.isEmpty() && errors.count(password->prompt) >= 2)
                return false;
        }
    }
}

void VTHelperClient::forwardErrors()
{
    char buffer[4096];
    const ssize_t n = ::read(m_errors, buffer, sizeof buffer);
    if (n <= 0) {
        ::close(m_errors);
        m_errors = -1;
        return;
    }
    // What the helper or the tool says goes where our own messages go.
    (void)!::write(STDERR_FILENO, buffer, static_cast<size_t>(n));
}

void VTHelperClient::threadMain(QStringList command, QString helperPath, std::optional<Password> password)
{
    bool ready = spawn(command, helperPath, password.has_value());
    if (ready && password) {
        const QByteArray line = password->password + '\n';
        ready = VTHelperProtocol::writeExact(m_socket, line.constData(), static_cast<std::size_t>(line.size()));
    }
    if (ready)
        ready = awaitReady(password);
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
    for (;;) {
        if (m_errors >= 0) {
            pollfd watch[2] = {{m_socket, POLLIN, 0}, {m_errors, POLLIN, 0}};
            if (::poll(watch, 2, -1) < 0) {
                if (errno == EINTR)
                    continue;
                break;
            }
            if (watch[1].revents)
                forwardErrors();
            if (!watch[0].revents)
                continue;
        }
        if (!VTHelperProtocol::readReply(m_socket, reply))
            break;
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
    if (m_errors >= 0) {
        ::close(m_errors);
        m_errors = -1;
    }
    m_changed.notify_all();
    if (m_pid <= 0)
        return;
    int status = 0;
    while (::waitpid(m_pid, &status, 0) < 0 && errno == EINTR) {
    }
    m_pid = -1;
    const int code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    m_exitStatus = code;
    if (code == 126)
        VTLog::appendLog(QStringLiteral("Administrator authorization was dismissed"));
    else if (code == 127)
        VTLog::appendLog(QStringLiteral("Administrator authorization was refused"));
    else if (code != 0)
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
