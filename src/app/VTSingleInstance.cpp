#include "VTSingleInstance.h"

#include "VTLog.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QFileInfo>

VTSingleInstance::VTSingleInstance()
    : VTSingleInstance(sessionBusIfAny())
{
}

QDBusConnection VTSingleInstance::sessionBusIfAny()
{
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS")
        && (runtime.isEmpty() || !QFileInfo::exists(runtime + QStringLiteral("/bus"))))
        return QDBusConnection(QString());
    return QDBusConnection::sessionBus();
}

VTSingleInstance::VTSingleInstance(QDBusConnection bus, QObject *parent)
    : QObject(parent)
    , m_bus(std::move(bus))
{
}

VTSingleInstance::~VTSingleInstance()
{
    if (m_claimed) {
        m_bus.unregisterObject(QLatin1String(ObjectPath));
        m_bus.unregisterService(QLatin1String(ServiceName));
    }
}

QStringList VTSingleInstance::absolutePaths(const QStringList &arguments)
{
    QStringList paths;
    for (const QString &argument : arguments) {
        if (!argument.isEmpty())
            paths << QFileInfo(argument).absoluteFilePath();
    }
    return paths;
}

bool VTSingleInstance::handOver(const QStringList &paths) const
{
    if (!m_bus.isConnected() || !m_bus.interface()
        || !m_bus.interface()->isServiceRegistered(QLatin1String(ServiceName)).value())
        return false;
    QDBusMessage call = QDBusMessage::createMethodCall(QLatin1String(ServiceName), QLatin1String(ObjectPath),
                                                      QLatin1String(ServiceName), QStringLiteral("openFiles"));
    call << absolutePaths(paths);
    const QDBusMessage reply = m_bus.call(call, QDBus::Block, 10000);
    return reply.type() == QDBusMessage::ReplyMessage;
}

bool VTSingleInstance::claim()
{
    if (!m_bus.isConnected())
        return false;
    if (!m_bus.registerObject(QLatin1String(ObjectPath), this, QDBusConnection::ExportScriptableSlots))
        return false;
    // Not queued: a start that loses the race hands its files over instead.
    if (!m_bus.registerService(QLatin1String(ServiceName))) {
        m_bus.unregisterObject(QLatin1String(ObjectPath));
        return false;
    }
    m_claimed = true;
    return true;
}

void VTSingleInstance::openFiles(const QStringList &paths)
{
    VTLog::appendLog(QStringLiteral("Another start handed over %1 file(s).").arg(paths.size()));
    // Answer the caller first: installing may ask the user something, and
    // the other start waits for this reply.
    QMetaObject::invokeMethod(this, [this, paths] { emit filesOpened(paths); }, Qt::QueuedConnection);
}
