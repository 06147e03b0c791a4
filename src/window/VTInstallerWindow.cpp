#include "VTInstallerWindow.h"

#include "VTCatalogueView.h"
#include "VTKeychain.h"
#include "VTLocalPaths.h"
#include "VTPath.h"
#include "VTSheet.h"
#include "VTUserDefaults.h"
#include "VTUserInterface.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFileDialog>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

const QString kNotSet = QStringLiteral("(not set)");

QString stored(const char *key)
{
    return VTUserDefaults::value(QLatin1String(key)).toString();
}

} // namespace

VTInstallerWindow::VTInstallerWindow(VTCatalogueView &view, VTUserInterface &mainWindowUi, QWidget *parent,
                                     const QString &templatePath)
    : QWidget(parent, Qt::Window)
    , m_view(view)
    , m_mainWindowUi(mainWindowUi)
    , m_name(new QLineEdit(this))
    , m_version(new QLineEdit(this))
    , m_author(new QLineEdit(this))
    , m_certificate(new QComboBox(this))
    , m_removeBranding(new QCheckBox(tr("Remove installer branding"), this))
    , m_spinner(new QProgressBar(this))
    , m_create(new QPushButton(tr("Create"), this))
    , m_icon{VTInstallerSettings::IconPathKey, tr("Choose Icon"), tr("Icons (*.png *.icns)")}
    , m_eula{VTInstallerSettings::EULAPathKey, tr("Choose License Agreement"), tr("Text (*.txt *.text *.rtf)")}
    , m_background{VTInstallerSettings::BgImagePathKey, tr("Choose Background Image"),
                   tr("Images (*.tiff *.tif *.jpg *.jpeg *.png *.gif *.bmp)")}
    , m_builder(*this, templatePath)
{
    setWindowTitle(tr("Build Installer"));
    VTUserDefaults::registerApplicationDefaults();
    m_name->setText(stored(VTInstallerSettings::NameKey));
    m_version->setText(stored(VTInstallerSettings::VersionKey));
    m_author->setText(stored(VTInstallerSettings::AuthorKey));
    m_removeBranding->setChecked(VTUserDefaults::value(QLatin1String(VTInstallerSettings::RemoveBrandingKey)).toBool());

    auto *explanation = new QLabel(tr("Builds an installer application for the plug-ins and groups selected in the "
                                      "plug-in list."),
                                   this);
    explanation->setWordWrap(true);
    auto *form = new QFormLayout;
    form->addRow(tr("Plug-in name:"), m_name);
    form->addRow(tr("Version:"), m_version);
    form->addRow(tr("Author:"), m_author);
    form->addRow(tr("Signing certificate:"), m_certificate);
    for (FileChoice *choice : {&m_icon, &m_eula, &m_background}) {
        choice->label = new QLabel(this);
        auto *button = new QPushButton(tr("Choose..."), this);
        connect(button, &QPushButton::clicked, this, [this, choice] { browse(*choice); });
        auto *row = new QHBoxLayout;
        row->addWidget(choice->label, 1);
        row->addWidget(button);
        showChosenFile(*choice);
        form->addRow(choice == &m_icon ? tr("Icon:") : choice == &m_eula ? tr("License agreement:")
                                                                           : tr("Background image:"),
                     row);
    }
    form->addRow(QString(), m_removeBranding);

    m_spinner->setRange(0, 0);
    m_spinner->setMaximumWidth(80);
    m_spinner->setTextVisible(false);
    m_spinner->hide();
    auto *buttons = new QHBoxLayout;
    buttons->addWidget(m_spinner);
    buttons->addStretch(1);
    buttons->addWidget(m_create);
    m_create->setDefault(true);

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(explanation);
    layout->addLayout(form);
    layout->addLayout(buttons);

    connect(m_create, &QPushButton::clicked, this, &VTInstallerWindow::createInstaller);
    connect(m_certificate, &QComboBox::activated, this, [this](int index) {
        VTUserDefaults::setValue(QLatin1String(VTInstallerSettings::CertificateNameKey),
                                 index <= 0 ? QString() : m_certificate->itemText(index));
    });
    connect(m_removeBranding, &QCheckBox::toggled, this, [](bool checked) {
        VTUserDefaults::setValue(QLatin1String(VTInstallerSettings::RemoveBrandingKey), checked);
    });
    fillCertificates();
    resize(520, sizeHint().height());
}

VTInstallerWindow::~VTInstallerWindow()
{
    // Builds hand their sheets and spinner steps to this window.
    (void)m_builder.waitForBuilds();
}

void VTInstallerWindow::showInstallerWindow()
{
    if (m_view.selectedItems().isEmpty()) {
        m_mainWindowUi.runAlert({QStringLiteral("You must select a plugin or group"),
                                 QStringLiteral("Select a plugin or group and then click Create Plugin Installer to "
                                                "create a new installer from these plugins."),
                                 {},
                                 true});
        return;
    }
    fillCertificates();
    show();
    raise();
    activateWindow();
}

void VTInstallerWindow::fillCertificates()
{
    m_certificate->clear();
    m_certificate->addItem(kNotSet);
    m_certificate->addItems(VTKeychain::certificateNames());
    const QString chosen = stored(VTInstallerSettings::CertificateNameKey);
    // Index 0 is "(not set)", never a stored title.
    const int index = chosen.isEmpty() ? -1 : m_certificate->findText(chosen, Qt::MatchExactly);
    m_certificate->setCurrentIndex(index > 0 ? index : 0);
}

void VTInstallerWindow::browse(FileChoice &choice)
{
    auto *dialog = new QFileDialog(this, choice.title);
    dialog->setAcceptMode(QFileDialog::AcceptOpen);
    dialog->setFileMode(QFileDialog::ExistingFile);
    dialog->setNameFilter(choice.nameFilter);
    dialog->setWindowModality(Qt::WindowModal);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog, &QFileDialog::filesSelected, this, [this, &choice](const QStringList &files) {
        if (files.isEmpty())
            return;
        VTUserDefaults::setValue(QLatin1String(choice.key), files.first());
        showChosenFile(choice);
    });
    dialog->open();
}

void VTInstallerWindow::showChosenFile(const FileChoice &choice)
{
    const QString path = stored(choice.key);
    choice.label->setText(path.isEmpty() ? tr("None") : VTPath::lastComponent(path));
    choice.label->setToolTip(path);
}

bool VTInstallerWindow::checkFields()
{
    const struct {
        QLineEdit *field;
        const char *message;
    } fields[] = {
        {m_name, "Plugin name cannot be blank"},
        {m_version, "Plugin version cannot be blank"},
        {m_author, "Plugin author cannot be blank"},
    };
    for (const auto &entry : fields) {
        if (entry.field->text().trimmed().isEmpty()) {
            showSheet(QString::fromLatin1(entry.message), QStringLiteral("Please enter a value for this field."));
            entry.field->setFocus();
            return false;
        }
    }
    return true;
}

void VTInstallerWindow::createInstaller()
{
    if (!checkFields())
        return;
    VTUserDefaults::setValue(QLatin1String(VTInstallerSettings::NameKey), m_name->text());
    VTUserDefaults::setValue(QLatin1String(VTInstallerSettings::VersionKey), m_version->text());
    VTUserDefaults::setValue(QLatin1String(VTInstallerSettings::AuthorKey), m_author->text());

    auto *dialog = new QFileDialog(this, tr("Save Installer"), VTLocalPaths::desktopDirectory());
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    dialog->setFileMode(QFileDialog::AnyFile);
    dialog->setNameFilter(tr("Applications (*.app)"));
    dialog->selectFile(QStringLiteral("%1 Installer.app").arg(m_name->text()));
    dialog->setWindowModality(Qt::WindowModal);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog, &QFileDialog::fileSelected, this, &VTInstallerWindow::installerSavePanelDidEnd);
    dialog->open();
}

void VTInstallerWindow::installerSavePanelDidEnd(const QString &chosen)
{
    if (chosen.isEmpty())
        return;
    VTInstallerSettings form;
    form.installerName = m_name->text();
    form.installerVersion = m_version->text();
    form.installerAuthor = m_author->text();
    if (m_certificate->currentIndex() > 0)
        form.certificate = m_certificate->currentText();
    (void)m_builder.installerSavePanelDidEnd(chosen, m_view.selectedItems(), form);
}

void VTInstallerWindow::startSpinner()
{
    ++m_builds;
    m_spinner->show();
}

void VTInstallerWindow::stopSpinner()
{
    if (m_builds > 0 && --m_builds == 0)
        m_spinner->hide();
}

void VTInstallerWindow::showSheet(const QString &messageText, const QString &informativeText)
{
    const bool success = messageText == QLatin1String("Installer created");
    VTOpenSheet(this, success ? QMessageBox::Information : QMessageBox::Warning, windowTitle(), messageText,
                informativeText);
}
