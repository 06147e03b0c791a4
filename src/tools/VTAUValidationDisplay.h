#pragma once

#include <QString>

// What the validation run asks of whoever shows it: the validation window, or
// the command line. Each call is made on the main thread and must return
// without waiting for the person (a sheet is shown, not run to its end).
class VTAUValidationDisplay
{
public:
    virtual ~VTAUValidationDisplay() = default;
    virtual void startAUValProgress() = 0;
    virtual void endAUValProgress() = 0;
    virtual void showSheet(const QString &messageText, const QString &informativeText) = 0;
};
