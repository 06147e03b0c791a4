// The main window on the demo sandbox, driven as a person does: the status
// check box, header clicks, search, renaming, drags and file drops, the
// progress sheet's Cancel, the watched folders, print and export.

#include "CatalogueTestSupport.h"

#include "AppController.h"
#include "VTAUValidationWindow.h"
#include "VTMainThread.h"
#include "VTFolderWatcher.h"
#include "VTIconProvider.h"
#include "VTLocalPaths.h"
#include "VTMainWindow.h"
#include "VTPreferencesWindow.h"
#include "VTProgressSheet.h"
#include "VTTestProcess.h"
#include "VTUserDefaults.h"
#include "VTWidgetInterface.h"
#include "VTWidgetTest.h"

#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QTableView>
#include <QHeaderView>
#include <QJsonDocument>
#include <QLineEdit>
#include <QMimeData>
#include <QPrintDialog>
#include <QPrinter>
#include <QProgressBar>
#include <QMessageBox>
#include <QPushButton>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>
#include <QTimer>
#include <QTreeView>
#include <QUrl>

#include <future>

using namespace std::chrono_literals;
using VTWidgetTest::answerNextWith;
using VTWidgetTest::waitUntil;

namespace {

void clickHeaderSection(QHeaderView *header, int section)
{
    const int x = header->sectionViewportPosition(section) + header->sectionSize(section) / 2;
    QTest::mouseClick(header->viewport(), Qt::LeftButton, {}, QPoint(x, header->height() / 2));
}

} // namespace

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

    // The plug-in record of that name; none while a reload (the watcher's,
    // say) builds the tree, which only this thread may read between reloads.
    PluginPtr plugin(const QString &fileName, qint64 enabled = -1)
    {
        if (reloading())
            return nullptr;
        return pluginNamed(m_controller->outlineViewController().allPlugins(), fileName, enabled);
    }
    bool reloading() const { return m_controller->outlineViewController().isReloading(); }

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
    const auto topLevelVersions = [this] {
        QStringList versions;
        for (const ItemPtr &item : m_controller->outlineViewController().dataArray())
            versions.append(VTCatalogueModel::columnValue(*item, VTCatalogueModel::ColVersion).toString());
        return versions;
    };

    clickHeaderSection(header, VTCatalogueModel::ColVersion);
    EXPECT_EQ(VTUserDefaults::value(QStringLiteral("sortedColumn")).toString(), QStringLiteral("colVersion"));
    EXPECT_FALSE(VTUserDefaults::value(QStringLiteral("sortedDescending")).toBool());
    EXPECT_EQ(header->sortIndicatorSection(), int(VTCatalogueModel::ColVersion));
    EXPECT_EQ(header->sortIndicatorOrder(), Qt::AscendingOrder);
    const QStringList ascending = topLevelVersions();

    clickHeaderSection(header, VTCatalogueModel::ColVersion);
    EXPECT_TRUE(VTUserDefaults::value(QStringLiteral("sortedDescending")).toBool());
    EXPECT_EQ(header->sortIndicatorOrder(), Qt::DescendingOrder);
    EXPECT_EQ(topLevelVersions(), QStringList(ascending.rbegin(), ascending.rend()));
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
        QMessageBox *box = VTWidgetTest::visibleMessageBox();
        if (!box)
            return;
        answerer.stop();
        modality = box->windowModality();
        parent = box->parentWidget();
        for (QAbstractButton *button : box->buttons())
            titles.append(button->text());
        for (QAbstractButton *button : box->buttons()) {
            if (button->text() == QLatin1String("Keep Both"))
                button->click();
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

TEST_F(MainWindowTest, SearchKeepsTheGroupOfAMatchAndRenamingInPlaceRenamesTheFolder)
{
    VTCatalogueModel &model = m_window->model();
    m_window->searchField()->setText(QStringLiteral("warp"));
    OutlineViewController &tree = m_controller->outlineViewController();
    const GroupPtr color = tree.groupMatchingSubdir(QStringLiteral("Color"));
    ASSERT_TRUE(color);
    const QModelIndex group = model.indexForItem(color.get());
    ASSERT_TRUE(group.isValid()) << "the group of a match stays";
    QStringList shown;
    for (int row = 0; row < model.rowCount(group); ++row)
        shown.append(model.index(row, VTCatalogueModel::ColName, group).data().toString());
    EXPECT_EQ(shown, QStringList{QStringLiteral("Color Warp")});
    EXPECT_FALSE(model.indexForItem(plugin(QStringLiteral("Gaussian Blur.fxplug")).get()).isValid());
    m_window->searchField()->clear();

    // F2 on the group's name, a new name, Return: its folder is renamed.
    const GroupPtr renamedGroup = tree.groupMatchingSubdir(QStringLiteral("Color"));
    ASSERT_TRUE(renamedGroup);
    const QString folder = renamedGroup->groupPath();
    QTreeView *view = m_window->tree();
    const QModelIndex name = model.indexForItem(renamedGroup.get());
    ASSERT_TRUE(name.isValid());
    view->setCurrentIndex(name);
    view->setFocus();
    QTest::keyClick(view, Qt::Key_F2);
    auto *editor = view->viewport()->findChild<QLineEdit *>();
    ASSERT_TRUE(editor) << "the name cell opens for editing";
    EXPECT_EQ(editor->text(), QStringLiteral("Color"));
    editor->setText(QStringLiteral("Colour"));
    QTest::keyClick(editor, Qt::Key_Return);
    const QString renamed = VTPath::join(VTPath::removeLastComponent(folder), QStringLiteral("Colour"));
    EXPECT_TRUE(waitUntil([&] { return QFileInfo::exists(VTPath::join(renamed, QStringLiteral("Color Warp.fxplug"))); }));
    EXPECT_FALSE(QFileInfo::exists(folder));
}

TEST_F(MainWindowTest, ARowDraggedOntoAGroupAndAFileDroppedOnTheTreeEndUpInPlace)
{
    VTCatalogueModel &model = m_window->model();
    OutlineViewController &tree = m_controller->outlineViewController();
    const PluginPtr blur = plugin(QStringLiteral("Gaussian Blur.fxplug"));
    const GroupPtr color = tree.groupMatchingSubdir(QStringLiteral("Color"));
    ASSERT_TRUE(blur && color);
    const QString before = blur->actualPath();

    // The drag's data is the records' archive; a drop onto a plug-in is refused.
    std::unique_ptr<QMimeData> drag(model.mimeData({model.indexForItem(blur.get())}));
    ASSERT_TRUE(drag && drag->hasFormat(QStringLiteral("VTPboardType")));
    EXPECT_FALSE(model.canDropMimeData(drag.get(), Qt::MoveAction, -1, -1,
                                       model.indexForItem(plugin(QStringLiteral("Tint.fxplug")).get())));
    ASSERT_TRUE(model.canDropMimeData(drag.get(), Qt::MoveAction, -1, -1, model.indexForItem(color.get())));
    (void)model.dropMimeData(drag.get(), Qt::MoveAction, -1, -1, model.indexForItem(color.get()));
    const QString moved = VTPath::join(color->groupPath(), QStringLiteral("Gaussian Blur.fxplug"));
    EXPECT_TRUE(waitUntil([&] { return QFileInfo::exists(moved) && !QFileInfo::exists(before); })) << moved.toStdString();

    // Files from a file manager: unknown files are refused, a bundle is
    // installed after the access question.
    const QString download = VTPath::join(m_env.path(), QStringLiteral("Downloads/Drop Glow.fxplug"));
    ASSERT_TRUE(VTTestSandbox::makeBundle(download, {{QStringLiteral("CFBundleShortVersionString"), QStringLiteral("3.1")}}));
    const QString notes = VTPath::join(m_env.path(), QStringLiteral("Downloads/notes.pdf"));
    ASSERT_TRUE(VTTestSandbox::makeFile(notes, "x"));
    QMimeData files;
    files.setUrls({QUrl::fromLocalFile(notes)});
    EXPECT_FALSE(model.canDropMimeData(&files, Qt::CopyAction, -1, -1, QModelIndex()));
    files.setUrls({QUrl::fromLocalFile(download)});
    answerNextWith(m_window.get(), QStringLiteral("Current User"));
    ASSERT_TRUE(model.dropMimeData(&files, Qt::CopyAction, -1, -1, QModelIndex()));
    const QString installed = m_env.homePath(QStringLiteral("Library/Plug-Ins/FxPlug/Drop Glow.fxplug"));
    EXPECT_TRUE(waitUntil([&] { return QFileInfo::exists(VTPath::join(installed, QStringLiteral("Contents/Info.plist"))); }))
        << installed.toStdString();
    EXPECT_TRUE(waitUntil([&] { return plugin(QStringLiteral("Drop Glow.fxplug")) != nullptr; }));
}

TEST_F(MainWindowTest, CancelOnTheProgressSheetStopsTheBatchAfterTheCurrentItem)
{
    // Six enabled plug-ins at the top level: a batch with a progress sheet.
    QList<ItemPtr> batch;
    for (const ItemPtr &item : m_controller->outlineViewController().dataArray()) {
        if (const PluginPtr p = item->asPlugin(); p && p->pluginEnabled() == 1 && !p->isLocked() && batch.size() < 6)
            batch.append(item);
    }
    ASSERT_EQ(batch.size(), 6);
    QStringList paths;
    for (const ItemPtr &item : batch)
        paths.append(item->asPlugin()->actualPath());
    m_window->selectItems(batch);

    // The sheet exists before the batch; Cancel is pressed while the first
    // item's progress step holds the worker.
    m_ui->showProgressSheet();
    m_ui->endProgressSheet();
    VTProgressSheet *sheet = m_ui->progressSheet();
    ASSERT_TRUE(sheet);
    QObject::connect(sheet->progressBar(), &QProgressBar::valueChanged, sheet, [sheet](int value) {
        if (value > 0 && sheet->cancelButton()->isEnabled())
            sheet->cancelButton()->click();
    });
    ASSERT_EQ(m_window->actions().enableDisable->text(), QStringLiteral("Disable"));
    m_window->actions().enableDisable->trigger();
    ASSERT_TRUE(waitUntil([&] { return m_controller->waitForOperations(0ms); }));
    int moved = 0;
    for (const QString &path : paths) {
        const QString disabled = VTLocalPaths::mirrorPath(m_controller->outlineViewController().disabledPath(), path);
        EXPECT_NE(QFileInfo::exists(path), QFileInfo::exists(disabled)) << "whole, in one place: " << path.toStdString();
        moved += QFileInfo::exists(disabled) ? 1 : 0;
    }
    EXPECT_EQ(moved, 1);
}

TEST_F(MainWindowTest, AChangeMadeOutsideTheProgramReloadsTheTree)
{
    EXPECT_TRUE(waitUntil([&] { return !m_window->folderWatcher().folders().isEmpty(); }));
    const QString added = m_env.systemPath(QStringLiteral("/Library/Plug-Ins/FxPlug/Color/Outside.fxplug"));
    ASSERT_TRUE(VTTestSandbox::makeBundle(added, {}));
    EXPECT_TRUE(waitUntil([&] { return plugin(QStringLiteral("Outside.fxplug")) != nullptr; }));
    ASSERT_TRUE(QDir(added).removeRecursively());
    EXPECT_TRUE(waitUntil([&] { return !reloading() && plugin(QStringLiteral("Outside.fxplug")) == nullptr; }));
}

TEST_F(MainWindowTest, PrintSheetPrintsTheListAndExportWritesTheChosenFormat)
{
    if (QStandardPaths::findExecutable(QStringLiteral("pdftotext")).isEmpty())
        GTEST_SKIP() << "pdftotext (poppler-utils) is not installed";
    m_window->actions().print->trigger();
    QPrintDialog *dialog = m_window->findChild<QPrintDialog *>();
    ASSERT_TRUE(dialog);
    EXPECT_EQ(dialog->windowModality(), Qt::WindowModal);
    EXPECT_TRUE(dialog->isVisible());
    EXPECT_EQ(dialog->printer()->docName(), QStringLiteral("Tessary Plugin List"));
    // What the dialog's PDF choice sets, then the dialog's OK.
    const QString pdf = VTPath::join(m_env.path(), QStringLiteral("list.pdf"));
    dialog->printer()->setOutputFormat(QPrinter::PdfFormat);
    dialog->printer()->setOutputFileName(pdf);
    dialog->done(QDialog::Accepted);
    const VTTest::Run text = VTTest::run(QStringLiteral("pdftotext"), {pdf, QStringLiteral("-")});
    EXPECT_TRUE(text.out.contains("Tessary Plugin List")) << text.out.toStdString();
    EXPECT_TRUE(text.out.contains("Color Warp")) << text.out.toStdString();

    // No suffix: the chosen format lends its own; a suffix decides.
    const QString csv = m_window->exportListTo(VTPath::join(m_env.path(), QStringLiteral("list")), true);
    EXPECT_EQ(csv, VTPath::join(m_env.path(), QStringLiteral("list.csv")));
    QFile csvFile(csv);
    ASSERT_TRUE(csvFile.open(QIODevice::ReadOnly));
    EXPECT_TRUE(csvFile.readLine().startsWith("name,"));
    const QString json = m_window->exportListTo(VTPath::join(m_env.path(), QStringLiteral("list.JSON")), true);
    QFile jsonFile(json);
    ASSERT_TRUE(jsonFile.open(QIODevice::ReadOnly));
    EXPECT_TRUE(QJsonDocument::fromJson(jsonFile.readAll()).isArray());
    // A folder that does not exist: an alert, nothing written.
    answerNextWith(m_window.get(), QStringLiteral("OK"));
    EXPECT_TRUE(m_window->exportListTo(VTPath::join(m_env.path(), QStringLiteral("missing/list.csv")), false).isEmpty());
}

TEST_F(MainWindowTest, AudioUnitValidationFillsTheTableAndTheInspectorFollowsTheSelection)
{
    m_window->actions().validateAudioUnits->trigger();
    VTAUValidationWindow &validation = m_window->auValidationWindow();
    EXPECT_TRUE(validation.isVisible());
    const auto settled = [&] {
        const auto &units = validation.model().units();
        return !validation.running() && !units.empty()
            && std::none_of(units.begin(), units.end(),
                            [](const VTAudioUnitPtr &unit) { return unit->status() == QLatin1String("Validating..."); });
    };
    ASSERT_TRUE(waitUntil(settled));
    QStringList statuses;
    for (const VTAudioUnitPtr &unit : validation.model().units())
        statuses.append(unit->status());
    EXPECT_TRUE(statuses.contains(QStringLiteral("OK")) && statuses.contains(QStringLiteral("Fatal Error"))) << statuses.join(u',').toStdString();

    // The table's own header: a click sorts ascending, a second one toggles.
    QHeaderView *header = validation.table()->horizontalHeader();
    const auto shownStatuses = [&validation] {
        QStringList shown;
        for (int row = 0; row < validation.model().rowCount(); ++row)
            shown.append(validation.model().index(row, VTAUValTableModel::ColStatus).data().toString());
        return shown;
    };
    std::sort(statuses.begin(), statuses.end(), [](const QString &a, const QString &b) { return a.compare(b, Qt::CaseInsensitive) < 0; });
    clickHeaderSection(header, VTAUValTableModel::ColStatus);
    EXPECT_EQ(shownStatuses(), statuses);
    EXPECT_EQ(header->sortIndicatorOrder(), Qt::AscendingOrder);
    clickHeaderSection(header, VTAUValTableModel::ColStatus);
    std::reverse(statuses.begin(), statuses.end());
    EXPECT_EQ(shownStatuses(), statuses);
    EXPECT_EQ(header->sortIndicatorSection(), int(VTAUValTableModel::ColStatus));
    EXPECT_EQ(header->sortIndicatorOrder(), Qt::DescendingOrder);

    // Status icons: none while validating, one error sign for every failure,
    // a warning for "Unknown" (where status 3 lands), a tick for "OK".
    const auto icon = [](const char *status) { return VTIconProvider::validationStatusIcon(QString::fromLatin1(status)); };
    EXPECT_TRUE(icon("Validating...").isNull());
    for (const char *failure : {"General Error", "Fatal Error", "Unauthorized"})
        EXPECT_EQ(icon(failure).cacheKey(), icon("Failed").cacheKey()) << failure;
    const QSet<qint64> distinct = {icon("OK").cacheKey(), icon("Failed").cacheKey(), icon("Unknown").cacheKey()};
    EXPECT_EQ(distinct.size(), 3);

    VTAUInspectorWindow *inspector = validation.inspector();
    for (const int row : {0, 1}) {
        const VTAudioUnitPtr unit = validation.model().unitAt(row);
        validation.table()->selectRow(row);
        if (row == 0)
            validation.auInspect(); // later rows: the open inspector follows
        ASSERT_TRUE(waitUntil([&] { return !inspector->busy() && inspector->report().contains(unit->idCode()); }))
            << inspector->report().toStdString();
        EXPECT_EQ(inspector->windowTitle(), unit->title() + QStringLiteral(" - Inspector"));
    }
    inspector->copyButton()->click();
    EXPECT_EQ(QApplication::clipboard()->text(), inspector->report());

    // A sort drops the selection, and with it the Inspect button.
    const QList<QPushButton *> buttons = validation.findChildren<QPushButton *>();
    const auto inspect = std::find_if(buttons.begin(), buttons.end(), [](QPushButton *b) { return b->text() == QStringLiteral("Inspect..."); });
    ASSERT_NE(inspect, buttons.end());
    EXPECT_TRUE((*inspect)->isEnabled());
    clickHeaderSection(header, VTAUValTableModel::ColStatus);
    EXPECT_FALSE((*inspect)->isEnabled());
}

TEST_F(MainWindowTest, PreferencesApplyAtOnceAndLiftingTheAdminPasswordNeedsAuthorization)
{
    VTPreferencesWindow &preferences = m_window->preferencesWindow();
    EXPECT_FALSE(preferences.requireAdminPasswordBox()->isChecked());
    EXPECT_FALSE(preferences.ignoreFxFactoryBox()->isChecked());
    EXPECT_EQ(preferences.filterBox()->currentData().toInt(), 0);

    preferences.requireAdminPasswordBox()->click();
    EXPECT_EQ(VTUserDefaults::hostValue(QStringLiteral("requireAdminPassword")).toLongLong(), 1);
    EXPECT_FALSE(VTUserDefaults::value(QStringLiteral("requireAdminPassword")).isValid()) << "stored for the host only";

    bool grant = false;
    int asked = 0;
    VTPreferencesWindow guarded(*m_controller, nullptr, [&] { ++asked; return grant; });
    ASSERT_TRUE(guarded.requireAdminPasswordBox()->isChecked());
    guarded.requireAdminPasswordBox()->click();
    EXPECT_EQ(asked, 1);
    EXPECT_TRUE(guarded.requireAdminPasswordBox()->isChecked()) << "refused: the box goes back on";
    EXPECT_EQ(VTUserDefaults::hostValue(QStringLiteral("requireAdminPassword")).toLongLong(), 1);
    grant = true;
    guarded.requireAdminPasswordBox()->click();
    EXPECT_FALSE(guarded.requireAdminPasswordBox()->isChecked());
    EXPECT_EQ(VTUserDefaults::hostValue(QStringLiteral("requireAdminPassword")).toLongLong(), 0);

    // The type filter chosen there reloads and shows in the toolbar.
    QSignalSpy reloaded(m_controller.get(), &AppController::reloadFinished);
    QComboBox *filter = preferences.filterBox();
    const int openFX = filter->findData(5);
    ASSERT_GE(openFX, 0);
    filter->setCurrentIndex(openFX);
    emit filter->activated(openFX);
    EXPECT_EQ(VTUserDefaults::integerValue(QStringLiteral("filter")), 5);
    EXPECT_EQ(m_window->filterPopUp()->currentData().toInt(), 5);
    ASSERT_TRUE(reloaded.wait(120000));

    preferences.ignoreFxFactoryBox()->click();
    EXPECT_EQ(VTUserDefaults::integerValue(QStringLiteral("ignoreFxFactory")), 1);
    EXPECT_EQ(&m_window->preferencesWindow(), &preferences) << "one preferences window";
}
