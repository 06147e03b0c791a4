#pragma once

#include "VTCatalogueModel.h"

class AppController;

// The catalogue model as the window's tree edits it: group names renamed in
// place, records dragged between groups (archived under "VTPboardType"), and
// files dropped from a file manager, which are installed. The decisions are
// the operations' (VTGroupOperation, VTGroupDragAndDrop, VTInstallRequests);
// this class only speaks Qt's item-view protocol for them.
class VTTreeModel : public VTCatalogueModel
{
    Q_OBJECT

public:
    VTTreeModel(AppController &controller, QObject *parent = nullptr);

    [[nodiscard]] QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    [[nodiscard]] Qt::ItemFlags flags(const QModelIndex &index) const override;
    bool setData(const QModelIndex &index, const QVariant &value, int role = Qt::EditRole) override;

    [[nodiscard]] QStringList mimeTypes() const override;
    [[nodiscard]] QMimeData *mimeData(const QModelIndexList &indexes) const override;
    [[nodiscard]] Qt::DropActions supportedDragActions() const override { return Qt::MoveAction; }
    [[nodiscard]] Qt::DropActions supportedDropActions() const override { return Qt::MoveAction | Qt::CopyAction; }
    [[nodiscard]] bool canDropMimeData(const QMimeData *data, Qt::DropAction action, int row, int column,
                                       const QModelIndex &parent) const override;
    bool dropMimeData(const QMimeData *data, Qt::DropAction action, int row, int column,
                      const QModelIndex &parent) override;

private:
    // The group records land in: the row dropped onto, or the parent of the
    // gap between rows (Qt gives both as `parent`; none: the top level).
    [[nodiscard]] ItemPtr dropTarget(const QModelIndex &parent) const;
    // The row files are dropped on: the row itself, or the gap's parent.
    [[nodiscard]] ItemPtr fileDropRow(int row, const QModelIndex &parent) const;
    [[nodiscard]] static QStringList localFiles(const QMimeData *data);

    AppController &m_controller;
};
