#include "VTStartupChecks.h"

#include "AppController.h"
#include "OutlineViewController.h"
#include "VTAuthorization.h"
#include "VTLocalPaths.h"
#include "VTLog.h"
#include "VTPath.h"
#include "VTUserDefaults.h"
#include "VTUserInterface.h"

#include <QDir>

#include <chrono>
#include <thread>

#include <sys/stat.h>
#include <unistd.h>

namespace {

const QString kRequireAdminPassword = QStringLiteral("requireAdminPassword");

// The privileged steps are handed to the helper one after another; the pause
// lets each settle on disk before the next one looks at the tree.
void settle()
{
    std::this_thread::sleep_for(std::chrono::seconds(1));
}

bool lstatOf(const QString &path, struct stat &st)
{
    return ::lstat(VTPath::toNative(path).constData(), &st) == 0;
}

bool accessible(const QString &path, int mode)
{
    return ::access(VTPath::toNative(path).constData(), mode) == 0;
}

} // namespace

VTStartupChecks::VTStartupChecks(VTUserInterface &ui, QString disabledRoot)
    : m_ui(ui)
    , m_disabledRoot(std::move(disabledRoot))
{
}

bool VTStartupChecks::run(AppController &controller)
{
    VTStartupChecks checks(controller.userInterface(), controller.outlineViewController().disabledPath());
    if (!checks.passAdminPasswordGuard()) {
        VTLog::appendLog(QStringLiteral("Administrator authorization refused; quitting."));
        return false;
    }
    (void)checks.checkPermissions();
    controller.reloadData();
    return true;
}

bool VTStartupChecks::adminPasswordRequired()
{
    QVariant value = VTUserDefaults::hostValue(kRequireAdminPassword);
    if (!value.isValid())
        value = VTUserDefaults::value(kRequireAdminPassword);
    return value.toLongLong() == 1;
}

VTUserInterface::Alert VTStartupChecks::repairAlert()
{
    return {QStringLiteral("Permissions incorrectly set"),
            QStringLiteral("Tessary has determined that the permissions on some of the folders it uses are "
                           "incorrectly set. These can sometimes cause unexpected behavior. Would you like to "
                           "repair these now?"),
            {QStringLiteral("Repair"), QStringLiteral("Cancel")},
            true};
}

bool VTStartupChecks::passAdminPasswordGuard()
{
    if (!adminPasswordRequired())
        return true;
    VTAuthorization *authorization = VTAuthorization::sharedController();
    return authorization && authorization->authStart();
}

bool VTStartupChecks::isUsableFolder(const QString &folder)
{
    struct stat st {};
    if (!lstatOf(folder, st) || !S_ISDIR(st.st_mode))
        return false;
    if (!accessible(folder, R_OK | W_OK | X_OK))
        return false;
    // Deletable: the family folder is writable by the user, and (as with a
    // sticky folder) by no one else, who could otherwise swap the root.
    const QString family = VTPath::removeLastComponent(folder);
    struct stat parent {};
    if (!lstatOf(family, parent) || !accessible(family, W_OK | X_OK))
        return false;
    return !(st.st_mode & (S_IWGRP | S_IWOTH)) && !(parent.st_mode & (S_IWGRP | S_IWOTH));
}

VTStartupChecks::Repair VTStartupChecks::checkPermissions()
{
    struct stat st {};
    const bool present = lstatOf(m_disabledRoot, st);
    if (!present)
        (void)QDir().mkpath(m_disabledRoot); // with the user's own rights; may fail
    else if (!S_ISDIR(st.st_mode)) {
        // A file or a link in its place: neither is repaired nor followed.
        VTLog::appendLog(QStringLiteral("The disabled plug-ins folder %1 is not a folder.").arg(m_disabledRoot));
        (void)m_ui.runAlert({QStringLiteral("The folder for disabled plug-ins is not a folder"),
                             QStringLiteral("%1 is a file or a link. Move it away and start Tessary again; "
                                            "until then plug-ins cannot be disabled.")
                                 .arg(m_disabledRoot),
                             {},
                             true});
        return Repair::Failed;
    }
    if (isUsableFolder(m_disabledRoot))
        return Repair::NotNeeded;

    VTLog::appendLog(QStringLiteral("Permissions incorrectly set. Asking user to repair..."));
    const int answer = m_ui.runAlert(repairAlert());
    if (answer != VTUserInterface::FirstButton)
        return Repair::Declined;
    return repairAsAdministrator() ? Repair::Repaired : Repair::Failed;
}

bool VTStartupChecks::repairAsAdministrator()
{
    VTAuthorization *authorization = VTAuthorization::sharedController();
    if (!authorization)
        return false;
    struct stat st {};
    if (!lstatOf(m_disabledRoot, st) && !authorization->authCreateDir(m_disabledRoot))
        return false;
    // The whole family folder, so sibling folders of the program family are
    // repaired too. The user gets ownership and read and write rights;
    // group and others lose write rights instead of gaining them, so nobody
    // else can plant or change what is enabled from here later.
    const QString family = VTPath::removeLastComponent(m_disabledRoot);
    settle();
    const int owned = authorization->authExecTask(QStringLiteral("/usr/sbin/chown"),
                                                  {QStringLiteral("-R"), VTLocalPaths::username(), family}, false);
    settle();
    const int moded = authorization->authExecTask(QStringLiteral("/bin/chmod"),
                                                  {QStringLiteral("-R"), QStringLiteral("u+rwX,go-w"), family}, false);
    settle();
    if (owned != VTAuthorization::StatusSuccess || moded != VTAuthorization::StatusSuccess) {
        VTLog::appendLog(QStringLiteral("Repairing the permissions of %1 failed (%2, %3).").arg(family).arg(owned).arg(moded));
        return false;
    }
    return isUsableFolder(m_disabledRoot);
}
