#include "VTMainThread.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QThread>

#include <atomic>

namespace {
std::atomic<bool> g_eventLoopRunning{false};

bool mustQueue()
{
    return g_eventLoopRunning.load() && QCoreApplication::instance() && !VTMainThread::isMainThread();
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
    QMetaObject::invokeMethod(QCoreApplication::instance(), step, Qt::BlockingQueuedConnection);
}

void run(const std::function<void()> &step)
{
    if (!mustQueue()) {
        step();
        return;
    }
    QMetaObject::invokeMethod(QCoreApplication::instance(), step, Qt::QueuedConnection);
}

} // namespace VTMainThread
