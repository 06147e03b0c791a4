#include "VTChildProcess.h"

#include <QFile>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

extern char **environ;

namespace {

using Clock = std::chrono::steady_clock;

// How often a child that ended is looked for while something it started
// still holds its pipes open.
constexpr std::chrono::milliseconds kEndCheckInterval{50};
constexpr std::chrono::milliseconds kGraceStep{10};
constexpr qsizetype kChunk = 64 * 1024;

void closeFd(int &fd)
{
    if (fd >= 0)
        ::close(fd);
    fd = -1;
}

void setNonBlocking(int fd)
{
    ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK);
}

} // namespace

VTChildProcess::~VTChildProcess()
{
    if (m_running) {
        ::kill(-m_pid, SIGKILL);
        reap(true);
    }
    closeAll();
}

bool VTChildProcess::start(const QString &program, const QStringList &arguments)
{
    // Standard input is a socket so that writing to a child that stopped
    // reading fails with EPIPE instead of raising SIGPIPE in this process.
    int input[2] = {-1, -1};
    int output[2] = {-1, -1};
    int error[2] = {-1, -1};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, input) != 0 || ::pipe2(output, O_CLOEXEC) != 0
        || ::pipe2(error, O_CLOEXEC) != 0) {
        for (int *pair : {input, output, error}) {
            closeFd(pair[0]);
            closeFd(pair[1]);
        }
        return false;
    }

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input[1], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, error[1], STDERR_FILENO);

    // A group of its own, so that a time-out also ends whatever the program
    // started; no signal blocked or ignored by this process carries over.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setpgroup(&attributes, 0);
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setsigmask(&attributes, &none);
    sigset_t defaults;
    sigemptyset(&defaults);
    for (const int signal : {SIGPIPE, SIGTERM, SIGINT, SIGHUP, SIGQUIT, SIGCHLD})
        sigaddset(&defaults, signal);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);

    const QByteArray path = QFile::encodeName(program);
    std::vector<QByteArray> storage{path};
    for (const QString &argument : arguments)
        storage.push_back(argument.toLocal8Bit());
    std::vector<char *> argv;
    for (QByteArray &argument : storage)
        argv.push_back(argument.data());
    argv.push_back(nullptr);

    // glibc reports a failed exec here, so a started child runs the program.
    const int failure = ::posix_spawn(&m_pid, path.constData(), &actions, &attributes, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    closeFd(input[1]);
    closeFd(output[1]);
    closeFd(error[1]);
    m_input = input[0];
    m_outputFd = output[0];
    m_errorFd = error[0];
    if (failure != 0) {
        closeAll();
        return false;
    }
    m_running = true;
    for (const int fd : {m_input, m_outputFd, m_errorFd})
        setNonBlocking(fd);
    return true;
}

bool VTChildProcess::communicate(const QByteArray &input, std::optional<std::chrono::milliseconds> timeout)
{
    const bool limited = timeout.has_value();
    const Clock::time_point deadline = limited ? Clock::now() + *timeout : Clock::time_point::max();
    const auto remaining = [deadline] {
        return std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    };
    qsizetype written = 0;
    if (input.isEmpty())
        closeFd(m_input);

    while (m_outputFd >= 0 || m_errorFd >= 0) {
        std::chrono::milliseconds wait = kEndCheckInterval;
        if (limited)
            wait = std::clamp(remaining(), std::chrono::milliseconds(0), wait);
        pollfd fds[3];
        nfds_t count = 0;
        for (const auto &[fd, events] : {std::pair{m_input, POLLOUT}, {m_outputFd, POLLIN}, {m_errorFd, POLLIN}}) {
            if (fd >= 0)
                fds[count++] = pollfd{fd, short(events), 0};
        }
        if (::poll(fds, count, int(wait.count())) < 0 && errno != EINTR)
            break;
        if (m_input >= 0) {
            const ssize_t sent = ::send(m_input, input.constData() + written, size_t(std::min(input.size() - written, kChunk)),
                                        MSG_NOSIGNAL | MSG_DONTWAIT);
            if (sent > 0)
                written += sent;
            // A child that stopped reading gets no more.
            if (written == input.size() || (sent < 0 && errno != EAGAIN && errno != EINTR))
                closeFd(m_input);
        }
        drain(m_outputFd, m_output);
        drain(m_errorFd, m_error);
        if (reap(false)) {
            // Ended, perhaps leaving the pipes to something it started:
            // what is written so far is what it said.
            drain(m_outputFd, m_output);
            drain(m_errorFd, m_error);
            closeAll();
            return true;
        }
        if (limited && remaining().count() <= 0)
            return false;
    }
    closeFd(m_input);
    // Both pipes are closed: the child is ending.
    if (!limited)
        return reap(true);
    while (!reap(false)) {
        if (remaining().count() <= 0)
            return false;
        std::this_thread::sleep_for(std::min(remaining(), kGraceStep));
    }
    return true;
}

void VTChildProcess::endGroup(std::chrono::milliseconds grace)
{
    if (m_running) {
        ::kill(-m_pid, SIGTERM);
        for (const auto end = Clock::now() + grace; !reap(false) && Clock::now() < end;)
            std::this_thread::sleep_for(kGraceStep);
        if (m_running)
            ::kill(-m_pid, SIGKILL);
        reap(true);
    }
    // Members of the group that ignored the polite request.
    ::kill(-m_pid, SIGKILL);
    drain(m_outputFd, m_output);
    drain(m_errorFd, m_error);
    closeAll();
}

void VTChildProcess::drain(int &fd, QByteArray &into)
{
    char buffer[kChunk];
    while (fd >= 0) {
        const ssize_t count = ::read(fd, buffer, sizeof buffer);
        if (count > 0) {
            into.append(buffer, count);
        } else if (count < 0 && errno == EINTR) {
            continue;
        } else {
            if (count == 0 || errno != EAGAIN)
                closeFd(fd);
            return;
        }
    }
}

bool VTChildProcess::reap(bool block)
{
    if (!m_running)
        return true;
    int status = 0;
    pid_t ended = -1;
    do {
        ended = ::waitpid(m_pid, &status, block ? 0 : WNOHANG);
    } while (ended < 0 && errno == EINTR);
    if (ended == 0)
        return false;
    m_running = false;
    if (ended == m_pid && WIFEXITED(status))
        m_exitCode = WEXITSTATUS(status);
    else
        m_crashed = true; // killed by a signal, or reaped by someone else
    return true;
}

void VTChildProcess::closeAll()
{
    closeFd(m_input);
    closeFd(m_outputFd);
    closeFd(m_errorFd);
}
