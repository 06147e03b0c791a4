#include "VTSerialQueue.h"

VTSerialQueue::~VTSerialQueue()
{
    waitForDone();
    {
        std::lock_guard lock(m_mutex);
        m_stopping = true;
    }
    m_wake.notify_all();
    if (m_thread.joinable())
        m_thread.join();
}

void VTSerialQueue::enqueue(std::function<void()> job)
{
    {
        std::lock_guard lock(m_mutex);
        m_jobs.push_back(std::move(job));
        if (!m_thread.joinable())
            m_thread = std::thread([this] { run(); });
    }
    m_wake.notify_one();
}

bool VTSerialQueue::waitForDone(std::chrono::milliseconds timeout)
{
    std::unique_lock lock(m_mutex);
    return m_idle.wait_for(lock, timeout, [this] { return m_jobs.empty() && !m_busy; });
}

void VTSerialQueue::waitForDone()
{
    std::unique_lock lock(m_mutex);
    m_idle.wait(lock, [this] { return m_jobs.empty() && !m_busy; });
}

void VTSerialQueue::run()
{
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_wake.wait(lock, [this] { return m_stopping || !m_jobs.empty(); });
        if (m_jobs.empty())
            return; // stopping
        std::function<void()> job = std::move(m_jobs.front());
        m_jobs.pop_front();
        m_busy = true;
        lock.unlock();
        job();
        job = nullptr; // whatever the job holds goes before the queue reports idle
        lock.lock();
        m_busy = false;
        if (m_jobs.empty())
            m_idle.notify_all();
    }
}
