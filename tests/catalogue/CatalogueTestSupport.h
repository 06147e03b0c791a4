#pragma once

// Shared parts of the catalogue tests: a sandboxed system filled by the
// sandbox builder, a recording display interface, and a scripted stand-in
// for the window's outline that behaves like a tree view over
// VTCatalogueModel (a reset collapses everything and clears the selection;
// only rows whose groups are all expanded can be selected).

#include "OutlineViewController.h"
#include "VTBundleInfoReader.h"
#include "VTCatalogueLoader.h"
#include "VTCatalogueModel.h"
#include "VTCatalogueView.h"
#include "VTGroupItem.h"
#include "VTLocalPaths.h"
#include "VTLog.h"
#include "VTMachOWriter.h"
#include "VTPluginFolders.h"
#include "VTPluginItem.h"
#include "VTPropertyList.h"
#include "VTSandboxBuilder.h"
#include "VTTestLog.h"
#include "VTTestSandbox.h"
#include "VTRecordingInterface.h"

#include <QSet>

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>

using RecordingInterface = VTRecordingInterface;

// The display titles of records, in order.
inline QStringList displayTitles(const QList<ItemPtr> &items)
{
    QStringList result;
    for (const ItemPtr &item : items)
        result.append(item->displayTitle());
    return result;
}

class ScriptedCatalogueView final : public VTCatalogueView
{
public:
    explicit ScriptedCatalogueView(OutlineViewController &catalogue) : m_model(catalogue)
    {
        QObject::connect(&m_model, &QAbstractItemModel::modelReset, [this] {
            m_expanded.clear();
            m_selected.clear();
        });
    }

    VTCatalogueModel &model() { return m_model; }

    // What the window would do when the user expands a row.
    std::function<void(const ItemPtr &)> didExpand;
    bool failRedisplay = false;
    int redisplays = 0;
    std::pair<QString, bool> indicator;
    QStringList clearedIndicators;

    void reloadTree() override
    {
        ++redisplays;
        if (failRedisplay)
            throw std::runtime_error("the outline could not redisplay");
    }
    void reloadItem(const ItemPtr &) override {}

    QList<ItemPtr> selectedItems() const override
    {
        QList<ItemPtr> result;
        for (const ItemPtr &row : visibleRows()) {
            if (m_selected.contains(row.get()))
                result.append(row);
        }
        return result;
    }
    void selectItems(const QList<ItemPtr> &items) override
    {
        m_selected.clear();
        const QList<ItemPtr> rows = visibleRows();
        for (const ItemPtr &item : items) {
            if (rows.contains(item))
                m_selected.insert(item.get());
        }
    }
    void expandItem(const GroupPtr &group, bool children) override
    {
        if (!m_model.indexForItem(group.get()).isValid())
            return;
        if (!m_expanded.contains(group.get())) {
            m_expanded.insert(group.get());
            if (didExpand)
                didExpand(group);
        }
        if (children) {
            for (const ItemPtr &child : group->children()) {
                if (child->isGroup())
                    expandItem(child->asGroup(), true);
            }
        }
    }
    void setSortIndicator(const QString &column, bool descending) override { indicator = {column, descending}; }
    void clearSortIndicator(const QString &column) override { clearedIndicators.append(column); }

    bool isExpanded(const ItemPtr &item) const { return m_expanded.contains(item.get()); }

    // The rows an outline shows: the top level, and the children of every
    // expanded group, in order.
    QList<ItemPtr> visibleRows() const
    {
        QList<ItemPtr> rows;
        std::function<void(const QModelIndex &)> add = [&](const QModelIndex &parent) {
            for (int row = 0; row < m_model.rowCount(parent); ++row) {
                const QModelIndex index = m_model.index(row, 0, parent);
                const ItemPtr item = m_model.itemForIndex(index);
                rows.append(item);
                if (m_expanded.contains(item.get()))
                    add(index);
            }
        };
        add(QModelIndex());
        return rows;
    }

private:
    VTCatalogueModel m_model;
    QSet<const VTCatalogueItem *> m_expanded;
    QSet<const VTCatalogueItem *> m_selected;
};

// A sandboxed system (TESSARY_SYSTEM_ROOT and HOME point into it) with a
// builder to fill it, and a catalogue made once the sandbox is filled.
class CatalogueSandbox : public ::testing::Test
{
protected:
    // With `window`, the display interface acts as if a window were there.
    explicit CatalogueSandbox(bool window = false) : m_ui(window) {}

    void SetUp() override
    {
        ASSERT_TRUE(m_env.isValid());
        // A folder table built before this sandbox would point outside it.
        VTPluginFolders::setShared(nullptr);
        VTLog::createNewLog(QStringLiteral("Tessary"));
    }

    void TearDown() override
    {
        // Reads still queued would look into the sandbox after it is gone.
        VTBundleInfoReader::shared().waitForAll();
        m_loader.reset();
        m_catalogue.reset();
        VTPluginFolders::setShared(nullptr);
        VTLog::finishWriting();
    }

    VTSandboxBuilder &builder() { return m_builder; }
    [[nodiscard]] static QString systemRoot() { return VTLocalPaths::systemRoot(); }
    [[nodiscard]] static QString disabledRoot()
    {
        return VTPath::join(systemRoot(), QStringLiteral("Library/Application Support/Vantorel/Hearthkit/Tessary Disabled Plugins"));
    }

    static void writeFile(const QString &path, const QByteArray &bytes) { ASSERT_TRUE(VTTestSandbox::makeFile(path, bytes)); }
    // A bundle folder with an Info.plist and, when given, an executable named
    // after the bundle.
    static void writeBundle(const QString &path, QVariantMap info, const QByteArray &executable = QByteArray())
    {
        const QString name = VTPath::removeExtension(VTPath::lastComponent(path));
        if (!executable.isNull())
            info.insert(QStringLiteral("CFBundleExecutable"), name);
        ASSERT_TRUE(VTTestSandbox::makeBundle(path, info));
        if (!executable.isNull())
            writeFile(VTPath::join({path, QStringLiteral("Contents/MacOS"), name}), executable);
    }
    // A universal executable with one slice for each architecture.
    static QByteArray universalBinary(const QList<VTMachOWriter::Arch> &archs)
    {
        return VTMachOWriter::image(archs, VTMachOWriter::Container::Fat, VTMachOWriter::FileType::Bundle);
    }

    OutlineViewController &catalogue()
    {
        if (!m_catalogue) {
            m_catalogue = std::make_unique<OutlineViewController>();
            m_loader = std::make_unique<VTCatalogueLoader>(*m_catalogue, m_ui);
        }
        return *m_catalogue;
    }
    VTCatalogueLoader &loader()
    {
        catalogue();
        return *m_loader;
    }

    // A full reload without a window, then every bundle read.
    void reload()
    {
        EXPECT_TRUE(m_builder.ok()) << m_builder.errors().join(u'\n').toStdString();
        loader().loadPluginData();
        VTBundleInfoReader::shared().waitForAll();
    }

    // The tree as text, one record a line, children indented: groups as
    // "title/ (subdir)", plug-ins as "fileName kind access enabled".
    static QString outline(const QList<ItemPtr> &items, int depth = 0)
    {
        QString text;
        for (const ItemPtr &item : items) {
            text += QString(depth * 2, u' ');
            if (const PluginPtr plugin = item->asPlugin()) {
                text += QStringLiteral("%1 %2 %3 %4\n")
                            .arg(plugin->fileName())
                            .arg(plugin->pluginType())
                            .arg(plugin->pluginAccess())
                            .arg(plugin->pluginEnabled());
            } else {
                const GroupPtr group = item->asGroup();
                text += QStringLiteral("%1/ (%2)\n").arg(group->title(), group->subdir());
                text += outline(group->children(), depth + 1);
            }
        }
        return text;
    }

    static PluginPtr pluginNamed(const QList<PluginPtr> &plugins, const QString &fileName, qint64 enabled = -1)
    {
        for (const PluginPtr &plugin : plugins) {
            if (plugin->fileName() == fileName && (enabled < 0 || plugin->pluginEnabled() == enabled))
                return plugin;
        }
        return nullptr;
    }

    VTTestSandbox m_env;
    VTSandboxBuilder m_builder{m_env.root(), m_env.home()};
    VTRecordingInterface m_ui;
    std::unique_ptr<OutlineViewController> m_catalogue;
    std::unique_ptr<VTCatalogueLoader> m_loader;
};
