#include "VTTaskNotification.h"

#include "VTLog.h"

#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>

#include <atomic>
#include <mutex>
#include <optional>

namespace {

constexpr int kFlushTimeoutMs = 2000;

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
    // Sending only queues the signal. A program that exits right after its
    // last post would lose it, so wait for a reply from the bus, which comes
    // after everything queued before it has gone out. A bus that stops
    // answering is not waited for again.
    static std::atomic<bool> responsive{true};
    if (!responsive.load(std::memory_order_relaxed))
        return;
    const QDBusMessage ping = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
        QStringLiteral("org.freedesktop.DBus.Peer"), QStringLiteral("Ping"));
    if (bus->call(ping, QDBus::Block, kFlushTimeoutMs).type() != QDBusMessage::ReplyMessage) {
        responsive.store(false);
        VTLog::appendLog(QStringLiteral("Task notifications may be lost: the session bus does not answer"));
    }
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
