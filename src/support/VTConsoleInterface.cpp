#include "VTConsoleInterface.h"

#include <cstdio>

int VTConsoleInterface::runAlert(const Alert &alert)
{
    QString line = alert.messageText;
    if (!alert.informativeText.isEmpty())
        line += (line.isEmpty() ? QString() : QStringLiteral(" ")) + alert.informativeText;
    const QByteArray bytes = line.toUtf8() + '\n';
    fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stdout);
    fflush(stdout);
    return FirstButton;
}
