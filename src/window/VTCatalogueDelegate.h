#pragma once

#include <QStyledItemDelegate>

class VTCatalogueModel;

// Draws the catalogue's cells: the kind or group icon before the name, the
// access as an icon (all users, current user), and the status column as its
// check box alone (the model's number stays out of sight).
class VTCatalogueDelegate : public QStyledItemDelegate
{
    Q_OBJECT

public:
    VTCatalogueDelegate(VTCatalogueModel &model, QObject *parent = nullptr);

protected:
    void initStyleOption(QStyleOptionViewItem *option, const QModelIndex &index) const override;

private:
    VTCatalogueModel &m_model;
};
