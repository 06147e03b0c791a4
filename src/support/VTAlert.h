#pragma once

#include "VTUserInterface.h"

#include <QString>
#include <QStringList>

// Alerts with a message text, an informative text and up to three buttons,
// shown through whoever displays things (VTUserInterface): a sheet on the
// main window, an application-modal alert, or, without a window, one line on
// standard output. Each returns the chosen button's code:
// VTUserInterface::FirstButton (1000), SecondButton (1001), ThirdButton (1002).
class VTAlert
{
public:
    static constexpr int MaximumButtons = 3;

    // Window-modal on the main window (falls back to modal without one).
    static int runSheet(VTUserInterface &ui, const QString &messageText, const QString &informativeText,
                        const QStringList &buttons = {});
    // Application-modal.
    static int runModal(VTUserInterface &ui, const QString &messageText, const QString &informativeText,
                        const QStringList &buttons = {});

    // The request handed to the interface: empty button titles are left out
    // and only the first three are kept (empty list means one "OK").
    [[nodiscard]] static VTUserInterface::Alert makeAlert(const QString &messageText, const QString &informativeText,
                                                          const QStringList &buttons, bool asSheet);

private:
    static int run(VTUserInterface &ui, const VTUserInterface::Alert &alert);
};
