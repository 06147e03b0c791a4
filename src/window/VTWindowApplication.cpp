#include "VTWindowApplication.h"

#include "AppController.h"
#include "VTAUValidationWindow.h"
#include "VTDisplayCheck.h"
#include "VTInstallRequests.h"
#include "VTInstallerWindow.h"
#include "VTLog.h"
#include "VTMainThread.h"
#include "VTMainWindow.h"
#include "VTPreferencesWindow.h"
#include "VTSingleInstance.h"
#include "VTStartupChecks.h"
#include "VTUserDefaults.h"
#include "VTWidgetInterface.h"

#include <QAction>
#include <QApplication>
#include <QScreen>
#include <QDir>
#include <QLineEdit>
#include <QTimer>
#include <QTableView>
#include <QTreeView>

#include <cstdio>

namespace {

// With TESSARY_SCREENSHOTS=DIR the window photographs itself after the first
// reload (tree expanded, a search, the progress sheet, an alert sheet, the
// Audio Unit validation window and its inspector, the installer builder),
// saves the PNG files into DIR and quits: scripts/screenshots.sh uses it.
void takeScreenshots(AppController &controller, VTMainWindow &window, VTWidgetInterface &ui, const QString &folder)
{
    QDir().mkpath(folder);
    const auto saveWindow = [folder](QWidget &shown, const QString &name) {
        QApplication::processEvents();
        // The whole screen, so that window-modal dialogs are in the picture.
        const QPixmap shot = shown.screen()->grabWindow(0, shown.x(), shown.y(), shown.frameGeometry().width(),
                                                        shown.frameGeometry().height());
        shot.save(folder + QLatin1Char('/') + name);
    };
    const auto save = [&window, saveWindow](const QString &name) { saveWindow(window, name); };
    window.tree()->expandAll();
    QTimer::singleShot(400, &window, [&, save, saveWindow] {
        save(QStringLiteral("main-window.png"));
        window.searchField()->setText(qEnvironmentVariable("TESSARY_SCREENSHOT_SEARCH", QStringLiteral("color")));
        window.tree()->expandAll();
        QTimer::singleShot(400, &window, [&, save, saveWindow] {
            save(QStringLiteral("search.png"));
            window.searchField()->clear();
            ui.showProgressSheet();
            ui.setDeterminateProgress(12);
            ui.updateProgressText(QStringLiteral("Moving files..."));
            for (int i = 0; i < 5; ++i)
                ui.incrementProgress();
            QTimer::singleShot(600, &window, [&, save, saveWindow] {
                save(QStringLiteral("progress-sheet.png"));
                ui.endProgressSheet();
                QTimer::singleShot(600, &window, [save] {
                    save(QStringLiteral("alert-sheet.png"));
                    for (QWidget *widget : QApplication::topLevelWidgets()) {
                        if (widget->isVisible() && widget->windowModality() == Qt::WindowModal)
                            widget->close();
                    }
                });
                ui.runAlert({QStringLiteral("Are you sure you wish to remove Synth One?"),
                             QStringLiteral("The plug-in is moved to the Trash."),
                             {QStringLiteral("Remove"), QStringLiteral("Cancel")}, true});
                VTPreferencesWindow &preferences = window.preferencesWindow();
                preferences.move(window.x() + 80, window.y() + 80);
                saveWindow(preferences, QStringLiteral("preferences.png"));
                preferences.close();
                QTimer::singleShot(600, &window, [save] {
                    save(QStringLiteral("repair-alert.png"));
                    for (QWidget *widget : QApplication::topLevelWidgets()) {
                        if (widget->isVisible() && widget->windowModality() == Qt::WindowModal)
                            widget->close();
                    }
                });
                ui.runAlert(VTStartupChecks::repairAlert());
                (void)controller;
                // The validation window once every unit has its status,
                // then the inspector of the first unit.
                VTAUValidationWindow &validation = window.auValidationWindow();
                validation.move(window.x() + 60, window.y() + 60);
                validation.validateAU();
                auto *poll = new QTimer(&window);
                QObject::connect(poll, &QTimer::timeout, &window, [&window, &validation, saveWindow, poll] {
                    const auto &units = validation.model().units();
                    const bool done = !validation.running() && !units.empty()
                        && std::none_of(units.begin(), units.end(), [](const VTAudioUnitPtr &unit) {
                               return unit->status() == QLatin1String("Validating...");
                           });
                    VTAUInspectorWindow *inspector = validation.inspector();
                    if (done && !inspector->isVisible()) {
                        // The first unit that did not pass, selected, and its report.
                        const auto failed = std::find_if(units.begin(), units.end(), [](const VTAudioUnitPtr &unit) {
                            return unit->status() != QLatin1String("OK");
                        });
                        validation.table()->selectRow(failed == units.end() ? 0 : int(failed - units.begin()));
                        saveWindow(validation, QStringLiteral("au-validation.png"));
                        inspector->move(validation.x() + 80, validation.y() + 80);
                        validation.auInspect();
                    } else if (inspector->isVisible() && !inspector->busy() && !inspector->report().isEmpty()) {
                        poll->stop();
                        saveWindow(*inspector, QStringLiteral("au-report.png"));
                        inspector->close();
                        validation.close();
                        // The installer builder for the first row.
                        QAbstractItemModel *rows = window.tree()->model();
                        window.tree()->selectionModel()->select(rows->index(0, 0), QItemSelectionModel::ClearAndSelect
                                                                                      | QItemSelectionModel::Rows);
                        window.actions().buildInstaller->trigger();
                        QTimer::singleShot(600, &window, [&window, saveWindow] {
                            if (auto *installer = window.findChild<VTInstallerWindow *>()) {
                                installer->move(window.x() + 100, window.y() + 80);
                                saveWindow(*installer, QStringLiteral("installer-builder.png"));
                            }
                            QApplication::quit();
                        });
                    }
                });
                poll->start(200);
            });
        });
    });
}

} // namespace

namespace VTWindowApplication {

int run(int &argc, char **argv)
{
    if (const QString problem = VTDisplayCheck::displayProblem(); !problem.isEmpty()) {
        std::fprintf(stderr, "Tessary: %s; the command words (-allplugins, -enable, ...) run without one.\n",
                     qPrintable(problem));
        return 1;
    }
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Tessary"));
    QApplication::setApplicationVersion(QStringLiteral(TESSARY_VERSION));
    QApplication::setDesktopFileName(QStringLiteral("com.vantorel.Tessary"));
    // Desktops outside KDE and GNOME name no icon theme; the installed ones
    // are better than none.
    if (QIcon::themeName().isEmpty() || QIcon::themeName() == QLatin1String("hicolor")) {
        for (const char *theme : {"breeze", "Adwaita"}) {
            QIcon::setThemeName(QString::fromLatin1(theme));
            if (QIcon::hasThemeIcon(QStringLiteral("folder")))
                break;
        }
    }

    // Paths given to a window start are files to install. When a window
    // already runs in this session, it takes them and this start ends.
    const QStringList opened = VTSingleInstance::absolutePaths(QApplication::arguments().mid(1));
    VTSingleInstance instance;
    if (!instance.claim() && instance.handOver(opened))
        return 0;

    VTLog::createNewLog(QStringLiteral("Tessary"));
    VTUserDefaults::registerApplicationDefaults();
    VTMainThread::setEventLoopRunning(true);
    int status = 0;
    {
        auto ui = std::make_unique<VTWidgetInterface>();
        VTWidgetInterface &widgets = *ui;
        AppController controller(std::move(ui), true);
        VTMainWindow window(controller, widgets);
        window.show();
        // The guard and the folder repair come before the first reload; a
        // refused authorization the guard asks for ends the program here.
        const bool started = VTStartupChecks::run(controller);
        if (started)
            VTLog::appendLog(QStringLiteral("Preparing to display window..."));
        // Opened files go to installation once the first list stands.
        QObject::connect(&instance, &VTSingleInstance::filesOpened, &window, [&controller, &window](const QStringList &paths) {
            window.raise();
            window.activateWindow();
            controller.installRequests().openFiles(paths);
        });
        if (started && !opened.isEmpty()) {
            QObject::connect(&controller, &AppController::reloadFinished, &instance,
                             [&instance, opened] { instance.openFiles(opened); }, Qt::SingleShotConnection);
        }
        if (const QString folder = qEnvironmentVariable("TESSARY_SCREENSHOTS"); !folder.isEmpty()) {
            QObject::connect(&controller, &AppController::reloadFinished, &window,
                             [&controller, &window, &widgets, folder] {
                                 takeScreenshots(controller, window, widgets, folder);
                             }, Qt::SingleShotConnection);
        }
        status = started ? QApplication::exec() : 0;
        // Operations still running hand steps to this thread: serve them
        // while they end after their current item.
        controller.setProcessingCancelled(true);
        while (!controller.waitForOperations(std::chrono::milliseconds(10)))
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        controller.waitForReloads();
    }
    VTMainThread::setEventLoopRunning(false);
    VTLog::finishWriting();
    return status;
}

} // namespace VTWindowApplication
