#pragma once

#include "VTPluginInstallerItem.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <functional>

// Installs an installer's plug-ins, one after the other, with the program's
// own file operations: missing folders are made, an existing copy is
// replaced only when `confirm` agrees and then goes to the Trash (never
// deleted), and where the user lacks the rights a step is repeated with
// administrator rights. Runs on the calling thread; the callbacks are
// called there too.
class VTPluginInstallerRun
{
public:
    struct Failure {
        VTPluginInstallerItem item;
        QString reason;
    };
    struct Outcome {
        int total = 0;
        QList<VTPluginInstallerItem> installed;
        QStringList trashed; // old copies sent to the Trash
        QList<Failure> failures;
        [[nodiscard]] bool complete() const { return total > 0 && failures.isEmpty(); }
    };

    // Asked before an existing copy is replaced; true to replace it.
    using Confirm = std::function<bool(const VTPluginInstallerItem &)>;
    // Called before each item with the number done so far, and once more
    // at the end with the total (and no item).
    using Progress = std::function<void(int done, const VTPluginInstallerItem *item)>;

    VTPluginInstallerRun(Confirm confirm, Progress progress);

    [[nodiscard]] Outcome install(const QList<VTPluginInstallerItem> &items);

    // The reason given when administrator rights were needed and not granted.
    [[nodiscard]] static QString notAuthorizedReason();

    // The closing summary: how many were installed, which were not and why.
    [[nodiscard]] static QString summary(const Outcome &outcome);

private:
    // Empty on success, otherwise why the item was not installed.
    [[nodiscard]] QString installItem(const VTPluginInstallerItem &item, Outcome &outcome);
    [[nodiscard]] static QString makeFolder(const QString &folder);
    [[nodiscard]] static QString trashExisting(const QString &path);
    [[nodiscard]] static QString copy(const QString &source, const QString &destination);
    [[nodiscard]] static QString privilegedFailure(int status);

    Confirm m_confirm;
    Progress m_progress;
};
