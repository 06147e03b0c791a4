#include "VTTaskNotification.h"

#include "VTLog.h"

#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>

#include <mutex>
#include <optional>

namespace {

// The session-bus connection, made on first use. QDBusConnection may be used
// from any thread once made; making it is serialised here.
const QDBusConnection *sessionBus()
{
    static std::once_flag once;
    static std::optional<QDBusConnection> connection;
    std::call_once(once, [] {
        QDBusConnection bus = QDBusConnection::sessionBus();
        if (bus.isConnected()) {
            connection = bus;
            return;
        }
        VTLog::appendLog(QStringLiteral("Task notifications are off: no session bus (%1)")
                             .arg(bus.lastError().message()));
    });
    return connection ? &*connection : nullptr;
}

void post(const char *name, const QVariantList &arguments = {})
{
    const QDBusConnection *bus = sessionBus();
    if (!bus)
        return;
    QDBusMessage signal = QDBusMessage::createSignal(QLatin1String(VTTaskNotification::ObjectPath),
                                                     QLatin1String(VTTaskNotification::Interface),
                                                     QLatin1String(name));
    signal.setArguments(arguments);
    bus->send(signal);
}

} // namespace

void VTTaskNotification::postIncrementProgress()
{
    post("IncrementProgress");
}

void VTTaskNotification::postTaskFinished()
{
    post("TaskFinished");
}

void VTTaskNotification::postTaskError(int code)
{
    post("TaskError", {QVariant::fromValue<qint32>(code)});
}

void VTTaskNotification::postTaskErrorString(const QString &text)
{
    post("TaskErrorString", {text});
}

void VTTaskNotification::postDisconnect()
{
    post("Disconnect");
}

bool VTTaskNotification::isConnected()
{
    return sessionBus() != nullptr;
}
