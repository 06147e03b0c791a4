// tessary-startup-driver: the start of a window run without the window, so
// that tests can run it as another user. The display interface answers the
// alerts ("Repair" unless --cancel) and each alert is printed as
// "ALERT <title>". Prints "QUIT" when the start ends the program, else
// "RELOADED" once the first reload has finished.
//
//   [--require-admin] [--cancel]
//
// --require-admin stores requireAdminPassword = 1 for this host first, as the
// preferences window would.

#include "AppController.h"
#include "VTAuthorization.h"
#include "VTLog.h"
#include "VTRecordingInterface.h"
#include "VTStartupChecks.h"
#include "VTUserDefaults.h"

#include <QCoreApplication>

#include <cstdio>

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments().mid(1);
    VTLog::createNewLog(QStringLiteral("Tessary"));
    VTUserDefaults::registerApplicationDefaults();
    if (args.contains(QLatin1String("--require-admin")))
        VTUserDefaults::setHostValue(QStringLiteral("requireAdminPassword"), 1);
    if (!VTAuthorization::sharedController(true))
        return 3;

    auto ui = std::make_unique<VTRecordingInterface>(true);
    VTRecordingInterface &recording = *ui;
    if (args.contains(QLatin1String("--cancel")))
        recording.answerNext(VTUserInterface::SecondButton);
    AppController controller(std::move(ui), true);
    bool reloaded = false;
    QObject::connect(&controller, &AppController::reloadFinished, [&reloaded] { reloaded = true; });
    const bool started = VTStartupChecks::run(controller);
    if (started)
        controller.waitForReloads();
    QCoreApplication::processEvents();
    for (const QString &alert : recording.steps(QStringLiteral("alert:")))
        std::printf("ALERT %s\n", qPrintable(alert.mid(6).section(QLatin1Char('|'), 0, 0)));
    std::printf("%s\n", !started ? "QUIT" : reloaded ? "RELOADED" : "NOT RELOADED");
    VTLog::finishWriting();
    return 0;
}
