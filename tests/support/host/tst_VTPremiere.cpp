#include "VTPremiere.h"
#include "VTTestSandbox.h"

#include <QFile>

#include <gtest/gtest.h>

#include <pwd.h>
#include <unistd.h>

namespace {

QByteArray configuration(const QString &version)
{
    return QStringLiteral("<?xml version=\"1.0\"?>\n<Configuration><VariableForExMan>"
                          "<Data key=\"Other\">1</Data><Data key=\"ProductVersion\">%1</Data>"
                          "</VariableForExMan></Configuration>\n")
        .arg(version)
        .toUtf8();
}

class VTPremiereTest : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(m_sandbox.isValid()); }

    QString applications() const { return m_sandbox.systemPath(QStringLiteral("/Applications")); }

    // <folder>/<entry>/<entry>.app with the given info keys.
    static void makeInstallation(const QString &folder, const QString &entry, const QVariantMap &info,
                                 const QString &identifier = QStringLiteral("com.adobe.AdobePremierePro"))
    {
        ASSERT_TRUE(VTTestSandbox::makeApplication(VTPath::join({folder, entry, entry + QStringLiteral(".app")}), identifier,
                                                   info));
    }
    static void makeConfiguration(const QString &folder, const QString &entry, const QByteArray &bytes)
    {
        ASSERT_TRUE(VTTestSandbox::makeFile(VTPath::join({folder, entry, QStringLiteral("Configuration/XManConfig.xml")}),
                                            bytes));
    }
    static QVariantMap version(const QString &value, const char *key = "CFBundleVersion")
    {
        return {{QLatin1String(key), value}};
    }

    VTTestSandbox m_sandbox;
};

} // namespace

TEST_F(VTPremiereTest, BundleVersionKeysAndACaseBlindPrefix)
{
    const QString folder = applications();
    makeInstallation(folder, QStringLiteral("Adobe Premiere Pro CS4"), version(QStringLiteral("4.0")));
    QVariantMap both = version(QStringLiteral("5.0.3"));
    both.insert(QStringLiteral("CFBundleVersionString"), QStringLiteral("5.0"));
    makeInstallation(folder, QStringLiteral("Adobe Premiere Pro CS5"), both);
    // Neither key: the installation is skipped, even with a configuration file.
    makeInstallation(folder, QStringLiteral("Adobe Premiere Pro CS6"), {});
    makeConfiguration(folder, QStringLiteral("Adobe Premiere Pro CS6"), configuration(QStringLiteral("6.0")));
    makeInstallation(folder, QStringLiteral("Adobe Photoshop CS5"), version(QStringLiteral("12.0")));

    EXPECT_EQ(VTPremiere::versionsForAppName(QStringLiteral("Adobe Premiere "), folder),
              (QStringList{QStringLiteral("4.0"), QStringLiteral("5.0")}));
    EXPECT_EQ(VTPremiere::versionsForAppName(QStringLiteral("Adobe "), folder),
              (QStringList{QStringLiteral("12.0"), QStringLiteral("4.0"), QStringLiteral("5.0")}));

    // The prefix ignores case, and its trailing space is part of it.
    makeInstallation(folder, QStringLiteral("adobe premiere pro cs3"), version(QStringLiteral("3.0")));
    makeInstallation(folder, QStringLiteral("Adobe PremierePro"), version(QStringLiteral("9.9")));
    EXPECT_EQ(VTPremiere::versionsForAppName(QStringLiteral("Adobe Premiere "), folder),
              (QStringList{QStringLiteral("4.0"), QStringLiteral("5.0"), QStringLiteral("3.0")}));
}

TEST_F(VTPremiereTest, ConfigurationFileWhenThereIsNoBundle)
{
    const QString folder = applications();
    makeConfiguration(folder, QStringLiteral("Adobe Premiere Pro CC"), configuration(QStringLiteral("7.0")));
    makeConfiguration(folder, QStringLiteral("Adobe Premiere Pro Broken"), QByteArrayLiteral("<Configuration><Data>"));
    makeConfiguration(folder, QStringLiteral("Adobe Premiere Pro NoKey"),
                      QByteArrayLiteral("<Configuration><VariableForExMan/></Configuration>"));
    ASSERT_TRUE(VTTestSandbox::makeFolder(VTPath::join(folder, QStringLiteral("Adobe Premiere Pro Empty"))));

    EXPECT_EQ(VTPremiere::versionsForAppName(QStringLiteral("Adobe Premiere "), folder), QStringList{QStringLiteral("7.0")});
}

TEST_F(VTPremiereTest, InstallationFoundTwiceIsListedOnce)
{
    makeInstallation(applications(), QStringLiteral("Adobe Premiere Pro CS6"), version(QStringLiteral("6.0")));
    makeInstallation(applications(), QStringLiteral("Adobe Premiere Pro CS5"), version(QStringLiteral("5.0")),
                     QStringLiteral("com.adobe.other"));
    EXPECT_EQ(VTPremiere::premiereVersions(), (QStringList{QStringLiteral("5.0"), QStringLiteral("6.0")}));
}

TEST_F(VTPremiereTest, TheIdentifiedFolderComesFirstWithItsDuplicates)
{
    const QString userFolder = m_sandbox.homePath(QStringLiteral("Applications"));
    makeInstallation(userFolder, QStringLiteral("Adobe Premiere Pro A"), version(QStringLiteral("7.0")));
    makeInstallation(userFolder, QStringLiteral("Adobe Premiere Pro B"), version(QStringLiteral("7.0")),
                     QStringLiteral("com.adobe.other"));
    // Found by the application folder search only (no matching identifier);
    // a version the identified folder had is not listed again.
    makeInstallation(applications(), QStringLiteral("Adobe Premiere Pro CS5"), version(QStringLiteral("5.0")),
                     QStringLiteral("com.adobe.other"));
    makeInstallation(applications(), QStringLiteral("Adobe Premiere Pro CC"), version(QStringLiteral("7.0")),
                     QStringLiteral("com.adobe.other"));

    EXPECT_EQ(VTPremiere::premiereVersions(), (QStringList{QStringLiteral("7.0"), QStringLiteral("7.0"), QStringLiteral("5.0")}));
}

TEST_F(VTPremiereTest, SuiteRuleReadsTheConfigurationFirst)
{
    const QString folder = applications();
    // Configuration and bundle: the configuration wins.
    makeInstallation(folder, QStringLiteral("Adobe Premiere Pro CS6"), version(QStringLiteral("6.0.3")));
    makeConfiguration(folder, QStringLiteral("Adobe Premiere Pro CS6"), configuration(QStringLiteral("6.0")));
    // A readable but broken configuration is not followed by the bundle.
    makeInstallation(folder, QStringLiteral("Adobe Premiere Pro CS5"), version(QStringLiteral("5.0")));
    makeConfiguration(folder, QStringLiteral("Adobe Premiere Pro CS5"), QByteArrayLiteral("<not xml"));

    EXPECT_EQ(VTPremiere::suiteVersionsInFolder(folder), QStringList{QStringLiteral("6.0")});
    EXPECT_EQ(VTPremiere::versionsForAppName(QStringLiteral("Adobe Premiere "), folder),
              (QStringList{QStringLiteral("5.0"), QStringLiteral("6.0.3")}))
        << "the application rule asks the bundle first";
}

TEST_F(VTPremiereTest, SuiteRuleShortensBundleVersions)
{
    const QString folder = applications();
    // The bundle's name need not repeat the folder's; the wildcard finds it.
    ASSERT_TRUE(VTTestSandbox::makeApplication(
        VTPath::join(folder, QStringLiteral("Adobe Premiere Pro CC 2015/Adobe Premiere Pro CC 2015.3.app")),
        QStringLiteral("com.adobe.other"), version(QStringLiteral("9.0.1"))));
    makeInstallation(folder, QStringLiteral("Adobe Premiere Pro CS6"), version(QStringLiteral("6.5")), QStringLiteral("com.adobe.other"));
    makeInstallation(folder, QStringLiteral("Adobe Premiere Pro X"), version(QStringLiteral("1.2.3.4")), QStringLiteral("com.adobe.other"));
    // Only "Adobe Premiere Pro *.app" bundles count.
    ASSERT_TRUE(VTTestSandbox::makeApplication(VTPath::join(folder, QStringLiteral("Adobe Premiere Elements/Elements.app")),
                                               QStringLiteral("com.adobe.other"), version(QStringLiteral("11.0.0"))));

    EXPECT_EQ(VTPremiere::suiteVersionsInFolder(folder),
              (QStringList{QStringLiteral("9.0"), QStringLiteral("6.5"), QStringLiteral("1.2")}));
    EXPECT_EQ(VTPremiere::suiteVersions(), VTPremiere::suiteVersionsInFolder(folder));
}

TEST_F(VTPremiereTest, MissingAndUnreadableFoldersGiveNothing)
{
    EXPECT_TRUE(VTPremiere::premiereVersions().isEmpty());
    EXPECT_TRUE(VTPremiere::suiteVersions().isEmpty());
    EXPECT_TRUE(VTPremiere::versionsForAppName(QStringLiteral("Adobe Premiere "), m_sandbox.systemPath(QStringLiteral("/Nowhere")))
                    .isEmpty());
    EXPECT_TRUE(VTPremiere::suiteVersionsInFolder(QString()).isEmpty());
    const QString folder = applications();
    makeInstallation(folder, QStringLiteral("Adobe Premiere Pro CS6"), version(QStringLiteral("6.0")));
    const QString file = m_sandbox.systemPath(QStringLiteral("/plain"));
    ASSERT_TRUE(VTTestSandbox::makeFile(file, QByteArrayLiteral("x")));
    EXPECT_TRUE(VTPremiere::versionsForAppName(QStringLiteral("Adobe Premiere "), file).isEmpty());
    EXPECT_TRUE(VTPremiere::suiteVersionsInFolder(file).isEmpty());

    // Permission bits do not stop the superuser: as root, look as "nobody",
    // who may pass through the sandbox but not read the folder.
    const passwd *nobody = geteuid() == 0 ? ::getpwnam("nobody") : nullptr;
    ASSERT_TRUE(geteuid() != 0 || nobody) << "no account named nobody to read as";
    const auto traversable = QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner | QFileDevice::ExeOther;
    ASSERT_TRUE(QFile::setPermissions(m_sandbox.root(), traversable));
    ASSERT_TRUE(QFile::setPermissions(folder, QFileDevice::Permissions()));
    QStringList premiere;
    QStringList suites;
    {
        struct Identity {
            explicit Identity(const passwd *as) : active(as && ::seteuid(as->pw_uid) == 0) {}
            ~Identity() { if (active) (void)::seteuid(0); }
            bool active;
        } identity(nobody);
        ASSERT_TRUE(!nobody || identity.active);
        premiere = VTPremiere::premiereVersions();
        suites = VTPremiere::suiteVersions();
    }
    EXPECT_TRUE(premiere.isEmpty()) << premiere.join(u',').toStdString();
    EXPECT_TRUE(suites.isEmpty()) << suites.join(u',').toStdString();
    ASSERT_TRUE(QFile::setPermissions(folder, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner));
}
