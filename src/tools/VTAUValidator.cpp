#include "VTAUValidator.h"

#include "VTAUValTableModel.h"
#include "VTAUValidationDisplay.h"
#include "VTException.h"
#include "VTLocalPaths.h"
#include "VTLog.h"
#include "VTMainThread.h"
#include "VTTaskEx.h"

#include <QFileInfo>

#include <algorithm>
#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

const QString &couldNotComplete()
{
    static const QString text = QStringLiteral("Audio Unit validation could not be completed.");
    return text;
}

QStringList validationArguments(const VTAudioUnit &unit)
{
    return {QStringLiteral("-v"), unit.typeCode(), unit.idCode(), unit.manCode()};
}

bool isSkippedSystemUnit(const QString &title)
{
    return title == QLatin1String("DefaultOutputUnit") || title == QLatin1String("DLSMusicDevice")
        || title == QLatin1String("SystemOutputUnit");
}

} // namespace

VTAUValidator::VTAUValidator(VTAUValTableModel &model, VTAUValidationDisplay &display)
    : m_model(model)
    , m_display(display)
{
}

QString VTAUValidator::validatorPath()
{
    return VTLocalPaths::systemPath(QStringLiteral("/usr/bin/auval"));
}

bool VTAUValidator::processAUValidation()
{
    bool completed = false;
    try {
        VTLog::appendLog(QStringLiteral("Populating audio units for validation..."));
        VTMainThread::runAndWait([this] { m_display.startAUValProgress(); });

        std::vector<VTAudioUnitPtr> units;
        if (listUnits(units)) {
            VTMainThread::runAndWait([&] {
                m_model.updateAUValArray(std::move(units));
                m_model.applySorting();
                units = m_model.units();
            });

            VTLog::appendLog(QStringLiteral("Validating audio units..."));
            // At most QueueWidth validations at once, taken in table order.
            std::atomic<std::size_t> next{0};
            std::vector<std::jthread> queue;
            for (std::size_t worker = 0; worker < std::min<std::size_t>(QueueWidth, units.size()); ++worker) {
                queue.emplace_back([this, &units, &next] {
                    for (std::size_t index = next++; index < units.size(); index = next++)
                        validateAudioUnit(units[index]);
                });
            }
            queue.clear();
            completed = true;
        }
    } catch (const std::exception &exception) {
        VTException::logException(exception, "-[AppController processAUValidation]");
    } catch (...) {
        VTException::logCurrentException("-[AppController processAUValidation]");
    }
    VTMainThread::runAndWait([this] { m_display.endAUValProgress(); });
    return completed;
}

bool VTAUValidator::listUnits(std::vector<VTAudioUnitPtr> &units)
{
    const QString tool = validatorPath();
    if (!QFileInfo::exists(tool)) {
        VTLog::appendLog(QStringLiteral("Unable to locate auval utility. ") + couldNotComplete());
        VTMainThread::runAndWait([this] { m_display.showSheet(QStringLiteral("Unable to locate validator"), couldNotComplete()); });
        return false;
    }
    const QString output = VTTaskEx::stringFromTask(tool, {QStringLiteral("-a")});
    if (output.isEmpty()) {
        fail(QStringLiteral("Error: no data returned from validator"));
        return false;
    }
    QStringList lines = output.split(QLatin1Char('\n'));
    if (lines.size() <= 9) {
        fail(QStringLiteral("Error: invalid data returned from validator"));
        VTLog::appendLog(QStringLiteral("Items: (\n    \"%1\"\n)").arg(lines.join(QStringLiteral("\",\n    \""))));
        return false;
    }
    // The validator's banner takes the first nine lines and a closing line.
    if (lines.at(1).trimmed().startsWith(QLatin1String("* *")))
        lines = lines.mid(9, lines.size() - 10);
    units = unitsFromListing(lines);
    return true;
}

void VTAUValidator::fail(const QString &message)
{
    VTLog::appendLog(message + QStringLiteral(". ") + couldNotComplete());
    VTMainThread::runAndWait([this, message] { m_display.showSheet(message, couldNotComplete()); });
}

std::vector<VTAudioUnitPtr> VTAUValidator::unitsFromListing(const QStringList &lines)
{
    std::vector<VTAudioUnitPtr> units;
    for (const QString &line : lines) {
        const QStringList words = line.split(QLatin1Char(' '));
        const qsizetype colon = line.lastIndexOf(QLatin1String(": "));
        const qsizetype dash = line.lastIndexOf(QLatin1String(" - "));
        const QString title = colon >= 0 ? line.mid(colon + 2) : QStringLiteral("Unknown");
        if (isSkippedSystemUnit(title))
            continue;
        const QString manName = dash >= 0 ? line.mid(dash + 3, colon - dash - 3) : QStringLiteral("Unknown");
        if (words.size() < 3)
            throw std::out_of_range("list line of fewer than three words: " + line.toStdString());
        units.push_back(std::make_shared<VTAudioUnit>(words.at(0), words.at(1), words.at(2), title, manName));
    }
    return units;
}

void VTAUValidator::validateAudioUnit(const VTAudioUnitPtr &unit)
{
    try {
        int exitCode = VTTaskEx::terminationCodeFromTask(validatorPath(), validationArguments(*unit));
        // A validator that exits with -1 reaches us as 255.
        if (exitCode == 255)
            exitCode = -1;
        unit->setStatus(statusForExitCode(exitCode));
        const QString logLine = logLineForExitCode(exitCode, unit->title());
        if (!logLine.isEmpty())
            VTLog::appendLog(logLine);
        VTMainThread::runAndWait([this] { m_model.reloadAUValTableView(); });
    } catch (...) {
        VTException::logCurrentException("-[AppController validateAudioUnit:]");
    }
}

QString VTAUValidator::statusForExitCode(int exitCode)
{
    switch (exitCode) {
    case -1:
        return QStringLiteral("Failed");
    case 0:
        return QStringLiteral("OK");
    case 1:
        return QStringLiteral("General Error");
    case 2:
        return QStringLiteral("Fatal Error");
    case 4:
    case 5:
        return QStringLiteral("Unauthorized");
    default: // 3 included: it has no status of its own
        return QStringLiteral("Unknown");
    }
}

QString VTAUValidator::logLineForExitCode(int exitCode, const QString &title)
{
    switch (exitCode) {
    case -1:
        return title + QStringLiteral(" returned Failed");
    case 0:
        return {};
    case 1:
        return title + QStringLiteral(" returned General Error");
    case 2:
        return title + QStringLiteral(" returned Fatal Error");
    case 4:
        return title + QStringLiteral(" returned Unauthorized (open)");
    case 5:
        return title + QStringLiteral(" returned Unauthorized (init)");
    default:
        return QStringLiteral("%1 returned Unknown (return code %2)").arg(title).arg(exitCode);
    }
}

QString VTAUValidator::inspect(const VTAudioUnit &unit)
{
    VTLog::appendLog(QStringLiteral("Inspecting %1...").arg(unit.title()));
    return VTTaskEx::stringFromTask(validatorPath(), validationArguments(unit));
}

QString VTAUValidator::inspectorTitle(const VTAudioUnit &unit)
{
    return QStringLiteral("%1 - Inspector").arg(unit.title());
}
