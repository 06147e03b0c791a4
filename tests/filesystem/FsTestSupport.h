#pragma once

// Shared parts of the file-system tests: real processes, the unprivileged
// test account, extended attributes and small file helpers.

#include "VTPath.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QElapsedTimer>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <csignal>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <pwd.h>
#include <spawn.h>
#include <sys/wait.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace FsTest {

inline QString binaryDir()
{
    return qEnvironmentVariable("TESSARY_BINARY_DIR");
}

inline QString helperPath()
{
    return VTPath::join(binaryDir(), QStringLiteral("Tessary.app/Contents/MacOS/tessary-helper"));
}

inline QString driverPath()
{
    return VTPath::join(binaryDir(), QStringLiteral("tests/filesystem/tessary-fs-driver"));
}

struct Run {
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
};

// A child process started with posix_spawn. The tests use it rather than
// QProcess: Qt 6.4 starts processes with a vfork-like clone that
// ThreadSanitizer takes for a fork of the whole test, after which it misreads
// the locks of the test's own threads.
class Process
{
public:
    Process() = default;
    Process(const Process &) = delete;
    Process &operator=(const Process &) = delete;
    ~Process()
    {
        if (m_pid > 0) {
            ::kill(m_pid, SIGKILL);
            ::waitpid(m_pid, nullptr, 0);
        }
        for (int fd : {m_in, m_out, m_err})
            if (fd >= 0)
                ::close(fd);
    }

    bool start(const QString &program, const QStringList &arguments,
               const QProcessEnvironment &environment = QProcessEnvironment::systemEnvironment())
    {
        int in[2], out[2], err[2];
        if (::pipe2(in, O_CLOEXEC) || ::pipe2(out, O_CLOEXEC) || ::pipe2(err, O_CLOEXEC))
            return false;
        std::vector<QByteArray> words{VTPath::toNative(program)};
        for (const QString &argument : arguments)
            words.push_back(VTPath::toNative(argument));
        std::vector<QByteArray> variables;
        for (const QString &variable : environment.toStringList())
            variables.push_back(VTPath::toNative(variable));
        std::vector<char *> argv, envp;
        for (QByteArray &word : words)
            argv.push_back(word.data());
        argv.push_back(nullptr);
        for (QByteArray &variable : variables)
            envp.push_back(variable.data());
        envp.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
        posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&actions, err[1], STDERR_FILENO);
        const int error = ::posix_spawnp(&m_pid, argv[0], &actions, nullptr, argv.data(), envp.data());
        posix_spawn_file_actions_destroy(&actions);
        ::close(in[0]);
        ::close(out[1]);
        ::close(err[1]);
        m_in = in[1];
        m_out = out[0];
        m_err = err[0];
        if (error != 0)
            m_pid = -1;
        return error == 0;
    }

    [[nodiscard]] pid_t pid() const { return m_pid; }

    void write(const QByteArray &input)
    {
        if (m_in >= 0 && !input.isEmpty())
            (void)!::write(m_in, input.constData(), static_cast<size_t>(input.size()));
    }
    void closeInput()
    {
        if (m_in >= 0)
            ::close(m_in);
        m_in = -1;
    }

    // One line of standard output, without its end; empty on time-out.
    QByteArray readLine(int timeoutMs)
    {
        QElapsedTimer timer;
        timer.start();
        while (!m_out_buffer.contains('\n') && timer.elapsed() < timeoutMs)
            pump(50);
        const qsizetype end = m_out_buffer.indexOf('\n');
        if (end < 0)
            return QByteArray();
        const QByteArray line = m_out_buffer.left(end);
        m_out_buffer.remove(0, end + 1);
        return line;
    }

    // Waits for the end (killing the process after the time-out) and
    // collects what it wrote.
    Run finish(int timeoutMs)
    {
        Run result;
        QElapsedTimer timer;
        timer.start();
        int status = 0;
        while (m_pid > 0) {
            pump(20);
            const pid_t done = ::waitpid(m_pid, &status, WNOHANG);
            if (done == m_pid) {
                m_pid = -1;
                result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
            } else if (timer.elapsed() > timeoutMs) {
                ::kill(m_pid, SIGKILL);
            }
        }
        pump(0);
        result.out = m_out_buffer;
        result.err = m_err_buffer;
        return result;
    }

private:
    // Reads what is ready on standard output and error.
    void pump(int waitMs)
    {
        pollfd watch[2] = {{m_out, POLLIN, 0}, {m_err, POLLIN, 0}};
        if (::poll(watch, 2, waitMs) <= 0)
            return;
        char buffer[4096];
        for (int i = 0; i < 2; ++i) {
            if (!(watch[i].revents & (POLLIN | POLLHUP)))
                continue;
            const ssize_t n = ::read(watch[i].fd, buffer, sizeof buffer);
            if (n > 0)
                (i == 0 ? m_out_buffer : m_err_buffer).append(buffer, n);
            else if (n == 0) {
                ::close(watch[i].fd);
                (i == 0 ? m_out : m_err) = -1;
            }
        }
    }

    pid_t m_pid = -1;
    int m_in = -1;
    int m_out = -1;
    int m_err = -1;
    QByteArray m_out_buffer;
    QByteArray m_err_buffer;
};

inline Run run(const QString &program, const QStringList &arguments, const QByteArray &input = QByteArray(),
               const QProcessEnvironment &environment = QProcessEnvironment::systemEnvironment(), int timeoutMs = 60000)
{
    Process process;
    if (!process.start(program, arguments, environment))
        return {};
    process.write(input);
    process.closeInput();
    return process.finish(timeoutMs);
}

inline bool isRoot()
{
    return ::geteuid() == 0;
}

struct User {
    QString name;
    uid_t uid = 0;
    gid_t gid = 0;
    [[nodiscard]] bool valid() const { return !name.isEmpty(); }
};

inline User lookUpUser(const QString &name)
{
    const passwd *entry = ::getpwnam(name.toLocal8Bit().constData());
    if (!entry)
        return {};
    return {name, entry->pw_uid, entry->pw_gid};
}

// The unprivileged accounts, created by the fixture script when running as
// root; invalid when that is not possible.
inline User testUser(const QString &name = QStringLiteral("tessary-test"))
{
    if (!isRoot())
        return {};
    static const bool prepared = run(QStringLiteral("/bin/sh"),
                                     {VTPath::join(qEnvironmentVariable("TESSARY_SOURCE_DIR"),
                                                   QStringLiteral("tests/filesystem/prepare_test_users.sh")),
                                      helperPath()})
                                     .exitCode
        == 0;
    return prepared ? lookUpUser(name) : User{};
}

// Runs `program` as `user` with exactly the given environment (plus PATH).
inline Run runAs(const User &user, const QString &program, const QStringList &arguments, const QStringList &environment,
                 const QByteArray &input = QByteArray(), int timeoutMs = 60000)
{
    QStringList command = {QStringLiteral("--reuid=%1").arg(user.uid), QStringLiteral("--regid=%1").arg(user.gid),
                           QStringLiteral("--init-groups"), QStringLiteral("--"), QStringLiteral("/usr/bin/env"),
                           QStringLiteral("-i"), QStringLiteral("PATH=/usr/local/bin:/usr/bin:/bin:/usr/sbin:/sbin")};
    command << environment << program << arguments;
    return run(QStringLiteral("/usr/bin/setpriv"), command, input, QProcessEnvironment::systemEnvironment(), timeoutMs);
}

inline bool writeFile(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(VTPath::removeLastComponent(path));
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(bytes) == bytes.size();
}

inline QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

inline bool exists(const QString &path)
{
    struct stat st {};
    return ::lstat(VTPath::toNative(path).constData(), &st) == 0;
}

inline struct stat statOf(const QString &path)
{
    struct stat st {};
    ::lstat(VTPath::toNative(path).constData(), &st);
    return st;
}

inline bool setXattr(const QString &path, const char *name, const QByteArray &value)
{
    return ::lsetxattr(VTPath::toNative(path).constData(), name, value.constData(), static_cast<size_t>(value.size()), 0) == 0;
}

inline QByteArray getXattr(const QString &path, const char *name)
{
    char buffer[4096];
    const ssize_t n = ::lgetxattr(VTPath::toNative(path).constData(), name, buffer, sizeof buffer);
    return n < 0 ? QByteArray() : QByteArray(buffer, static_cast<int>(n));
}

inline bool chownPath(const QString &path, const User &user)
{
    return ::lchown(VTPath::toNative(path).constData(), user.uid, user.gid) == 0;
}

inline bool chmodPath(const QString &path, mode_t mode)
{
    return ::chmod(VTPath::toNative(path).constData(), mode) == 0;
}

// A bundle with an executable, a resource, an inner link and a type code in
// an extended attribute: everything a move must keep.
inline bool makeBundle(const QString &bundle)
{
    const QString contents = VTPath::join(bundle, QStringLiteral("Contents"));
    const QString executable = VTPath::join(contents, QStringLiteral("MacOS/Glow"));
    return writeFile(VTPath::join(contents, QStringLiteral("Info.plist")), "<plist><dict/></plist>\n")
        && writeFile(executable, QByteArray(70000, 'x')) && chmodPath(executable, 0755)
        && writeFile(VTPath::join(contents, QStringLiteral("Resources/en.lproj/InfoPlist.strings")), "name = Glow;\n")
        && ::symlink("MacOS/Glow", VTPath::toNative(VTPath::join(contents, QStringLiteral("Current"))).constData()) == 0
        && setXattr(bundle, "user.com.apple.FinderInfo", QByteArray("FCSCxxxx", 8));
}

} // namespace FsTest
