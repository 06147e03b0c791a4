#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <chrono>
#include <optional>

// Runs an external tool by absolute path with an argument list (never through
// a shell). Tools of the managed macOS system that Debian keeps elsewhere
// (/usr/sbin/chown is /usr/bin/chown or /bin/chown) are looked up in
// /usr/sbin, /usr/bin and /bin by name; the log says which one ran.
class VTTaskEx
{
public:
    // How a run ended; a closed set so a crash is never read as a refusal.
    enum class Outcome {
        Success,           // exit status 0
        FinishedWithError, // exited with a non-zero status
        Crashed,           // killed by a signal
        TimedOut,          // killed by us after the time-out
        FailedToStart,     // missing, not executable, or exec failed
    };

    struct Result {
        Outcome outcome = Outcome::FailedToStart;
        int exitCode = -1;
        QByteArray standardOutput;
        QByteArray standardError;
        [[nodiscard]] bool succeeded() const { return outcome == Outcome::Success; }
    };

    // The general form: runs, feeds `input` to standard input, waits at most
    // `timeout` (no limit when empty), and reports everything. A tool that
    // times out gets SIGTERM, then SIGKILL, together with every process it
    // started.
    [[nodiscard]] static Result run(const QString &tool, const QStringList &arguments,
                                    std::optional<std::chrono::milliseconds> timeout = std::nullopt,
                                    const QByteArray &input = QByteArray());

    // Runs and waits; true when the tool ran and exited with status 0.
    static bool runTask(const QString &tool, const QStringList &arguments);
    // Same, killing the tool after `timeout`.
    static bool runTask(const QString &tool, const QStringList &arguments, std::chrono::seconds timeout);
    // Starts the tool and returns at once; true when it started.
    static bool runTaskAndReturn(const QString &tool, const QStringList &arguments);
    // Standard output as UTF-8 text; empty when the tool could not run.
    [[nodiscard]] static QString stringFromTask(const QString &tool, const QStringList &arguments);
    [[nodiscard]] static QByteArray dataFromTask(const QString &tool, const QStringList &arguments,
                                                 std::chrono::seconds timeout);
    // The exit status; -1 when the tool could not run or crashed.
    [[nodiscard]] static int terminationCodeFromTask(const QString &tool, const QStringList &arguments);

    // The executable that stands for `tool`: the path itself when it is an
    // executable file; else, for a tool named in a system bin folder
    // (/bin, /sbin, /usr/bin, /usr/sbin), the host's tool of the same name in
    // /usr/sbin, /usr/bin, /bin or /sbin, logged as the one that runs; else empty.
    [[nodiscard]] static QString resolveTool(const QString &tool);
};
