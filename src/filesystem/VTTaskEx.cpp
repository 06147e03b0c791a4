#include "VTTaskEx.h"

#include "VTChildProcess.h"
#include "VTLog.h"
#include "VTPath.h"

#include <QFileInfo>
#include <QProcess>

namespace {

// How long a timed-out tool may take to end after SIGTERM before SIGKILL.
constexpr std::chrono::milliseconds kTerminateGrace{1000};

// Host tools that may live in another bin folder on this system.
bool isRelocatableHostTool(const QString &tool)
{
    static const QStringList folders = {QStringLiteral("/bin"), QStringLiteral("/usr/bin"), QStringLiteral("/usr/sbin"),
                                        QStringLiteral("/sbin")};
    return folders.contains(VTPath::removeLastComponent(tool));
}

bool isExecutableFile(const QString &path)
{
    const QFileInfo info(path);
    return info.isFile() && info.isExecutable();
}

} // namespace

QString VTTaskEx::resolveTool(const QString &tool)
{
    if (isExecutableFile(tool))
        return tool;
    if (!isRelocatableHostTool(tool))
        return QString();
    const QString name = VTPath::lastComponent(tool);
    for (const char *folder : {"/usr/sbin", "/usr/bin", "/bin", "/sbin"}) {
        const QString candidate = VTPath::join(QLatin1String(folder), name);
        if (isExecutableFile(candidate)) {
            VTLog::appendLog(QStringLiteral("%1 is not on this system; running %2").arg(tool, candidate));
            return candidate;
        }
    }
    return QString();
}

VTTaskEx::Result VTTaskEx::run(const QString &tool, const QStringList &arguments,
                               std::optional<std::chrono::milliseconds> timeout, const QByteArray &input)
{
    Result result;
    const QString program = resolveTool(tool);
    VTChildProcess child;
    if (program.isEmpty() || !child.start(program, arguments)) {
        VTLog::appendLog(QStringLiteral("Error: %1 is not executable").arg(tool));
        return result;
    }
    const bool finished = child.communicate(input, timeout);
    if (!finished) {
        VTLog::appendLog(QStringLiteral("Task %1 timed out. Terminating...").arg(tool));
        child.endGroup(kTerminateGrace);
        result.outcome = Outcome::TimedOut;
    }
    result.standardOutput = child.standardOutput();
    result.standardError = child.standardError();
    if (!finished)
        return result;
    if (child.crashed()) {
        VTLog::appendLog(QStringLiteral("Task %1 crashed.").arg(tool));
        result.outcome = Outcome::Crashed;
        return result;
    }
    result.exitCode = child.exitCode();
    result.outcome = result.exitCode == 0 ? Outcome::Success : Outcome::FinishedWithError;
    return result;
}

bool VTTaskEx::runTask(const QString &tool, const QStringList &arguments)
{
    return run(tool, arguments).succeeded();
}

bool VTTaskEx::runTask(const QString &tool, const QStringList &arguments, std::chrono::seconds timeout)
{
    return run(tool, arguments, timeout).succeeded();
}

bool VTTaskEx::runTaskAndReturn(const QString &tool, const QStringList &arguments)
{
    const QString program = resolveTool(tool);
    if (program.isEmpty()) {
        VTLog::appendLog(QStringLiteral("Error: %1 is not executable").arg(tool));
        return false;
    }
    // Detached: the tool outlives this call and is reaped by the system.
    return QProcess::startDetached(program, arguments);
}

QString VTTaskEx::stringFromTask(const QString &tool, const QStringList &arguments)
{
    return QString::fromUtf8(run(tool, arguments).standardOutput);
}

QByteArray VTTaskEx::dataFromTask(const QString &tool, const QStringList &arguments, std::chrono::seconds timeout)
{
    return run(tool, arguments, timeout).standardOutput;
}

int VTTaskEx::terminationCodeFromTask(const QString &tool, const QStringList &arguments)
{
    const Result result = run(tool, arguments);
    if (result.outcome == Outcome::FailedToStart || result.outcome == Outcome::Crashed)
        return -1;
    return result.exitCode;
}
