#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <optional>
#include <thread>

#include <sys/types.h>

// The program's end of the privileged helper: starts tessary-helper through an
// escalation command (spawned directly, no shell), keeps it for the life of
// the object, sends requests and collects their statuses.
//
// The helper is spawned by a thread of this object that lives as long as the
// helper does, because the helper ends when the thread that started it ends.
class VTHelperClient
{
public:
    // Status of a request that could not be sent or whose helper went away.
    static constexpr int StatusHelperGone = -1;

    VTHelperClient() = default;
    VTHelperClient(const VTHelperClient &) = delete;
    VTHelperClient &operator=(const VTHelperClient &) = delete;
    ~VTHelperClient();

    // A password for an escalation tool that reads it from standard input
    // and asks for it with `prompt` on standard error (sudo -S -p PROMPT).
    struct Password {
        QByteArray password;
        QByteArray prompt;
        std::chrono::seconds timeout{15};
    };

    // Runs `command` (words, e.g. "pkexec" or "sudo", "-n") followed by
    // `helperPath`, and waits until the helper reports. With a password, the
    // line is written to the escalation tool first; a second prompt means it
    // was refused. True when a helper runs as the superuser; a refusal or
    // cancel (pkexec 126/127, sudo failure) gives false.
    [[nodiscard]] bool start(const QStringList &command, const QString &helperPath,
                             const std::optional<Password> &password = std::nullopt);
    // Closes the helper's input and waits for it to end.
    void stop();
    [[nodiscard]] bool isRunning() const { return m_running.load(); }

    // Sends one argument vector (tool path first). With `wait` returns the
    // helper's status (0 or an errno value); without, returns 0 once sent and
    // logs a failure when the status arrives. StatusHelperGone when no helper.
    [[nodiscard]] int execute(const QStringList &arguments, bool wait);

    // How the escalation command ended, for the log; -1 while it runs.
    [[nodiscard]] int exitStatus() const { return m_exitStatus.load(); }

private:
    void threadMain(QStringList command, QString helperPath, std::optional<Password> password);
    [[nodiscard]] bool spawn(const QStringList &command, const QString &helperPath, bool watchErrors);
    [[nodiscard]] bool awaitReady(const std::optional<Password> &password);
    [[nodiscard]] bool readReady();
    void forwardErrors();
    void readReplies();
    void finishChild();

    enum class StartState { Pending, Ready, Failed };

    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    StartState m_startState = StartState::Pending;
    std::map<quint32, int> m_replies;           // statuses of requests someone waits for
    std::map<quint32, QString> m_asyncRequests; // descriptions of requests nobody waits for
    quint32 m_nextId = 0;
    std::mutex m_writeMutex;

    std::thread m_thread;
    std::atomic<bool> m_running{false};
    std::atomic<int> m_exitStatus{-1};
    int m_socket = -1;
    int m_errors = -1; // the escalation tool's standard error, while watched
    pid_t m_pid = -1;
};
