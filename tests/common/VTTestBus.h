#pragma once

// A private session bus for one test program, so that D-Bus tests neither
// need the desktop's bus nor disturb it. The daemon is started with
// posix_spawn (see VTTestProcess.h) and ends with this object, or with the
// test program if that is killed first.

#include "VTTestProcess.h"

#include <QStandardPaths>

namespace VTTest {

class SessionBus
{
public:
    SessionBus()
    {
        const QString daemon = QStandardPaths::findExecutable(QStringLiteral("dbus-daemon"));
        if (!daemon.isEmpty()
            && m_daemon.start(QStringLiteral("setpriv"), {QStringLiteral("--pdeathsig=TERM"), daemon, QStringLiteral("--session"),
                                                          QStringLiteral("--print-address"), QStringLiteral("--nofork")}))
            m_address = QString::fromUtf8(m_daemon.readLine(10000)).trimmed();
    }

    // Empty when no daemon could be started (the dbus package is missing).
    [[nodiscard]] const QString &address() const { return m_address; }

private:
    Process m_daemon;
    QString m_address;
};

} // namespace VTTest
