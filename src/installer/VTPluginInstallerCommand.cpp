#include "VTPluginInstallerCommand.h"

#include "VTAuthorization.h"
#include "VTLog.h"
#include "VTPluginInstallerItem.h"
#include "VTPluginInstallerRun.h"
#include "VTPluginInstallerSettings.h"

#include <algorithm>
#include <cstdio>

namespace {

void printLine(FILE *stream, const QString &text)
{
    const QByteArray bytes = text.toLocal8Bit() + '\n';
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stream);
    std::fflush(stream);
}

QString forWhom(const VTPluginInstallerItem &item)
{
    return item.forUser ? QStringLiteral("current user") : QStringLiteral("all users");
}

int install(const QList<VTPluginInstallerItem> &items)
{
    // Nobody can be asked: an existing copy is replaced, and administrator
    // rights come only from an escalation that never asks (sudo -n).
    const auto confirm = [](const VTPluginInstallerItem &item) {
        printLine(stdout, QStringLiteral("  %1 is already installed: replacing it, the old copy goes to the Trash.")
                              .arg(item.destination));
        return true;
    };
    const auto progress = [](int done, const VTPluginInstallerItem *item) {
        if (item)
            printLine(stdout, QStringLiteral("[%1] Installing %2 to %3...").arg(done + 1).arg(item->name(), item->destination));
    };
    VTPluginInstallerRun run(confirm, progress);
    const VTPluginInstallerRun::Outcome outcome = run.install(items);
    printLine(stdout, VTPluginInstallerRun::summary(outcome));
    const bool refused = std::any_of(outcome.failures.begin(), outcome.failures.end(), [](const auto &failure) {
        return failure.reason.contains(VTPluginInstallerRun::notAuthorizedReason());
    });
    if (refused) {
        printLine(stdout, QStringLiteral("Without a window administrator rights come only from running as root or from "
                                         "TESSARY_ESCALATE=\"sudo -n\" with a sudo rule for this installer's helper."));
    }
    return outcome.complete() ? 0 : 1;
}

} // namespace

VTPluginInstallerCommand::Mode VTPluginInstallerCommand::modeOf(const QStringList &arguments)
{
    if (arguments.isEmpty())
        return Mode::Window;
    if (arguments.size() > 1)
        return Mode::BadUsage;
    const QString &word = arguments.first();
    if (word == QLatin1String("--list"))
        return Mode::List;
    if (word == QLatin1String("--install"))
        return Mode::Install;
    if (word == QLatin1String("--help") || word == QLatin1String("-h"))
        return Mode::Help;
    return Mode::BadUsage;
}

QString VTPluginInstallerCommand::usage()
{
    return QStringLiteral("Usage: \"Plugin Installer\" [--list | --install]\n"
                          "  (no option)  open the installer's window\n"
                          "  --list       print each plug-in and where it goes\n"
                          "  --install    install every plug-in without a window; existing copies are replaced\n"
                          "               and the old ones moved to the Trash. Exit 0 when all were installed.");
}

int VTPluginInstallerCommand::run(Mode mode, const QString &bundle)
{
    QString error;
    const std::optional<VTPluginInstallerSettings> settings = VTPluginInstallerSettings::read(bundle, &error);
    if (!settings) {
        printLine(stderr, QStringLiteral("Plugin Installer: ") + error);
        return 2;
    }
    const QList<VTPluginInstallerItem> items = VTPluginInstallerItem::collect(settings->structurePath());
    if (mode == Mode::List) {
        for (const VTPluginInstallerItem &item : items)
            printLine(stdout, QStringLiteral("%1 -> %2 (%3)").arg(item.name(), item.destination, forWhom(item)));
        return 0;
    }
    (void)VTAuthorization::sharedController(false);
    VTLog::createNewLog(QStringLiteral("Plugin Installer"));
    printLine(stdout, QStringLiteral("%1 %2 by %3").arg(settings->name(), settings->version(), settings->author()));
    return install(items);
}
