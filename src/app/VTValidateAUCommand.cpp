#include "VTValidateAUCommand.h"

#include "VTAUValTableModel.h"
#include "VTAUValidationDisplay.h"
#include "VTAUValidator.h"
#include "VTLog.h"
#include "VTUserDefaults.h"

#include <algorithm>
#include <array>

namespace {

// Without a window a sheet becomes one printed line and marks the run failed.
class ConsoleDisplay final : public VTAUValidationDisplay
{
public:
    explicit ConsoleDisplay(FILE *output)
        : m_output(output)
    {
    }
    void startAUValProgress() override {}
    void endAUValProgress() override {}
    void showSheet(const QString &messageText, const QString &informativeText) override
    {
        m_failed = true;
        fprintf(m_output, "%s. %s\n", messageText.toUtf8().constData(), informativeText.toUtf8().constData());
    }
    [[nodiscard]] bool failed() const { return m_failed; }

private:
    FILE *m_output;
    bool m_failed = false;
};

void printTable(const VTAUValTableModel &model, FILE *output)
{
    std::vector<std::array<QString, 3>> rows{{QStringLiteral("Title"), QStringLiteral("Manufacturer"), QStringLiteral("Status")}};
    for (const VTAudioUnitPtr &unit : model.units())
        rows.push_back({unit->title(), unit->manName(), unit->status()});
    std::array<qsizetype, 2> widths{};
    for (const auto &row : rows) {
        widths[0] = std::max(widths[0], row[0].size());
        widths[1] = std::max(widths[1], row[1].size());
    }
    for (const auto &row : rows) {
        const QString line = row[0].leftJustified(widths[0] + 2) + row[1].leftJustified(widths[1] + 2) + row[2];
        fprintf(output, "%s\n", line.toUtf8().constData());
    }
}

} // namespace

int VTValidateAUCommand::run(FILE *output)
{
    VTLog::createNewLog(QStringLiteral("Tessary.task"));
    VTUserDefaults::registerApplicationDefaults();
    VTAUValTableModel model;
    ConsoleDisplay display(output);
    const bool completed = VTAUValidator(model, display).processAUValidation();
    VTLog::finishWriting();
    if (display.failed())
        return 1;
    if (!completed) {
        // A listing the routine could not read: the log has the exception.
        fprintf(output, "Error: unreadable data returned from validator. Audio Unit validation could not be completed.\n");
        return 1;
    }
    printTable(model, output);
    fflush(output);
    const bool allOK = std::all_of(model.units().begin(), model.units().end(),
                                   [](const VTAudioUnitPtr &unit) { return unit->status() == QLatin1String("OK"); });
    return allOK ? 0 : 1;
}
