#pragma once

#include <QMessageBox>

class QWidget;

// A message shown as a sheet over `parent`: it returns at once, so the work
// that reported it goes on meanwhile, and the box deletes itself when closed.
void VTOpenSheet(QWidget *parent, QMessageBox::Icon icon, const QString &title, const QString &messageText,
                 const QString &informativeText);
