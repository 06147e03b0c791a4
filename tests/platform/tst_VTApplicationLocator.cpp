#include "VTApplicationLocator.h"
#include "VTTestSandbox.h"

#include <gtest/gtest.h>

namespace {

class VTApplicationLocatorTest : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(m_sandbox.isValid()); }

    QString allUsersApp(const QString &relative) const { return m_sandbox.systemPath(QStringLiteral("/Applications/") + relative); }
    QString userApp(const QString &relative) const { return m_sandbox.homePath(QStringLiteral("Applications/") + relative); }

    VTTestSandbox m_sandbox;
};

const QString kExpress = QStringLiteral("com.apple.FinalCutExpress");

} // namespace

TEST_F(VTApplicationLocatorTest, FindsApplicationsIgnoringCase)
{
    EXPECT_TRUE(VTApplicationLocator::applicationPathForBundleIdentifier(kExpress).isEmpty());
    EXPECT_FALSE(VTApplicationLocator::isInstalled(kExpress));
    EXPECT_FALSE(VTApplicationLocator::isInstalled(QString()));
    const QString express = allUsersApp(QStringLiteral("Final Cut Express.app"));
    ASSERT_TRUE(VTTestSandbox::makeApplication(express, kExpress));
    EXPECT_EQ(VTApplicationLocator::applicationPathForBundleIdentifier(kExpress), express);
    EXPECT_EQ(VTApplicationLocator::applicationPathForBundleIdentifier(QStringLiteral("COM.APPLE.finalcutexpress")), express);
    EXPECT_FALSE(VTApplicationLocator::isInstalled(QStringLiteral("com.apple.FinalCutPro")));
    EXPECT_FALSE(VTApplicationLocator::isInstalled(QStringLiteral("com.apple.FinalCut"))) << "no prefix match";
}

TEST_F(VTApplicationLocatorTest, SearchesOneLevelOfSubfoldersTopFirstAndNeitherDeeperNorInsideBundles)
{
    const QString symphony = allUsersApp(QStringLiteral("Avid Symphony/Avid Symphony.app"));
    ASSERT_TRUE(VTTestSandbox::makeApplication(symphony, QStringLiteral("com.avid.Symphony")));
    const QString deep = allUsersApp(QStringLiteral("Vendor/Suite/Deep.app"));
    ASSERT_TRUE(VTTestSandbox::makeApplication(deep, QStringLiteral("com.example.deep")));

    EXPECT_EQ(VTApplicationLocator::applicationPathForBundleIdentifier(QStringLiteral("com.avid.symphony")), symphony);
    EXPECT_FALSE(VTApplicationLocator::isInstalled(QStringLiteral("com.example.deep")));

    // A bundle at the top comes before one of the same identifier in a subfolder.
    const QString inFolder = allUsersApp(QStringLiteral("A Folder/Twin.app"));
    const QString atTop = allUsersApp(QStringLiteral("Z Twin.app"));
    ASSERT_TRUE(VTTestSandbox::makeApplication(inFolder, QStringLiteral("com.example.twin")));
    ASSERT_TRUE(VTTestSandbox::makeApplication(atTop, QStringLiteral("com.example.twin")));
    EXPECT_EQ(VTApplicationLocator::applicationPathForBundleIdentifier(QStringLiteral("com.example.twin")), atTop);

    // A helper application inside another application is not an installation.
    const QString host = allUsersApp(QStringLiteral("Host.app"));
    ASSERT_TRUE(VTTestSandbox::makeApplication(host, QStringLiteral("com.example.host")));
    ASSERT_TRUE(VTTestSandbox::makeApplication(VTPath::join(host, QStringLiteral("Helper.app")),
                                               QStringLiteral("com.example.helper")));
    EXPECT_TRUE(VTApplicationLocator::isInstalled(QStringLiteral("com.example.host")));
    EXPECT_FALSE(VTApplicationLocator::isInstalled(QStringLiteral("com.example.helper")));
}

TEST_F(VTApplicationLocatorTest, UserApplicationsAreFoundAfterAllUsersOnes)
{
    const QString mine = userApp(QStringLiteral("Tools/Premiere.app"));
    ASSERT_TRUE(VTTestSandbox::makeApplication(mine, QStringLiteral("com.adobe.AdobePremierePro")));
    EXPECT_EQ(VTApplicationLocator::applicationPathForBundleIdentifier(QStringLiteral("com.adobe.AdobePremierePro")), mine);

    const QString shared = allUsersApp(QStringLiteral("Premiere.app"));
    ASSERT_TRUE(VTTestSandbox::makeApplication(shared, QStringLiteral("com.adobe.AdobePremierePro")));
    EXPECT_EQ(VTApplicationLocator::applicationPathForBundleIdentifier(QStringLiteral("com.adobe.AdobePremierePro")), shared);

    const QStringList bundles = VTApplicationLocator::applicationBundles();
    EXPECT_EQ(bundles, (QStringList{shared, mine}));
}

TEST_F(VTApplicationLocatorTest, BrokenAndForeignBundlesAreSkipped)
{
    // No Info.plist, a malformed one, a folder that is not an application.
    ASSERT_TRUE(VTTestSandbox::makeFolder(allUsersApp(QStringLiteral("Empty.app"))));
    ASSERT_TRUE(VTTestSandbox::makeFile(allUsersApp(QStringLiteral("Broken.app/Contents/Info.plist")),
                                        QByteArrayLiteral("<plist><dict><key>CFBundleIdentifier")));
    ASSERT_TRUE(VTTestSandbox::makeBundle(allUsersApp(QStringLiteral("Plugin.bundle")),
                                          {{QStringLiteral("CFBundleIdentifier"), QStringLiteral("com.example.plugin")}}));
    // A file named like an application is no bundle.
    ASSERT_TRUE(VTTestSandbox::makeFile(allUsersApp(QStringLiteral("File.app")), QByteArrayLiteral("x")));
    const QString binary = allUsersApp(QStringLiteral("Binary.APP"));
    ASSERT_TRUE(VTTestSandbox::makeBundle(binary, {{QStringLiteral("CFBundleIdentifier"), QStringLiteral("com.example.binary")}},
                                          VTPropertyList::Format::Binary));

    EXPECT_FALSE(VTApplicationLocator::isInstalled(QStringLiteral("com.example.plugin")));
    EXPECT_EQ(VTApplicationLocator::applicationPathForBundleIdentifier(QStringLiteral("com.example.binary")), binary);
    EXPECT_TRUE(VTApplicationLocator::bundleIdentifier(allUsersApp(QStringLiteral("Broken.app"))).isEmpty());
    EXPECT_FALSE(VTApplicationLocator::applicationBundles().contains(allUsersApp(QStringLiteral("File.app"))));
}
