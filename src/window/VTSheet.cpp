#include "VTSheet.h"

void VTOpenSheet(QWidget *parent, QMessageBox::Icon icon, const QString &title, const QString &messageText,
                 const QString &informativeText)
{
    auto *box = new QMessageBox(icon, title, messageText, QMessageBox::Ok, parent);
    box->setInformativeText(informativeText);
    box->setWindowModality(Qt::WindowModal);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->open();
}
