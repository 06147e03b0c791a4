#include "VTCrashTesterWindow.h"

#include "AppController.h"
#include "VTAuthorization.h"
#include "VTLog.h"
#include "VTSheet.h"

#include <QCloseEvent>
#include <QComboBox>
#include <QCoreApplication>
#include <QDBusConnection>
#include <QHBoxLayout>
#include <QLabel>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

VTCrashTesterWindow::VTCrashTesterWindow(AppController &controller, QWidget *parent)
    : QWidget(parent, Qt::Window)
    , m_controller(controller)
    , m_catalogue(controller)
    , m_chooser(new QComboBox(this))
    , m_run(new QPushButton(tr("Run Test"), this))
    , m_panel(new QWidget(this))
    , m_bar(new QProgressBar(m_panel))
    , m_status(new QLabel(m_panel))
    , m_tester(m_catalogue, this)
{
    setWindowTitle(tr("Crash Tester"));
    for (int index = 0; index < VTCrashTestHost::Count; ++index)
        m_chooser->addItem(VTCrashTestHost::forIndex(index).displayName);

    auto *explanation = new QLabel(tr("Finds the plug-in that makes a host application crash while it starts. "
                                      "Choose the host, quit it, and run the test."),
                                   this);
    explanation->setWordWrap(true);
    auto *row = new QHBoxLayout;
    row->addWidget(new QLabel(tr("Host:"), this));
    row->addWidget(m_chooser, 1);
    row->addWidget(m_run);

    auto *panelLayout = new QVBoxLayout(m_panel);
    panelLayout->setContentsMargins(0, 0, 0, 0);
    panelLayout->addWidget(m_bar);
    panelLayout->addWidget(m_status);
    m_status->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_panel->hide();

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(explanation);
    layout->addLayout(row);
    layout->addWidget(m_panel);
    m_run->setDefault(true);
    connect(m_run, &QPushButton::clicked, this, &VTCrashTesterWindow::runCrashTestClick);
    resize(460, sizeHint().height());

    QDBusConnection::sessionBus().connect(QString(), QString(), QString(), QStringLiteral("vtRemoteLaunchCrashTest"),
                                          this, SLOT(remoteLaunchCrashTest()));
}

VTCrashTesterWindow::~VTCrashTesterWindow()
{
    QDBusConnection::sessionBus().disconnect(QString(), QString(), QString(), QStringLiteral("vtRemoteLaunchCrashTest"),
                                             this, SLOT(remoteLaunchCrashTest()));
    // The run's thread calls into this window: end it first.
    m_tester.cancel();
    while (m_tester.isRunning())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
}

void VTCrashTesterWindow::crashLocateClick()
{
    resizeCrashTestDialog(false);
    show();
    raise();
    activateWindow();
}

void VTCrashTesterWindow::runCrashTestClick()
{
    m_tester.setHostIndex(m_chooser->currentIndex());
    m_tester.runCrashTestClick();
}

void VTCrashTesterWindow::remoteLaunchCrashTest()
{
    VTLog::appendLog(QStringLiteral("Crash Tester remotely launched."));
    show();
    raise();
    activateWindow();
}

void VTCrashTesterWindow::authorize()
{
    VTAuthorization *authorization = VTAuthorization::sharedController(true);
    if (authorization && !authorization->isAuthorized())
        (void)authorization->authStart();
}

void VTCrashTesterWindow::resizeCrashTestDialog(bool running)
{
    if (running != m_panel->isHidden())
        return;
    m_run->setText(running ? tr("Cancel") : tr("Run Test"));
    m_chooser->setEnabled(!running);
    // The panel's height is added below: the top edge stays where it is. The
    // same amount comes off again, whatever the status line holds by then.
    const QRect before = geometry();
    if (running)
        m_grownBy = m_panel->sizeHint().height() + layout()->spacing();
    m_panel->setVisible(running);
    layout()->activate();
    setGeometry(before.x(), before.y(), before.width(), before.height() + (running ? m_grownBy : -m_grownBy));
}

void VTCrashTesterWindow::startCrashTestProgress()
{
    m_status->show();
    m_bar->show();
}

void VTCrashTesterWindow::setupCrashTestProgressBar(int maximum)
{
    m_bar->setRange(0, maximum);
    m_bar->setValue(0);
}

void VTCrashTesterWindow::incrementCrashTestProgress()
{
    m_bar->setValue(m_bar->value() + 1);
}

void VTCrashTesterWindow::showStatus(const QString &text)
{
    m_status->setText(text);
}

void VTCrashTesterWindow::showSheet(const QString &message, const QString &informativeText)
{
    VTOpenSheet(this, QMessageBox::Warning, windowTitle(), message, informativeText);
}

void VTCrashTesterWindow::endCrashTestProgress()
{
    m_status->clear();
    m_bar->reset();
    resizeCrashTestDialog(false);
}

void VTCrashTesterWindow::closeEvent(QCloseEvent *event)
{
    if (!m_tester.isRunning() || m_tester.isCancelled()) {
        event->accept();
        return;
    }
    QMessageBox box(QMessageBox::Warning, windowTitle(), tr("Are you sure you wish to close?"), QMessageBox::NoButton, this);
    box.setInformativeText(tr("This will terminate the crash test."));
    QPushButton *end = box.addButton(tr("End Crash Test"), QMessageBox::AcceptRole);
    box.addButton(QMessageBox::Cancel);
    box.setDefaultButton(end);
    box.setWindowModality(Qt::WindowModal);
    box.exec();
    if (box.clickedButton() != end) {
        event->ignore();
        return;
    }
    m_tester.cancel();
    event->accept();
}
