#include "VTMainThread.h"

#include "VTException.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QThread>

#include <atomic>
#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>

namespace {

std::atomic<bool> g_eventLoopRunning{false};

// Held by a worker while it posts a step, and taken by the step before it
// touches anything the worker made. Qt hands events over under locks of its
// own that ThreadSanitizer cannot see; this one it can.
std::mutex g_handOver;

bool mustQueue()
{
    return g_eventLoopRunning.load() && QCoreApplication::instance() && !VTMainThread::isMainThread();
}

template<typename Step>
void post(Step step)
{
    std::lock_guard lock(g_handOver);
    QMetaObject::invokeMethod(QCoreApplication::instance(), std::move(step), Qt::QueuedConnection);
}

} // namespace

namespace VTMainThread {

void setEventLoopRunning(bool running)
{
    g_eventLoopRunning.store(running);
}

bool eventLoopRunning()
{
    return g_eventLoopRunning.load();
}

bool isMainThread()
{
    const QCoreApplication *app = QCoreApplication::instance();
    return !app || QThread::currentThread() == app->thread();
}

void runAndWait(const std::function<void()> &step)
{
    if (!mustQueue()) {
        step();
        return;
    }
    struct Completion {
        std::mutex mutex;
        std::condition_variable done;
        // Atomic as well as guarded: the wait's own re-locking happens inside
        // the uninstrumented C++ library, so ThreadSanitizer learns of the
        // step's writes through this flag.
        std::atomic<bool> finished{false};
        std::exception_ptr failure;
    };
    const auto completion = std::make_shared<Completion>();
    post([&step, completion] {
        { std::lock_guard handOver(g_handOver); }
        std::exception_ptr failure;
        try {
            step();
        } catch (...) {
            // Handed back to the waiting thread rather than into the event loop.
            failure = std::current_exception();
        }
        std::lock_guard lock(completion->mutex);
        completion->failure = failure;
        completion->finished.store(true, std::memory_order_release);
        completion->done.notify_all();
    });
    std::unique_lock lock(completion->mutex);
    completion->done.wait(lock, [&completion] { return completion->finished.load(std::memory_order_acquire); });
    if (completion->failure)
        std::rethrow_exception(completion->failure);
}

void run(const std::function<void()> &step)
{
    if (!mustQueue()) {
        step();
        return;
    }
    post([step] {
        { std::lock_guard handOver(g_handOver); }
        try {
            step();
        } catch (...) {
            // Nobody waits for this step; the event loop must not see it fail.
            VTException::logCurrentException("VTMainThread::run");
        }
    });
}

} // namespace VTMainThread
