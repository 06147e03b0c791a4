#pragma once

// Helpers of the widget tests on the offscreen platform: waiting for a
// condition while the event loop runs, and answering message boxes from
// inside their own event loops. Link Qt Widgets to use it.

#include <QAbstractButton>
#include <QApplication>
#include <QDeadlineTimer>
#include <QMessageBox>
#include <QTimer>

#include <chrono>
#include <functional>

namespace VTWidgetTest {

// Runs the event loop until `done` holds or `timeout` passes; answers its
// last value.
inline bool waitUntil(const std::function<bool()> &done, std::chrono::milliseconds timeout = std::chrono::seconds(120))
{
    QDeadlineTimer deadline(timeout);
    while (!done() && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    return done();
}

inline QMessageBox *visibleMessageBox()
{
    for (QWidget *widget : QApplication::topLevelWidgets()) {
        if (auto *box = qobject_cast<QMessageBox *>(widget); box && box->isVisible())
            return box;
    }
    return nullptr;
}

// Clicks the button titled `title` of the next message box that has one;
// `asked` (when given) receives the box's text.
inline void answerNextWith(QObject *owner, const QString &title, QString *asked = nullptr)
{
    auto *answerer = new QTimer(owner);
    answerer->setInterval(20);
    QObject::connect(answerer, &QTimer::timeout, answerer, [answerer, title, asked] {
        QMessageBox *box = visibleMessageBox();
        if (!box)
            return;
        for (QAbstractButton *button : box->buttons()) {
            if (button->text() == title) {
                if (asked)
                    *asked = box->text();
                answerer->stop();
                answerer->deleteLater();
                button->click();
                return;
            }
        }
    });
    answerer->start();
}

} // namespace VTWidgetTest
