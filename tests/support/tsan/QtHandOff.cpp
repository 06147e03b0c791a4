// The smallest hand-over between two threads through Qt alone: a queued call
// to an object in another thread. No data of this program is shared, yet
// ThreadSanitizer reports a race when it watches the accesses that Debian's
// uninstrumented Qt makes through the sanitizer's interceptors (the event is
// allocated by the poster and deleted by the receiver, handed over under
// Qt's futex-based locks, which the sanitizer cannot see). The suite runs it
// both ways to show that ignore_noninstrumented_modules=1 removes exactly
// this kind of report.

#include <QCoreApplication>
#include <QObject>
#include <QThread>

#include <atomic>

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QThread worker;
    QObject receiver;
    receiver.moveToThread(&worker);
    worker.start();
    std::atomic<int> calls{0};
    for (int i = 0; i < 100; ++i)
        QMetaObject::invokeMethod(&receiver, [&calls] { ++calls; }, Qt::QueuedConnection);
    QMetaObject::invokeMethod(&receiver, [&worker] { worker.quit(); }, Qt::QueuedConnection);
    worker.wait();
    return calls == 100 ? 0 : 1;
}
