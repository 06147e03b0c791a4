// The main window on the demo sandbox: the status check box moves files, a
// header click sorts and is remembered, alerts are window-modal sheets.

#include "CatalogueTestSupport.h"

#include "AppController.h"
#include "VTMainThread.h"
#include "VTMainWindow.h"
#include "VTUserDefaults.h"
#include "VTWidgetInterface.h"

#include <QApplication>
#include <QHeaderView>
#include <QMessageBox>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>
#include <QTreeView>

#include <future>

using namespace std::chrono_literals;

class MainWindowTest : public CatalogueSandbox
{
protected:
    void SetUp() override
    {
        CatalogueSandbox::SetUp();
        builder().demo();
        ASSERT_TRUE(builder().ok());
        VTMainThread::setEventLoopRunning(true);
        auto ui = std::make_unique<VTWidgetInterface>();
        m_ui = ui.get();
        m_controller = std::make_unique<AppController>(std::move(ui), true);
        m_window = std::make_unique<VTMainWindow>(*m_controller, *m_ui);
        m_window->show();
        QSignalSpy finished(m_controller.get(), &AppController::reloadFinished);
        m_controller->reloadData();
        ASSERT_TRUE(finished.wait(120000));
    }

    void TearDown() override
    {
        // A failed check may leave a dialog waiting for an answer.
        for (QWidget *widget : QApplication::topLevelWidgets()) {
            if (auto *dialog = qobject_cast<QDialog *>(widget); dialog && dialog->isVisible())
                dialog->reject();
        }
        if (m_controller) {
            while (!m_controller->waitForOperations(10ms))
                QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
            m_controller->waitForReloads();
        }
        m_window.reset();
        m_controller.reset();
        VTMainThread::setEventLoopRunning(false);
        CatalogueSandbox::TearDown();
    }

    // Serves the event loop until `done` holds or a generous deadline passes.
    static bool waitUntil(const std::function<bool()> &done)
    {
        QDeadlineTimer deadline(60s);
        while (!done() && !deadline.hasExpired())
            QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        return done();
    }

    VTWidgetInterface *m_ui = nullptr;
    std::unique_ptr<AppController> m_controller;
    std::unique_ptr<VTMainWindow> m_window;
};

TEST_F(MainWindowTest, ClearingTheStatusBoxMovesThePluginIntoTheDisabledTree)
{
    OutlineViewController &tree = m_controller->outlineViewController();
    const GroupPtr color = tree.groupMatchingSubdir(QStringLiteral("Color"));
    ASSERT_TRUE(color);
    m_window->tree()->expand(m_window->model().indexForItem(color.get()));
    const PluginPtr plugin = pluginNamed(tree.allPlugins(), QStringLiteral("Color Warp.fxplug"), 1);
    ASSERT_TRUE(plugin);
    const QString enabledPath = plugin->actualPath();
    ASSERT_TRUE(QFileInfo::exists(enabledPath));

    // A click on the check box, as the user does it.
    QTreeView *view = m_window->tree();
    const QModelIndex status = m_window->model().indexForItem(plugin.get(), VTCatalogueModel::ColStatus);
    ASSERT_EQ(status.data(Qt::CheckStateRole).value<Qt::CheckState>(), Qt::Checked);
    view->scrollTo(status);
    QStyleOptionViewItem option;
    option.initFrom(view);
    option.rect = view->visualRect(status);
    option.features |= QStyleOptionViewItem::HasCheckIndicator;
    const QRect box = view->style()->subElementRect(QStyle::SE_ItemViewItemCheckIndicator, &option, view);
    QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, box.center());

    ASSERT_TRUE(waitUntil([&] { return !QFileInfo::exists(enabledPath); })) << enabledPath.toStdString();
    ASSERT_TRUE(waitUntil([&] {
        const PluginPtr moved = pluginNamed(tree.allPlugins(), QStringLiteral("Color Warp.fxplug"));
        return moved && moved->pluginEnabled() == 0 && QFileInfo::exists(moved->actualPath());
    }));
    const PluginPtr moved = pluginNamed(tree.allPlugins(), QStringLiteral("Color Warp.fxplug"));
    EXPECT_TRUE(moved->actualPath().startsWith(tree.disabledPath())) << moved->actualPath().toStdString();
}

TEST_F(MainWindowTest, HeaderClickSortsAndStoresThePreference)
{
    QHeaderView *header = m_window->tree()->header();
    const auto clickSection = [header](int section) {
        const int x = header->sectionViewportPosition(section) + header->sectionSize(section) / 2;
        QTest::mouseClick(header->viewport(), Qt::LeftButton, {}, QPoint(x, header->height() / 2));
    };
    const auto topLevelVersions = [this] {
        QStringList versions;
        for (const ItemPtr &item : m_controller->outlineViewController().dataArray())
            versions.append(VTCatalogueModel::columnValue(*item, VTCatalogueModel::ColVersion).toString());
        return versions;
    };

    clickSection(VTCatalogueModel::ColVersion);
    EXPECT_EQ(VTUserDefaults::value(QStringLiteral("sortedColumn")).toString(), QStringLiteral("colVersion"));
    EXPECT_FALSE(VTUserDefaults::value(QStringLiteral("sortedDescending")).toBool());
    EXPECT_EQ(header->sortIndicatorSection(), int(VTCatalogueModel::ColVersion));
    EXPECT_EQ(header->sortIndicatorOrder(), Qt::AscendingOrder);
    const QStringList ascending = topLevelVersions();

    clickSection(VTCatalogueModel::ColVersion);
    EXPECT_TRUE(VTUserDefaults::value(QStringLiteral("sortedDescending")).toBool());
    EXPECT_EQ(header->sortIndicatorOrder(), Qt::DescendingOrder);
    QStringList reversed = ascending;
    std::reverse(reversed.begin(), reversed.end());
    EXPECT_EQ(topLevelVersions(), reversed);
}

TEST_F(MainWindowTest, AnAlertFromAWorkerIsAWindowModalSheet)
{
    // The alert runs its own event loop, so the sheet is looked at and
    // answered from a timer inside that loop.
    Qt::WindowModality modality = Qt::NonModal;
    QWidget *parent = nullptr;
    QStringList titles;
    QTimer answerer;
    answerer.setInterval(20);
    QObject::connect(&answerer, &QTimer::timeout, [&] {
        for (QWidget *widget : QApplication::topLevelWidgets()) {
            auto *box = qobject_cast<QMessageBox *>(widget);
            if (!box || !box->isVisible())
                continue;
            answerer.stop();
            modality = box->windowModality();
            parent = box->parentWidget();
            for (QAbstractButton *button : box->buttons())
                titles.append(button->text());
            for (QAbstractButton *button : box->buttons()) {
                if (button->text() == QLatin1String("Keep Both"))
                    button->click();
            }
        }
    });
    answerer.start();
    std::future<int> answer = std::async(std::launch::async, [this] {
        return m_ui->runAlert({QStringLiteral("Message"), QStringLiteral("Details"),
                               {QStringLiteral("Replace"), QStringLiteral("Keep Both"), QStringLiteral("Cancel")},
                               true});
    });
    ASSERT_TRUE(waitUntil([&] { return answer.wait_for(0s) == std::future_status::ready; }));
    EXPECT_EQ(answer.get(), VTUserInterface::SecondButton);
    EXPECT_EQ(modality, Qt::WindowModal);
    EXPECT_EQ(parent, m_window.get());
    titles.sort();
    EXPECT_EQ(titles, (QStringList{QStringLiteral("Cancel"), QStringLiteral("Keep Both"), QStringLiteral("Replace")}));
}

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
