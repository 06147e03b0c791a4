#include "VTCommandLine.h"
#include "VTWindowApplication.h"

#include <QCoreApplication>

int main(int argc, char **argv)
{
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i]));
    // A command word runs without any display; anything else opens the window.
    if (!VTCommandLine::isCommand(arguments))
        return VTWindowApplication::run(argc, argv);

    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Tessary"));
    return VTCommandLine::run(QCoreApplication::arguments()).value_or(2);
}
