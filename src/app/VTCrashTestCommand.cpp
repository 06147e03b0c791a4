#include "VTCrashTestCommand.h"

#include "AppController.h"
#include "OutlineViewController.h"
#include "VTLog.h"

QStringList VTControllerCrashTestCatalogue::enabledPluginPaths()
{
    return m_controller.listPlugins(false, false);
}

PluginPtr VTControllerCrashTestCatalogue::pluginFromPath(const QString &path)
{
    return m_controller.outlineViewController().pluginFromPath(path);
}

bool VTControllerCrashTestCatalogue::moveFilter(const PluginPtr &plugin, qint64 newStatus)
{
    return m_controller.moveFilter(plugin, newStatus);
}

void VTControllerCrashTestCatalogue::reloadData()
{
    m_controller.reloadData();
}

int VTCrashTestCommand::hostIndex(const QString &host)
{
    bool isNumber = false;
    const int index = host.toInt(&isNumber);
    if (isNumber)
        return index >= 0 && index < VTCrashTestHost::Count ? index : -1;
    return VTCrashTestHost::indexOfDisplayName(host);
}

int VTCrashTestCommand::run(const QStringList &arguments, FILE *output)
{
    const int index = hostIndex(arguments.value(2));
    if (index < 0) {
        fprintf(stderr, "usage: tessary -crashtest HOST (0-%d or a host name such as \"Final Cut Pro\")\n",
                VTCrashTestHost::Count - 1);
        return 1;
    }
    const std::unique_ptr<AppController> controller = AppController::initWithoutGUI();
    if (!controller)
        return 1;
    controller->loadPluginData();

    VTControllerCrashTestCatalogue catalogue(*controller);
    VTCrashTester tester(catalogue, nullptr, output);
    tester.setHostIndex(index);
    const QString culprit = tester.runCrashTest();
    controller->waitForOperations();
    controller->waitForReloads();
    VTLog::finishWriting();
    return culprit.isEmpty() ? 1 : 0;
}
