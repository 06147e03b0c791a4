// The application controller's reload queue with a window: an event loop on
// the main thread and a scripted outline. Runs without an event loop are the
// command line's, which the end-to-end and crash tester tests drive.

#include "CatalogueTestSupport.h"

#include "AppController.h"
#include "VTMainThread.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QSignalSpy>

#include <atomic>
#include <thread>

using namespace VTSandboxKind;

class AppControllerTest : public CatalogueSandbox
{
protected:
    void SetUp() override
    {
        CatalogueSandbox::SetUp();
        builder().demo();
        ASSERT_TRUE(builder().ok());
    }

    void TearDown() override
    {
        m_controller.reset();
        VTMainThread::setEventLoopRunning(false);
        CatalogueSandbox::TearDown();
    }

    // A controller with a window: the main thread serves queued steps, and
    // the outline tells the controller what the user expands.
    AppController &windowController()
    {
        VTMainThread::setEventLoopRunning(true);
        m_controller = std::make_unique<AppController>(std::make_unique<VTRecordingInterface>(), true);
        m_view = std::make_unique<ScriptedCatalogueView>(m_controller->outlineViewController());
        m_view->didExpand = [this](const ItemPtr &item) { m_controller->outlineViewItemDidExpand(item); };
        m_controller->setCatalogueView(m_view.get());
        return *m_controller;
    }

    void reloadAndWait(AppController &controller)
    {
        QSignalSpy finished(&controller, &AppController::reloadFinished);
        controller.reloadData();
        ASSERT_TRUE(finished.wait(120000));
    }

    std::unique_ptr<AppController> m_controller;
    std::unique_ptr<ScriptedCatalogueView> m_view;
};

TEST_F(AppControllerTest, WindowReloadKeepsSortingExpansionAndSelection)
{
    AppController &controller = windowController();
    reloadAndWait(controller);
    OutlineViewController &tree = controller.outlineViewController();
    EXPECT_FALSE(tree.isReloading());
    EXPECT_EQ(m_view->indicator, std::make_pair(QStringLiteral("colName"), false)) << "sorted after the reload";

    controller.outlineViewDidClickTableColumn(QStringLiteral("colName")); // stored now: ascending
    controller.outlineViewDidClickTableColumn(QStringLiteral("colName")); // descending
    const GroupPtr color = tree.groupMatchingSubdir(QStringLiteral("Color"));
    controller.expandGroupItem(color);
    m_view->selectItems({pluginNamed(tree.allPlugins(), QStringLiteral("Tint.fxplug")),
                         pluginNamed(tree.allPlugins(), QStringLiteral("Synth One.vst")),
                         tree.groupMatchingSubdir(QStringLiteral("Color/Warm"))});
    ASSERT_EQ(m_view->selectedItems().size(), 3);
    const QStringList topLevel = displayTitles(tree.dataArray());

    reloadAndWait(controller);
    EXPECT_NE(tree.groupMatchingSubdir(QStringLiteral("Color")), color) << "a reload makes new records";
    EXPECT_EQ(displayTitles(tree.dataArray()), topLevel);
    EXPECT_EQ(m_view->indicator, std::make_pair(QStringLiteral("colName"), true));
    EXPECT_TRUE(m_view->isExpanded(tree.groupMatchingSubdir(QStringLiteral("Color"))));
    EXPECT_EQ(displayTitles(m_view->selectedItems()), (QStringList{QStringLiteral("Warm"), QStringLiteral("Tint")}))
        << "the top-level plug-in is deliberately not selected again";
    const QStringList statistics = static_cast<VTRecordingInterface &>(controller.userInterface()).statistics();
    EXPECT_EQ(statistics.last(), QStringLiteral("%1 plugins, %2 enabled")
                                     .arg(builder().manifest().plugins.size())
                                     .arg(builder().manifest().enabledCount()));
}

TEST_F(AppControllerTest, RacingReloadsNeverCorruptTheTree)
{
    AppController &controller = windowController();
    reloadAndWait(controller);
    const QString expected = outline(controller.outlineViewController().dataArray());

    std::atomic<int> finished{0};
    QObject::connect(&controller, &AppController::reloadFinished, [&finished] { ++finished; });
    std::vector<std::thread> requesters;
    for (int i = 0; i < 4; ++i)
        requesters.emplace_back([&controller] {
            for (int j = 0; j < 3; ++j)
                controller.reloadData();
        });
    // Meanwhile the window keeps reading the tree through the model.
    VTCatalogueModel &model = m_view->model();
    QDeadlineTimer deadline(std::chrono::minutes(2));
    while (finished < 12 && !deadline.hasExpired()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        for (int row = 0; row < model.rowCount(); ++row)
            (void)model.data(model.index(row, VTCatalogueModel::ColName));
    }
    for (std::thread &requester : requesters)
        requester.join();
    ASSERT_EQ(finished, 12) << "the reloads did not all finish within two minutes";
    EXPECT_EQ(outline(controller.outlineViewController().dataArray()), expected);
    EXPECT_EQ(controller.allPlugins().size(), builder().manifest().plugins.size());
}
