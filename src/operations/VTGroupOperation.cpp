#include "VTGroupOperation.h"

#include "OutlineViewController.h"
#include "VTAuthorization.h"
#include "VTCatalogueView.h"
#include "VTGroupItem.h"
#include "VTGroupPlaces.h"
#include "VTGuardedMove.h"
#include "VTLocalPaths.h"
#include "VTLog.h"
#include "VTMainThread.h"
#include "VTOperationContext.h"
#include "VTOperationFrame.h"
#include "VTPath.h"
#include "VTPlainFiles.h"
#include "VTPluginItem.h"
#include "VTTrash.h"
#include "VTUserInterface.h"

namespace {

// Proposals stop here; a folder holding this many groups gets none.
constexpr int kLastProposal = 100000;

// The subfolder path with its last component replaced.
QString renamedSubdir(const QString &subdir, const QString &name)
{
    QStringList parts = VTPath::components(subdir);
    if (!parts.isEmpty())
        parts.removeLast();
    return VTPath::join(parts.join(u'/'), name);
}

} // namespace

VTGroupOperation::VTGroupOperation(const VTOperationContext &context, VTGuardedMove &move, QObject *parent)
    : QObject(parent)
    , m_context(context)
    , m_move(move)
{
}

int VTGroupOperation::levelForItem(const ItemPtr &item)
{
    if (!item)
        return -1;
    int level = 0;
    for (GroupPtr above = item->parent(); above; above = above->parent())
        ++level;
    return level;
}

bool VTGroupOperation::isSubdirInside(const QString &subdir, const QString &ancestor)
{
    const QStringList outer = VTPath::components(ancestor);
    const QStringList inner = VTPath::components(subdir);
    return !outer.isEmpty() && inner.size() >= outer.size() && inner.mid(0, outer.size()) == outer;
}

QString VTGroupOperation::proposeGroupFilename(const QString &folder)
{
    if (folder.isEmpty())
        return QString();
    for (int number = 1; number <= kLastProposal; ++number) {
        const QString name = number == 1 ? QStringLiteral("Group") : QStringLiteral("Group %1").arg(number);
        if (!VTPlainFiles::exists(VTPath::join(folder, name))) {
            VTLog::appendLog(QStringLiteral("Proposed group filename for %1: %2").arg(folder, name));
            return name;
        }
    }
    return QString();
}

std::optional<QString> VTGroupOperation::validateFilename(const QString &name)
{
    if (name.isEmpty() || name == QLatin1String("."))
        return std::nullopt;
    QString cleaned = name;
    // Only one dot goes: a name typed with two keeps one and stays hidden.
    if (cleaned.size() > 1 && cleaned.startsWith(u'.'))
        cleaned.remove(0, 1);
    cleaned.remove(u'/');
    cleaned.remove(u'\\');
    cleaned.remove(u'~');
    return cleaned;
}

GroupPtr VTGroupOperation::addGroup(const ItemPtr &selected, const std::function<void()> &applySorting)
{
    VTLog::appendLog(QStringLiteral("Adding group..."));
    if (levelForItem(selected) >= MaximumDepth) {
        const QString title = QStringLiteral("You have reached the limit of 10 subdirectories.");
        const QString reason = QStringLiteral("This limit has been imposed for performance reasons.");
        VTLog::appendLog(title + u' ' + reason);
        m_context.runAlert(title, reason);
        return nullptr;
    }
    ItemPtr row = selected;
    if (row && row->isPlugin())
        row = row->parent();
    const GroupPtr parent = row ? row->asGroup() : nullptr;

    QString folder;
    QString parentSubdir;
    if (parent) {
        folder = parent->groupPath();
        parentSubdir = parent->subdir();
    } else {
        // Without a group to go into, a new group starts out in the disabled
        // tree of the all-users FxPlug folder, where no host sees it yet.
        folder = VTLocalPaths::mirrorPath(m_context.disabledPath(),
                                          m_context.catalogue().pluginFolderDict()->path(QStringLiteral("localFxPlug")));
    }

    const QString name = proposeGroupFilename(folder);
    VTLog::appendLog(QStringLiteral("Proposed group filename: %1").arg(name));
    if (name.isEmpty()) {
        m_context.post(QStringLiteral(
            "Cannot create group - unable to determine group name. Please report this errpr to Vantorel."));
        VTLog::appendLog(QStringLiteral(
            "Cannot create group - unable to determine group name. Please report this error to Vantorel."));
        m_context.runAlert(QStringLiteral("Cannot create group."),
                           QStringLiteral("Unable to determine group name. Please report this error to Vantorel."));
        return nullptr;
    }

    const QString path = VTPath::join(folder, name);
    if (const int error = VTPlainFiles::makeFolders(path)) {
        reportGroupFolderFailure(path, error);
        return nullptr;
    }
    const GroupPtr group = VTGroupItem::create(name, path, VTPath::join(parentSubdir, name));
    placeNewGroup(group, parent);

    VTLog::appendLog(QStringLiteral("Refreshing OutlineView..."));
    VTMainThread::runAndWait([this, &group, &applySorting] {
        if (applySorting)
            applySorting();
        if (VTCatalogueView *view = m_context.catalogue().view())
            view->selectItems({group});
    });
    return group;
}

void VTGroupOperation::reportGroupFolderFailure(const QString &folder, int error)
{
    const QString reason = VTPlainFiles::describe(error);
    m_context.postAndLog(
        QStringLiteral("Unable to create group - %1. Please check you have write permissions for the folder %2.")
            .arg(reason, folder));
    m_context.runAlert(
        QStringLiteral("Unable to create group. Please check you have write permissions for the folder %1.").arg(folder),
        reason);
}

void VTGroupOperation::placeNewGroup(const GroupPtr &group, const GroupPtr &parent)
{
    OutlineViewController &catalogue = m_context.catalogue();
    VTMainThread::runAndWait([&catalogue, &group, &parent] {
        if (parent) {
            parent->addChild(group);
            catalogue.notifyTreeReset();
            if (VTCatalogueView *view = catalogue.view())
                view->expandItem(parent, false);
        } else {
            QList<ItemPtr> top = catalogue.dataArray();
            top.append(group);
            catalogue.setDataArray(top);
        }
    });
}

bool VTGroupOperation::nameCellEdited(const ItemPtr &item, const QString &text)
{
    const GroupPtr group = item ? item->asGroup() : nullptr;
    if (!group)
        return false;
    const std::optional<QString> name = validateFilename(text);
    if (!name || name->isEmpty() || *name == group->title())
        return false;
    const bool renamed = renameGroup(group, *name);
    m_context.reloadData();
    emit outlineViewItemsChanged();
    return renamed;
}

bool VTGroupOperation::renameGroup(const GroupPtr &group, const QString &newName)
{
    VTOperationFrame &frame = m_context.frame();
    frame.setProcessingCancelled(false);
    if (!group)
        return false;
    const QString title = group->title();
    if (title == newName)
        return false;
    // The new name must stay one folder beside the old one.
    if (newName.isEmpty() || newName == QLatin1String(".") || newName == QLatin1String("..") || newName.contains(u'/')) {
        VTLog::appendLog(QStringLiteral("Cannot rename group %1 to %2 - not a folder name.").arg(title, newName));
        return false;
    }
    const QString subdir = group->subdir();
    if (VTPath::components(subdir).isEmpty()) {
        // Without its subfolder the group would stand for the kinds' own
        // folders.
        VTLog::appendLog(QStringLiteral("Cannot rename group %1 - it has no subdirectory.").arg(title));
        return false;
    }

    VTLog::appendLog(QStringLiteral("Renaming group %1 to %2...").arg(title, newName));
    frame.startProgress();
    const QString oldGroupPath = group->groupPath();
    for (const QString &oldPath : VTGroupPlaces::candidates(subdir, m_context.disabledPath())) {
        VTLog::appendLog(QStringLiteral("Old path is %1").arg(oldPath));
        if (!VTPlainFiles::exists(oldPath))
            continue;
        const QString newPath = VTPath::join(VTPath::removeLastComponent(oldPath), newName);
        VTLog::appendLog(QStringLiteral("New path is %1").arg(newPath));
        if (!m_move.moveFileFrom(oldPath, newPath)) {
            m_context.post(QStringLiteral("Unable to move path %1 to %2").arg(oldPath, newPath));
            VTLog::appendLog(QStringLiteral("Unable to move path from %1 to %2").arg(oldPath, newPath));
            frame.endProgress();
            return false;
        }
    }

    const QString newSubdir = renamedSubdir(subdir, newName);
    group->setSubdir(newSubdir);
    // The plug-ins below take the whole new subfolder path, so that their
    // records point into the renamed folder at every depth.
    group->renameChildSubdirs(newSubdir);
    group->setTitle(newName);
    group->setGroupPath(VTPath::join(VTPath::removeLastComponent(oldGroupPath), newName));
    frame.endProgress();
    return true;
}

bool VTGroupOperation::moveItem(const ItemPtr &item, const GroupPtr &target)
{
    const PluginPtr plugin = item ? item->asPlugin() : nullptr;
    if (plugin && plugin->isLocked()) {
        VTLog::appendLog(QStringLiteral("Unable to move %1 - plugin is locked").arg(plugin->shortName()));
        return true;
    }
    VTOperationFrame &frame = m_context.frame();
    frame.startProgress();
    const QString targetTitle = target ? target->title() : QString();
    const QString targetSubdir = target ? target->subdir() : QString();
    if (!item) {
        VTLog::appendLog(QStringLiteral("Cannot move item to group %1 - unknown item.").arg(targetTitle));
        frame.endProgress();
        return false;
    }
    const GroupPtr group = item->asGroup();
    const QString name = item->displayTitle();
    const QString source = group ? group->groupPath() : plugin->pluginPath();
    VTLog::appendLog((group ? QStringLiteral("Moving group %1 to group %2") : QStringLiteral("Moving plugin %1 to group %2"))
                         .arg(name, targetTitle));

    // The kind's folder the item lies in: its path less the file name and
    // less one folder per level of its group.
    QStringList parts = VTPath::components(source);
    if (plugin && !parts.isEmpty())
        parts.removeLast();
    const qsizetype levels = VTPath::components(item->subdir()).size();
    parts = parts.mid(0, std::max<qsizetype>(0, parts.size() - levels));
    const QString base = u'/' + parts.join(u'/');
    const QString folder = VTPath::join(base, targetSubdir);
    const QString destination = VTPath::join(folder, VTPath::lastComponent(source));

    if (!VTPlainFiles::exists(folder) && !makeTargetFolder(folder)) {
        frame.endProgress();
        return false;
    }
    // Nothing to do; the busy indicator is deliberately left as it is here.
    if (destination == source)
        return true;
    if (VTPath::isInside(source, destination)) {
        // Replacing the destination would send the item itself to the Trash.
        m_context.postAndLog(QStringLiteral("Unable to move file %1 to %2").arg(source, destination));
        frame.endProgress();
        return false;
    }
    if (VTPlainFiles::exists(destination) && !replaceExisting(item, destination)) {
        frame.endProgress();
        return false;
    }
    if (!m_move.moveFileFrom(source, destination)) {
        m_context.postAndLog(QStringLiteral("Unable to move file %1 to %2").arg(source, destination));
        frame.endProgress();
        return false;
    }
    item->setSubdir(targetSubdir);
    // A group records the folder it went into, not its own new path; the
    // reload that follows every move puts the record right.
    if (group)
        group->setGroupPath(folder);
    item->setParent(target);
    frame.endProgress();
    return true;
}

bool VTGroupOperation::makeTargetFolder(const QString &folder)
{
    VTLog::appendLog(QStringLiteral("Creating folder at %1...").arg(folder));
    const int error = VTPlainFiles::makeFolders(folder);
    if (error == 0)
        return true;
    const QString reason = VTPlainFiles::describe(error);
    VTLog::appendLog(QStringLiteral("Couldn't create folder %1 - %2. Authorizing...").arg(folder, reason));
    if (VTAuthorization *authorization = VTAuthorization::sharedController())
        (void)authorization->authCreateDir(folder);
    if (VTPlainFiles::waitFor(1, [&folder] { return VTPlainFiles::isFolder(folder); }))
        return true;
    VTLog::appendLog(QStringLiteral("Unable to create directory %1 - %2").arg(folder, reason));
    if (m_context.hasGUI())
        m_context.runAlert(QStringLiteral("Unable to create directory %1").arg(folder), reason);
    else
        m_context.post(QStringLiteral("Unable to create directory %1 - %2").arg(folder, reason));
    return false;
}

bool VTGroupOperation::replaceExisting(const ItemPtr &item, const QString &existing)
{
    VTLog::appendLog(
        QStringLiteral("Destination plugin %1 already exists. Asking the user what to do...").arg(existing));
    const int answer = m_context.runAlert(
        QStringLiteral("The plugin %1 already exists at this location. Do you wish to overwrite it?")
            .arg(item->displayTitle()),
        QString(), {QStringLiteral("Overwrite"), QStringLiteral("Cancel")});
    if (answer != VTUserInterface::FirstButton) {
        VTLog::appendLog(QStringLiteral("User chose not to overwrite plugin."));
        return false;
    }
    if (VTTrash::trashItem(existing))
        return true;
    VTLog::appendLog(QStringLiteral("Unable to trash %1. Authorizing...").arg(existing));
    if (VTAuthorization *authorization = VTAuthorization::sharedController())
        (void)authorization->authTrashFile(existing);
    if (VTPlainFiles::waitFor(1, [&existing] { return !VTPlainFiles::exists(existing); }))
        return true;
    m_context.post(QStringLiteral("Unable to trash %1.").arg(existing));
    VTLog::appendLog(QStringLiteral("Unable to auth trash %1.").arg(existing));
    return false;
}

bool VTGroupOperation::moveChildrenOfItem(const GroupPtr &source, const GroupPtr &target)
{
    if (!source)
        return false;
    const QString targetSubdir = target ? target->subdir() : QString();
    VTLog::appendLog(QStringLiteral("Moving children of %1 to %2...").arg(source->title(), target ? target->title() : QString()));
    if (isSubdirInside(targetSubdir, source->subdir())) {
        // The group of the same name would be made inside the group being
        // emptied, and would then be emptied into itself in turn.
        VTLog::appendLog(QStringLiteral("Cannot move group %1 into itself or one of its subgroups.").arg(source->title()));
        return false;
    }
    // Taken before the target chain is made: that chain may become a child
    // of a group being walked.
    const QList<ItemPtr> children = source->children();
    const QString subdir = VTPath::join(targetSubdir, VTPath::lastComponent(source->subdir()));
    // The chain may add a group below the target, a change of the tree that
    // belongs to the main thread.
    GroupPtr destination;
    OutlineViewController &catalogue = m_context.catalogue();
    VTMainThread::runAndWait([&] {
        const qsizetype before = target ? target->children().size() : 0;
        destination = catalogue.createGroupPath(subdir, source->basePath(), true);
        if (target && target->children().size() != before)
            catalogue.notifyTreeReset();
    });
    if (children.isEmpty()) {
        VTLog::appendLog(QStringLiteral("No children to move - group is empty"));
        return true;
    }
    for (const ItemPtr &child : children) {
        if (const PluginPtr plugin = child->asPlugin()) {
            m_context.frame().incrementProgress();
            if (plugin->isLocked())
                continue;
            if (!moveItem(plugin, destination))
                return false;
        } else if (!moveChildrenOfItem(child->asGroup(), destination)) {
            return false;
        }
    }
    return true;
}
