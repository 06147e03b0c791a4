#include "VTOperationThreads.h"

#include "VTException.h"
#include "VTMainThread.h"

#include <QCoreApplication>

#include <system_error>
#include <thread>

VTOperationThreads::~VTOperationThreads()
{
    waitForAll();
}

void VTOperationThreads::start(const char *name, std::function<void()> body)
{
    {
        std::lock_guard lock(m_mutex);
        ++m_running;
    }
    try {
        launch(name, std::move(body));
    } catch (const std::system_error &error) {
        // No thread to be had: the operation does not run, and nobody may
        // wait for it.
        VTException::logException(error, name);
        finished();
    }
}

void VTOperationThreads::launch(const char *name, std::function<void()> body)
{
    std::thread([this, name, body = std::move(body)]() mutable {
        try {
            body();
        } catch (...) {
            // A thread must not end in an exception; the body has run its
            // end steps on the way out.
            VTException::logCurrentException(name);
        }
        // The request dies before the count drops, so whoever waited may
        // take the catalogue down at once.
        body = nullptr;
        finished();
    }).detach();
}

void VTOperationThreads::finished()
{
    std::lock_guard lock(m_mutex);
    if (--m_running == 0)
        m_idle.notify_all();
}

int VTOperationThreads::runningCount() const
{
    std::lock_guard lock(m_mutex);
    return m_running;
}

bool VTOperationThreads::waitForAll(std::chrono::milliseconds timeout)
{
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    const bool serveEvents = VTMainThread::isMainThread() && VTMainThread::eventLoopRunning();
    std::unique_lock lock(m_mutex);
    while (m_running > 0) {
        if (std::chrono::steady_clock::now() >= deadline)
            return false;
        if (serveEvents) {
            lock.unlock();
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
            lock.lock();
            m_idle.wait_for(lock, std::chrono::milliseconds(10));
        } else {
            m_idle.wait_until(lock, deadline);
        }
    }
    return true;
}
