#pragma once

// Shared parts of the file-system tests: real processes, the unprivileged
// test account, extended attributes and small file helpers.

#include "VTPath.h"
#include "VTSafeFs.h"
#include "VTTestProcess.h"
#include "VTTreeCopy.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <fcntl.h>
#include <pwd.h>
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

// Runs `program` as `user` with exactly the given environment (plus PATH).
inline Run runAs(const User &user, const QString &program, const QStringList &arguments, const QStringList &environment,
                 const QByteArray &input = QByteArray(), int timeoutMs = 60000)
{
    QStringList command = {QStringLiteral("--reuid=%1").arg(user.uid), QStringLiteral("--regid=%1").arg(user.gid),
                           QStringLiteral("--init-groups"), QStringLiteral("--"), QStringLiteral("/usr/bin/env"),
                           QStringLiteral("-i"), QStringLiteral("PATH=/usr/local/bin:/usr/bin:/bin:/usr/sbin:/sbin")};
    command << environment << program << arguments;
    return run(QStringLiteral("/usr/bin/setpriv"), command, input, QProcessEnvironment::systemEnvironment(), timeoutMs);
}

inline bool writeFile(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(VTPath::removeLastComponent(path));
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(bytes) == bytes.size();
}

inline QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
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

} // namespace FsTest
