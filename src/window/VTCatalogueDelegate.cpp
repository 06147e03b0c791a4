#include "VTCatalogueDelegate.h"

#include "VTCatalogueModel.h"
#include "VTIconProvider.h"
#include "VTPluginItem.h"

VTCatalogueDelegate::VTCatalogueDelegate(VTCatalogueModel &model, QObject *parent)
    : QStyledItemDelegate(parent)
    , m_model(model)
{
}

void VTCatalogueDelegate::initStyleOption(QStyleOptionViewItem *option, const QModelIndex &index) const
{
    QStyledItemDelegate::initStyleOption(option, index);
    switch (index.column()) {
    case VTCatalogueModel::ColName: {
        const ItemPtr item = m_model.itemForIndex(index);
        if (!item)
            return;
        const PluginPtr plugin = item->asPlugin();
        option->icon = plugin ? VTIconProvider::kindIcon(plugin->pluginType()) : VTIconProvider::groupIcon();
        option->features |= QStyleOptionViewItem::HasDecoration;
        break;
    }
    case VTCatalogueModel::ColUser: {
        const QVariant access = index.data(Qt::DisplayRole);
        if (!access.isValid())
            return;
        option->icon = VTIconProvider::accessIcon(access.toLongLong());
        option->features |= QStyleOptionViewItem::HasDecoration;
        option->text = access.toLongLong() == 0   ? tr("All Users")
                       : access.toLongLong() == 1 ? tr("Current User")
                                                  : tr("Mixed");
        break;
    }
    case VTCatalogueModel::ColStatus:
        option->text.clear();
        option->features &= ~QStyleOptionViewItem::HasDisplay;
        break;
    default:
        break;
    }
}
