#include "VTCommandLine.h"

#include <QCoreApplication>

#include <cstdio>

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Tessary"));
    if (const std::optional<int> status = VTCommandLine::run(QCoreApplication::arguments()))
        return *status;
    std::fputs("Tessary: the window application is not available in this build.\n", stderr);
    return 2;
}
