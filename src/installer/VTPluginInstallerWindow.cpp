#include "VTPluginInstallerWindow.h"

#include "VTLicenceText.h"
#include "VTLocalPaths.h"
#include "VTPath.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QMessageBox>
#include <QPixmap>
#include <QProgressBar>
#include <QPushButton>
#include <QTextBrowser>
#include <QThread>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace {

constexpr int ImageWidth = 220;

QLabel *smallLabel(const QString &text, QWidget *parent)
{
    auto *label = new QLabel(text, parent);
    QFont font = label->font();
    font.setPointSizeF(font.pointSizeF() * 0.85);
    label->setFont(font);
    label->setForegroundRole(QPalette::PlaceholderText);
    return label;
}

// The folder an item goes to, the home shortened to "~" as people know it.
QString shownFolder(const VTPluginInstallerItem &item)
{
    const QString folder = VTPath::removeLastComponent(item.destination);
    const QString home = VTLocalPaths::userDirectory();
    if (!item.forUser || home == QLatin1String("/") || !VTPath::isInside(folder, home))
        return folder;
    return QLatin1Char('~') + folder.mid(home.size());
}

} // namespace

VTPluginInstallerWindow::VTPluginInstallerWindow(const VTPluginInstallerSettings &settings,
                                                 const QList<VTPluginInstallerItem> &items, QWidget *parent)
    : QWidget(parent)
    , m_settings(settings)
    , m_items(items)
{
    setWindowTitle(QStringLiteral("%1 Installer").arg(settings.name()));
    if (const QString icon = settings.iconPath(); !icon.isEmpty())
        setWindowIcon(QIcon(icon));

    auto *content = new QVBoxLayout;
    auto *title = new QLabel(settings.name(), this);
    QFont titleFont = title->font();
    titleFont.setPointSizeF(titleFont.pointSizeF() * 1.6);
    titleFont.setBold(true);
    title->setFont(titleFont);
    title->setWordWrap(true);
    content->addWidget(title);
    content->addWidget(new QLabel(QStringLiteral("Version %1 by %2").arg(settings.version(), settings.author()), this));
    content->addSpacing(8);

    QString heading = QStringLiteral("These %1 plug-ins will be installed:").arg(items.size());
    if (items.size() == 1)
        heading = QStringLiteral("This plug-in will be installed:");
    else if (items.isEmpty())
        heading = QStringLiteral("This installer holds no plug-ins.");
    content->addWidget(new QLabel(heading, this));
    m_list = new QTreeWidget(this);
    m_list->setColumnCount(3);
    m_list->setHeaderLabels({QStringLiteral("Plug-in"), QStringLiteral("For"), QStringLiteral("Installs to")});
    m_list->setRootIsDecorated(false);
    m_list->setSelectionMode(QAbstractItemView::NoSelection);
    m_list->setTextElideMode(Qt::ElideMiddle);
    for (const VTPluginInstallerItem &item : items) {
        auto *row = new QTreeWidgetItem(m_list, {item.name(), item.forUser ? QStringLiteral("Current user") : QStringLiteral("All users"),
                                                 shownFolder(item)});
        row->setToolTip(2, item.destination);
    }
    m_list->header()->setSectionResizeMode(0, QHeaderView::ResizeToContents);
    m_list->header()->setSectionResizeMode(1, QHeaderView::ResizeToContents);
    m_list->header()->setStretchLastSection(true);
    content->addWidget(m_list, 1);

    if (!settings.eulaPath().isEmpty())
        content->addWidget(makeLicencePanel(), 2);

    m_progress = new QProgressBar(this);
    m_progress->setRange(0, qMax(1, int(items.size())));
    m_progress->setValue(0);
    m_progress->setVisible(false);
    content->addWidget(m_progress);
    m_status = new QLabel(this);
    m_status->setVisible(false);
    content->addWidget(m_status);
    m_summary = new QLabel(this);
    m_summary->setWordWrap(true);
    m_summary->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_summary->setVisible(false);
    content->addWidget(m_summary);

    auto *buttons = new QHBoxLayout;
    if (!settings.removeBranding())
        buttons->addWidget(smallLabel(QStringLiteral("Made with Tessary"), this));
    buttons->addStretch(1);
    m_install = new QPushButton(QStringLiteral("Install"), this);
    m_install->setDefault(true);
    m_install->setEnabled(!items.isEmpty());
    buttons->addWidget(m_install);
    content->addLayout(buttons);

    auto *layout = new QHBoxLayout(this);
    if (!settings.backgroundImagePath().isEmpty())
        layout->addWidget(makeImagePanel());
    layout->addLayout(content, 1);

    connect(m_install, &QPushButton::clicked, this, [this] {
        if (m_outcome)
            close();
        else
            install();
    });
    connect(this, &VTPluginInstallerWindow::progressed, this, &VTPluginInstallerWindow::showProgress, Qt::QueuedConnection);
    updateInstallButton();
    resize(900, settings.eulaPath().isEmpty() ? 420 : 560);
}

VTPluginInstallerWindow::~VTPluginInstallerWindow()
{
    if (m_worker) {
        m_worker->wait();
        delete m_worker;
    }
}

QWidget *VTPluginInstallerWindow::makeImagePanel()
{
    auto *image = new QLabel(this);
    image->setAlignment(Qt::AlignTop | Qt::AlignHCenter);
    image->setFixedWidth(ImageWidth);
    const QPixmap picture(m_settings.backgroundImagePath());
    if (!picture.isNull())
        image->setPixmap(picture.scaledToWidth(ImageWidth, Qt::SmoothTransformation));
    return image;
}

QWidget *VTPluginInstallerWindow::makeLicencePanel()
{
    auto *panel = new QWidget(this);
    auto *layout = new QVBoxLayout(panel);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(new QLabel(QStringLiteral("Licence agreement:"), panel));
    m_licence = new QTextBrowser(panel);
    const VTLicenceText::Text licence = VTLicenceText::fromFile(m_settings.eulaPath());
    if (licence.isHtml)
        m_licence->setHtml(licence.text);
    else
        m_licence->setPlainText(licence.text);
    layout->addWidget(m_licence, 1);
    m_accept = new QCheckBox(QStringLiteral("I accept the terms of the licence agreement"), panel);
    connect(m_accept, &QCheckBox::toggled, this, &VTPluginInstallerWindow::updateInstallButton);
    layout->addWidget(m_accept);
    return panel;
}

void VTPluginInstallerWindow::updateInstallButton()
{
    if (m_outcome || m_worker)
        return;
    m_install->setEnabled(!m_items.isEmpty() && (!m_accept || m_accept->isChecked()));
}

void VTPluginInstallerWindow::install()
{
    if (m_worker || !m_install->isEnabled())
        return;
    m_install->setEnabled(false);
    if (m_accept)
        m_accept->setEnabled(false);
    m_progress->setVisible(true);
    m_status->setVisible(true);
    m_status->setText(QStringLiteral("Installing..."));
    m_worker = QThread::create([this] {
        VTPluginInstallerRun run([this](const VTPluginInstallerItem &item) { return confirmOverwrite(item); },
                                 [this](int done, const VTPluginInstallerItem *item) {
                                     emit progressed(done, item ? QStringLiteral("Installing %1...").arg(item->name())
                                                                : QStringLiteral("Done."));
                                 });
        const VTPluginInstallerRun::Outcome outcome = run.install(m_items);
        QMetaObject::invokeMethod(this, [this, outcome] {
            m_outcome = outcome;
            showOutcome();
        }, Qt::QueuedConnection);
    });
    m_worker->start();
}

bool VTPluginInstallerWindow::confirmOverwrite(const VTPluginInstallerItem &item)
{
    bool overwrite = false;
    QMetaObject::invokeMethod(this, [this, &item, &overwrite] {
        QMessageBox question(QMessageBox::Question, windowTitle(),
                             QStringLiteral("The file %1 already exists. Would you like to overwrite it?").arg(item.name()),
                             QMessageBox::NoButton, this);
        question.setInformativeText(QStringLiteral("The copy at %1 will be moved to the Trash.").arg(item.destination));
        QPushButton *replace = question.addButton(QStringLiteral("Overwrite"), QMessageBox::AcceptRole);
        question.addButton(QStringLiteral("Ignore"), QMessageBox::RejectRole);
        question.setWindowModality(Qt::WindowModal);
        question.exec();
        overwrite = question.clickedButton() == replace;
    }, Qt::BlockingQueuedConnection);
    return overwrite;
}

void VTPluginInstallerWindow::showProgress(int done, const QString &text)
{
    m_progress->setValue(done);
    m_status->setText(text);
}

void VTPluginInstallerWindow::showOutcome()
{
    m_progress->setValue(m_progress->maximum());
    m_status->setText(m_outcome->complete() ? QStringLiteral("The installation was successful.")
                                            : QStringLiteral("The installation did not complete."));
    m_summary->setText(VTPluginInstallerRun::summary(*m_outcome));
    m_summary->setVisible(true);
    m_install->setText(QStringLiteral("Quit"));
    m_install->setEnabled(true);
    emit finished();
}

void VTPluginInstallerWindow::closeEvent(QCloseEvent *event)
{
    // The worker asks this window about existing copies; it must not go
    // away under it.
    if (m_worker && !m_outcome) {
        m_status->setText(QStringLiteral("The installer closes once the installation has finished."));
        event->ignore();
        return;
    }
    QWidget::closeEvent(event);
}
