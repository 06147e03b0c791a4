#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

// An operation queue that runs one job at a time, in the order queued, on a
// thread of its own (the application controller's reload queue). The thread
// starts with the first job; the queue waits for queued jobs when destroyed.
//
// Plain threads and standard locks rather than a QThreadPool, so that the
// hand-over of each job is visible to ThreadSanitizer.
class VTSerialQueue
{
public:
    VTSerialQueue() = default;
    ~VTSerialQueue();
    VTSerialQueue(const VTSerialQueue &) = delete;
    VTSerialQueue &operator=(const VTSerialQueue &) = delete;

    void enqueue(std::function<void()> job);
    // True once no job is queued or running; false when `timeout` passed first.
    bool waitForDone(std::chrono::milliseconds timeout);
    void waitForDone();

private:
    void run();

    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::condition_variable m_idle;
    std::deque<std::function<void()>> m_jobs;
    bool m_busy = false;
    bool m_stopping = false;
    std::thread m_thread;
};
