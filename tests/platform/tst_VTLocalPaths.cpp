#include "VTTestSandbox.h"
#include "VTLocalPaths.h"

#include <QSet>
#include <QUuid>

#include <gtest/gtest.h>

#include <pwd.h>
#include <unistd.h>

namespace {

struct SystemFolderCase {
    const char *name;
    QString path;
    bool expected;
    bool expectedExact;
};

void checkSystemFolders(const std::vector<SystemFolderCase> &cases)
{
    for (const SystemFolderCase &c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(VTLocalPaths::isPathSystemDirectory(c.path), c.expected) << c.path.toStdString();
        EXPECT_EQ(VTLocalPaths::isPathSystemDirectory(c.path, true), c.expectedExact) << c.path.toStdString();
    }
}

} // namespace

TEST(VTLocalPaths, StandardFoldersLiveUnderTheRootAndHome)
{
    VTTestSandbox sandbox;
    const QString root = sandbox.root();
    const QString home = sandbox.home();
    EXPECT_EQ(VTLocalPaths::systemRoot(), root);
    EXPECT_EQ(VTLocalPaths::libraryDirectory(false), root + QStringLiteral("/Library"));
    EXPECT_EQ(VTLocalPaths::appSupportDirectory(false), root + QStringLiteral("/Library/Application Support"));
    EXPECT_EQ(VTLocalPaths::applicationDirectory(false), root + QStringLiteral("/Applications"));
    EXPECT_EQ(VTLocalPaths::adminApplicationDirectory(false), root + QStringLiteral("/Applications/Utilities"));
    EXPECT_EQ(VTLocalPaths::systemLibraryDirectory(), root + QStringLiteral("/System/Library"));
    EXPECT_EQ(VTLocalPaths::localDocumentationDirectory(), root + QStringLiteral("/Library/Documentation"));
    EXPECT_EQ(VTLocalPaths::logDirectory(false), root + QStringLiteral("/Library/Logs"));

    EXPECT_EQ(VTLocalPaths::libraryDirectory(true), home + QStringLiteral("/Library"));
    EXPECT_EQ(VTLocalPaths::prefsDirectory(true), home + QStringLiteral("/Library/Preferences"));
    EXPECT_EQ(VTLocalPaths::cacheDirectory(true), home + QStringLiteral("/Library/Caches"));
    EXPECT_EQ(VTLocalPaths::logDirectory(true), home + QStringLiteral("/Library/Logs"));
    EXPECT_EQ(VTLocalPaths::movieDirectory(), home + QStringLiteral("/Movies"));
    EXPECT_EQ(VTLocalPaths::desktopDirectory(), home + QStringLiteral("/Desktop"));
    EXPECT_EQ(VTLocalPaths::documentDirectory(true), home + QStringLiteral("/Documents"));
    EXPECT_EQ(VTLocalPaths::userDirectory(), home);
    EXPECT_EQ(VTLocalPaths::trashDirectory(), home + QStringLiteral("/.local/share/Trash/files"));

    // Mapping a macOS path in and out of the root.
    EXPECT_EQ(VTLocalPaths::systemPath(QStringLiteral("/Library/Plug-Ins")), root + QStringLiteral("/Library/Plug-Ins"));
    EXPECT_EQ(VTLocalPaths::stripSystemRoot(root + QStringLiteral("/Library/Plug-Ins")), QStringLiteral("/Library/Plug-Ins"));
    EXPECT_EQ(VTLocalPaths::stripSystemRoot(root), QStringLiteral("/"));
    EXPECT_EQ(VTLocalPaths::stripSystemRoot(QStringLiteral("/etc/passwd")), QStringLiteral("/etc/passwd"));
    EXPECT_EQ(VTLocalPaths::stripSystemRoot(root + QStringLiteral("x/Library")), root + QStringLiteral("x/Library"));

    // A root given with a trailing or doubled separator means the same folder.
    sandbox.environment().set("TESSARY_SYSTEM_ROOT", root + QStringLiteral("//"));
    EXPECT_EQ(VTLocalPaths::libraryDirectory(false), root + QStringLiteral("/Library"));

    sandbox.environment().unset("TESSARY_SYSTEM_ROOT");
    EXPECT_EQ(VTLocalPaths::systemRoot(), QStringLiteral("/"));
    EXPECT_EQ(VTLocalPaths::libraryDirectory(false), QStringLiteral("/Library"));
    EXPECT_EQ(VTLocalPaths::systemPath(QStringLiteral("/Library")), QStringLiteral("/Library"));
}

TEST(VTLocalPaths, SuperuserSeesTheConsoleUsersFolders)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs the superuser (run the tests as root to cover the root correction)";
    const passwd *entry = getpwnam("nobody");
    if (!entry)
        GTEST_SKIP() << "no account named nobody";
    // Copied at once: the code under test reads the same static entry.
    const QString nobody = QString::fromLocal8Bit(entry->pw_name);
    const QString home = QString::fromLocal8Bit(entry->pw_dir);
    const uid_t uid = entry->pw_uid;

    VTTestSandbox sandbox;
    sandbox.environment().set("SUDO_USER", nobody);
    EXPECT_EQ(VTLocalPaths::currentConsoleUser(), nobody);
    EXPECT_EQ(VTLocalPaths::username(), nobody);
    EXPECT_EQ(VTLocalPaths::userDirectory(), home);
    EXPECT_EQ(VTLocalPaths::appSupportDirectory(true), home + QStringLiteral("/Library/Application Support"));
    EXPECT_EQ(VTLocalPaths::prefsDirectory(true), home + QStringLiteral("/Library/Preferences"));
    EXPECT_EQ(VTLocalPaths::movieDirectory(), home + QStringLiteral("/Movies"));
    // The all-users domain does not move.
    EXPECT_EQ(VTLocalPaths::appSupportDirectory(false), sandbox.root() + QStringLiteral("/Library/Application Support"));
    // Root's own data folder is not the console user's trash.
    sandbox.environment().set("XDG_DATA_HOME", sandbox.home() + QStringLiteral("/data"));
    EXPECT_EQ(VTLocalPaths::trashDirectory(), home + QStringLiteral("/.local/share/Trash/files"));

    // Root's home in the macOS places is cut off before the join.
    for (const char *rootHome : {"/var/root", "/private/var/root"}) {
        SCOPED_TRACE(rootHome);
        sandbox.environment().set("HOME", QString::fromLatin1(rootHome));
        EXPECT_EQ(VTLocalPaths::libraryDirectory(true), home + QStringLiteral("/Library"));
        EXPECT_EQ(VTLocalPaths::cacheDirectory(true), home + QStringLiteral("/Library/Caches"));
    }
    sandbox.environment().set("HOME", sandbox.home());

    // pkexec names the user by id.
    sandbox.environment().unset("SUDO_USER");
    sandbox.environment().set("PKEXEC_UID", QString::number(uid));
    EXPECT_EQ(VTLocalPaths::currentConsoleUser(), nobody);
    EXPECT_EQ(VTLocalPaths::libraryDirectory(true), home + QStringLiteral("/Library"));

    // The login window is nobody at the console.
    sandbox.environment().set("SUDO_USER", QStringLiteral("loginwindow"));
    EXPECT_EQ(VTLocalPaths::currentConsoleUser(), QString());
}

TEST(VTLocalPaths, SystemFoldersInASandboxAndWithTheRealRoot)
{
    VTTestSandbox sandbox;
    const QString root = sandbox.root();
    checkSystemFolders({
        {"the sandbox root", root, true, true},
        {"library", root + QStringLiteral("/Library"), true, true},
        {"library with slash", root + QStringLiteral("/Library/"), false, false},
        {"usr local", root + QStringLiteral("/usr/local"), true, false},
        {"volumes", root + QStringLiteral("/Volumes"), true, true},
        {"volumes with slash", root + QStringLiteral("/Volumes/"), false, false},
        {"shared users", root + QStringLiteral("/Users/Shared"), true, true},
        {"system", root + QStringLiteral("/System/Library/Frameworks"), true, false},
        {"plug-in folder", root + QStringLiteral("/Library/Plug-Ins/FxPlug"), false, false},
        {"host usr stays protected", QStringLiteral("/usr/local"), true, false},
    });

    sandbox.environment().unset("TESSARY_SYSTEM_ROOT");
    const QString home = sandbox.home();
    checkSystemFolders({
        {"the root", QStringLiteral("/"), true, true},
        {"too short", QStringLiteral("/a"), false, false},
        {"all-users library", QStringLiteral("/Library"), true, true},
        {"trailing slash is cut by two", QStringLiteral("/Library/"), false, false},
        {"application support", QStringLiteral("/Library/Application Support"), true, true},
        {"caches", QStringLiteral("/Library/Caches"), true, true},
        {"plug-in folder", QStringLiteral("/Library/Plug-Ins/FxPlug"), false, false},
        {"applications", QStringLiteral("/Applications"), true, true},
        {"utilities", QStringLiteral("/Applications/Utilities"), true, true},
        {"usr local is below usr", QStringLiteral("/usr/local"), true, false},
        {"private var", QStringLiteral("/private/var/folders"), true, false},
        {"system library", QStringLiteral("/System/Library"), true, true},
        {"below system", QStringLiteral("/System/Library/Extensions"), true, false},
        {"volumes", QStringLiteral("/Volumes"), true, true},
        {"volumes with slash", QStringLiteral("/Volumes/"), false, false},
        {"a volume", QStringLiteral("/Volumes/Backup"), false, false},
        {"shared users", QStringLiteral("/Users/Shared"), true, true},
        {"home", home, true, true},
        {"home documents", home + QStringLiteral("/Documents"), true, true},
        {"home desktop", home + QStringLiteral("/Desktop"), true, true},
        {"home preferences", home + QStringLiteral("/Library/Preferences"), true, true},
        {"home plug-ins", home + QStringLiteral("/Library/Plug-Ins/FxPlug"), false, false},
    });
}

TEST(VTLocalPaths, SandboxBelowVarIsNotAllProtected)
{
    // A root that itself lies below /var must be judged by the places inside it.
    QTemporaryDir varDir(QStringLiteral("/var/tmp/tessary-paths-XXXXXX"));
    if (!varDir.isValid())
        GTEST_SKIP() << "cannot create a folder below /var/tmp";
    VTTestSandbox sandbox;
    sandbox.environment().set("TESSARY_SYSTEM_ROOT", varDir.path());
    checkSystemFolders({
        {"plug-in folder", varDir.path() + QStringLiteral("/Library/Plug-Ins/FxPlug"), false, false},
        {"var inside the root", varDir.path() + QStringLiteral("/var/db"), true, false},
        {"host var", QStringLiteral("/var/log"), true, false},
    });
}

TEST(VTLocalPaths, TimeMachineVolumes)
{
    VTTestSandbox sandbox;
    EXPECT_TRUE(VTLocalPaths::isPathOnTimeMachineVolume(QStringLiteral("/Volumes/Backup/Backups.backupdb/mac/Latest")));
    EXPECT_TRUE(VTLocalPaths::isPathOnTimeMachineVolume(QStringLiteral("/Volumes/Backup/Backups.backupdb")));
    EXPECT_TRUE(VTLocalPaths::isPathOnTimeMachineVolume(sandbox.root() + QStringLiteral("/Volumes/B/Backups.backupdb/x")));
    EXPECT_FALSE(VTLocalPaths::isPathOnTimeMachineVolume(QStringLiteral("/Volumes/Backup/Backups.backupdbX/mac")));
    EXPECT_FALSE(VTLocalPaths::isPathOnTimeMachineVolume(QStringLiteral("/Volumes/Backup/Old Backups.backupdb")));
    EXPECT_FALSE(VTLocalPaths::isPathOnTimeMachineVolume(QStringLiteral("/Backups.backupdb/mac")));
    EXPECT_FALSE(VTLocalPaths::isPathOnTimeMachineVolume(QStringLiteral("/VolumesX/Backups.backupdb")));
    EXPECT_FALSE(VTLocalPaths::isPathOnTimeMachineVolume(QStringLiteral("/Volumes/Data/Library")));
}

TEST(VTLocalPaths, TemporaryNamesAndRandomText)
{
    const QString alphabet = QStringLiteral("abcdefghijklmnopqrstuvwxyz0123456789");
    EXPECT_EQ(VTLocalPaths::randomString(0), QString());
    QSet<QChar> seen;
    const QString text = VTLocalPaths::randomString(5000);
    ASSERT_EQ(text.size(), 5000);
    for (const QChar c : text) {
        ASSERT_TRUE(alphabet.contains(c)) << "unexpected character " << int(c.unicode());
        seen.insert(c);
    }
    // 5000 draws leave none of the 36 characters out unless the index is wrong.
    EXPECT_EQ(seen.size(), 36);

    const QString first = VTLocalPaths::tempFile();
    const QString second = VTLocalPaths::tempFile();
    EXPECT_NE(first, second);
    for (const QString &path : {first, second}) {
        EXPECT_TRUE(path.startsWith(VTLocalPaths::tempDirectory() + u'/')) << path.toStdString();
        const QString name = path.mid(VTLocalPaths::tempDirectory().size() + 1);
        ASSERT_EQ(name.size(), 36 + 8) << name.toStdString();
        EXPECT_FALSE(QUuid::fromString(name.left(36)).isNull()) << name.toStdString();
        for (const QChar c : name.mid(36))
            EXPECT_TRUE(alphabet.contains(c)) << name.toStdString();
    }
    EXPECT_NE(VTLocalPaths::uuid(), VTLocalPaths::uuid());
}
