#include "VTProgressSheet.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

#include <limits>

VTProgressSheet::VTProgressSheet(QWidget *window)
    : QDialog(window)
    , m_text(new QLabel(this))
    , m_bar(new QProgressBar(this))
    , m_cancelButton(new QPushButton(tr("Cancel"), this))
{
    setWindowTitle(tr("Tessary"));
    setWindowModality(Qt::WindowModal);
    setMinimumWidth(420);
    m_text->setWordWrap(true);
    m_bar->setTextVisible(false);
    auto *buttons = new QDialogButtonBox(this);
    buttons->addButton(m_cancelButton, QDialogButtonBox::RejectRole);
    connect(m_cancelButton, &QPushButton::clicked, this, &VTProgressSheet::cancel);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(m_text);
    layout->addWidget(m_bar);
    layout->addWidget(buttons);
}

void VTProgressSheet::begin()
{
    m_cancelButton->setEnabled(true);
    setText(tr("Initializing..."));
    setIndeterminate();
    show();
    raise();
}

void VTProgressSheet::setIndeterminate()
{
    m_maximum = 0;
    m_value = 0;
    m_bar->setRange(0, 0);
}

void VTProgressSheet::setDeterminate(qint64 maximum)
{
    m_maximum = std::max<qint64>(maximum, 1);
    m_value = 0;
    m_bar->setRange(0, int(std::min<qint64>(m_maximum, std::numeric_limits<int>::max())));
    m_bar->setValue(0);
}

void VTProgressSheet::increment()
{
    // A step counted before any maximum was set (or while busy) shows nothing.
    if (m_maximum == 0)
        return;
    m_value = std::min(m_value + 1, m_maximum);
    m_bar->setValue(int(m_value * m_bar->maximum() / m_maximum));
}

void VTProgressSheet::setText(const QString &text)
{
    m_text->setText(text);
}

QString VTProgressSheet::text() const
{
    return m_text->text();
}

void VTProgressSheet::reject()
{
    cancel();
}

void VTProgressSheet::cancel()
{
    if (!m_cancelButton->isEnabled())
        return;
    m_cancelButton->setEnabled(false);
    if (m_cancel)
        m_cancel();
}
