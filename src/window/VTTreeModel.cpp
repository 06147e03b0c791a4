#include "VTTreeModel.h"

#include "AppController.h"
#include "VTGroupDragAndDrop.h"
#include "VTGroupOperation.h"
#include "VTInstallRequests.h"
#include "VTOperations.h"

#include <QMimeData>
#include <QUrl>

VTTreeModel::VTTreeModel(AppController &controller, QObject *parent)
    : VTCatalogueModel(controller.outlineViewController(), parent)
    , m_controller(controller)
{
}

QVariant VTTreeModel::data(const QModelIndex &index, int role) const
{
    // The editor starts from the name as shown.
    return VTCatalogueModel::data(index, role == Qt::EditRole ? int(Qt::DisplayRole) : role);
}

Qt::ItemFlags VTTreeModel::flags(const QModelIndex &index) const
{
    Qt::ItemFlags flags = VTCatalogueModel::flags(index);
    if (!index.isValid())
        return Qt::ItemIsDropEnabled; // below the rows: the top level
    if (flags == Qt::NoItemFlags)
        return flags; // reloading
    flags |= Qt::ItemIsDragEnabled;
    const ItemPtr item = itemForIndex(index);
    if (item && item->isGroup()) {
        flags |= Qt::ItemIsDropEnabled;
        if (index.column() == ColName)
            flags |= Qt::ItemIsEditable;
    }
    return flags;
}

bool VTTreeModel::setData(const QModelIndex &index, const QVariant &value, int role)
{
    if (role != Qt::EditRole)
        return VTCatalogueModel::setData(index, value, role);
    const ItemPtr item = itemForIndex(index);
    // A rename reloads the tree, which resets this model.
    return item && m_controller.operations().groups().nameCellEdited(item, value.toString());
}

QStringList VTTreeModel::mimeTypes() const
{
    return {VTGroupDragAndDrop::pasteboardType(), QStringLiteral("text/uri-list")};
}

QMimeData *VTTreeModel::mimeData(const QModelIndexList &indexes) const
{
    QList<ItemPtr> items;
    for (const QModelIndex &index : indexes) {
        if (index.column() != ColName)
            continue;
        if (ItemPtr item = itemForIndex(index); item && !items.contains(item))
            items.append(std::move(item));
    }
    const std::optional<QByteArray> archive = m_controller.operations().dragAndDrop().writeItems(items);
    if (!archive)
        return nullptr; // a locked plug-in: no drag
    auto *data = new QMimeData;
    data->setData(VTGroupDragAndDrop::pasteboardType(), *archive);
    return data;
}

ItemPtr VTTreeModel::dropTarget(const QModelIndex &parent) const
{
    return parent.isValid() ? itemForIndex(parent) : ItemPtr();
}

ItemPtr VTTreeModel::fileDropRow(int row, const QModelIndex &parent) const
{
    if (row >= 0 && row < rowCount(parent))
        return itemForIndex(index(row, ColName, parent));
    return parent.isValid() ? itemForIndex(parent) : ItemPtr();
}

QStringList VTTreeModel::localFiles(const QMimeData *data)
{
    QStringList paths;
    for (const QUrl &url : data->urls()) {
        if (url.isLocalFile())
            paths.append(url.toLocalFile());
    }
    return paths;
}

bool VTTreeModel::canDropMimeData(const QMimeData *data, Qt::DropAction, int, int, const QModelIndex &parent) const
{
    if (!data)
        return false;
    if (data->hasFormat(VTGroupDragAndDrop::pasteboardType())) {
        return m_controller.operations().dragAndDrop().validateDrop(data->data(VTGroupDragAndDrop::pasteboardType()),
                                                                    dropTarget(parent))
            == VTGroupDragAndDrop::DropOperation::Move;
    }
    const QStringList files = localFiles(data);
    return !files.isEmpty() && VTInstallRequests::validateDrop(files);
}

bool VTTreeModel::dropMimeData(const QMimeData *data, Qt::DropAction action, int row, int column, const QModelIndex &parent)
{
    if (!canDropMimeData(data, action, row, column, parent))
        return false;
    if (data->hasFormat(VTGroupDragAndDrop::pasteboardType())) {
        (void)m_controller.operations().dragAndDrop().acceptDrop(data->data(VTGroupDragAndDrop::pasteboardType()),
                                                                 dropTarget(parent), row);
        // The records move on a worker thread and the tree is reloaded; the
        // view must not remove any rows itself.
        return false;
    }
    return m_controller.installRequests().dropFiles(localFiles(data), fileDropRow(row, parent));
}
