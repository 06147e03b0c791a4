#include "VTPluginInstallerRun.h"

#include "VTAuthorization.h"
#include "VTException.h"
#include "VTFileManager.h"
#include "VTLog.h"
#include "VTPath.h"
#include "VTPlainFiles.h"
#include "VTReplaceInPlace.h"

#include <utility>

namespace {

QString plugins(int count)
{
    return count == 1 ? QStringLiteral("1 plug-in") : QStringLiteral("%1 plug-ins").arg(count);
}

// The privileged steps are asked for one at a time and waited for, so that
// the summary can say why one failed.
int runPrivileged(const QString &tool, const QStringList &arguments)
{
    VTAuthorization *authorization = VTAuthorization::sharedController();
    return authorization ? authorization->authExecTask(tool, arguments, false) : VTAuthorization::StatusNotAuthorized;
}

} // namespace

VTPluginInstallerRun::VTPluginInstallerRun(Confirm confirm, Progress progress)
    : m_confirm(std::move(confirm))
    , m_progress(std::move(progress))
{
}

VTPluginInstallerRun::Outcome VTPluginInstallerRun::install(const QList<VTPluginInstallerItem> &items)
{
    Outcome outcome;
    outcome.total = int(items.size());
    for (int i = 0; i < items.size(); ++i) {
        const VTPluginInstallerItem &item = items.at(i);
        m_progress(i, &item);
        QString failure;
        try {
            failure = installItem(item, outcome);
        } catch (...) {
            VTException::logCurrentException("installItem");
            failure = QStringLiteral("an unexpected error ended its installation");
        }
        if (failure.isEmpty()) {
            outcome.installed.append(item);
        } else {
            VTLog::appendLog(QStringLiteral("Plugin %1 not installed: %2").arg(item.name(), failure));
            outcome.failures.append({item, failure});
        }
    }
    m_progress(outcome.total, nullptr);
    VTLog::appendLog(summary(outcome));
    return outcome;
}

QString VTPluginInstallerRun::installItem(const VTPluginInstallerItem &item, Outcome &outcome)
{
    VTLog::appendLog(QStringLiteral("Installing plugin %1 to %2...").arg(item.source, item.destination));
    const QString folder = VTPath::removeLastComponent(item.destination);
    if (!VTFileManager::isDirectoryAtPath(folder)) {
        if (const QString failure = makeFolder(folder); !failure.isEmpty())
            return failure;
    }
    if (VTPlainFiles::exists(item.destination)) {
        VTLog::appendLog(
            QStringLiteral("Destination plugin %1 already exists. Asking user to overwrite...").arg(item.destination));
        if (!m_confirm(item)) {
            VTLog::appendLog(QStringLiteral("The user chose not to overwrite %1.").arg(item.destination));
            return QStringLiteral("the copy already installed was kept");
        }
        // Where the user may change the folder, the new copy goes in first,
        // so that a failure leaves the old one installed.
        if (VTFileManager::isDeletableFileAtPath(item.destination)) {
            const QString failure = VTReplaceInPlace::replace(item.source, item.destination);
            if (failure.isEmpty())
                outcome.trashed.append(item.destination);
            return failure;
        }
        if (const QString failure = trashExisting(item.destination); !failure.isEmpty())
            return failure;
        outcome.trashed.append(item.destination);
    }
    return copy(item.source, item.destination);
}

QString VTPluginInstallerRun::makeFolder(const QString &folder)
{
    if (VTFileManager::createDirectory(folder, false))
        return QString();
    const int status = runPrivileged(QStringLiteral("/bin/mkdir"), {QStringLiteral("-p"), QStringLiteral("--"), folder});
    if (VTFileManager::isDirectoryAtPath(folder))
        return QString();
    return QStringLiteral("the folder %1 could not be created (%2)").arg(folder, privilegedFailure(status));
}

QString VTPluginInstallerRun::trashExisting(const QString &path)
{
    VTLog::appendLog(QStringLiteral("Trashing old file %1...").arg(path));
    if (VTFileManager::trashFile(path, false))
        return QString();
    VTLog::appendLog(QStringLiteral("Unable to trash file. Authorizing..."));
    VTAuthorization *authorization = VTAuthorization::sharedController();
    // The privileged trash answers once the item is in the Trash or has
    // stayed where it was.
    if (authorization->authTrashFile(path) && !VTPlainFiles::exists(path))
        return QString();
    return QStringLiteral("the copy already installed could not be moved to the Trash (%1)")
        .arg(authorization->isAuthorized() ? QStringLiteral("the Trash refused it")
                                           : privilegedFailure(VTAuthorization::StatusNotAuthorized));
}

QString VTPluginInstallerRun::copy(const QString &source, const QString &destination)
{
    if (VTFileManager::copyFile(source, destination, false))
        return QString();
    VTLog::appendLog(QStringLiteral("Unable to copy file %1 to %2. Authorizing...").arg(source, destination));
    const int status = runPrivileged(QStringLiteral("/bin/cp"), {QStringLiteral("-f"), QStringLiteral("-p"),
                                                                   QStringLiteral("-R"), QStringLiteral("--"), source,
                                                                   destination});
    if (status == VTAuthorization::StatusSuccess && VTPlainFiles::exists(destination))
        return QString();
    return QStringLiteral("it could not be copied (%1)").arg(privilegedFailure(status));
}

QString VTPluginInstallerRun::privilegedFailure(int status)
{
    switch (status) {
    case VTAuthorization::StatusNotAuthorized:
        return notAuthorizedReason();
    case VTAuthorization::StatusToolMissing:
        return QStringLiteral("the system's file tools are missing");
    case VTAuthorization::StatusSuccess:
        return QStringLiteral("nothing arrived there");
    default:
        return QStringLiteral("with administrator rights: %1").arg(VTPlainFiles::describe(status));
    }
}

QString VTPluginInstallerRun::notAuthorizedReason()
{
    return QStringLiteral("administrator rights were not granted");
}

QString VTPluginInstallerRun::summary(const Outcome &outcome)
{
    if (outcome.total == 0)
        return QStringLiteral("This installer holds no plug-ins.");
    QString text = QStringLiteral("Installed %1 of %2.").arg(outcome.installed.size()).arg(plugins(outcome.total));
    if (!outcome.trashed.isEmpty())
        text += QStringLiteral(" The copies replaced (%1) are in the Trash.").arg(outcome.trashed.size());
    if (outcome.failures.isEmpty())
        return text;
    text += QStringLiteral("\nNot installed:");
    for (const Failure &failure : outcome.failures)
        text += QStringLiteral("\n  %1 (to %2): %3").arg(failure.item.name(), failure.item.destination, failure.reason);
    return text;
}
