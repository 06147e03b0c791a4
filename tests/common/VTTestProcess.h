#pragma once

// The one way tests run another program: posix_spawn, every byte of its
// output collected, a time-out that kills it. Tests use it rather than
// QProcess: Qt 6.4 starts processes with a vfork-like clone that
// ThreadSanitizer takes for a fork of the whole test, after which it misreads
// the locks of the test's own threads.

#include <QByteArray>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonValue>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <csignal>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace VTTest {

struct Run {
    int exitCode = -1; // -1 when the program could not start or did not end normally
    QByteArray out;
    QByteArray err; // empty when merged into out
};

struct RunOptions {
    QByteArray input;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    int timeoutMs = 60000;
    QString workingDirectory;
    bool mergeOutput = false; // standard error into standard output, in order
};

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
               const QProcessEnvironment &environment = QProcessEnvironment::systemEnvironment(),
               const QString &workingDirectory = QString(), bool mergeOutput = false)
    {
        int in[2], out[2], err[2];
        if (::pipe2(in, O_CLOEXEC) || ::pipe2(out, O_CLOEXEC) || ::pipe2(err, O_CLOEXEC))
            return false;
        std::vector<QByteArray> words{QFile::encodeName(program)};
        for (const QString &argument : arguments)
            words.push_back(QFile::encodeName(argument));
        std::vector<QByteArray> variables;
        for (const QString &variable : environment.toStringList())
            variables.push_back(QFile::encodeName(variable));
        std::vector<char *> argv, envp;
        for (QByteArray &word : words)
            argv.push_back(word.data());
        argv.push_back(nullptr);
        for (QByteArray &variable : variables)
            envp.push_back(variable.data());
        envp.push_back(nullptr);
        const QByteArray directory = QFile::encodeName(workingDirectory);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
        posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&actions, mergeOutput ? out[1] : err[1], STDERR_FILENO);
        if (!directory.isEmpty())
            posix_spawn_file_actions_addchdir_np(&actions, directory.constData());
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
        qsizetype done = 0;
        while (m_in >= 0 && done < input.size()) {
            const ssize_t n = ::write(m_in, input.constData() + done, static_cast<size_t>(input.size() - done));
            if (n <= 0)
                break;
            done += n;
        }
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
        while (!m_outBuffer.contains('\n') && timer.elapsed() < timeoutMs && m_out >= 0)
            pump(50);
        const qsizetype end = m_outBuffer.indexOf('\n');
        if (end < 0)
            return QByteArray();
        const QByteArray line = m_outBuffer.left(end);
        m_outBuffer.remove(0, end + 1);
        return line;
    }

    // Waits for the end (killing the process after the time-out) and
    // collects everything it wrote. Once it has ended, the pipes are drained
    // of what is in them without waiting for a grandchild that may still
    // hold them open.
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
        while (pump(0) > 0) {
        }
        result.out = m_outBuffer;
        result.err = m_errBuffer;
        return result;
    }

private:
    // Reads what is ready on standard output and error; answers the number
    // of bytes read.
    qsizetype pump(int waitMs)
    {
        pollfd watch[2] = {{m_out, POLLIN, 0}, {m_err, POLLIN, 0}};
        if (::poll(watch, 2, waitMs) <= 0)
            return 0;
        qsizetype total = 0;
        char buffer[65536];
        for (int i = 0; i < 2; ++i) {
            if (!(watch[i].revents & (POLLIN | POLLHUP)))
                continue;
            const ssize_t n = ::read(watch[i].fd, buffer, sizeof buffer);
            if (n > 0) {
                (i == 0 ? m_outBuffer : m_errBuffer).append(buffer, n);
                total += n;
            } else if (n == 0) {
                ::close(watch[i].fd);
                (i == 0 ? m_out : m_err) = -1;
            }
        }
        return total;
    }

    pid_t m_pid = -1;
    int m_in = -1;
    int m_out = -1;
    int m_err = -1;
    QByteArray m_outBuffer;
    QByteArray m_errBuffer;
};

inline Run run(const QString &program, const QStringList &arguments, const RunOptions &options = {})
{
    Process process;
    if (!process.start(program, arguments, options.environment, options.workingDirectory, options.mergeOutput))
        return {};
    process.write(options.input);
    process.closeInput();
    return process.finish(options.timeoutMs);
}

// The exit code alone, for set-up steps.
inline int execute(const QString &program, const QStringList &arguments)
{
    return run(program, arguments).exitCode;
}

// Debian's own interpreter first: wrappers found on PATH may depend on a HOME
// that a sandbox replaces.
inline QString python()
{
    return QFileInfo(QStringLiteral("/usr/bin/python3")).isExecutable() ? QStringLiteral("/usr/bin/python3")
                                                                         : QStringLiteral("python3");
}

// Runs a Python script given as text; its output and errors merged.
inline Run runPython(const QString &script, const QStringList &arguments = {}, const RunOptions &options = {})
{
    RunOptions merged = options;
    merged.mergeOutput = true;
    return run(python(), QStringList{QStringLiteral("-c"), script} + arguments, merged);
}

// The one JSON value a program printed; undefined when it failed or printed
// something else.
inline QJsonValue jsonOutput(const Run &run)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson("[" + run.out + "]", &error);
    if (run.exitCode != 0 || error.error != QJsonParseError::NoError)
        return QJsonValue(QJsonValue::Undefined);
    return document.array().at(0);
}

// What a Python script (arguments in sys.argv[1:]) prints as JSON.
inline QJsonValue pythonJson(const char *script, const QStringList &arguments = {})
{
    return jsonOutput(VTTest::run(python(), QStringList{QStringLiteral("-c"), QString::fromUtf8(script)} + arguments));
}

// A property list as the independent reader (tests/common/read_plist.py,
// plistlib only) sees it, as JSON.
inline QJsonValue plistlibRead(const QString &path)
{
    return jsonOutput(VTTest::run(
        python(), {qEnvironmentVariable("TESSARY_SOURCE_DIR") + QStringLiteral("/tests/common/read_plist.py"), path}));
}

// What the independent reader (tests/common/read_keyed_archive.py) makes of
// a keyed archive: its root object as JSON; null when it refuses it.
inline QByteArray readKeyedArchive(const QByteArray &archive)
{
    RunOptions options;
    options.input = archive;
    const Run reader = run(python(),
                           {qEnvironmentVariable("TESSARY_SOURCE_DIR") + QStringLiteral("/tests/common/read_keyed_archive.py")},
                           options);
    return reader.exitCode == 0 ? reader.out : QByteArray();
}

} // namespace VTTest
