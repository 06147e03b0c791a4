// A worker that starts a child process and then hands data to the main
// thread through VTMainThread. Started straight from the worker ("direct"),
// Qt's vfork-like start leaves ThreadSanitizer without the worker's record of
// synchronisation, and the hand-over after it is reported as a race although
// it is ordered by a mutex. Through VTTaskEx ("task") the child is started the
// way sanitized builds do it, and the same hand-overs are clean.

#include "VTMainThread.h"
#include "VTTaskEx.h"

#include <QCoreApplication>
#include <QProcess>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const bool direct = argc > 1 && QByteArray(argv[1]) == "direct";
    VTMainThread::setEventLoopRunning(true);
    std::atomic<bool> done{false};
    std::thread worker([&] {
        for (int round = 0; round < 10; ++round) {
            std::vector<std::shared_ptr<QByteArray>> outputs;
            if (direct) {
                QProcess process;
                process.start(QStringLiteral("/bin/echo"), {QStringLiteral("hello")});
                process.waitForFinished();
                outputs.push_back(std::make_shared<QByteArray>(process.readAll()));
            } else {
                outputs.push_back(std::make_shared<QByteArray>(
                    VTTaskEx::run(QStringLiteral("/bin/echo"), {QStringLiteral("hello")}).standardOutput));
            }
            VTMainThread::runAndWait([&outputs] { outputs.push_back(std::make_shared<QByteArray>(*outputs.front())); });
        }
        done = true;
    });
    while (!done)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    worker.join();
    VTMainThread::setEventLoopRunning(false);
    return 0;
}
