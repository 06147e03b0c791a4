#pragma once

#include "VTCatalogueView.h"

#include <QMainWindow>

#include <memory>

class AppController;
class QAction;
class QComboBox;
class QLabel;
class QLineEdit;
class QMenu;
class QPrinter;
class QProgressBar;
class QTreeView;
class VTAUValidationWindow;
class VTCatalogueModel;
class VTFolderWatcher;
class VTPreferencesWindow;
class VTWidgetInterface;

// The main window: the catalogue tree with its five columns, the toolbar,
// menus and context menu over one set of actions, the search field, the
// type filter pop-up and the statistics line. It is the catalogue's view
// (VTCatalogueView) and hands the user's clicks to the controller.
class VTMainWindow : public QMainWindow, public VTCatalogueView
{
    Q_OBJECT

public:
    // One action per command, shared by the toolbar, the menus, the context
    // menu and the shortcuts.
    struct Actions {
        QAction *enableDisable = nullptr;
        QAction *toggleAccess = nullptr;
        QAction *addGroup = nullptr;
        QAction *remove = nullptr;
        QAction *deleteAllDisabled = nullptr;
        QAction *install = nullptr;
        QAction *reload = nullptr;
        QAction *find = nullptr;
        QAction *showInFileManager = nullptr;
        QAction *select32BitOnly = nullptr;
        QAction *select64BitOnly = nullptr;
        QAction *selectPPCOnly = nullptr;
        QAction *selectIntelOnly = nullptr;
        QAction *crashTester = nullptr;
        QAction *validateAudioUnits = nullptr;
        QAction *buildInstaller = nullptr;
        QAction *print = nullptr;
        QAction *exportList = nullptr;
        QAction *quit = nullptr;
    };

    VTMainWindow(AppController &controller, VTWidgetInterface &ui, QWidget *parent = nullptr);
    ~VTMainWindow() override;

    [[nodiscard]] QTreeView *tree() const { return m_tree; }
    [[nodiscard]] VTCatalogueModel &model() const { return *m_model; }
    [[nodiscard]] QLineEdit *searchField() const { return m_search; }
    [[nodiscard]] QComboBox *filterPopUp() const { return m_filter; }
    // Opens (or raises) the preferences window.
    VTPreferencesWindow &preferencesWindow();
    [[nodiscard]] QLabel *statisticsLine() const { return m_statistics; }
    [[nodiscard]] const Actions &actions() const { return m_actions; }
    [[nodiscard]] VTFolderWatcher &folderWatcher() const { return *m_watcher; }
    // The Audio Unit validation window, made on first use.
    VTAUValidationWindow &auValidationWindow();

    // Writes every plug-in record to `path` as JSON or CSV: the suffix
    // decides, else `csvChosen`, and the format's suffix is added. The path
    // written, or empty after a window-modal alert saying why not.
    QString exportListTo(QString path, bool csvChosen);

    // Which commands the selection allows, and the toggles' labels; the one
    // place where that is decided.
    void enableAndConfigureButtons();

    // VTCatalogueView
    void reloadTree() override;
    void reloadItem(const ItemPtr &item) override;
    [[nodiscard]] QList<ItemPtr> selectedItems() const override;
    void selectItems(const QList<ItemPtr> &items) override;
    void expandItem(const GroupPtr &group, bool children) override;
    void setSortIndicator(const QString &columnIdentifier, bool descending) override;
    void clearSortIndicator(const QString &columnIdentifier) override;

private:
    void createActions();
    void createMenus();
    void createToolBar();
    void setCatalogueLoading(bool loading);
    void setBusy(bool busy);
    void changeFilter(int index);
    void rowClicked(const QModelIndex &index);
    void showContextMenu(const QPoint &position);
    void addGroup();
    void install();
    void exportList();
    // The print sheet; the plug-in list goes to the printer or PDF chosen.
    void printList();
    void showInFileManager();

    AppController &m_controller;
    VTWidgetInterface &m_ui;
    VTCatalogueModel *m_model;
    QTreeView *m_tree;
    QLineEdit *m_search;
    QComboBox *m_filter;
    QLabel *m_statistics;
    QProgressBar *m_loading;
    QMenu *m_contextMenu = nullptr;
    VTFolderWatcher *m_watcher;
    std::unique_ptr<QPrinter> m_printer; // keeps the choices between prints
    int m_scrollToRestore = -1;
    VTAUValidationWindow *m_auValidation = nullptr;
    Actions m_actions;
    bool m_isLoading = false;
    int m_busy = 0;
};
