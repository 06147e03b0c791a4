#include "VTTestSandbox.h"
#include "VTTestBus.h"
#include "VTLog.h"
#include "VTTaskNotification.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QElapsedTimer>
#include <QObject>

#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>


namespace {

// A second connection to the private bus that keeps every task notification.
class Listener : public QObject
{
    Q_OBJECT
public:
    explicit Listener(const QString &address) : m_name(QStringLiteral("tst-listener-%1").arg(++s_count))
    {
        m_bus = std::make_unique<QDBusConnection>(QDBusConnection::connectToBus(address, m_name));
        m_subscribed = m_bus->isConnected()
            && m_bus->connect(QString(), QLatin1String(VTTaskNotification::ObjectPath),
                              QLatin1String(VTTaskNotification::Interface), QString(), this,
                              SLOT(received(QDBusMessage)));
    }
    ~Listener() override
    {
        m_bus.reset();
        QDBusConnection::disconnectFromBus(m_name);
    }

    [[nodiscard]] bool isSubscribed() const { return m_subscribed; }
    [[nodiscard]] const QList<QDBusMessage> &messages() const { return m_messages; }

    // Runs the event loop until `count` signals came in or thirty seconds passed.
    bool waitFor(qsizetype count)
    {
        QElapsedTimer timer;
        timer.start();
        while (m_messages.size() < count && timer.elapsed() < 30000)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
        // Anything beyond `count` would arrive right behind it.
        QCoreApplication::processEvents(QEventLoop::AllEvents, 100);
        return m_messages.size() >= count;
    }

    [[nodiscard]] QStringList members() const
    {
        QStringList names;
        for (const QDBusMessage &message : m_messages)
            names.append(message.member());
        return names;
    }

private slots:
    void received(const QDBusMessage &message) { m_messages.append(message); }

private:
    static inline int s_count = 0;
    QString m_name;
    std::unique_ptr<QDBusConnection> m_bus;
    bool m_subscribed = false;
    QList<QDBusMessage> m_messages;
};

// A private session bus for this test program, set as the session bus before
// anything in it is used.
class TaskNotificationTest : public ::testing::Test
{
public:
    static void SetUpTestSuite()
    {
        s_environment = std::make_unique<ScopedEnvironment>();
        s_bus = std::make_unique<VTTest::SessionBus>();
        s_environment->set("DBUS_SESSION_BUS_ADDRESS", s_bus->address());
    }

    static void TearDownTestSuite()
    {
        s_bus.reset();
        s_environment.reset();
    }

protected:
    void SetUp() override
    {
        if (s_bus->address().isEmpty())
            GTEST_SKIP() << "no private dbus-daemon (install the dbus package)";
    }

    static const QString &address() { return s_bus->address(); }

    static inline std::unique_ptr<ScopedEnvironment> s_environment;
    static inline std::unique_ptr<VTTest::SessionBus> s_bus;
};

VTTest::Run runProbe(const QStringList &arguments, const QProcessEnvironment &environment)
{
    VTTest::RunOptions options;
    options.environment = environment;
    options.timeoutMs = 30000;
    return VTTest::run(QStringLiteral(TESSARY_SUPPORT_PROBE), arguments, options);
}

} // namespace

TEST_F(TaskNotificationTest, PostsFromManyThreadsAllArrive)
{
    Listener listener(address());
    ASSERT_TRUE(listener.isSubscribed());
    constexpr int threads = 6;
    constexpr int perThread = 40;
    std::vector<std::thread> workers;
    for (int t = 0; t < threads; ++t) {
        workers.emplace_back([t] {
            for (int i = 0; i < perThread; ++i) {
                if (i % 2)
                    VTTaskNotification::postIncrementProgress();
                else
                    VTTaskNotification::postTaskError(t * 1000 + i);
            }
        });
    }
    for (std::thread &worker : workers)
        worker.join();
    ASSERT_TRUE(listener.waitFor(threads * perThread)) << listener.messages().size();
    EXPECT_EQ(listener.messages().size(), threads * perThread);
    QSet<int> codes;
    for (const QDBusMessage &message : listener.messages()) {
        if (message.member() == QLatin1String("TaskError"))
            codes.insert(message.arguments().value(0).toInt());
    }
    EXPECT_EQ(codes.size(), threads * perThread / 2);
}

TEST_F(TaskNotificationTest, AnotherProcessSendsEachSignalWithItsPayload)
{
    VTTestSandbox sandbox;
    Listener listener(address());
    ASSERT_TRUE(listener.isSubscribed());
    const VTTest::Run run = runProbe({QStringLiteral("notify"), QStringLiteral("Notify")},
                                  QProcessEnvironment::systemEnvironment());
    ASSERT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.out.trimmed(), "connected") << "connected again after each Disconnect";
    ASSERT_TRUE(listener.waitFor(10)) << listener.members().join(u' ').toStdString();
    const QStringList round{QStringLiteral("IncrementProgress"), QStringLiteral("TaskError"), QStringLiteral("TaskErrorString"),
                            QStringLiteral("TaskFinished"), QStringLiteral("Disconnect")};
    EXPECT_EQ(listener.members(), round + round);
    for (const QDBusMessage &message : listener.messages()) {
        EXPECT_EQ(message.type(), QDBusMessage::SignalMessage);
        EXPECT_EQ(message.path(), QLatin1String(VTTaskNotification::ObjectPath));
        EXPECT_EQ(message.interface(), QLatin1String(VTTaskNotification::Interface));
        if (message.member() == QLatin1String("TaskError")) {
            EXPECT_EQ(message.signature(), QStringLiteral("i"));
            EXPECT_EQ(message.arguments().value(0).toInt(), -36);
        } else if (message.member() == QLatin1String("TaskErrorString")) {
            EXPECT_EQ(message.signature(), QStringLiteral("s"));
            EXPECT_EQ(message.arguments().value(0).toString(), QStringLiteral("Tessary: Kein Zugriff auf „Glow.fxplug“"));
        } else {
            EXPECT_TRUE(message.arguments().isEmpty()) << message.member().toStdString();
        }
    }
    EXPECT_FALSE(VTTestSandbox::readFile(VTLog::logFolder() + QStringLiteral("/Notify.1.log")).contains("Task notifications"));
}

TEST(VTTaskNotificationWithoutBus, NothingBreaksAndTheLogSaysSoOnce)
{
    VTTestSandbox sandbox;
    QDir().mkpath(sandbox.path() + QStringLiteral("/runtime"));
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    // No address, no per-user bus socket, no display to start a bus for.
    environment.remove(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"));
    environment.remove(QStringLiteral("DISPLAY"));
    environment.remove(QStringLiteral("WAYLAND_DISPLAY"));
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), sandbox.path() + QStringLiteral("/runtime"));
    const VTTest::Run run = runProbe({QStringLiteral("notify"), QStringLiteral("NoBus")}, environment);
    ASSERT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.out.trimmed(), "not connected");
    const QByteArray log = VTTestSandbox::readFile(VTLog::logFolder() + QStringLiteral("/NoBus.1.log"));
    EXPECT_EQ(log.count("Task notifications are off: no session bus"), 1) << log.toStdString();
}

#include "tst_VTTaskNotification.moc"
