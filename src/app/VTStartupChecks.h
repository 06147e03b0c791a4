#pragma once

#include "VTUserInterface.h"

#include <QString>

class AppController;

// What a window run does before its first reload, in this order: the
// administrator password guard, then the repair of the program's own folders
// (the disabled-plugins root and its family folder). Headless: the only thing
// shown is an alert through the display interface.
class VTStartupChecks
{
public:
    enum class Repair {
        NotNeeded, // the root is (now) a folder the user may use
        Declined,  // the user chose "Cancel"
        Repaired,  // the privileged steps ran and the root is usable
        Failed,    // authorization refused, a step failed, or the root is no folder
    };

    VTStartupChecks(VTUserInterface &ui, QString disabledRoot);

    // The guard, the repair and the first reload. False when the program
    // must quit at once (authorization required and not granted); nothing
    // has been reloaded then.
    static bool run(AppController &controller);

    // With `requireAdminPassword` = 1, asks for administrator authorization.
    // False when it is required and not granted.
    [[nodiscard]] bool passAdminPasswordGuard();
    [[nodiscard]] Repair checkPermissions();

    // A real folder (not a link) the user may read, write and delete, in a
    // family folder that nobody else may write.
    [[nodiscard]] static bool isUsableFolder(const QString &folder);
    // The preference as a window run reads it: the value stored for this
    // host, else the application's.
    [[nodiscard]] static bool adminPasswordRequired();
    // "Permissions incorrectly set", with "Repair" and "Cancel".
    [[nodiscard]] static VTUserInterface::Alert repairAlert();

private:
    [[nodiscard]] bool repairAsAdministrator();

    VTUserInterface &m_ui;
    QString m_disabledRoot;
};
