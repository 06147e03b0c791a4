// The single window per session, on a private session bus of its own: a
// second start hands its files to the first over D-Bus.

#include "VTSingleInstance.h"
#include "VTTestBus.h"

#include <QDBusConnection>
#include <QDir>
#include <QSignalSpy>

#include <thread>

#include <gtest/gtest.h>

namespace {

class SingleInstance : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_FALSE(m_bus.address().isEmpty()) << "dbus-daemon (package dbus) is needed"; }

    QDBusConnection connect(const QString &name) { return QDBusConnection::connectToBus(m_bus.address(), name); }

    VTTest::SessionBus m_bus;
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
