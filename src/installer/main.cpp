// The template installer application. The installer builder copies this
// bundle and adds Contents/Resources/PluginStructure and
// InstallerSettings.plist; without options it opens its window, with
// --list or --install it runs without one.

#include "VTAuthorization.h"
#include "VTDisplayCheck.h"
#include "VTLog.h"
#include "VTPluginInstallerCommand.h"
#include "VTPluginInstallerItem.h"
#include "VTPluginInstallerSettings.h"
#include "VTPluginInstallerWindow.h"

#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QMessageBox>
#include <QTimer>

#include <cstdio>

namespace {

// With TESSARY_SCREENSHOTS=DIR the window photographs itself once shown
// (plugin-installer.png), accepts the licence, installs, photographs the
// summary (plugin-installer-done.png) and quits: scripts/screenshots.sh
// uses it on an installer whose destinations lie in a sandbox.
void takeScreenshots(VTPluginInstallerWindow &window, const QString &folder)
{
    QDir().mkpath(folder);
    QTimer::singleShot(500, &window, [&window, folder] {
        window.grab().save(folder + QStringLiteral("/plugin-installer.png"));
        QObject::connect(&window, &VTPluginInstallerWindow::finished, &window, [&window, folder] {
            QTimer::singleShot(300, &window, [&window, folder] {
                window.grab().save(folder + QStringLiteral("/plugin-installer-done.png"));
                QApplication::quit();
            });
        });
        if (window.acceptBox())
            window.acceptBox()->setChecked(true);
        window.install();
    });
}

int runWindow(int &argc, char **argv)
{
    if (const QString problem = VTDisplayCheck::displayProblem(); !problem.isEmpty()) {
        std::fprintf(stderr, "Plugin Installer: %s; --list and --install run without one.\n", qPrintable(problem));
        return 2;
    }
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Plugin Installer"));
    (void)VTAuthorization::sharedController(true);
    QString error;
    const auto settings =
        VTPluginInstallerSettings::read(VTPluginInstallerSettings::bundleOfExecutable(QApplication::applicationDirPath()), &error);
    if (!settings) {
        std::fprintf(stderr, "Plugin Installer: %s\n", qPrintable(error));
        QMessageBox::critical(nullptr, QStringLiteral("Plugin Installer"), QStringLiteral("This installer is damaged."), QMessageBox::Ok);
        return 2;
    }
    VTLog::createNewLog(QStringLiteral("Plugin Installer"));
    VTPluginInstallerWindow window(*settings, VTPluginInstallerItem::collect(settings->structurePath()));
    window.show();
    if (const QString folder = qEnvironmentVariable("TESSARY_SCREENSHOTS"); !folder.isEmpty())
        takeScreenshots(window, folder);
    const int status = QApplication::exec();
    VTLog::finishWriting();
    return status;
}

} // namespace

int main(int argc, char **argv)
{
    QStringList arguments;
    for (int i = 1; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i]));
    using VTPluginInstallerCommand::Mode;
    const Mode mode = VTPluginInstallerCommand::modeOf(arguments);
    switch (mode) {
    case Mode::Window:
        return runWindow(argc, argv);
    case Mode::Help:
        std::printf("%s\n", qPrintable(VTPluginInstallerCommand::usage()));
        return 0;
    case Mode::BadUsage:
        std::fprintf(stderr, "Plugin Installer: unexpected arguments: %s\n%s\n", qPrintable(arguments.join(u' ')),
                     qPrintable(VTPluginInstallerCommand::usage()));
        return 2;
    case Mode::List:
    case Mode::Install:
        break;
    }
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Plugin Installer"));
    const int status = VTPluginInstallerCommand::run(
        mode, VTPluginInstallerSettings::bundleOfExecutable(QCoreApplication::applicationDirPath()));
    VTLog::finishWriting();
    return status;
}
