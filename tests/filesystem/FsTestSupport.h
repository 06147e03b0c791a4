#pragma once

// Shared parts of the file-system tests: real processes, the unprivileged
// test account, extended attributes and small file helpers.

#include "VTLog.h"
#include "VTPath.h"
#include "VTSafeFs.h"
#include "VTTestProcess.h"
#include "VTTestSandbox.h"
#include "VTTreeCopy.h"

#include <QByteArray>
#include <QDir>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <csignal>
#include <cstring>

#include <fcntl.h>
#include <pwd.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace FsTest {

inline QString binaryDir()
{
    return qEnvironmentVariable("TESSARY_BINARY_DIR");
}

inline QString helperPath()
{
    return VTPath::join(binaryDir(), QStringLiteral("Tessary.app/Contents/MacOS/tessary-helper"));
}

inline QString driverPath()
{
    return VTPath::join(binaryDir(), QStringLiteral("tests/filesystem/tessary-fs-driver"));
}

using VTTest::Process;
using VTTest::Run;

inline Run run(const QString &program, const QStringList &arguments, const QByteArray &input = QByteArray(),
               const QProcessEnvironment &environment = QProcessEnvironment::systemEnvironment(), int timeoutMs = 60000)
{
    return VTTest::run(program, arguments, {input, environment, timeoutMs, {}, false});
}

inline bool isRoot()
{
    return ::geteuid() == 0;
}

// True once no process with that id is left to run (a zombie has finished).
inline bool processIsGone(qint64 pid)
{
    if (pid <= 0)
        return false;
    if (::kill(static_cast<pid_t>(pid), 0) != 0)
        return errno == ESRCH;
    const QByteArray stat = VTTestSandbox::readFile(QStringLiteral("/proc/%1/stat").arg(pid));
    const qsizetype close = stat.lastIndexOf(')');
    return close > 0 && stat.mid(close + 2, 1) == "Z";
}

// Runs a trash-cli tool for the user whose home is `home`.
inline Run trashCli(const QString &home, const QString &tool, const QStringList &arguments = {},
                    const QByteArray &input = QByteArray())
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("HOME"), home);
    environment.remove(QStringLiteral("XDG_DATA_HOME"));
    return run(tool, arguments, input, environment);
}

// Moves this test process into a private mount namespace (once), so that it
// may mount file systems of its own; answers why that is impossible, or an
// empty text when it is done.
inline QString privateMountNamespace()
{
    static const QString problem = [] {
        if (!isRoot())
            return QStringLiteral("mounting a second file system needs root");
        if (::unshare(CLONE_NEWNS) != 0 || ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
            return QStringLiteral("no private mount namespace: %1").arg(QString::fromLocal8Bit(std::strerror(errno)));
        return QString();
    }();
    return problem;
}

struct User {
    QString name;
    uid_t uid = 0;
    gid_t gid = 0;
    [[nodiscard]] bool valid() const { return !name.isEmpty(); }
};

inline User lookUpUser(const QString &name)
{
    const passwd *entry = ::getpwnam(name.toLocal8Bit().constData());
    if (!entry)
        return {};
    return {name, entry->pw_uid, entry->pw_gid};
}

// The unprivileged accounts, created by the fixture script when running as
// root; invalid when that is not possible.
inline User testUser(const QString &name = QStringLiteral("tessary-test"))
{
    if (!isRoot())
        return {};
    static const bool prepared = run(QStringLiteral("/bin/sh"),
                                     {VTPath::join(qEnvironmentVariable("TESSARY_SOURCE_DIR"),
                                                   QStringLiteral("tests/filesystem/prepare_test_users.sh")),
                                      helperPath()})
                                     .exitCode
        == 0;
    return prepared ? lookUpUser(name) : User{};
}

// The setpriv words that run what follows them as `user` with exactly the
// given environment (plus PATH).
inline QStringList asUser(const User &user, const QStringList &environment)
{
    return QStringList{QStringLiteral("--reuid=%1").arg(user.uid), QStringLiteral("--regid=%1").arg(user.gid),
                       QStringLiteral("--init-groups"), QStringLiteral("--"), QStringLiteral("/usr/bin/env"), QStringLiteral("-i"),
                       QStringLiteral("PATH=/usr/local/bin:/usr/bin:/bin:/usr/sbin:/sbin")}
        + environment;
}

// Runs `program` as `user` with exactly the given environment (plus PATH).
inline Run runAs(const User &user, const QString &program, const QStringList &arguments, const QStringList &environment,
                 const QByteArray &input = QByteArray(), int timeoutMs = 60000)
{
    return run(QStringLiteral("/usr/bin/setpriv"), asUser(user, environment) << program << arguments, input,
               QProcessEnvironment::systemEnvironment(), timeoutMs);
}

// The shared sandbox's file helpers, by the names these tests use.
inline bool writeFile(const QString &path, const QByteArray &bytes)
{
    return VTTestSandbox::makeFile(path, bytes);
}

inline QByteArray readFile(const QString &path)
{
    return VTTestSandbox::readFile(path);
}

inline bool exists(const QString &path)
{
    struct stat st {};
    return ::lstat(VTPath::toNative(path).constData(), &st) == 0;
}

inline struct stat statOf(const QString &path)
{
    struct stat st {};
    ::lstat(VTPath::toNative(path).constData(), &st);
    return st;
}

inline bool setXattr(const QString &path, const char *name, const QByteArray &value)
{
    return ::lsetxattr(VTPath::toNative(path).constData(), name, value.constData(), static_cast<size_t>(value.size()), 0) == 0;
}

inline QByteArray getXattr(const QString &path, const char *name)
{
    char buffer[4096];
    const ssize_t n = ::lgetxattr(VTPath::toNative(path).constData(), name, buffer, sizeof buffer);
    return n < 0 ? QByteArray() : QByteArray(buffer, static_cast<int>(n));
}

inline bool chownPath(const QString &path, const User &user)
{
    return ::lchown(VTPath::toNative(path).constData(), user.uid, user.gid) == 0;
}

inline bool chmodPath(const QString &path, mode_t mode)
{
    return ::chmod(VTPath::toNative(path).constData(), mode) == 0;
}

// A bundle with an executable, a resource, an inner link and a type code in
// an extended attribute: everything a move must keep.
inline bool makeBundle(const QString &bundle)
{
    const QString contents = VTPath::join(bundle, QStringLiteral("Contents"));
    const QString executable = VTPath::join(contents, QStringLiteral("MacOS/Glow"));
    return writeFile(VTPath::join(contents, QStringLiteral("Info.plist")), "<plist><dict/></plist>\n")
        && writeFile(executable, QByteArray(70000, 'x')) && chmodPath(executable, 0755)
        && writeFile(VTPath::join(contents, QStringLiteral("Resources/en.lproj/InfoPlist.strings")), "name = Glow;\n")
        && ::symlink("MacOS/Glow", VTPath::toNative(VTPath::join(contents, QStringLiteral("Current"))).constData()) == 0
        && setXattr(bundle, "user.com.apple.FinderInfo", QByteArray("FCSCxxxx", 8));
}

// Two items hold the same names, types, link targets and bytes all the way down.
inline bool sameTree(const QString &a, const QString &b)
{
    std::string leafA, leafB;
    VTSafeFs::Fd dirA(VTSafeFs::openParent(VTPath::toNative(a).toStdString(), false, leafA));
    VTSafeFs::Fd dirB(VTSafeFs::openParent(VTPath::toNative(b).toStdString(), false, leafB));
    return dirA.valid() && dirB.valid() && VTTreeCopy::sameTree(dirA.get(), leafA, dirB.get(), leafB);
}

// A test in a sandbox (see VTTestSandbox) with a log of its own, so that it
// can read what the code under test logged.
class SandboxTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_sandbox.isValid());
        VTLog::createNewLog(QStringLiteral("tst_filesystem"));
    }
    void TearDown() override { VTLog::finishWriting(); }

    static QByteArray log()
    {
        VTLog::finishWriting();
        return readFile(VTLog::currentLogPath());
    }

    VTTestSandbox m_sandbox;
};

// A test acting as the unprivileged test accounts: m_user, whom "sudo -n"
// lets start the helper, and m_other, a second one. Both may pass through
// m_dir, which holds home/, the user's own. Skipped without root.
class AccountsTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_user = testUser();
        m_other = testUser(QStringLiteral("tessary-test-pw"));
        if (!m_user.valid() || !m_other.valid())
            GTEST_SKIP() << "needs root and the unprivileged test accounts";
        ASSERT_TRUE(m_dir.isValid());
        ASSERT_TRUE(chmodPath(m_dir.path(), 0755));
        ASSERT_TRUE(QDir().mkpath(home()));
        ASSERT_TRUE(chownPath(home(), m_user));
    }

    [[nodiscard]] QString path(const QString &relative) const { return VTPath::join(m_dir.path(), relative); }
    [[nodiscard]] QString path(const char *relative) const { return path(QString::fromUtf8(relative)); }
    [[nodiscard]] QString home(const QString &relative = QString()) const { return VTPath::join(path("home"), relative); }
    // The program's environment as the user starts it on this system.
    [[nodiscard]] QStringList environment(const QString &escalate = QStringLiteral("sudo -n")) const
    {
        return {QStringLiteral("HOME=") + home(), QStringLiteral("TESSARY_ESCALATE=") + escalate,
                QStringLiteral("TESSARY_SYSTEM_ROOT=") + m_dir.path()};
    }
    // The file-system driver, run by the user unless `as` names another.
    [[nodiscard]] FsTest::Run drive(const QStringList &arguments, const QString &escalate = QStringLiteral("sudo -n"),
                            const User *as = nullptr) const
    {
        return runAs(as ? *as : m_user, driverPath(), arguments, environment(escalate));
    }

    User m_user;
    User m_other;
    QTemporaryDir m_dir;
};

} // namespace FsTest
