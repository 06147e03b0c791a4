#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>

// Starts each operation's body on a detached thread of its own and keeps
// count of the ones still running, so that the controller can wait for them
// before it goes away (and tests can wait for a run to end).
class VTOperationThreads
{
public:
    VTOperationThreads() = default;
    VTOperationThreads(const VTOperationThreads &) = delete;
    VTOperationThreads &operator=(const VTOperationThreads &) = delete;
    ~VTOperationThreads();

    // Runs `body` on a new detached thread. `name` says in the log which
    // operation an escaped exception came from.
    void start(const char *name, std::function<void()> body);

    [[nodiscard]] int runningCount() const;

    // Waits until no started body is running. On the main thread the event
    // loop keeps serving, because workers hand display steps to it and wait.
    // False when `timeout` passed first.
    bool waitForAll(std::chrono::milliseconds timeout = std::chrono::hours(24));

private:
    void launch(const char *name, std::function<void()> body);
    void finished();

    mutable std::mutex m_mutex;
    std::condition_variable m_idle;
    int m_running = 0;
};
