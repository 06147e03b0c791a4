#pragma once

// Shared parts of the operation tests: the catalogue fixture with the
// operations over it, and a view that records row reloads.

#include "../catalogue/CatalogueTestSupport.h"
#include "../filesystem/FsTestSupport.h"
#include "VTAccessOperation.h"
#include "VTEnableOperation.h"
#include "VTFolderCleanup.h"
#include "VTGroupOperation.h"
#include "VTGuardedMove.h"
#include "VTOperationContext.h"
#include "VTOperationFrame.h"
#include "VTOperationThreads.h"
#include "VTOperations.h"
#include "VTRemovalOperation.h"
#include "VTSafeFs.h"
#include "VTSandboxLayout.h"
#include "VTTestLog.h"
#include "VTTreeCopy.h"

#include <chrono>

namespace OpsTest {

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
    void clearSortIndicator(const QString &) override {}

    int treeReloads = 0;
    QList<ItemPtr> reloadedItems;
    QList<ItemPtr> selection;
};

// A log's entries without their dates.
inline QStringList logEntries(const QString &text)
{
    QStringList lines;
    for (const QString &line : text.split(u'\n')) {
        const qsizetype dash = line.indexOf(QLatin1String(" - "));
        if (dash > 0)
            lines << line.mid(dash + 3);
    }
    return lines;
}

// The catalogue fixture (a window's outline by default) with the operations
// over it. Build plug-ins with builder(), then reload() to scan them.
class OperationsTest : public CatalogueSandbox
{
protected:
    explicit OperationsTest(bool window = true) : CatalogueSandbox(window), m_window(window) {}

    void SetUp() override
    {
        CatalogueSandbox::SetUp();
        if (m_window)
            catalogue().setView(&m_view);
        VTOperationContext::Steps steps;
        steps.reloadData = [this] { ++m_reloadRequests; };
        steps.refreshPluginStats = [this] { loader().refreshPluginStats(); };
        steps.postTaskErrorString = [this](const QString &text) {
            std::lock_guard lock(m_postedMutex);
            m_posted << text;
        };
        m_operations = std::make_unique<VTOperations>(catalogue(), m_ui, m_window, steps);
    }

    void TearDown() override
    {
        m_operations.reset();
        CatalogueSandbox::TearDown();
    }

    VTOperations &operations() { return *m_operations; }
    VTEnableOperation &enabling() { return m_operations->enabling(); }
    VTAccessOperation &access() { return m_operations->access(); }
    VTGroupOperation &groups() { return m_operations->groups(); }
    VTRemovalOperation &removal() { return m_operations->removal(); }
    VTFolderCleanup &cleanup() { return m_operations->cleanup(); }
    VTOperationFrame &frame() { return m_operations->frame(); }
    RecordingInterface &ui() { return m_ui; }
    RecordingView &view() { return m_view; }

    void waitForOperations() { ASSERT_TRUE(m_operations->threads().waitForAll(std::chrono::seconds(60))); }

    // A bundle placed by kind, access, group and state; or one that an
    // FxFactory folder locks.
    QString bundle(const QString &name, const QString &group = QString(), bool enabled = true,
                   qint64 kind = VTSandboxKind::FxPlug, qint64 access = VTSandboxKind::AllUsers)
    {
        VTBundleOptions options;
        options.group = group;
        options.enabled = enabled;
        return builder().addBundle(kind, access, name, options);
    }
    QString lockedBundle(const QString &name, const QString &group = QString())
    {
        VTBundleOptions options;
        options.group = group;
        options.fxFactoryManaged = true;
        return builder().addBundle(VTSandboxKind::FxPlug, VTSandboxKind::AllUsers, name, options);
    }
    // A kind's enabled folder joined with a relative path.
    QString folder(qint64 kind, qint64 access, const QString &relative = QString()) { return VTPath::join(builder().folder(kind, access), relative); }
    QString fxPlug(const QString &relative = QString()) { return folder(VTSandboxKind::FxPlug, VTSandboxKind::AllUsers, relative); }
    QString userFxPlug(const QString &relative = QString()) { return folder(VTSandboxKind::FxPlug, VTSandboxKind::CurrentUser, relative); }

    // A copy of a bundle kept outside every plug-in folder, to compare with.
    QString keepReference(const QString &bundle)
    {
        const QString reference = VTPath::join(m_env.root(), VTPath::lastComponent(bundle) + QStringLiteral(".ref"));
        EXPECT_EQ(VTTreeCopy::copyTree(AT_FDCWD, VTPath::toNative(bundle).toStdString(), AT_FDCWD,
                                       VTPath::toNative(reference).toStdString()),
                  0);
        return reference;
    }

    // The record of the plug-in with this file name, after a reload.
    PluginPtr plugin(const QString &fileName) { return pluginNamed(catalogue().allPlugins(), fileName); }
    GroupPtr group(const QString &subdir) { return catalogue().groupMatchingSubdir(subdir); }

    QStringList posted() const
    {
        std::lock_guard lock(m_postedMutex);
        return m_posted;
    }
    int reloadRequests() const { return m_reloadRequests.load(); }

    // The log's entries so far, without their dates.
    static QStringList logLines() { return logEntries(VTTest::logText()); }
    static bool logged(const QString &text) { return logLines().contains(text); }
    static int logCount(const QString &prefix)
    {
        int count = 0;
        for (const QString &line : logLines())
            count += line.startsWith(prefix) ? 1 : 0;
        return count;
    }

    static bool exists(const QString &path) { return VTSandboxFiles::exists(path); }
    QString mirror(const QString &path) { return builder().layout().mirror(path); }
    // The original paths trash-cli lists for the sandbox's home trash.
    static QStringList trashList()
    {
        const FsTest::Run listing = FsTest::run(QStringLiteral("trash-list"), {});
        QStringList paths;
        for (const QString &line : QString::fromUtf8(listing.out).split(u'\n', Qt::SkipEmptyParts))
            paths << line.section(u' ', 2); // "YYYY-MM-DD HH:MM:SS /original/path"
        return listing.exitCode == 0 ? paths : QStringList();
    }

    RecordingView m_view;

private:
    const bool m_window;
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

} // namespace OpsTest
