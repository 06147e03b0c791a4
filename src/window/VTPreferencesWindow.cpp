#include "VTPreferencesWindow.h"

#include "AppController.h"
#include "VTAuthorization.h"
#include "VTLog.h"
#include "VTStartupChecks.h"
#include "VTUserDefaults.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QSignalBlocker>
#include <QVBoxLayout>

namespace {

const QString kRequireAdminPassword = QStringLiteral("requireAdminPassword");
const QString kIgnoreFxFactory = QStringLiteral("ignoreFxFactory");
const QString kFilter = QStringLiteral("filter");

} // namespace

const QList<VTPreferencesWindow::FilterEntry> &VTPreferencesWindow::filterEntries()
{
    static const QList<FilterEntry> entries = {
        {"All Plugins", 0},
        {"Final Cut Pro 7 and Express", 1},
        {"Final Cut Pro X and Motion", 2},
        {"Avid", 3},
        {"Adobe Premiere Pro and VST", 4},
        {"OpenFX", 5},
        {"Video Plugins", 7},
        {"Audio Plugins", 8},
    };
    return entries;
}

VTPreferencesWindow::VTPreferencesWindow(AppController &controller, QWidget *parent, Authorize authorize)
    : QDialog(parent)
    , m_controller(controller)
    , m_authorize(std::move(authorize))
    , m_requireAdmin(new QCheckBox(tr("Require administrator password to open Tessary"), this))
    , m_ignoreFxFactory(new QCheckBox(tr("Ignore FxFactory plug-ins"), this))
    , m_filter(new QComboBox(this))
{
    if (!m_authorize) {
        m_authorize = [] {
            VTAuthorization *authorization = VTAuthorization::sharedController();
            return authorization && authorization->authStart();
        };
    }
    setWindowTitle(tr("Preferences"));
    // Registered here too, so that a window opened before anything else
    // read a preference still shows the defaults.
    VTUserDefaults::registerApplicationDefaults();

    for (const FilterEntry &entry : filterEntries())
        m_filter->addItem(tr(entry.title), entry.value);

    auto *form = new QFormLayout;
    form->addRow(tr("Show:"), m_filter);
    auto *adminNote = new QLabel(tr("Turning this off needs administrator authorization."), this);
    adminNote->setEnabled(false);
    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(m_requireAdmin);
    layout->addWidget(adminNote);
    layout->addWidget(m_ignoreFxFactory);
    layout->addLayout(form);
    layout->addWidget(buttons);

    showStoredValues();
    connect(m_requireAdmin, &QCheckBox::toggled, this, &VTPreferencesWindow::prefsToggleAdminPass);
    connect(m_ignoreFxFactory, &QCheckBox::toggled, this, &VTPreferencesWindow::toggleIgnoreFxFactory);
    connect(m_filter, &QComboBox::activated, this, &VTPreferencesWindow::changeFilter);
}

void VTPreferencesWindow::showStoredValues()
{
    const QSignalBlocker adminBlocker(m_requireAdmin);
    const QSignalBlocker fxBlocker(m_ignoreFxFactory);
    m_requireAdmin->setChecked(VTStartupChecks::adminPasswordRequired());
    m_ignoreFxFactory->setChecked(VTUserDefaults::integerValue(kIgnoreFxFactory) == 1);
    const int index = m_filter->findData(int(VTUserDefaults::integerValue(kFilter)));
    m_filter->setCurrentIndex(index < 0 ? 0 : index);
}

void VTPreferencesWindow::prefsToggleAdminPass(bool checked)
{
    // Only whoever may administer the machine can lift the requirement.
    if (!checked && !m_authorize()) {
        const QSignalBlocker blocker(m_requireAdmin);
        m_requireAdmin->setChecked(true);
        VTLog::appendLog(QStringLiteral("Administrator authorization refused; the password stays required."));
        return;
    }
    VTUserDefaults::setHostValue(kRequireAdminPassword, qint64(checked ? 1 : 0));
}

void VTPreferencesWindow::toggleIgnoreFxFactory(bool checked)
{
    VTUserDefaults::setValue(kIgnoreFxFactory, qint64(checked ? 1 : 0));
    m_controller.reloadData();
}

void VTPreferencesWindow::changeFilter(int index)
{
    const int value = m_filter->itemData(index).toInt();
    if (value == VTUserDefaults::integerValue(kFilter))
        return;
    VTUserDefaults::setValue(kFilter, value);
    m_controller.reloadData();
    emit filterChanged(value);
}
