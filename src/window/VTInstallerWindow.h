#pragma once

#include "VTInstallerBuilder.h"
#include "VTInstallerDisplay.h"

#include <QWidget>

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;
class VTCatalogueView;
class VTUserInterface;

// The installer builder's window: name, version and author of the plug-in,
// the signing certificate, icon, licence agreement and background image, the
// branding switch, and Create, which asks where to save and builds an
// installer from the plug-ins selected in the catalogue tree.
class VTInstallerWindow : public QWidget, public VTInstallerDisplay
{
    Q_OBJECT

public:
    // `view` gives the selection, `mainWindowUi` shows sheets on the main
    // window; `templatePath` is the template installer application.
    VTInstallerWindow(VTCatalogueView &view, VTUserInterface &mainWindowUi, QWidget *parent = nullptr,
                      const QString &templatePath = VTInstallerBuilder::defaultTemplatePath());
    ~VTInstallerWindow() override;

    // The main window's "Build Installer...": without a selected row a sheet
    // on the main window says so; otherwise the window comes to front with
    // the keychain's certificates offered.
    void showInstallerWindow();
    // Create: checks the three fields, then opens the save sheet.
    void createInstaller();
    // The save sheet's OK with the chosen path: builds in the background.
    void installerSavePanelDidEnd(const QString &chosen);

    [[nodiscard]] QLineEdit *nameField() const { return m_name; }
    [[nodiscard]] QLineEdit *versionField() const { return m_version; }
    [[nodiscard]] QLineEdit *authorField() const { return m_author; }
    [[nodiscard]] QComboBox *certificateChooser() const { return m_certificate; }
    [[nodiscard]] QPushButton *createButton() const { return m_create; }
    [[nodiscard]] QProgressBar *spinner() const { return m_spinner; }
    [[nodiscard]] VTInstallerBuilder &builder() { return m_builder; }

    void startSpinner() override;
    void stopSpinner() override;
    void showSheet(const QString &messageText, const QString &informativeText) override;

private:
    struct FileChoice {
        const char *key;
        QString title;
        QString nameFilter;
        QLabel *label = nullptr;
    };

    void fillCertificates();
    void browse(FileChoice &choice);
    void showChosenFile(const FileChoice &choice);
    // The first empty field's sheet and focus; false when one was empty.
    bool checkFields();

    VTCatalogueView &m_view;
    VTUserInterface &m_mainWindowUi;
    QLineEdit *m_name;
    QLineEdit *m_version;
    QLineEdit *m_author;
    QComboBox *m_certificate;
    QCheckBox *m_removeBranding;
    QProgressBar *m_spinner;
    QPushButton *m_create;
    FileChoice m_icon;
    FileChoice m_eula;
    FileChoice m_background;
    int m_builds = 0;
    VTInstallerBuilder m_builder; // last: its destructor waits for builds that call this window
};
