// The single window per session, on a private session bus of its own: a
// second start hands its files to the first over D-Bus.

#include "VTSingleInstance.h"

#include <QDBusConnection>
#include <QDir>
#include <QProcess>
#include <QSignalSpy>

#include <thread>

#include <gtest/gtest.h>

namespace {

class SingleInstance : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_daemon.start(QStringLiteral("dbus-daemon"), {QStringLiteral("--session"), QStringLiteral("--nofork"),
                                                       QStringLiteral("--print-address")});
        ASSERT_TRUE(m_daemon.waitForStarted(30000)) << "dbus-daemon (package dbus) is needed";
        while (!m_daemon.canReadLine())
            ASSERT_TRUE(m_daemon.waitForReadyRead(30000));
        m_address = QString::fromUtf8(m_daemon.readLine().trimmed());
    }
    void TearDown() override
    {
        m_daemon.terminate();
        m_daemon.waitForFinished(30000);
    }

    QDBusConnection connect(const QString &name) { return QDBusConnection::connectToBus(m_address, name); }

    QProcess m_daemon;
    QString m_address;
};

TEST_F(SingleInstance, ASecondStartHandsItsFilesToTheFirst)
{
    VTSingleInstance first(connect(QStringLiteral("first")));
    VTSingleInstance second(connect(QStringLiteral("second")));
    EXPECT_FALSE(second.handOver({QStringLiteral("/tmp/A.fxplug")})) << "no instance runs yet";

    ASSERT_TRUE(first.claim());
    EXPECT_FALSE(second.claim()) << "the name has one owner";

    QSignalSpy opened(&first, &VTSingleInstance::filesOpened);
    // The call blocks until the first answers, so it serves its bus meanwhile.
    bool handed = false;
    std::thread caller([&] { handed = second.handOver({QStringLiteral("Relative.fxplug"), QStringLiteral("/x/B.moti")}); });
    ASSERT_TRUE(opened.wait(30000));
    caller.join();
    EXPECT_TRUE(handed);
    EXPECT_EQ(opened.first().first().toStringList(),
              QStringList({QDir::current().absoluteFilePath(QStringLiteral("Relative.fxplug")), QStringLiteral("/x/B.moti")}));
}

TEST_F(SingleInstance, NoBusMeansEveryStartStandsAlone)
{
    VTSingleInstance alone{QDBusConnection(QString())};
    EXPECT_FALSE(alone.claim());
    EXPECT_FALSE(alone.handOver({QStringLiteral("/tmp/A.fxplug")}));
}

} // namespace
