// The command line's "-install" on a sandboxed system, run through the same
// entry the program's main uses: which argument is the path (the access
// words are proven end to end), no path, a relative path, and the exit
// status that stays 0 whatever the installation reported (printed, since
// there is no window). Replacing without a question is checked by the
// installation without a window.

#include "InstallTestSupport.h"

#include "VTCommandLine.h"

#include <QDirIterator>

using namespace InstallTest;

namespace {

class InstallCommandLineTest : public InstallTestBase
{
protected:
    // Runs the command line with these arguments after the program's name;
    // answers the status and what was printed.
    static std::pair<int, QString> install(const QStringList &arguments)
    {
        testing::internal::CaptureStdout();
        const std::optional<int> status =
            VTCommandLine::run(QStringList{QStringLiteral("tessary"), QStringLiteral("-install")} + arguments);
        const QString printed = QString::fromStdString(testing::internal::GetCapturedStdout());
        return {status.value_or(-1), printed};
    }
    // Every file of the managed system, less the log and preferences a run
    // writes.
    QStringList files() const
    {
        QStringList found;
        for (const QString &top : {m_env.root(), m_env.home()}) {
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
};

} // namespace

TEST_F(InstallCommandLineTest, OnlyTheArgumentAfterTheCommandIsThePath)
{
    const QString one = downloadBundle(QStringLiteral("One.fxplug"));
    const QString two = downloadBundle(QStringLiteral("Two.fxplug"));
    const QString three = downloadBundle(QStringLiteral("Three.fxplug"));

    EXPECT_EQ(install({one}).first, 0);
    EXPECT_TRUE(exists(folder(FxPlug, CurrentUser, QStringLiteral("One.fxplug"))));

    EXPECT_EQ(install({two, QStringLiteral("-all"), three}).first, 0);
    EXPECT_TRUE(exists(folder(FxPlug, CurrentUser, QStringLiteral("Two.fxplug"))));
    EXPECT_FALSE(exists(folder(FxPlug, AllUsers, QStringLiteral("Two.fxplug"))));
    EXPECT_FALSE(exists(folder(FxPlug, CurrentUser, QStringLiteral("Three.fxplug"))));
    EXPECT_FALSE(exists(folder(FxPlug, AllUsers, QStringLiteral("Three.fxplug"))));

    // Three arguments: the second word is the path, whatever the first is.
    EXPECT_EQ(install({one, three}).first, 0);
    EXPECT_TRUE(exists(folder(FxPlug, CurrentUser, QStringLiteral("Three.fxplug"))));

    // Without a path nothing at all changes (each run starts a log of its
    // own).
    const QStringList before = files();
    EXPECT_EQ(install({}).first, 0);
    EXPECT_EQ(files(), before);
    EXPECT_EQ(logCount(QStringLiteral("Installing plugins")), 0);

    // A relative path is taken from the working folder.
    downloadBundle(QStringLiteral("Blur.fxplug"));
    const QString previous = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(m_downloads.path()));
    const int status = install({QStringLiteral("Blur.fxplug")}).first;
    QDir::setCurrent(previous);
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(exists(folder(FxPlug, CurrentUser, QStringLiteral("Blur.fxplug"))));
}

// Without a window, what the installation reports is printed, and the status
// stays 0: here a folder it cannot make (an unrecognised file is printed by
// the installation without a window).
TEST_F(InstallCommandLineTest, FailuresArePrintedAndTheStatusStaysZero)
{
    // A file where the current user's FxScript folder should begin.
    const QString fxScript = builder().folder(FxScript, CurrentUser);
    ASSERT_TRUE(VTTestSandbox::makeFile(VTPath::removeLastComponent(fxScript), "in the way"));
    const auto [status, printed] = install({downloadFile(QStringLiteral("Fade.txt"))});
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(printed.contains(
        QStringLiteral("Unable to create directory %1. Please check your file permissions.").arg(fxScript)))
        << printed.toStdString();
    EXPECT_FALSE(printed.contains(QStringLiteral("Installation failed")));
}
