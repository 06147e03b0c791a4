#include "VTMainWindow.h"

#include "AppController.h"
#include "OutlineViewController.h"
#include "VTAUValidationWindow.h"
#include "VTCrashTesterWindow.h"
#include "VTInstallerWindow.h"
#include "VTCatalogueDelegate.h"
#include "VTCatalogueModel.h"
#include "VTFolderWatcher.h"
#include "VTGroupItem.h"
#include "VTIconProvider.h"
#include "VTInstallRequests.h"
#include "VTPluginExport.h"
#include "VTPluginItem.h"
#include "VTPluginKind.h"
#include "VTPreferencesWindow.h"
#include "VTPrint.h"
#include "VTTreeModel.h"
#include "VTUserDefaults.h"
#include "VTWidgetInterface.h"

#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QDesktopServices>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QPrintDialog>
#include <QPrinter>
#include <QProgressBar>
#include <QScrollBar>
#include <QSaveFile>
#include <QStatusBar>
#include <QToolBar>
#include <QTreeView>
#include <QUrl>

#include <algorithm>

VTMainWindow::VTMainWindow(AppController &controller, VTWidgetInterface &ui, QWidget *parent)
    : QMainWindow(parent)
    , m_controller(controller)
    , m_ui(ui)
    , m_model(new VTTreeModel(controller, this))
    , m_tree(new QTreeView(this))
    , m_search(new QLineEdit(this))
    , m_filter(new QComboBox(this))
    , m_statistics(new QLabel(this))
    , m_loading(new QProgressBar(this))
    , m_watcher(new VTFolderWatcher(std::chrono::milliseconds(800), this))
{
    setWindowTitle(QStringLiteral("Tessary"));
    setWindowIcon(VTIconProvider::kindIcon(VTPluginKind::FxPlug));
    resize(1200, 680);

    m_model->setStatusCheckBoxHandler(
        [this](const ItemPtr &item, qint64 newValue) { m_controller.statusCheckBoxChanged(item, newValue); });
    m_tree->setModel(m_model);
    m_tree->setItemDelegate(new VTCatalogueDelegate(*m_model, m_tree));
    m_tree->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_tree->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_tree->setUniformRowHeights(true);
    m_tree->setAlternatingRowColors(true);
    m_tree->setContextMenuPolicy(Qt::CustomContextMenu);
    m_tree->setIconSize(QSize(20, 20));
    // Groups are renamed in place (F2 or a click on a selected name); rows are
    // dragged between groups, and files dropped from a file manager install.
    m_tree->setEditTriggers(QAbstractItemView::EditKeyPressed | QAbstractItemView::SelectedClicked);
    m_tree->setDragDropMode(QAbstractItemView::DragDrop);
    m_tree->setDefaultDropAction(Qt::MoveAction);
    m_tree->setDropIndicatorShown(true);
    QHeaderView *header = m_tree->header();
    header->setSectionsClickable(true);
    header->setSortIndicatorShown(false);
    header->setStretchLastSection(false);
    header->setSectionResizeMode(VTCatalogueModel::ColName, QHeaderView::Stretch);
    header->setSectionResizeMode(VTCatalogueModel::ColVersion, QHeaderView::Interactive);
    header->setSectionResizeMode(VTCatalogueModel::ColType, QHeaderView::Interactive);
    header->setSectionResizeMode(VTCatalogueModel::ColUser, QHeaderView::Interactive);
    header->setSectionResizeMode(VTCatalogueModel::ColStatus, QHeaderView::ResizeToContents);
    header->resizeSection(VTCatalogueModel::ColVersion, 110);
    header->resizeSection(VTCatalogueModel::ColType, 150);
    header->resizeSection(VTCatalogueModel::ColUser, 150);
    setCentralWidget(m_tree);

    connect(header, &QHeaderView::sectionClicked, this, [this](int section) {
        m_controller.outlineViewDidClickTableColumn(VTCatalogueModel::columnIdentifier(section));
    });
    connect(m_tree, &QTreeView::expanded, this,
            [this](const QModelIndex &index) { m_controller.outlineViewItemDidExpand(m_model->itemForIndex(index)); });
    connect(m_tree, &QTreeView::collapsed, this, [this](const QModelIndex &index) {
        m_controller.outlineViewItemDidCollapse(m_model->itemForIndex(index));
    });
    connect(m_tree, &QTreeView::clicked, this, &VTMainWindow::rowClicked);
    connect(m_tree, &QWidget::customContextMenuRequested, this, &VTMainWindow::showContextMenu);
    connect(m_tree->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &VTMainWindow::enableAndConfigureButtons);
    connect(m_model, &QAbstractItemModel::modelReset, this, &VTMainWindow::enableAndConfigureButtons);

    m_search->setPlaceholderText(tr("Search"));
    m_search->setClearButtonEnabled(true);
    m_search->setMinimumWidth(200);
    connect(m_search, &QLineEdit::textChanged, this, [this](const QString &text) {
        if (!m_isLoading)
            m_controller.search(text);
    });
    for (const VTPreferencesWindow::FilterEntry &entry : VTPreferencesWindow::filterEntries())
        m_filter->addItem(tr(entry.title), entry.value);
    m_filter->setCurrentIndex(std::max(0, m_filter->findData(int(VTUserDefaults::integerValue(QStringLiteral("filter"))))));
    m_filter->setToolTip(tr("Plug-in types shown"));
    connect(m_filter, &QComboBox::activated, this, &VTMainWindow::changeFilter);

    m_loading->setRange(0, 0);
    m_loading->setMaximumWidth(120);
    m_loading->setMaximumHeight(14);
    m_loading->setTextVisible(false);
    m_loading->hide();
    statusBar()->addWidget(m_statistics, 1);
    statusBar()->addPermanentWidget(m_loading);

    createActions();
    createMenus();
    createToolBar();

    m_ui.setWindow(this, {[this](bool busy) { setBusy(busy); },
                          [this](bool loading) { setCatalogueLoading(loading); },
                          [this](const QString &text) { m_statistics->setText(text); }});
    m_ui.setCancelHandler([this] { m_controller.cancelProgress(); });
    m_controller.setWindowSteps({[this] { enableAndConfigureButtons(); },
                                 [this] { m_actions.enableDisable->setEnabled(false); }});
    m_controller.setCatalogueView(this);

    // Changes made outside the program: a quiet moment after them, the tree
    // is reloaded where the user left it (expansion and selection are kept
    // by every reload; the scroll position by this one).
    connect(m_watcher, &VTFolderWatcher::foldersChanged, this, [this] {
        m_scrollToRestore = m_tree->verticalScrollBar()->value();
        m_controller.reloadData();
    });
    connect(&m_controller, &AppController::reloadFinished, this, [this] {
        // The tree is read between reloads only; a reload already under
        // way sets the folders when it ends.
        if (!m_controller.outlineViewController().isReloading())
            m_watcher->setFolders(m_controller.shownFolders());
        if (m_scrollToRestore >= 0)
            m_tree->verticalScrollBar()->setValue(std::exchange(m_scrollToRestore, -1));
    });
    enableAndConfigureButtons();
}

VTMainWindow::~VTMainWindow()
{
    m_controller.setCatalogueView(nullptr);
}

void VTMainWindow::createActions()
{
    using C = VTIconProvider::Command;
    const auto make = [this](const QString &text, C icon, const QKeySequence &shortcut = {}) {
        auto *action = new QAction(VTIconProvider::commandIcon(icon), text, this);
        action->setShortcut(shortcut);
        return action;
    };
    Actions &a = m_actions;
    a.enableDisable = make(tr("Disable"), C::Disable, QKeySequence(tr("Ctrl+E")));
    connect(a.enableDisable, &QAction::triggered, this,
            [this] { m_controller.enableDisable(selectedItems(), m_actions.enableDisable->text()); });
    a.toggleAccess = make(tr("Current User"), C::CurrentUser, QKeySequence(tr("Ctrl+U")));
    connect(a.toggleAccess, &QAction::triggered, this,
            [this] { m_controller.toggleUserAccess(selectedItems(), m_actions.toggleAccess->text()); });
    a.addGroup = make(tr("New Group"), C::AddGroup, QKeySequence(tr("Ctrl+Shift+N")));
    connect(a.addGroup, &QAction::triggered, this, &VTMainWindow::addGroup);
    a.remove = make(tr("Remove..."), C::Remove, QKeySequence::Delete);
    connect(a.remove, &QAction::triggered, this, [this] { m_controller.remove(selectedItems()); });
    a.deleteAllDisabled = make(tr("Delete All Disabled..."), C::DeleteDisabled);
    connect(a.deleteAllDisabled, &QAction::triggered, this, [this] { m_controller.deleteAllDisabled(); });
    a.install = make(tr("Install..."), C::Install, QKeySequence::Open);
    connect(a.install, &QAction::triggered, this, &VTMainWindow::install);
    a.reload = make(tr("Reload"), C::Reload, QKeySequence::Refresh);
    connect(a.reload, &QAction::triggered, this, [this] { m_controller.reloadData(); });
    a.find = new QAction(tr("Find"), this);
    a.find->setShortcut(QKeySequence::Find);
    connect(a.find, &QAction::triggered, this, [this] {
        m_search->setFocus();
        m_search->selectAll();
    });
    a.showInFileManager = make(tr("Show in File Manager"), C::Reveal);
    connect(a.showInFileManager, &QAction::triggered, this, &VTMainWindow::showInFileManager);

    a.select32BitOnly = new QAction(tr("32-bit Only Plug-ins"), this);
    connect(a.select32BitOnly, &QAction::triggered, this, [this] { m_controller.select32BitOnlyPlugins(); });
    a.select64BitOnly = new QAction(tr("64-bit Only Plug-ins"), this);
    connect(a.select64BitOnly, &QAction::triggered, this, [this] { m_controller.select64BitOnlyPlugins(); });
    a.selectPPCOnly = new QAction(tr("PowerPC Only Plug-ins"), this);
    connect(a.selectPPCOnly, &QAction::triggered, this, [this] { m_controller.selectPPCOnlyPlugins(); });
    a.selectIntelOnly = new QAction(tr("Intel Only Plug-ins"), this);
    connect(a.selectIntelOnly, &QAction::triggered, this, [this] { m_controller.selectIntelOnlyPlugins(); });

    // Tools with windows of their own.
    a.crashTester = make(tr("Crash Tester..."), C::CrashTester);
    a.validateAudioUnits = make(tr("Validate Audio Units..."), C::Validate);
    a.buildInstaller = make(tr("Build Installer..."), C::BuildInstaller);
    a.print = make(tr("Print..."), C::Print, QKeySequence::Print);
    connect(a.print, &QAction::triggered, this, &VTMainWindow::printList);
    connect(a.validateAudioUnits, &QAction::triggered, this, [this] { auValidationWindow().validateAU(); });
    connect(a.buildInstaller, &QAction::triggered, this, [this] {
        auto *installer = findChild<VTInstallerWindow *>();
        if (!installer)
            installer = new VTInstallerWindow(*this, m_ui, this);
        installer->showInstallerWindow();
    });
    // Made now, hidden: it also answers "vtRemoteLaunchCrashTest" from other processes.
    new VTCrashTesterWindow(m_controller, this);
    connect(a.crashTester, &QAction::triggered, this, [this] { findChild<VTCrashTesterWindow *>()->crashLocateClick(); });

    a.exportList = new QAction(tr("Export..."), this);
    connect(a.exportList, &QAction::triggered, this, &VTMainWindow::exportList);

    a.quit = new QAction(tr("Quit"), this);
    a.quit->setShortcut(QKeySequence::Quit);
    connect(a.quit, &QAction::triggered, this, &QWidget::close);
    for (QAction *action : findChildren<QAction *>())
        addAction(action); // shortcuts work wherever the focus is
}

void VTMainWindow::createMenus()
{
    const Actions &a = m_actions;
    QMenu *file = menuBar()->addMenu(tr("&File"));
    file->addActions({a.install, a.addGroup});
    file->addSeparator();
    file->addActions({a.buildInstaller, a.exportList, a.print});
    file->addSeparator();
    file->addAction(a.quit);

    QMenu *edit = menuBar()->addMenu(tr("&Edit"));
    edit->addActions({a.enableDisable, a.toggleAccess});
    edit->addSeparator();
    edit->addActions({a.remove, a.deleteAllDisabled});
    edit->addSeparator();
    edit->addAction(a.find);
    QMenu *select = edit->addMenu(tr("Select"));
    select->addActions({a.select32BitOnly, a.select64BitOnly, a.selectPPCOnly, a.selectIntelOnly});
    edit->addSeparator();
    QAction *preferences = edit->addAction(tr("Preferences..."));
    preferences->setShortcut(QKeySequence::Preferences);
    connect(preferences, &QAction::triggered, this, [this] { (void)preferencesWindow(); });

    QMenu *view = menuBar()->addMenu(tr("&View"));
    view->addActions({a.reload, a.showInFileManager});

    QMenu *tools = menuBar()->addMenu(tr("&Tools"));
    tools->addActions({a.crashTester, a.validateAudioUnits});

    m_contextMenu = new QMenu(this);
    m_contextMenu->addActions({a.enableDisable, a.toggleAccess});
    m_contextMenu->addSeparator();
    m_contextMenu->addActions({a.addGroup, a.remove});
    m_contextMenu->addSeparator();
    m_contextMenu->addAction(a.showInFileManager);
}

void VTMainWindow::createToolBar()
{
    const Actions &a = m_actions;
    QToolBar *bar = addToolBar(tr("Commands"));
    bar->setObjectName(QStringLiteral("commands"));
    bar->setMovable(false);
    bar->setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
    bar->addActions({a.enableDisable, a.toggleAccess, a.addGroup, a.remove, a.install, a.reload});
    bar->addSeparator();
    bar->addActions({a.crashTester, a.validateAudioUnits});
    auto *spacer = new QWidget(bar);
    spacer->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    bar->addWidget(spacer);
    bar->addWidget(m_filter);
    bar->addWidget(m_search);
}

void VTMainWindow::enableAndConfigureButtons()
{
    const Actions &a = m_actions;
    const bool idle = !m_isLoading;
    const QList<ItemPtr> selection = idle ? selectedItems() : QList<ItemPtr>{};
    const bool any = !selection.isEmpty();

    // The toggles read the first selected record: an enabled (or mixed) one
    // offers "Disable", one for all users offers "Current User".
    qint64 status = VTPluginKind::Enabled;
    qint64 access = VTPluginKind::AllUsers;
    if (any) {
        const ItemPtr &first = selection.first();
        status = VTCatalogueModel::columnValue(*first, VTCatalogueModel::ColStatus).toLongLong();
        access = VTCatalogueModel::columnValue(*first, VTCatalogueModel::ColUser).toLongLong();
    }
    const bool disable = status != VTPluginKind::Disabled;
    a.enableDisable->setText(disable ? tr("Disable") : tr("Enable"));
    a.enableDisable->setIcon(VTIconProvider::commandIcon(disable ? VTIconProvider::Command::Disable
                                                                 : VTIconProvider::Command::Enable));
    const bool toUser = access != VTPluginKind::CurrentUser;
    a.toggleAccess->setText(toUser ? tr("Current User") : tr("All Users"));
    a.toggleAccess->setIcon(VTIconProvider::commandIcon(toUser ? VTIconProvider::Command::CurrentUser
                                                               : VTIconProvider::Command::AllUsers));

    a.enableDisable->setEnabled(any);
    a.toggleAccess->setEnabled(any);
    a.remove->setEnabled(any);
    a.addGroup->setEnabled(idle && selection.size() <= 1);
    a.showInFileManager->setEnabled(selection.size() == 1 && selection.first()->isPlugin());
    a.print->setEnabled(idle);
    for (QAction *action : {a.deleteAllDisabled, a.install, a.reload, a.select32BitOnly, a.select64BitOnly,
                            a.selectPPCOnly, a.selectIntelOnly})
        action->setEnabled(idle);
}

void VTMainWindow::reloadTree()
{
    m_tree->viewport()->update();
}

void VTMainWindow::reloadItem(const ItemPtr &)
{
    m_tree->viewport()->update();
    enableAndConfigureButtons();
}

QList<ItemPtr> VTMainWindow::selectedItems() const
{
    QModelIndexList rows = m_tree->selectionModel()->selectedRows(VTCatalogueModel::ColName);
    // In the order the rows are shown.
    std::sort(rows.begin(), rows.end(), [this](const QModelIndex &a, const QModelIndex &b) {
        return m_tree->visualRect(a).top() < m_tree->visualRect(b).top();
    });
    QList<ItemPtr> items;
    for (const QModelIndex &row : std::as_const(rows)) {
        if (ItemPtr item = m_model->itemForIndex(row))
            items.append(std::move(item));
    }
    return items;
}

void VTMainWindow::selectItems(const QList<ItemPtr> &items)
{
    QItemSelection selection;
    for (const ItemPtr &item : items) {
        const QModelIndex index = m_model->indexForItem(item.get());
        if (index.isValid())
            selection.select(index, index.siblingAtColumn(VTCatalogueModel::ColumnCount - 1));
    }
    m_tree->selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
    if (!selection.isEmpty())
        m_tree->scrollTo(selection.first().topLeft());
}

void VTMainWindow::expandItem(const GroupPtr &group, bool children)
{
    const QModelIndex index = m_model->indexForItem(group.get());
    if (!index.isValid())
        return;
    if (children)
        m_tree->expandRecursively(index);
    else
        m_tree->expand(index);
}

void VTMainWindow::setSortIndicator(const QString &columnIdentifier, bool descending)
{
    const int column = VTCatalogueModel::columnForIdentifier(columnIdentifier);
    if (column < 0)
        return;
    m_tree->header()->setSortIndicatorShown(true);
    m_tree->header()->setSortIndicator(column, descending ? Qt::DescendingOrder : Qt::AscendingOrder);
}

void VTMainWindow::clearSortIndicator(const QString &columnIdentifier)
{
    if (VTCatalogueModel::columnForIdentifier(columnIdentifier) == m_tree->header()->sortIndicatorSection())
        m_tree->header()->setSortIndicatorShown(false);
}

void VTMainWindow::setCatalogueLoading(bool loading)
{
    m_isLoading = loading;
    if (loading) {
        QSignalBlocker quiet(m_search);
        m_search->clear();
    }
    m_search->setEnabled(!loading);
    m_filter->setEnabled(!loading);
    m_tree->setEnabled(!loading);
    m_watcher->setDeferred(loading);
    m_loading->setVisible(loading || m_busy > 0);
    enableAndConfigureButtons();
}

void VTMainWindow::setBusy(bool busy)
{
    m_busy = std::max(0, m_busy + (busy ? 1 : -1));
    m_watcher->setSuspended(m_busy > 0);
    m_loading->setVisible(m_isLoading || m_busy > 0);
}

void VTMainWindow::changeFilter(int index)
{
    const int value = m_filter->itemData(index).toInt();
    if (value == VTUserDefaults::integerValue(QStringLiteral("filter")))
        return;
    VTUserDefaults::setValue(QStringLiteral("filter"), value);
    m_controller.reloadData();
}

void VTMainWindow::rowClicked(const QModelIndex &index)
{
    // The access cell toggles between all users and the current user.
    if (index.column() != VTCatalogueModel::ColUser || m_isLoading)
        return;
    const ItemPtr item = m_model->itemForIndex(index);
    if (!item)
        return;
    const qint64 access = VTCatalogueModel::columnValue(*item, VTCatalogueModel::ColUser).toLongLong();
    m_controller.setAccess(access == VTPluginKind::CurrentUser ? VTPluginKind::AllUsers : VTPluginKind::CurrentUser,
                           item, true);
}

void VTMainWindow::showContextMenu(const QPoint &position)
{
    const QModelIndex index = m_tree->indexAt(position);
    if (index.isValid() && !m_tree->selectionModel()->isRowSelected(index.row(), index.parent()))
        m_tree->selectionModel()->select(index, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    m_contextMenu->popup(m_tree->viewport()->mapToGlobal(position));
}

void VTMainWindow::addGroup()
{
    const QList<ItemPtr> selection = selectedItems();
    const GroupPtr group = m_controller.addGroup(selection.isEmpty() ? ItemPtr() : selection.first());
    if (!group)
        return;
    selectItems({group});
    // The new group's name is ready to be typed over.
    const QModelIndex name = m_model->indexForItem(group.get());
    if (name.isValid())
        m_tree->edit(name);
}

void VTMainWindow::install()
{
    const QStringList files = QFileDialog::getOpenFileNames(this, tr("Install Plug-ins"));
    if (!files.isEmpty())
        m_controller.installRequests().postInstallNewPlugins(files);
}

void VTMainWindow::exportList()
{
    const QString jsonFilter = tr("JSON (*.json)");
    const QString csvFilter = tr("CSV (*.csv)");
    QString chosenFilter;
    const QString path = QFileDialog::getSaveFileName(this, tr("Export Plug-in List"), QString(),
                                                      jsonFilter + QStringLiteral(";;") + csvFilter, &chosenFilter);
    if (!path.isEmpty())
        (void)exportListTo(path, chosenFilter == csvFilter);
}

QString VTMainWindow::exportListTo(QString path, bool csvChosen)
{
    // The suffix decides; without one, the chosen format does and lends its suffix.
    const QString suffix = QFileInfo(path).suffix().toLower();
    const bool csv = suffix == QLatin1String("csv") || (suffix != QLatin1String("json") && csvChosen);
    if (suffix != QLatin1String("csv") && suffix != QLatin1String("json"))
        path += csv ? QStringLiteral(".csv") : QStringLiteral(".json");

    const QList<PluginPtr> plugins = m_controller.allPlugins();
    QSaveFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write(csv ? VTPluginExport::csv(plugins) : VTPluginExport::json(plugins));
    if (file.commit())
        return path;
    m_ui.runAlert({tr("The plug-in list could not be exported."),
                   tr("%1: %2").arg(QDir::toNativeSeparators(path), file.errorString()), {}, true});
    return QString();
}

VTAUValidationWindow &VTMainWindow::auValidationWindow()
{
    if (!m_auValidation)
        m_auValidation = new VTAUValidationWindow(m_controller, this);
    return *m_auValidation;
}

void VTMainWindow::printList()
{
    if (!m_printer)
        m_printer = std::make_unique<QPrinter>(QPrinter::HighResolution);
    const QString jobTitle = QString::fromLatin1(VTPrint::PluginListJobTitle);
    m_printer->setDocName(jobTitle);
    auto *dialog = new QPrintDialog(m_printer.get(), this);
    dialog->setWindowTitle(tr("Print Plug-in List"));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowModality(Qt::WindowModal);
    connect(dialog, &QDialog::accepted, this, [this, jobTitle] {
        const QString html = VTPrint::generateHTMLForPrinting(m_controller.allPlugins());
        if (!VTPrint::shared().printHTMLString(html, jobTitle, *m_printer))
            m_ui.runAlert({tr("The plug-in list could not be printed."),
                           tr("The printer %1 could not be used.").arg(m_printer->printerName()), {}, true});
    });
    dialog->open();
}

void VTMainWindow::showInFileManager()
{
    const QList<ItemPtr> selection = selectedItems();
    if (selection.size() != 1 || !selection.first()->isPlugin())
        return;
    const QString path = selection.first()->asPlugin()->actualPath();
    QDesktopServices::openUrl(QUrl::fromLocalFile(QFileInfo(path).absolutePath()));
}

VTPreferencesWindow &VTMainWindow::preferencesWindow()
{
    if (auto *window = findChild<VTPreferencesWindow *>()) {
        window->show();
        window->raise();
        return *window;
    }
    auto *window = new VTPreferencesWindow(m_controller, this);
    // A filter chosen there shows in the toolbar's menu too.
    connect(window, &VTPreferencesWindow::filterChanged, this,
            [this](int value) { m_filter->setCurrentIndex(std::max(0, m_filter->findData(value))); });
    window->show();
    return *window;
}
