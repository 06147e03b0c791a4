#pragma once

#include <QDialog>

#include <functional>

class QLabel;
class QProgressBar;
class QPushButton;

// The progress sheet of long operations: one line of text, a bar that is
// determinate or busy, and a Cancel button that disables itself once
// pressed (the operation stops after its current item).
class VTProgressSheet : public QDialog
{
    Q_OBJECT

public:
    explicit VTProgressSheet(QWidget *window);

    // Called once when Cancel is pressed.
    void setCancelHandler(std::function<void()> handler) { m_cancel = std::move(handler); }

    // Shows the sheet afresh: "Initializing...", busy bar, Cancel enabled.
    void begin();
    void setIndeterminate();
    void setDeterminate(qint64 maximum);
    void increment();
    void setText(const QString &text);

    [[nodiscard]] QString text() const;
    [[nodiscard]] QProgressBar *progressBar() const { return m_bar; }
    [[nodiscard]] QPushButton *cancelButton() const { return m_cancelButton; }

protected:
    // Escape and the window's close button mean Cancel, never a hidden sheet
    // over a running operation.
    void reject() override;

private:
    void cancel();

    QLabel *m_text;
    QProgressBar *m_bar;
    QPushButton *m_cancelButton;
    std::function<void()> m_cancel;
    // QProgressBar holds an int; long batches are scaled into it.
    qint64 m_maximum = 0;
    qint64 m_value = 0;
};
