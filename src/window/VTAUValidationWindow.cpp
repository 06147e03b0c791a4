#include "VTAUValidationWindow.h"

#include "AppController.h"
#include "VTIconProvider.h"
#include "VTOperationThreads.h"
#include "VTOperations.h"
#include "VTSheet.h"

#include <QApplication>
#include <QClipboard>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QStyledItemDelegate>
#include <QTableView>
#include <QVBoxLayout>
#include <QtConcurrent>

namespace {

// The status column: the status's icon before its text.
class StatusDelegate : public QStyledItemDelegate
{
public:
    using QStyledItemDelegate::QStyledItemDelegate;

protected:
    void initStyleOption(QStyleOptionViewItem *option, const QModelIndex &index) const override
    {
        QStyledItemDelegate::initStyleOption(option, index);
        const QIcon icon = VTIconProvider::validationStatusIcon(index.data().toString());
        if (!icon.isNull()) {
            option->icon = icon;
            option->features |= QStyleOptionViewItem::HasDecoration;
        }
    }
};

QProgressBar *makeSpinner(QWidget *parent)
{
    auto *spinner = new QProgressBar(parent);
    spinner->setRange(0, 0);
    spinner->setTextVisible(false);
    spinner->setMaximumWidth(120);
    spinner->setMaximumHeight(14);
    spinner->hide();
    return spinner;
}

} // namespace

VTAUInspectorWindow::VTAUInspectorWindow(QWidget *parent)
    : QWidget(parent, Qt::Window)
    , m_report(new QPlainTextEdit(this))
    , m_spinner(makeSpinner(this))
    , m_copy(new QPushButton(tr("Copy Report"), this))
{
    setWindowTitle(tr("Inspector"));
    resize(640, 460);
    m_report->setReadOnly(true);
    m_report->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    m_report->setLineWrapMode(QPlainTextEdit::NoWrap);
    auto *buttons = new QHBoxLayout;
    buttons->addWidget(m_spinner);
    buttons->addStretch();
    buttons->addWidget(m_copy);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(m_report);
    layout->addLayout(buttons);
    connect(m_copy, &QPushButton::clicked, this, [this] { QApplication::clipboard()->setText(report()); });
    connect(&m_watcher, &QFutureWatcher<QString>::finished, this, [this] {
        m_spinner->hide();
        m_copy->setEnabled(true);
        m_report->setPlainText(m_watcher.result());
    });
}

void VTAUInspectorWindow::inspect(const VTAudioUnitPtr &unit)
{
    m_report->clear();
    setWindowTitle(VTAUValidator::inspectorTitle(*unit));
    m_spinner->show();
    m_copy->setEnabled(false);
    if (!isVisible())
        show();
    raise();
    // A unit is only read here; its status may change meanwhile, the
    // report does not depend on it.
    m_watcher.setFuture(QtConcurrent::run([unit] { return VTAUValidator::inspect(*unit); }));
}

QString VTAUInspectorWindow::report() const
{
    return m_report->toPlainText();
}

VTAUValidationWindow::VTAUValidationWindow(AppController &controller, QWidget *parent)
    : QWidget(parent, Qt::Window)
    , m_controller(controller)
    , m_validator(m_model, *this)
    , m_table(new QTableView(this))
    , m_spinner(makeSpinner(this))
    , m_summary(new QLabel(this))
    , m_validateAgain(new QPushButton(tr("Validate Again"), this))
    , m_inspect(new QPushButton(tr("Inspect..."), this))
    , m_inspector(new VTAUInspectorWindow(this))
{
    setWindowTitle(tr("Audio Unit Validation"));
    resize(760, 480);
    m_table->setModel(&m_model);
    m_table->setItemDelegateForColumn(VTAUValTableModel::ColStatus, new StatusDelegate(m_table));
    m_table->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_table->setSelectionMode(QAbstractItemView::SingleSelection);
    m_table->setAlternatingRowColors(true);
    m_table->setShowGrid(false);
    m_table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_table->verticalHeader()->hide();
    QHeaderView *header = m_table->horizontalHeader();
    header->setSectionResizeMode(VTAUValTableModel::ColTitle, QHeaderView::Stretch);
    header->setSectionResizeMode(VTAUValTableModel::ColManufacturer, QHeaderView::Interactive);
    header->setSectionResizeMode(VTAUValTableModel::ColStatus, QHeaderView::Interactive);
    header->resizeSection(VTAUValTableModel::ColManufacturer, 200);
    header->resizeSection(VTAUValTableModel::ColStatus, 170);
    header->setSectionsClickable(true);
    header->setSortIndicatorShown(false);
    connect(header, &QHeaderView::sectionClicked, this,
            [this](int section) { m_model.didClickTableColumn(VTAUValTableModel::columnIdentifier(section)); });
    connect(&m_model, &VTAUValTableModel::sortIndicatorChanged, this, [header](const QString &identifier, bool descending) {
        const int column = VTAUValTableModel::columnForIdentifier(identifier);
        header->setSortIndicatorShown(column >= 0);
        if (column >= 0)
            header->setSortIndicator(column, descending ? Qt::DescendingOrder : Qt::AscendingOrder);
    });
    connect(&m_model, &VTAUValTableModel::sortIndicatorCleared, this, [header](const QString &identifier) {
        if (VTAUValTableModel::columnForIdentifier(identifier) == header->sortIndicatorSection())
            header->setSortIndicatorShown(false);
    });

    // The summary counts what the table shows, after every change.
    const auto summarise = [this] {
        int ok = 0, pending = 0;
        for (const VTAudioUnitPtr &unit : m_model.units()) {
            ok += unit->status() == QLatin1String("OK");
            pending += unit->status() == QLatin1String("Validating...");
        }
        const int units = int(m_model.units().size());
        m_summary->setText(pending ? tr("%1 units, %2 still validating").arg(units).arg(pending)
                                   : tr("%1 units, %2 OK, %3 with problems").arg(units).arg(ok).arg(units - ok));
    };
    connect(&m_model, &QAbstractItemModel::modelReset, this, summarise);
    connect(&m_model, &QAbstractItemModel::dataChanged, this, summarise);

    connect(m_table, &QAbstractItemView::doubleClicked, this, &VTAUValidationWindow::auInspect);
    connect(m_inspect, &QPushButton::clicked, this, &VTAUValidationWindow::auInspect);
    connect(m_validateAgain, &QPushButton::clicked, this, &VTAUValidationWindow::validateAU);
    connect(m_table->selectionModel(), &QItemSelectionModel::selectionChanged, this, [this] {
        m_inspect->setEnabled(m_table->selectionModel()->hasSelection());
        if (m_inspector->isVisible())
            auInspect();
    });
    // A new list (a run, a sort) drops the selection without a selection
    // change.
    connect(&m_model, &QAbstractItemModel::modelReset, this,
            [this] { m_inspect->setEnabled(m_table->selectionModel()->hasSelection()); });
    m_inspect->setEnabled(false);

    auto *bottom = new QHBoxLayout;
    bottom->addWidget(m_spinner);
    bottom->addWidget(m_summary, 1);
    bottom->addWidget(m_inspect);
    bottom->addWidget(m_validateAgain);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(m_table);
    layout->addLayout(bottom);
}

VTAUValidationWindow::~VTAUValidationWindow()
{
    // A run still going hands its steps to this window through the event
    // loop: serve it until it has ended.
    while (!m_controller.waitForOperations(std::chrono::milliseconds(10)))
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
}

void VTAUValidationWindow::validateAU()
{
    show();
    raise();
    activateWindow();
    m_controller.operations().threads().start("processAUValidation", [this] { m_validator.processAUValidation(); });
}

void VTAUValidationWindow::auInspect()
{
    const QModelIndexList rows = m_table->selectionModel()->selectedRows();
    if (rows.isEmpty())
        return;
    if (const VTAudioUnitPtr unit = m_model.unitAt(rows.first().row()))
        m_inspector->inspect(unit);
}

void VTAUValidationWindow::startAUValProgress()
{
    ++m_running;
    m_spinner->show();
    m_validateAgain->setEnabled(false);
}

void VTAUValidationWindow::endAUValProgress()
{
    m_running = std::max(0, m_running - 1);
    m_spinner->setVisible(m_running > 0);
    m_validateAgain->setEnabled(m_running == 0);
}

void VTAUValidationWindow::showSheet(const QString &messageText, const QString &informativeText)
{
    VTOpenSheet(this, QMessageBox::Warning, QStringLiteral("Tessary"), messageText, informativeText);
}
