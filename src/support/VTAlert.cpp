#include "VTAlert.h"

#include "VTLog.h"

VTUserInterface::Alert VTAlert::makeAlert(const QString &messageText, const QString &informativeText,
                                          const QStringList &buttons, bool asSheet)
{
    VTUserInterface::Alert alert;
    alert.messageText = messageText;
    alert.informativeText = informativeText;
    alert.asSheet = asSheet;
    for (const QString &title : buttons) {
        if (title.isEmpty())
            continue;
        if (alert.buttons.size() == MaximumButtons) {
            VTLog::appendLog(QStringLiteral("Alert \"%1\" has more than %2 buttons; \"%3\" is left out")
                                 .arg(messageText)
                                 .arg(MaximumButtons)
                                 .arg(title));
            continue;
        }
        alert.buttons.append(title);
    }
    return alert;
}

int VTAlert::run(VTUserInterface &ui, const VTUserInterface::Alert &alert)
{
    return ui.runAlert(alert);
}

int VTAlert::runSheet(VTUserInterface &ui, const QString &messageText, const QString &informativeText,
                      const QStringList &buttons)
{
    return run(ui, makeAlert(messageText, informativeText, buttons, true));
}

int VTAlert::runModal(VTUserInterface &ui, const QString &messageText, const QString &informativeText,
                      const QStringList &buttons)
{
    return run(ui, makeAlert(messageText, informativeText, buttons, false));
}
