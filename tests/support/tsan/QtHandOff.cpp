// The smallest hand-over between two threads through Qt alone: events
// posted to an object in another thread. No data of this program is shared,
// yet ThreadSanitizer reports a race when it watches what Debian's
// uninstrumented Qt does through the sanitizer's interceptors: each event is
// allocated here and deleted by Qt in the receiving thread, handed over
// under Qt's futex-based locks, which the sanitizer cannot see. The suite
// runs it both ways to show that ignore_noninstrumented_modules=1 removes
// exactly this kind of report.

#include <QCoreApplication>
#include <QEvent>
#include <QObject>
#include <QThread>

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QThread worker;
    QObject receiver;
    receiver.moveToThread(&worker);
    worker.start();
    for (int i = 0; i < 200; ++i)
        QCoreApplication::postEvent(&receiver, new QEvent(QEvent::User));
    // Let the worker take them before it is told to stop.
    QThread::msleep(100);
    worker.quit();
    worker.wait();
    return 0;
}
