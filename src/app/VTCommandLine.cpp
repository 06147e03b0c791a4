#include "VTCommandLine.h"

#include "AppController.h"
#include "VTCrashTestCommand.h"
#include "OutlineViewController.h"
#include "VTBundleInfoReader.h"
#include "VTCatalogueLoader.h"
#include "VTExportCommand.h"
#include "VTItemArchiver.h"
#include "VTAccessOperation.h"
#include "VTLog.h"
#include "VTOperations.h"
#include "VTPath.h"
#include "VTPluginItem.h"
#include "VTValidateAUCommand.h"

#include <QDir>

#include <cstdlib>

#include <syslog.h>

namespace {

const QStringList &commands()
{
    static const QStringList names = {
        QStringLiteral("-enable"), QStringLiteral("-disable"), QStringLiteral("-remove"),
        QStringLiteral("-setaccess"), QStringLiteral("-allplugins"), QStringLiteral("-install"),
        QStringLiteral("-validateau"),
        QStringLiteral("-export"),
        QStringLiteral("-crashtest"),
    };
    return names;
}

void writeAll(FILE *output, const QByteArray &bytes)
{
    fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), output);
}

// "-install [-all] path": one plug-in file or bundle, for all users only when
// the word before the path is "-all". With any other number of arguments only
// the one after the command counts, for the current user. The status is 0
// whatever the installation reported.
int runInstall(const QStringList &arguments)
{
    const std::unique_ptr<AppController> controller = AppController::initWithoutGUI();
    if (!controller)
        return VTCommandLine::ControllerFailure;
    controller->loadPluginData();

    const bool wordAndPath = arguments.size() == 4;
    const QString path = arguments.value(wordAndPath ? 3 : 2);
    const bool forUser = !(wordAndPath && arguments.at(2) == QLatin1String("-all"));
    if (!path.isEmpty())
        controller->installPlugins({QDir::current().absoluteFilePath(path)}, nullptr, forUser, false);
    controller->waitForOperations();
    VTLog::finishWriting();
    return 0;
}

} // namespace

bool VTCommandLine::isCommand(const QStringList &arguments)
{
    return arguments.size() > 1 && commands().contains(arguments.at(1));
}

std::optional<int> VTCommandLine::run(const QStringList &arguments, FILE *output)
{
    if (!isCommand(arguments))
        return std::nullopt;
    const QString command = arguments.at(1);

    // Checked before anything is built, so a bad call touches nothing.
    if (command == QLatin1String("-setaccess") && arguments.size() < 3) {
        syslog(LOG_ERR, "Invalid argument count");
        return 1;
    }
    if (command == QLatin1String("-allplugins"))
        return runAllPlugins(arguments, output);
    if (command == QLatin1String("-export"))
        return runExportCommand(arguments, output);
    if (command == QLatin1String("-install"))
        return runInstall(arguments);
    if (command == QLatin1String("-validateau"))
        return VTValidateAUCommand::run(output);
    if (command == QLatin1String("-crashtest"))
        return VTCrashTestCommand::run(arguments, output);
    return runPluginCommand(arguments);
}

int VTCommandLine::runPluginCommand(const QStringList &arguments)
{
    const QString command = arguments.at(1);
    const bool setAccess = command == QLatin1String("-setaccess");
    // The leading integer of the text, as the C library reads it: "1x" and
    // "1.0" read 1, text that is no number reads 0.
    const qint64 access = setAccess ? std::strtoll(arguments.at(2).toLocal8Bit().constData(), nullptr, 10) : 0;
    // An empty argument is still an argument: it names no plug-in, so a script
    // with an unset variable acts on nothing rather than on everything.
    const qsizetype pluginIndex = setAccess ? 3 : 2;
    const bool hasPluginArgument = arguments.size() > pluginIndex;
    const QString pluginArgument = arguments.value(pluginIndex);
    const QString wanted = VTPath::lastComponent(pluginArgument);

    const std::unique_ptr<AppController> controller = AppController::initWithoutGUI();
    if (!controller)
        return ControllerFailure;
    controller->loadPluginData();

    const QStringList paths = controller->listPluginsAfterReload();
    for (const QString &path : paths) {
        // -setaccess matches the scanned path's name, the others the record's file name.
        if (setAccess && hasPluginArgument && VTPath::lastComponent(path) != wanted)
            continue;
        const PluginPtr plugin = controller->outlineViewController().pluginFromPath(path);
        if (!plugin)
            continue;
        if (!setAccess && hasPluginArgument && plugin->fileName() != wanted)
            continue;
        if (command == QLatin1String("-enable"))
            controller->moveFilter(plugin, 1);
        else if (command == QLatin1String("-disable"))
            controller->moveFilter(plugin, 0);
        else if (command == QLatin1String("-remove"))
            controller->removePlugin(plugin);
        else
            controller->operations().access().setAccess(access, plugin, false, false);
    }
    controller->waitForOperations();
    VTLog::finishWriting();
    return 0;
}

int VTCommandLine::runAllPlugins(const QStringList &arguments, FILE *output)
{
    const std::unique_ptr<AppController> controller = AppController::initWithoutGUI();
    if (!controller)
        return ControllerFailure;
    // Nothing printed here reads the lock flags, and only the archive
    // carries what the bundles say; the reload skips looking for the rest.
    const QString option = arguments.value(2);
    controller->loader().setDiskLooks({false, option == QLatin1String("-data")});
    controller->loadPluginData();

    if (option == QLatin1String("-data")) {
        // The archive carries each record's name, version and architectures,
        // so every pending bundle read must have finished.
        VTBundleInfoReader::shared().waitForAll();
        writeAll(output, VTItemArchiver::archive(controller->outlineViewController().dataArray()));
        fflush(output);
        fclose(output);
    } else if (option == QLatin1String("-plist")) {
        // Accepted and deliberately silent.
    } else {
        QByteArray text;
        const QStringList paths = controller->listPluginsAfterReload();
        for (const QString &path : paths)
            text += path.toUtf8() + '\n';
        writeAll(output, text);
        fflush(output);
    }
    VTLog::finishWriting();
    return 0;
}
