#pragma once

#include <QString>

// What an installer build asks of the installer window. Each call is made on
// the main thread and returns without waiting for the person: a sheet is
// shown, not run to its end.
class VTInstallerDisplay
{
public:
    virtual ~VTInstallerDisplay() = default;
    virtual void startSpinner() = 0;
    virtual void stopSpinner() = 0;
    virtual void showSheet(const QString &messageText, const QString &informativeText) = 0;
};
