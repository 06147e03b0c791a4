#include "VTExportCommand.h"

#include "AppController.h"
#include "VTBundleInfoReader.h"
#include "VTCommandLine.h"
#include "VTLog.h"
#include "VTPluginExport.h"

int runExportCommand(const QStringList &arguments, FILE *output)
{
    const QString format = arguments.value(2);
    if (format != QLatin1String("json") && format != QLatin1String("csv")) {
        fprintf(stderr, "Usage: tessary -export json|csv\n");
        return 1;
    }
    const std::unique_ptr<AppController> controller = AppController::initWithoutGUI();
    if (!controller)
        return VTCommandLine::ControllerFailure;
    controller->loadPluginData();
    // Names, versions and architectures come from the bundle reads.
    VTBundleInfoReader::shared().waitForAll();

    const QList<PluginPtr> plugins = controller->allPlugins();
    const QByteArray text =
        format == QLatin1String("json") ? VTPluginExport::json(plugins) : VTPluginExport::csv(plugins);
    fwrite(text.constData(), 1, static_cast<size_t>(text.size()), output);
    fflush(output);
    VTLog::finishWriting();
    return 0;
}
