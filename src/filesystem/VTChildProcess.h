#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <chrono>
#include <optional>

#include <sys/types.h>

// One run of an external program in a process group of its own, with its
// standard input, output and error on pipes.
//
// Started with posix_spawn rather than QProcess: Qt starts children with a
// vfork-like clone in which the child runs Qt's code in our memory before it
// executes the program. ThreadSanitizer cannot follow that, loses the
// starting thread's record of synchronisation and reports every later
// hand-over of that thread as a race; posix_spawn's child runs nothing of
// ours before exec.
class VTChildProcess
{
public:
    VTChildProcess() = default;
    // A child still running is killed with its group and reaped.
    ~VTChildProcess();
    VTChildProcess(const VTChildProcess &) = delete;
    VTChildProcess &operator=(const VTChildProcess &) = delete;

    // False when the program could not be executed.
    bool start(const QString &program, const QStringList &arguments);

    // Writes `input` and closes standard input, collects output and error,
    // and waits for the child to end; false when `timeout` passed first
    // (the child then still runs). What the child started and left holding
    // the pipes is not waited for.
    bool communicate(const QByteArray &input, std::optional<std::chrono::milliseconds> timeout);

    // SIGTERM to the child's group, SIGKILL after `grace` (and once more for
    // members that outlived the child), then reaps the child.
    void endGroup(std::chrono::milliseconds grace);

    [[nodiscard]] bool crashed() const { return m_crashed; }
    [[nodiscard]] int exitCode() const { return m_exitCode; }
    [[nodiscard]] const QByteArray &standardOutput() const { return m_output; }
    [[nodiscard]] const QByteArray &standardError() const { return m_error; }

private:
    // Reads what the pipes hold now; false for a pipe at its end.
    void drain(int &fd, QByteArray &into);
    // Reaps the child when it has ended (or waits for it with `block`).
    bool reap(bool block);
    void closeAll();

    pid_t m_pid = 0;
    bool m_running = false;
    int m_input = -1;
    int m_outputFd = -1;
    int m_errorFd = -1;
    bool m_crashed = false;
    int m_exitCode = -1;
    QByteArray m_output;
    QByteArray m_error;
};
