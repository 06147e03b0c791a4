// Installations the window asks for, as model operations: a drop on the tree
// (offered or not, the row dropped on as the target), files opened with the
// application, the "installNewPlugins" notification and the access question.

#include "InstallTestSupport.h"

#include "VTInstallRequests.h"

using namespace InstallTest;

namespace {

class InstallRequestsTest : public InstallTestBase
{
protected:
    void SetUp() override
    {
        InstallTestBase::SetUp();
        QObject::connect(&requests(), &VTInstallRequests::installNewPlugins, &requests(),
                         [this](const QVariantMap &userInfo) { m_notifications << userInfo; });
    }

    VTInstallRequests &requests() { return operations().installRequests(); }

    QString question(const char *subject) const
    {
        return QStringLiteral("alert:Would you like to make %1 available to all users or just the current user?||"
                              "Current User,All Users,Cancel")
            .arg(QLatin1String(subject));
    }

    QList<QVariantMap> m_notifications;
};

} // namespace

TEST_F(InstallRequestsTest, ADropOnAGroupRowInstallsIntoThatGroupAndOneBelowTheRowsAtTheTopLevel)
{
    bundle(QStringLiteral("Inside"), QStringLiteral("Color"), true, FxPlug, CurrentUser);
    reload();
    const GroupPtr color = group(QStringLiteral("Color"));
    ASSERT_TRUE(color);
    view().selection = {plugin(QStringLiteral("Inside.fxplug"))};

    // Refused unless every file can be installed.
    const QString readMe = downloadFile(QStringLiteral("ReadMe.pdf"));
    EXPECT_FALSE(requests().dropFiles({downloadBundle(QStringLiteral("A.fxplug")), readMe}, nullptr));
    EXPECT_TRUE(m_notifications.isEmpty());
    EXPECT_TRUE(alerts().isEmpty());
    EXPECT_FALSE(logged(QStringLiteral("User dropped new plugins. Installing...")));
    EXPECT_FALSE(exists(folder(FxPlug, CurrentUser, QStringLiteral("A.fxplug"))));

    ui().answerNext(VTUserInterface::FirstButton);

    EXPECT_TRUE(requests().dropFiles({downloadBundle(QStringLiteral("A.fxplug"))}, nullptr));
    waitForOperations();
    EXPECT_TRUE(view().selection.isEmpty()) << "an earlier selection must not pick the group";
    EXPECT_EQ(alerts().value(0), question("this plugin"));
    EXPECT_TRUE(exists(folder(FxPlug, CurrentUser, QStringLiteral("A.fxplug"))));
    EXPECT_FALSE(exists(folder(FxPlug, CurrentUser, QStringLiteral("Color/A.fxplug"))));

    ui().clear();
    m_notifications.clear();
    const QStringList dropped{downloadBundle(QStringLiteral("B.fxplug")), downloadFile(QStringLiteral("C.txt"))};
    ui().answerNext(VTUserInterface::SecondButton);
    EXPECT_TRUE(requests().dropFiles(dropped, color));
    waitForOperations();
    EXPECT_EQ(view().selection, QList<ItemPtr>{color}) << "the row dropped on is selected";
    ASSERT_EQ(m_notifications.size(), 1);
    EXPECT_EQ(m_notifications.first().value(QStringLiteral("fileList")).toStringList(), dropped);
    EXPECT_EQ(alerts().value(0), question("these plugins"));
    EXPECT_TRUE(exists(folder(FxPlug, AllUsers, QStringLiteral("Color/B.fxplug"))));
    EXPECT_TRUE(exists(folder(FxScript, AllUsers, QStringLiteral("Color/C.txt"))));
    const QStringList log = logLines();
    const qsizetype dropLine = log.indexOf(QStringLiteral("User dropped new plugins. Installing..."));
    const qsizetype askLine =
        log.indexOf(QStringLiteral("Asking whether to install plugins for the current user or all users..."));
    ASSERT_GE(dropLine, 0);
    EXPECT_GT(askLine, dropLine);
    EXPECT_EQ(reloadRequests(), 2);
}

TEST_F(InstallRequestsTest, OpenedFilesArePendingUntilInstalledOrCancelled)
{
    // A notification without files asks nothing.
    requests().installNewPluginsReceived(QVariantMap{{QStringLiteral("other"), QStringList{QStringLiteral("/x.fxplug")}}});
    requests().openFiles({});
    waitForOperations();
    EXPECT_TRUE(alerts().isEmpty());
    EXPECT_TRUE(m_notifications.isEmpty());

    const QString blur = downloadBundle(QStringLiteral("Blur.fxplug"));
    ui().answerNext(VTUserInterface::ThirdButton);

    requests().openFiles({blur});
    waitForOperations();

    ASSERT_EQ(m_notifications.size(), 1);
    EXPECT_EQ(m_notifications.first().value(QStringLiteral("fileList")).toStringList(), QStringList{blur});
    EXPECT_EQ(alerts(), QStringList{question("this plugin")});
    EXPECT_FALSE(exists(folder(FxPlug, CurrentUser, QStringLiteral("Blur.fxplug"))));
    EXPECT_FALSE(exists(folder(FxPlug, AllUsers, QStringLiteral("Blur.fxplug"))));
    EXPECT_TRUE(installation().pendingInstallList().isEmpty());
    EXPECT_EQ(reloadRequests(), 0);

    // Answered this time: the list stays pending while the file is
    // installed and is cleared when the installation has ended.
    QStringList pendingWhileInstalling;
    ui().setOnIncrement([&](int) { pendingWhileInstalling = installation().pendingInstallList(); });
    ui().answerNext(VTUserInterface::FirstButton);
    requests().openFiles({blur});
    waitForOperations();
    EXPECT_EQ(pendingWhileInstalling, QStringList{blur});
    EXPECT_TRUE(exists(folder(FxPlug, CurrentUser, QStringLiteral("Blur.fxplug"))));
    EXPECT_TRUE(installation().pendingInstallList().isEmpty());
}
