#pragma once

#include "VTAudioUnit.h"

#include <QStringList>

#include <vector>

class VTAUValTableModel;
class VTAUValidationDisplay;

// Lists every Audio Unit with the managed system's validator and validates
// each on a queue of five, writing the statuses into the table's units.
class VTAUValidator
{
public:
    static constexpr int QueueWidth = 5;

    VTAUValidator(VTAUValTableModel &model, VTAUValidationDisplay &display);

    // "/usr/bin/auval" of the managed system.
    [[nodiscard]] static QString validatorPath();

    // The whole run, on a worker thread (or the command line's own thread):
    // lists, hands the list to the table, validates and waits for every unit.
    // False when a start-up failure or an exception ended it early.
    bool processAUValidation();

    // The units of the validator's listing, in listing order; the three
    // system units are left out. Throws std::out_of_range for a line of
    // fewer than three words.
    [[nodiscard]] static std::vector<VTAudioUnitPtr> unitsFromListing(const QStringList &lines);

    // Validates one unit and writes its status (queue thread).
    void validateAudioUnit(const VTAudioUnitPtr &unit);

    // The status for the validator's exit status, and the log line for it
    // (empty for "OK").
    [[nodiscard]] static QString statusForExitCode(int exitCode);
    [[nodiscard]] static QString logLineForExitCode(int exitCode, const QString &title);

    // The inspector: logs the inspection and returns the validator's whole
    // report for the unit (the caller waits for the tool).
    [[nodiscard]] static QString inspect(const VTAudioUnit &unit);
    [[nodiscard]] static QString inspectorTitle(const VTAudioUnit &unit);

private:
    // Lists the units; false after a start-up failure, which it has logged
    // and shown.
    bool listUnits(std::vector<VTAudioUnitPtr> &units);
    void fail(const QString &message);

    VTAUValTableModel &m_model;
    VTAUValidationDisplay &m_display;
};
