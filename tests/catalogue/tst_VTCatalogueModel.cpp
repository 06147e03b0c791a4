// The catalogue as an item model, checked by Qt's model tester while the
// tree is built, reloaded and searched.

#include "CatalogueTestSupport.h"

#include <QAbstractItemModelTester>

using namespace VTSandboxKind;
using Column = VTCatalogueModel::Column;

class VTCatalogueModelTest : public CatalogueSandbox
{
protected:
    // Every index of the model, depth first.
    static QList<QModelIndex> allIndexes(const QAbstractItemModel &model, const QModelIndex &parent = QModelIndex())
    {
        QList<QModelIndex> result;
        for (int row = 0; row < model.rowCount(parent); ++row) {
            const QModelIndex index = model.index(row, 0, parent);
            result.append(index);
            result += allIndexes(model, index);
        }
        return result;
    }
};

TEST_F(VTCatalogueModelTest, StaysConsistentThroughReloadsAndSearches)
{
    builder().demo();
    VTCatalogueModel model(catalogue());
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    reload();
    const QList<QModelIndex> rows = allIndexes(model);
    // One row per record: the outline has one line per record.
    EXPECT_EQ(rows.size(), outline(catalogue().dataArray()).count(u'\n'));
    // Each row's parent index is the record's group.
    for (const QModelIndex &index : rows) {
        const ItemPtr item = model.itemForIndex(index);
        ASSERT_TRUE(item);
        EXPECT_EQ(model.itemForIndex(index.parent()), item->parent());
        EXPECT_EQ(model.indexForItem(item.get()), index);
    }
    catalogue().search(QStringLiteral("warm"));
    // Inside a search the rows are the filtered copies, whatever the
    // records' own parents say.
    for (const QModelIndex &index : allIndexes(model)) {
        const ItemPtr item = model.itemForIndex(index);
        const ItemPtr above = model.itemForIndex(index.parent());
        if (above)
            EXPECT_TRUE(above->asGroup()->children().contains(item));
        else
            EXPECT_TRUE(catalogue().dataArray().contains(item));
    }
    catalogue().search(QString());
    reload();
    EXPECT_EQ(allIndexes(model).size(), rows.size());
}

TEST_F(VTCatalogueModelTest, ColumnsShowTheRecordsValuesExceptWhileReloading)
{
    builder().demo();
    VTCatalogueModel model(catalogue());
    reload();
    const GroupPtr color = catalogue().groupMatchingSubdir(QStringLiteral("Color"));
    const PluginPtr warp = pluginNamed(catalogue().allPlugins(), QStringLiteral("Color Warp.fxplug"));
    const PluginPtr tint = pluginNamed(catalogue().allPlugins(), QStringLiteral("Tint.fxplug"));
    const auto row = [&](const VTCatalogueItem *item) {
        QVariantList values;
        for (int column = 0; column < model.columnCount(); ++column)
            values.append(model.data(model.indexForItem(item, column)));
        return values;
    };
    EXPECT_EQ(row(warp.get()),
              (QVariantList{QStringLiteral("Color Warp"), QStringLiteral("2.1"), QStringLiteral("FxPlug"), 0LL, 1LL}));
    EXPECT_EQ(row(color.get()), (QVariantList{QStringLiteral("Color"), QString(), QStringLiteral("Group"), 0LL, -1LL}));
    const auto check = [&](const VTCatalogueItem *item) {
        return model.data(model.indexForItem(item, Column::ColStatus), Qt::CheckStateRole).value<Qt::CheckState>();
    };
    EXPECT_EQ(check(warp.get()), Qt::Checked);
    EXPECT_EQ(check(tint.get()), Qt::Unchecked);
    EXPECT_EQ(check(color.get()), Qt::PartiallyChecked);
    EXPECT_FALSE(model.data(model.indexForItem(warp.get(), Column::ColName), Qt::CheckStateRole).isValid());

    for (int column = 0; column < model.columnCount(); ++column) {
        const QString identifier = model.headerData(column, Qt::Horizontal, VTCatalogueModel::IdentifierRole).toString();
        EXPECT_EQ(VTCatalogueModel::columnForIdentifier(identifier), column);
    }
    EXPECT_EQ(VTCatalogueModel::columnIdentifier(Column::ColUser), QStringLiteral("colUser"));

    // While a reload owns the tree the model answers nothing.
    const QModelIndex first = model.index(0, 0);
    const QModelIndex colorRow = model.indexForItem(color.get());
    const QModelIndex child = model.index(0, 0, colorRow);
    ASSERT_TRUE(first.isValid() && child.isValid());
    catalogue().setIsReloading(true);
    EXPECT_EQ(model.rowCount(), 0);
    EXPECT_EQ(model.rowCount(colorRow), 0);
    EXPECT_FALSE(model.hasChildren(colorRow));
    EXPECT_FALSE(model.index(0, 0).isValid());
    EXPECT_FALSE(model.data(first).isValid());
    EXPECT_FALSE(model.parent(child).isValid());
    EXPECT_FALSE(model.itemForIndex(first));
    EXPECT_EQ(model.flags(first), Qt::NoItemFlags);
    catalogue().setIsReloading(false);
    EXPECT_GT(model.rowCount(), 0);
}
