#include "VTConsoleInterface.h"

#include <cstdio>

int VTConsoleInterface::runAlert(const Alert &alert)
{
    QString line = alert.messageText;
    if (!alert.informativeText.isEmpty())
        line += (line.isEmpty() ? QString() : QStringLiteral(" ")) + alert.informativeText;
    // One line whatever the texts hold, so that scripts reading the output
    // see one alert per line.
    line.replace(QLatin1String("\r\n"), QLatin1String(" "));
    line.replace(u'\n', u' ');
    line.replace(u'\r', u' ');
    const QByteArray bytes = line.toUtf8() + '\n';
    fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stdout);
    fflush(stdout);
    return FirstButton;
}
