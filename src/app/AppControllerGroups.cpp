// The application controller's group and access members; the work is done
// by VTGroupOperation and VTAccessOperation in src/operations.

#include "AppController.h"

#include "VTAccessOperation.h"
#include "VTGroupOperation.h"
#include "VTOperations.h"

GroupPtr AppController::addGroup(const ItemPtr &selected)
{
    return m_operations->groups().addGroup(selected, [this] { m_sorter.applySorting(); });
}

void AppController::setAccess(qint64 access, const ItemPtr &item, bool showProgress, bool threaded)
{
    m_operations->access().setAccess(access, item, showProgress, threaded);
}

void AppController::toggleUserAccess(const QList<ItemPtr> &selection, const QString &buttonLabel)
{
    m_operations->access().toggleUserAccess(selection, buttonLabel);
}
