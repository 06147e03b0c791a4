// The command line's "-install" on a sandboxed system, run through the same
// entry the program's main uses: which argument is the path, "-all" against
// any other word, no path, a relative path, and the exit status that stays 0
// whatever the installation reported (printed, since there is no window).

#include "VTBundleInfoReader.h"
#include "VTCommandLine.h"
#include "VTLog.h"
#include "VTPath.h"
#include "VTPluginFolders.h"
#include "VTSandboxBuilder.h"
#include "VTTestSandbox.h"

#include <QDir>
#include <QDirIterator>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace VTSandboxKind;

namespace {

class InstallCommandLineTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_sandbox.isValid());
        ASSERT_TRUE(m_downloads.isValid());
        m_builder = std::make_unique<VTSandboxBuilder>(m_sandbox.root(), m_sandbox.home());
    }
    void TearDown() override
    {
        VTBundleInfoReader::shared().waitForAll();
        VTPluginFolders::setShared(nullptr);
    }

    // Runs the command line with these arguments after the program's name;
    // answers the status and what was printed.
    std::pair<int, QString> install(const QStringList &arguments)
    {
        testing::internal::CaptureStdout();
        const std::optional<int> status =
            VTCommandLine::run(QStringList{QStringLiteral("tessary"), QStringLiteral("-install")} + arguments);
        const QString printed = QString::fromStdString(testing::internal::GetCapturedStdout());
        return {status.value_or(-1), printed};
    }

    QString downloadBundle(const QString &name)
    {
        const QString path = VTPath::join(m_downloads.path(), name);
        EXPECT_TRUE(VTTestSandbox::makeBundle(path, {{QStringLiteral("CFBundleName"), VTPath::displayName(path)}}));
        return path;
    }
    QString installed(qint64 kind, qint64 access, const QString &name) const
    {
        return VTPath::join(m_builder->folder(kind, access), name);
    }
    static bool exists(const QString &path) { return QFileInfo::exists(path); }
    // Every file of the managed system, less the log and preferences a run
    // writes.
    QStringList files() const
    {
        QStringList found;
        for (const QString &top : {m_sandbox.root(), m_sandbox.home()}) {
            QDirIterator it(top, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
            while (it.hasNext()) {
                const QString path = it.next();
                if (!path.contains(QLatin1String("/Library/Logs/")) && !path.contains(QLatin1String("/Library/Preferences/")))
                    found << path;
            }
        }
        found.sort();
        return found;
    }
    static QString log()
    {
        QFile file(VTLog::currentLogPath());
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }

    VTTestSandbox m_sandbox;
    QTemporaryDir m_downloads;
    std::unique_ptr<VTSandboxBuilder> m_builder;
};

} // namespace

TEST_F(InstallCommandLineTest, TheWordBeforeThePathChoosesTheAccess)
{
    const QString blur = downloadBundle(QStringLiteral("Blur.fxplug"));
    EXPECT_EQ(install({QStringLiteral("-all"), blur}).first, 0);
    EXPECT_TRUE(exists(installed(FxPlug, AllUsers, QStringLiteral("Blur.fxplug"))));
    EXPECT_FALSE(exists(installed(FxPlug, CurrentUser, QStringLiteral("Blur.fxplug"))));
    EXPECT_TRUE(log().contains(QStringLiteral("Installing plugins for all users: %1").arg(blur)));

    const QString glow = downloadBundle(QStringLiteral("Glow.fxplug"));
    EXPECT_EQ(install({QStringLiteral("-user"), glow}).first, 0);
    EXPECT_TRUE(exists(installed(FxPlug, CurrentUser, QStringLiteral("Glow.fxplug"))));
    EXPECT_FALSE(exists(installed(FxPlug, AllUsers, QStringLiteral("Glow.fxplug"))));
}

TEST_F(InstallCommandLineTest, OtherwiseOnlyTheArgumentAfterTheCommandIsThePath)
{
    const QString one = downloadBundle(QStringLiteral("One.fxplug"));
    const QString two = downloadBundle(QStringLiteral("Two.fxplug"));
    const QString three = downloadBundle(QStringLiteral("Three.fxplug"));

    EXPECT_EQ(install({one}).first, 0);
    EXPECT_TRUE(exists(installed(FxPlug, CurrentUser, QStringLiteral("One.fxplug"))));

    EXPECT_EQ(install({two, QStringLiteral("-all"), three}).first, 0);
    EXPECT_TRUE(exists(installed(FxPlug, CurrentUser, QStringLiteral("Two.fxplug"))));
    EXPECT_FALSE(exists(installed(FxPlug, AllUsers, QStringLiteral("Two.fxplug"))));
    EXPECT_FALSE(exists(installed(FxPlug, CurrentUser, QStringLiteral("Three.fxplug"))));
    EXPECT_FALSE(exists(installed(FxPlug, AllUsers, QStringLiteral("Three.fxplug"))));

    // Three arguments: the second word is the path, whatever the first is.
    EXPECT_EQ(install({one, three}).first, 0);
    EXPECT_TRUE(exists(installed(FxPlug, CurrentUser, QStringLiteral("Three.fxplug"))));
}

TEST_F(InstallCommandLineTest, WithoutAPathNothingIsInstalled)
{
    m_builder->createAllFolders();
    downloadBundle(QStringLiteral("Blur.fxplug"));
    const QStringList before = files();
    EXPECT_EQ(install({}).first, 0);
    EXPECT_EQ(files(), before);
    EXPECT_FALSE(log().contains(QStringLiteral("Installing plugins")));
}

TEST_F(InstallCommandLineTest, ARelativePathIsTakenFromTheWorkingFolder)
{
    downloadBundle(QStringLiteral("Blur.fxplug"));
    const QString previous = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(m_downloads.path()));
    const int status = install({QStringLiteral("Blur.fxplug")}).first;
    QDir::setCurrent(previous);
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(exists(installed(FxPlug, CurrentUser, QStringLiteral("Blur.fxplug"))));
}

TEST_F(InstallCommandLineTest, FailuresArePrintedAndTheStatusStaysZero)
{
    const QString existing = m_builder->addBundle(FxPlug, CurrentUser, QStringLiteral("Blur"));
    ASSERT_TRUE(m_builder->ok());
    const QString blur = downloadBundle(QStringLiteral("Blur.fxplug"));
    EXPECT_TRUE(VTTestSandbox::makeFile(VTPath::join(blur, QStringLiteral("Contents/Resources/new")), "new"));

    const auto [replaced, quiet] = install({blur});
    EXPECT_EQ(replaced, 0);
    EXPECT_TRUE(exists(VTPath::join(existing, QStringLiteral("Contents/Resources/new")))) << "replaced without a question";
    EXPECT_TRUE(log().contains(QStringLiteral("The file %1 already exists. Overwriting..").arg(existing)));

    const QString readMe = VTPath::join(m_downloads.path(), QStringLiteral("ReadMe.pdf"));
    ASSERT_TRUE(VTTestSandbox::makeFile(readMe, "pdf"));
    const auto [status, printed] = install({readMe});
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(printed.contains(QStringLiteral("Installation failed. The following plugins failed to install: \nReadMe.pdf")))
        << printed.toStdString();
}

TEST_F(InstallCommandLineTest, AnUnmadeFolderIsPrintedAndEndsTheInstallation)
{
    // A file where the current user's FxScript folder should begin.
    const QString fxScript = m_builder->folder(FxScript, CurrentUser);
    ASSERT_TRUE(VTTestSandbox::makeFile(VTPath::removeLastComponent(fxScript), "in the way"));
    const QString fade = VTPath::join(m_downloads.path(), QStringLiteral("Fade.txt"));
    ASSERT_TRUE(VTTestSandbox::makeFile(fade, "script"));

    const auto [status, printed] = install({fade});

    EXPECT_EQ(status, 0);
    EXPECT_TRUE(printed.contains(
        QStringLiteral("Unable to create directory %1. Please check your file permissions.").arg(fxScript)))
        << printed.toStdString();
    EXPECT_FALSE(printed.contains(QStringLiteral("Installation failed")));
}
