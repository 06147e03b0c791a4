// The template installer as the installer builder leaves it: a copy of the
// built bundle with a PluginStructure and a settings file, run as a real
// process against an empty sandbox, as root and as an unprivileged user.

#include "FsTestSupport.h"
#include "VTPath.h"
#include "VTPropertyList.h"
#include "VTTestSandbox.h"

#include <gtest/gtest.h>

namespace {

class PluginInstallerTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_sandbox.isValid());
        const QString templateBundle =
            VTPath::join(FsTest::binaryDir(), QStringLiteral("Tessary.app/Contents/MacOS/Plugin Installer.app"));
        ASSERT_EQ(VTTest::execute(QStringLiteral("/bin/cp"), {QStringLiteral("-a"), templateBundle, m_bundle}), 0);
        ASSERT_TRUE(FsTest::makeBundle(m_userPlugin));
        ASSERT_TRUE(FsTest::makeBundle(m_systemPlugin));
        ASSERT_TRUE(VTPropertyList::writeFile(settingsFile(),
                                              QVariantMap{{QStringLiteral("VTPluginName"), QStringLiteral("Glow")},
                                                          {QStringLiteral("VTPluginVersion"), QStringLiteral("2.1")},
                                                          {QStringLiteral("VTPluginAuthor"), QStringLiteral("Ann Example")}},
                                              VTPropertyList::Format::Xml));
    }

    QString resource(const QString &relative) const
    {
        return VTPath::join(m_bundle, VTPath::join(QStringLiteral("Contents/Resources"), relative));
    }
    QString settingsFile() const { return resource(QStringLiteral("InstallerSettings.plist")); }
    QString executable() const { return VTPath::join(m_bundle, QStringLiteral("Contents/MacOS/Plugin Installer")); }

    FsTest::Run runInstaller(const QString &option) const
    {
        return FsTest::run(executable(), {option}, QByteArray(), QProcessEnvironment::systemEnvironment(), 120000);
    }

    VTTestSandbox m_sandbox;
    const QString m_bundle = VTPath::join(m_sandbox.path(), QStringLiteral("Glow Installer.app"));
    const QString m_userPlugin = resource(QStringLiteral("PluginStructure/Users/user/Library/Plug-Ins/FxPlug/Glow.fxplug"));
    const QString m_systemPlugin = resource(QStringLiteral("PluginStructure/Library/Audio/Plug-Ins/VST/Glow.vst"));
    const QString m_userDestination = m_sandbox.homePath(QStringLiteral("Library/Plug-Ins/FxPlug/Glow.fxplug"));
    const QString m_systemDestination = m_sandbox.systemPath(QStringLiteral("/Library/Audio/Plug-Ins/VST/Glow.vst"));
};

TEST_F(PluginInstallerTest, InstallsEveryPluginInPlaceAndTrashesTheCopiesItReplaces)
{
    const FsTest::Run list = runInstaller(QStringLiteral("--list"));
    EXPECT_EQ(list.exitCode, 0) << list.err.toStdString();
    EXPECT_TRUE(list.out.contains(QFile::encodeName(m_userDestination))) << list.out.toStdString();
    EXPECT_TRUE(list.out.contains(QFile::encodeName(m_systemDestination))) << list.out.toStdString();
    EXPECT_FALSE(FsTest::exists(m_sandbox.systemPath(QStringLiteral("/Library/Audio")))) << "listing installs nothing";

    const FsTest::Run first = runInstaller(QStringLiteral("--install"));
    EXPECT_EQ(first.exitCode, 0) << first.out.toStdString() << first.err.toStdString();
    for (const auto &[source, destination] : {std::pair{m_userPlugin, m_userDestination}, std::pair{m_systemPlugin, m_systemDestination}}) {
        EXPECT_TRUE(FsTest::sameTree(source, destination)) << destination.toStdString();
        EXPECT_EQ(FsTest::getXattr(destination, "user.com.apple.FinderInfo"), QByteArray("FCSCxxxx", 8));
    }

    // A changed installed copy is replaced by the installer's, the old one kept in the Trash.
    ASSERT_TRUE(FsTest::writeFile(VTPath::join(m_systemDestination, QStringLiteral("Contents/old-marker")), "old"));
    const FsTest::Run second = runInstaller(QStringLiteral("--install"));
    EXPECT_EQ(second.exitCode, 0) << second.out.toStdString() << second.err.toStdString();
    EXPECT_TRUE(second.out.contains("the old copy goes to the Trash")) << second.out.toStdString();
    EXPECT_TRUE(FsTest::sameTree(m_systemPlugin, m_systemDestination));
    const FsTest::Run trash =
        FsTest::run(QStringLiteral("trash-list"), {}, QByteArray(), QProcessEnvironment::systemEnvironment());
    EXPECT_TRUE(trash.out.contains(QFile::encodeName(m_systemDestination))) << trash.out.toStdString();
    EXPECT_TRUE(trash.out.contains(QFile::encodeName(m_userDestination))) << trash.out.toStdString();
    EXPECT_TRUE(FsTest::exists(m_sandbox.homePath(QStringLiteral(".local/share/Trash/files/Glow.vst/Contents/old-marker"))));
}

TEST_F(PluginInstallerTest, AMissingSettingsFileOrAnUnknownOptionIsBadUsage)
{
    ASSERT_TRUE(QFile::remove(settingsFile()));
    for (const QString &option : {QStringLiteral("--install"), QStringLiteral("--list")}) {
        const FsTest::Run run = runInstaller(option);
        EXPECT_EQ(run.exitCode, 2) << option.toStdString();
        EXPECT_EQ(run.err, QByteArray("Plugin Installer: The settings file ") + QFile::encodeName(settingsFile()) + " is missing.\n");
    }
    EXPECT_FALSE(FsTest::exists(m_userDestination));
    EXPECT_EQ(runInstaller(QStringLiteral("--everything")).exitCode, 2);
}

TEST_F(PluginInstallerTest, AnUnprivilegedUserInstallsForAllUsersThroughTheHelper)
{
    const FsTest::User user = FsTest::testUser();
    if (!user.valid())
        GTEST_SKIP() << "needs root and the unprivileged test account";
    // The installer carries its own helper; the fixture lets the account start it with sudo -n.
    const QString helper = VTPath::join(m_bundle, QStringLiteral("Contents/MacOS/tessary-helper"));
    ASSERT_EQ(FsTest::run(QStringLiteral("/bin/sh"),
                          {VTPath::join(qEnvironmentVariable("TESSARY_SOURCE_DIR"),
                                        QStringLiteral("tests/filesystem/prepare_test_users.sh")),
                           helper})
                  .exitCode,
              0);
    ASSERT_EQ(FsTest::run(QStringLiteral("/bin/chown"), {QStringLiteral("-R"), user.name, m_sandbox.home()}).exitCode, 0);
    const QStringList environment = {QStringLiteral("TESSARY_SYSTEM_ROOT=") + m_sandbox.root(),
                                     QStringLiteral("HOME=") + m_sandbox.home()};

    // Without an escalation that asks nobody, the all-users plug-in fails and says why.
    const FsTest::Run refused = FsTest::runAs(user, executable(), {QStringLiteral("--install")}, environment);
    EXPECT_EQ(refused.exitCode, 1) << refused.out.toStdString() << refused.err.toStdString();
    EXPECT_TRUE(refused.out.contains("Installed 1 of 2 plug-ins.")) << refused.out.toStdString();
    EXPECT_TRUE(refused.out.contains(QByteArray(QByteArray("Glow.vst (to ") + QFile::encodeName(m_systemDestination))))
        << refused.out.toStdString();
    EXPECT_TRUE(refused.out.contains("administrator rights were not granted")) << refused.out.toStdString();
    EXPECT_TRUE(refused.out.contains("TESSARY_ESCALATE=\"sudo -n\"")) << "says how to get them without a window";
    EXPECT_TRUE(FsTest::sameTree(m_userPlugin, m_userDestination));
    EXPECT_FALSE(FsTest::exists(m_systemDestination));

    const FsTest::Run granted = FsTest::runAs(user, executable(), {QStringLiteral("--install")},
                                              environment + QStringList{QStringLiteral("TESSARY_ESCALATE=sudo -n")});
    EXPECT_EQ(granted.exitCode, 0) << granted.out.toStdString() << granted.err.toStdString();
    EXPECT_TRUE(FsTest::sameTree(m_systemPlugin, m_systemDestination));
    EXPECT_EQ(FsTest::getXattr(m_systemDestination, "user.com.apple.FinderInfo"), QByteArray("FCSCxxxx", 8));
    EXPECT_EQ(FsTest::statOf(m_systemDestination).st_uid, 0u) << "what lands in an all-users folder is root's";
    EXPECT_EQ(FsTest::statOf(m_userDestination).st_uid, user.uid);
}

} // namespace
