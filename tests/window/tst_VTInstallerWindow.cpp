// The installer builder's window on the offscreen platform: the sheet for an
// empty selection on the main window, the field checks with their sheets and
// focus, the stored certificate choice, and the save sheet it opens.

#include "VTGroupItem.h"
#include "VTCatalogueView.h"
#include "VTInstallerWindow.h"
#include "VTRecordingInterface.h"
#include "VTTestSandbox.h"
#include "VTUserDefaults.h"

#include <QApplication>
#include <QComboBox>
#include <QFileDialog>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>

#include <gtest/gtest.h>

namespace {

class FixedSelection final : public VTCatalogueView
{
public:
    QList<ItemPtr> selection;
    void reloadTree() override {}
    void reloadItem(const ItemPtr &) override {}
    QList<ItemPtr> selectedItems() const override { return selection; }
    void selectItems(const QList<ItemPtr> &items) override { selection = items; }
    void expandItem(const GroupPtr &, bool) override {}
    void setSortIndicator(const QString &, bool) override {}
    void clearSortIndicator(const QString &) override {}
};

template <typename T>
T *visibleModal()
{
    QApplication::processEvents();
    for (QWidget *widget : QApplication::topLevelWidgets()) {
        if (auto *found = qobject_cast<T *>(widget); found && found->isVisible())
            return found;
    }
    return nullptr;
}

// Clicks Create and answers the sheet it shows: its texts, or "" for none.
QString sheetAfterCreate(VTInstallerWindow &window)
{
    window.createButton()->click();
    QMessageBox *box = visibleModal<QMessageBox>();
    if (!box)
        return {};
    const QString texts = box->text() + u'|' + box->informativeText();
    EXPECT_EQ(box->windowModality(), Qt::WindowModal);
    box->close();
    QApplication::processEvents();
    return texts;
}

TEST(VTInstallerWindow, EmptySelectionFieldChecksAndSaveSheet)
{
    VTTestSandbox sandbox;
    FixedSelection view;
    VTRecordingInterface mainWindow(true);
    VTUserDefaults::setValue(QStringLiteral("installerCertificateName"), QStringLiteral("Gone Certificate"));
    VTInstallerWindow window(view, mainWindow, nullptr, sandbox.path() + QStringLiteral("/Plugin Installer.app"));

    window.showInstallerWindow();
    EXPECT_EQ(mainWindow.steps(), QStringList{QStringLiteral(
                                      "alert:You must select a plugin or group|Select a plugin or group and then click "
                                      "Create Plugin Installer to create a new installer from these plugins.|")});
    EXPECT_FALSE(window.isVisible());

    view.selection = {VTGroupItem::create(QStringLiteral("Color"), sandbox.root(), QStringLiteral("Color"))};
    window.showInstallerWindow();
    ASSERT_TRUE(window.isVisible());
    // A stored title that is not in the list selects "(not set)".
    EXPECT_EQ(window.certificateChooser()->count(), 1);
    EXPECT_EQ(window.certificateChooser()->currentText(), QStringLiteral("(not set)"));
    EXPECT_EQ(window.nameField()->text(), QStringLiteral("My Plugin")) << "the registered default";

    const struct {
        QLineEdit *field;
        QString message;
    } checks[] = {{window.nameField(), QStringLiteral("Plugin name cannot be blank")},
                  {window.versionField(), QStringLiteral("Plugin version cannot be blank")},
                  {window.authorField(), QStringLiteral("Plugin author cannot be blank")}};
    for (const auto &check : checks)
        check.field->setText(QStringLiteral("  "));
    for (const auto &check : checks) {
        EXPECT_EQ(sheetAfterCreate(window), check.message + QStringLiteral("|Please enter a value for this field."));
        EXPECT_EQ(window.focusWidget(), check.field) << check.message.toStdString();
        check.field->setText(QStringLiteral("Tint"));
    }

    window.createButton()->click();
    QFileDialog *save = visibleModal<QFileDialog>();
    ASSERT_TRUE(save);
    EXPECT_EQ(save->acceptMode(), QFileDialog::AcceptSave);
    EXPECT_EQ(save->windowModality(), Qt::WindowModal);
    ASSERT_EQ(save->selectedFiles().size(), 1);
    EXPECT_TRUE(save->selectedFiles().first().endsWith(QStringLiteral("/Tint Installer.app")))
        << save->selectedFiles().first().toStdString();
    EXPECT_EQ(VTUserDefaults::value(QStringLiteral("installerName")).toString(), QStringLiteral("Tint"));
    save->reject();
}

} // namespace
