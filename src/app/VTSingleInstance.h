#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QStringList>

// One window per session: the first window run owns the name
// "com.vantorel.Tessary" on the session bus and takes files opened later
// through it, so a second start (a file manager's "Open with", a command
// line with paths) hands its files over and ends instead of opening another
// window. Without a session bus every start stands alone.
class VTSingleInstance : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.vantorel.Tessary")

public:
    static constexpr const char *ServiceName = "com.vantorel.Tessary";
    static constexpr const char *ObjectPath = "/com/vantorel/Tessary";

    // On the session bus when the session has one.
    VTSingleInstance();
    explicit VTSingleInstance(QDBusConnection bus, QObject *parent = nullptr);
    ~VTSingleInstance() override;

    // Hands `paths` (made absolute here, as the running instance has
    // another working folder) to the instance that owns the name. True when
    // one took them; with no paths it is only asked to come to the front.
    [[nodiscard]] bool handOver(const QStringList &paths) const;
    // Takes the name; false when there is no bus or another instance has it.
    [[nodiscard]] bool claim();

    // The paths of command-line arguments: absolute, Qt's own options left
    // out by QApplication already.
    [[nodiscard]] static QStringList absolutePaths(const QStringList &arguments);

public slots:
    Q_SCRIPTABLE void openFiles(const QStringList &paths);

signals:
    // Files another start handed over (possibly none: show the window).
    void filesOpened(const QStringList &paths);

private:
    // The session bus, when the session announces one; never one that
    // libdbus would start on its own for a start outside a desktop session.
    [[nodiscard]] static QDBusConnection sessionBusIfAny();

    QDBusConnection m_bus;
    bool m_claimed = false;
};
