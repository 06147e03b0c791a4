#pragma once

// Shared parts of the operation tests: a sandboxed system with a catalogue
// and the operations over it, a display interface that records what it was
// asked to show, and a view that records row reloads.

#include "../filesystem/FsTestSupport.h"
#include "OutlineViewController.h"
#include "VTBundleInfoReader.h"
#include "VTCatalogueLoader.h"
#include "VTCatalogueView.h"
#include "VTEnableOperation.h"
#include "VTGroupItem.h"
#include "VTLog.h"
#include "VTOperationContext.h"
#include "VTOperationFrame.h"
#include "VTOperationThreads.h"
#include "VTOperations.h"
#include "VTPath.h"
#include "VTPluginFolders.h"
#include "VTPluginItem.h"
#include "VTSafeFs.h"
#include "VTSandboxBuilder.h"
#include "VTTestSandbox.h"
#include "VTTreeCopy.h"
#include "VTRecordingInterface.h"
#include "VTUserInterface.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

#include <fcntl.h>

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>

namespace OpsTest {

using RecordingInterface = VTRecordingInterface;

// The window's outline as far as the operations use it.
class RecordingView final : public VTCatalogueView
{
public:
    void reloadTree() override { ++treeReloads; }
    void reloadItem(const ItemPtr &item) override { reloadedItems << item; }
    [[nodiscard]] QList<ItemPtr> selectedItems() const override { return selection; }
    void selectItems(const QList<ItemPtr> &items) override { selection = items; }
    void expandItem(const GroupPtr &, bool) override {}
    void setSortIndicator(const QString &, bool) override {}
    void clearSortIndicator(const QString &) {}

    int treeReloads = 0;
    QList<ItemPtr> reloadedItems;
    QList<ItemPtr> selection;
};

// Runs a program and answers its exit code (-1 when it did not end normally)
// and its standard output.
inline std::pair<int, QString> run(const QString &program, const QStringList &arguments)
{
    const FsTest::Run result = FsTest::run(program, arguments);
    return {result.exitCode, QString::fromUtf8(result.out)};
}

// A sandboxed system (TESSARY_SYSTEM_ROOT and HOME), a log in it, and a
// catalogue with the operations over it. Build plug-ins with builder(), then
// reload() to scan them.
class OperationsTest : public ::testing::Test
{
protected:
    explicit OperationsTest(bool window = true) : m_window(window) {}

    void SetUp() override
    {
        ASSERT_TRUE(m_sandbox.isValid());
        m_builder = std::make_unique<VTSandboxBuilder>(m_sandbox.root(), m_sandbox.home());
        VTLog::createNewLog(QStringLiteral("tst_operations"));
        m_ui = std::make_unique<RecordingInterface>(m_window);
        m_catalogue = std::make_unique<OutlineViewController>();
        if (m_window)
            m_catalogue->setView(&m_view);
        m_loader = std::make_unique<VTCatalogueLoader>(*m_catalogue, *m_ui);
        VTOperationContext::Steps steps;
        steps.reloadData = [this] { ++m_reloadRequests; };
        steps.refreshPluginStats = [this] { m_loader->refreshPluginStats(); };
        steps.postTaskErrorString = [this](const QString &text) {
            std::lock_guard lock(m_postedMutex);
            m_posted << text;
        };
        m_operations = std::make_unique<VTOperations>(*m_catalogue, *m_ui, m_window, steps);
    }

    void TearDown() override
    {
        m_operations.reset();
        VTBundleInfoReader::shared().waitForAll();
        m_loader.reset();
        m_catalogue.reset();
        VTPluginFolders::setShared(nullptr);
    }

    VTSandboxBuilder &builder() { return *m_builder; }
    OutlineViewController &catalogue() { return *m_catalogue; }
    VTOperations &operations() { return *m_operations; }
    VTEnableOperation &enabling() { return m_operations->enabling(); }
    VTOperationFrame &frame() { return m_operations->frame(); }
    RecordingInterface &ui() { return *m_ui; }
    RecordingView &view() { return m_view; }
    QString disabledRoot() const { return m_catalogue->disabledPath(); }

    void reload()
    {
        m_loader->loadPluginData();
        VTBundleInfoReader::shared().waitForAll();
    }
    void waitForOperations() { ASSERT_TRUE(m_operations->threads().waitForAll(std::chrono::seconds(60))); }

    // The record of the plug-in with this file name, after a reload.
    PluginPtr plugin(const QString &fileName) const
    {
        for (const PluginPtr &each : m_catalogue->allPlugins()) {
            if (each->fileName() == fileName)
                return each;
        }
        return nullptr;
    }
    GroupPtr group(const QString &subdir) const { return m_catalogue->groupMatchingSubdir(subdir); }

    QStringList posted() const
    {
        std::lock_guard lock(m_postedMutex);
        return m_posted;
    }
    int reloadRequests() const { return m_reloadRequests.load(); }

    // The log's entries so far, without their dates.
    static QStringList logLines()
    {
        VTLog::finishWriting();
        QFile file(VTLog::currentLogPath());
        if (!file.open(QIODevice::ReadOnly))
            return {};
        QStringList lines;
        for (const QByteArray &line : file.readAll().split('\n')) {
            const qsizetype dash = line.indexOf(" - ");
            if (dash > 0)
                lines << QString::fromUtf8(line.mid(dash + 3));
        }
        return lines;
    }
    static bool logged(const QString &text) { return logLines().contains(text); }

    static bool exists(const QString &path) { return VTSandboxFiles::exists(path); }
    QString mirror(const QString &path) const { return m_builder->layout().mirror(path); }
    // The original paths trash-cli lists for the sandbox's home trash.
    static QStringList trashList()
    {
        const auto [code, output] = run(QStringLiteral("trash-list"), {});
        QStringList paths;
        for (const QString &line : output.split(u'\n', Qt::SkipEmptyParts))
            paths << line.section(u' ', 2); // "YYYY-MM-DD HH:MM:SS /original/path"
        return code == 0 ? paths : QStringList();
    }

    VTTestSandbox m_sandbox;
    RecordingView m_view;

private:
    const bool m_window;
    std::unique_ptr<VTSandboxBuilder> m_builder;
    std::unique_ptr<RecordingInterface> m_ui;
    std::unique_ptr<OutlineViewController> m_catalogue;
    std::unique_ptr<VTCatalogueLoader> m_loader;
    std::unique_ptr<VTOperations> m_operations;
    mutable std::mutex m_postedMutex;
    QStringList m_posted;
    std::atomic<int> m_reloadRequests{0};
};

using FsTest::sameTree;

// The test driver that runs operations in a process of its own.
inline QString driverPath()
{
    return VTPath::join(FsTest::binaryDir(), QStringLiteral("tests/operations/tessary-ops-driver"));
}

inline bool isRoot()
{
    return FsTest::isRoot();
}

} // namespace OpsTest
