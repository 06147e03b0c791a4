#include "VTWidgetInterface.h"

#include "VTMainThread.h"
#include "VTProgressSheet.h"

#include <QMessageBox>
#include <QPushButton>

VTWidgetInterface::VTWidgetInterface() = default;

VTWidgetInterface::~VTWidgetInterface() = default;

void VTWidgetInterface::setWindow(QWidget *window, WindowSteps steps)
{
    m_window = window;
    m_steps = std::move(steps);
}

void VTWidgetInterface::setCancelHandler(std::function<void()> cancel)
{
    m_cancel = std::move(cancel);
    if (m_progress)
        m_progress->setCancelHandler(m_cancel);
}

void VTWidgetInterface::onMainThread(const std::function<void()> &step)
{
    VTMainThread::runAndWait([this, &step] {
        if (m_window)
            step();
    });
}

VTProgressSheet *VTWidgetInterface::sheet()
{
    if (!m_progress && m_window) {
        m_progress = new VTProgressSheet(m_window);
        m_progress->setCancelHandler(m_cancel);
    }
    return m_progress;
}

int VTWidgetInterface::runAlert(const Alert &alert)
{
    int answer = FirstButton;
    onMainThread([&] {
        QMessageBox box(m_window);
        box.setWindowTitle(QStringLiteral("Tessary"));
        box.setIcon(QMessageBox::Warning);
        box.setText(alert.messageText);
        box.setInformativeText(alert.informativeText);
        // A sheet blocks only its window; otherwise the whole application.
        box.setWindowModality(alert.asSheet ? Qt::WindowModal : Qt::ApplicationModal);
        const QStringList titles = alert.buttons.isEmpty() ? QStringList{QStringLiteral("OK")}
                                                           : alert.buttons.mid(0, 3);
        QList<QAbstractButton *> buttons;
        for (qsizetype i = 0; i < titles.size(); ++i) {
            // The first button is the default; a second or third one that reads
            // "Cancel" answers Escape.
            const QMessageBox::ButtonRole role =
                i == 0 ? QMessageBox::AcceptRole
                       : (titles.at(i) == QLatin1String("Cancel") ? QMessageBox::RejectRole : QMessageBox::ActionRole);
            QPushButton *button = box.addButton(titles.at(i), role);
            if (i == 0)
                box.setDefaultButton(button);
            buttons.append(button);
        }
        box.exec();
        const qsizetype chosen = buttons.indexOf(box.clickedButton());
        answer = FirstButton + int(chosen < 0 ? titles.size() - 1 : chosen);
    });
    return answer;
}

void VTWidgetInterface::startBusyIndicator()
{
    onMainThread([this] {
        if (m_steps.setBusy)
            m_steps.setBusy(true);
    });
}

void VTWidgetInterface::stopBusyIndicator()
{
    onMainThread([this] {
        if (m_steps.setBusy)
            m_steps.setBusy(false);
    });
}

void VTWidgetInterface::showProgressSheet()
{
    onMainThread([this] { sheet()->begin(); });
}

void VTWidgetInterface::setIndeterminateProgress()
{
    onMainThread([this] { sheet()->setIndeterminate(); });
}

void VTWidgetInterface::setDeterminateProgress(qint64 maximum)
{
    onMainThread([this, maximum] { sheet()->setDeterminate(maximum); });
}

void VTWidgetInterface::incrementProgress()
{
    onMainThread([this] { sheet()->increment(); });
}

void VTWidgetInterface::updateProgressText(const QString &text)
{
    onMainThread([this, &text] { sheet()->setText(text); });
}

void VTWidgetInterface::endProgressSheet()
{
    onMainThread([this] {
        if (m_progress)
            m_progress->hide();
    });
}

void VTWidgetInterface::setCatalogueLoading(bool loading)
{
    onMainThread([this, loading] {
        if (m_steps.setCatalogueLoading)
            m_steps.setCatalogueLoading(loading);
    });
}

void VTWidgetInterface::setStatisticsText(const QString &text)
{
    onMainThread([this, &text] {
        if (m_steps.setStatisticsText)
            m_steps.setStatisticsText(text);
    });
}
