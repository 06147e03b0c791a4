// tessary-ops-driver: runs the program's operations as the command-line
// controller does (no window, a full reload first, which also resolves what
// interrupted moves left), so that tests can run them as another user and
// kill them at any moment. Messages for the task scheduler are printed as
// "POST <text>".
//
//   [--authorize] batch disable|enable   the toolbar toggle over the whole
//                                        top level; prints "BATCH" when it
//                                        starts and "DONE" when it ended
//   [--authorize] toggle LABEL NAME...   the toggle over the named plug-ins
//   [--authorize] disable|enable NAME... moveFilter on each plug-in of that
//                                        file name; prints YES or NO each
//   [--authorize] remove NAME...         the removal thread over them
//   [--authorize] move SRC DST           the guarded move; YES or NO, and
//                                        "CANCELLED" when the flag was set
//   list                                 every plug-in record: its enabled
//                                        flag, a tab, its actual path
//
// --authorize lets privileged steps ask for administrator rights through
// TESSARY_ESCALATE, as a window run would; without it they are refused.

#include "AppController.h"
#include "OutlineViewController.h"
#include "VTAuthorization.h"
#include "VTBundleInfoReader.h"
#include "VTLog.h"
#include "VTOperations.h"
#include "VTRemovalOperation.h"
#include "VTPluginItem.h"

#include <QCoreApplication>

#include <cstdio>

namespace {

void say(const QString &line)
{
    std::printf("%s\n", line.toUtf8().constData());
    std::fflush(stdout);
}

// The plug-ins with these file names, in the order the names are given.
QList<ItemPtr> pluginsNamed(AppController &controller, const QStringList &names)
{
    const QList<PluginPtr> all = controller.allPlugins();
    QList<ItemPtr> found;
    for (const QString &name : names) {
        for (const PluginPtr &plugin : all) {
            if (plugin->fileName() == name)
                found << plugin;
        }
    }
    return found;
}

int finish(int status)
{
    VTLog::finishWriting();
    return status;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QStringList args = app.arguments().mid(1);
    if (args.value(0) == QLatin1String("--authorize")) {
        (void)VTAuthorization::sharedController(true);
        args.removeFirst();
    }
    if (args.isEmpty())
        return 2;
    const std::unique_ptr<AppController> controller = AppController::initWithoutGUI();
    if (!controller)
        return 3;
    controller->operations().context().setPostTaskErrorString([](const QString &text) { say(QStringLiteral("POST ") + text); });
    controller->loadPluginData();

    const QString command = args.takeFirst();
    if (command == QLatin1String("list")) {
        VTBundleInfoReader::shared().waitForAll();
        for (const PluginPtr &plugin : controller->allPlugins())
            say(QStringLiteral("%1\t%2").arg(plugin->pluginEnabled()).arg(plugin->actualPath()));
        return finish(0);
    }
    if (command == QLatin1String("batch")) {
        const QString label = args.value(0) == QLatin1String("disable") ? QStringLiteral("Disable") : QStringLiteral("Enable");
        say(QStringLiteral("BATCH"));
        controller->enableDisable(controller->outlineViewController().dataArray(), label);
        controller->waitForOperations();
        say(QStringLiteral("DONE"));
        return finish(0);
    }
    if (command == QLatin1String("toggle")) {
        const QString label = args.takeFirst();
        controller->enableDisable(pluginsNamed(*controller, args), label);
        controller->waitForOperations();
        say(QStringLiteral("DONE"));
        return finish(0);
    }
    if (command == QLatin1String("disable") || command == QLatin1String("enable")) {
        for (const ItemPtr &plugin : pluginsNamed(*controller, args))
            say(controller->moveFilter(plugin->asPlugin(), command == QLatin1String("enable") ? 1 : 0) ? QStringLiteral("YES") : QStringLiteral("NO"));
        return finish(0);
    }
    if (command == QLatin1String("remove")) {
        controller->operations().removal().removePluginsOnThread(pluginsNamed(*controller, args));
        say(QStringLiteral("DONE"));
        return finish(0);
    }
    if (command == QLatin1String("move") && args.size() == 2) {
        say(controller->moveFileFrom(args.at(0), args.at(1)) ? QStringLiteral("YES") : QStringLiteral("NO"));
        if (controller->processingCancelled())
            say(QStringLiteral("CANCELLED"));
        return finish(0);
    }
    return finish(2);
}
