// A separate process for the support tests: it logs or posts notifications
// and ends by returning from main, as the program does.
//   tessary_support_probe log <name> <count>
//   tessary_support_probe notify
#include "VTLog.h"
#include "VTTaskNotification.h"

#include <QCoreApplication>

#include <cstdio>
#include <cstring>

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    if (argc == 4 && std::strcmp(argv[1], "log") == 0) {
        VTLog::createNewLog(QString::fromLocal8Bit(argv[2]));
        const int count = QByteArray(argv[3]).toInt();
        for (int i = 0; i < count; ++i)
            VTLog::appendLog(QStringLiteral("probe entry %1").arg(i));
        return 0;
    }
    if (argc == 3 && std::strcmp(argv[1], "notify") == 0) {
        VTLog::createNewLog(QString::fromLocal8Bit(argv[2]));
        for (int round = 0; round < 2; ++round) {
            VTTaskNotification::postIncrementProgress();
            VTTaskNotification::postTaskError(-36);
            VTTaskNotification::postTaskErrorString(QStringLiteral("Tessary: Kein Zugriff auf „Glow.fxplug“"));
            VTTaskNotification::postTaskFinished();
            VTTaskNotification::postDisconnect();
        }
        std::puts(VTTaskNotification::isConnected() ? "connected" : "not connected");
        return 0;
    }
    std::fprintf(stderr, "usage: %s log <name> <count> | notify <log name>\n", argv[0]);
    return 2;
}
