#pragma once

#include "VTPropertyList.h"
#include "VTSandboxBuilder.h"
#include "VTTestProcess.h"
#include "VTTestSandbox.h"

#include <QByteArray>
#include <QProcessEnvironment>
#include <QStringList>

#include <QDirIterator>
#include <QFile>

#include <memory>
#include <pwd.h>
#include <unistd.h>

// A sandboxed system (root and home) for end-to-end runs, and the way the
// program is run against it: as the current user (root in CI) or as the
// unprivileged test account, which may not write the all-users folders and
// reaches them only through the privileged helper ("sudo -n").
class E2ESystem
{
public:
    enum class Runner { CurrentUser, Unprivileged };

    struct Run {
        int exitCode = -1;
        QByteArray standardOutput;
        QByteArray standardError;
        [[nodiscard]] QStringList lines() const;
    };

    explicit E2ESystem(Runner runner);
    ~E2ESystem();

    [[nodiscard]] bool ready() const { return m_ready; }
    [[nodiscard]] QString whyNotReady() const { return m_whyNotReady; }
    [[nodiscard]] VTSandboxBuilder &builder() { return *m_builder; }
    [[nodiscard]] QString root() const { return m_builder->root(); }
    [[nodiscard]] QString home() const { return m_builder->home(); }
    [[nodiscard]] QString scratch() const; // a folder for install sources

    // Hands the sandbox to the runner: an unprivileged run gets the home,
    // while the system root stays root's and read-only to it.
    void finishBuilding();

    // Runs the program with the arguments after its name.
    [[nodiscard]] Run run(const QStringList &arguments, const QString &escalate = QStringLiteral("sudo -n")) const;

    // Writes an application preference (plist) into the sandbox home.
    void setPreference(const QString &key, const QVariant &value);

    // The log of the last command-line run ("Tessary.task.1.log").
    [[nodiscard]] QString taskLog() const;

    // Every path below the root and the home with its size, for before/after
    // comparisons ("nothing was touched").
    [[nodiscard]] QStringList snapshot() const;

    // The bytes of every file below a plug-in, by relative path.
    [[nodiscard]] static QMap<QString, QByteArray> contents(const QString &path);

private:
    Runner m_runner;
    VTTestSandbox m_sandbox;
    std::unique_ptr<VTSandboxBuilder> m_builder;
    bool m_ready = false;
    QString m_whyNotReady;
};

// ---- implementation (header-only: each end-to-end test is one executable) ----

inline QStringList E2ESystem::Run::lines() const
{
    return QString::fromUtf8(standardOutput).split(u'\n', Qt::SkipEmptyParts);
}

inline E2ESystem::E2ESystem(Runner runner)
    : m_runner(runner)
{
    const QString base = m_sandbox.path();
    QFile::setPermissions(base, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner
                                    | QFileDevice::ReadGroup | QFileDevice::ExeGroup | QFileDevice::ReadOther
                                    | QFileDevice::ExeOther);
    QDir(base).mkpath(QStringLiteral("scratch"));
    m_builder = std::make_unique<VTSandboxBuilder>(base + QStringLiteral("/root"), base + QStringLiteral("/home"));
    m_builder->createAllFolders();
    if (runner == Runner::CurrentUser) {
        m_ready = true;
        return;
    }
    if (geteuid() != 0) {
        m_whyNotReady = QStringLiteral("the unprivileged runs need root to set up the test account");
        return;
    }
    const int status = VTTest::execute(QStringLiteral("/bin/sh"),
                                         {qEnvironmentVariable("TESSARY_USER_FIXTURE"), qEnvironmentVariable("TESSARY_HELPER")});
    if (status != 0) {
        m_whyNotReady = QStringLiteral("the test account could not be prepared");
        return;
    }
    m_ready = true;
}

inline E2ESystem::~E2ESystem()
{
    // The unprivileged user's files and the trash are removed with the folder;
    // immutable flags set by a test would block that, so clear them.
    VTTest::execute(QStringLiteral("chattr"), {QStringLiteral("-R"), QStringLiteral("-i"), m_sandbox.path()});
}

inline QString E2ESystem::scratch() const
{
    return m_sandbox.path() + QStringLiteral("/scratch");
}

inline void E2ESystem::finishBuilding()
{
    if (m_runner != Runner::Unprivileged)
        return;
    // The home and the install sources belong to the test account; the
    // system root stays root's.
    for (const QString &path : {home(), scratch()})
        VTTest::execute(QStringLiteral("chown"), {QStringLiteral("-R"), QStringLiteral("tessary-test:"), path});
    VTTest::execute(QStringLiteral("chmod"), {QStringLiteral("-R"), QStringLiteral("go-w"), root()});
}

inline E2ESystem::Run E2ESystem::run(const QStringList &arguments, const QString &escalate) const
{
    const QString program = qEnvironmentVariable("TESSARY_PROGRAM");
    QStringList environment = {
        QStringLiteral("HOME=") + home(),
        QStringLiteral("TESSARY_SYSTEM_ROOT=") + root(),
        QStringLiteral("TESSARY_ESCALATE=") + escalate,
        QStringLiteral("PATH=/usr/sbin:/usr/bin:/sbin:/bin"),
    };
    for (const char *name : {"TSAN_OPTIONS", "ASAN_OPTIONS", "UBSAN_OPTIONS", "LANG"}) {
        if (qEnvironmentVariableIsSet(name))
            environment.append(QLatin1String(name) + u'=' + qEnvironmentVariable(name));
    }
    QStringList command;
    if (m_runner == Runner::Unprivileged) {
        command = {QStringLiteral("setpriv"), QStringLiteral("--reuid=tessary-test"),
                   QStringLiteral("--regid=tessary-test"), QStringLiteral("--clear-groups")};
    }
    command += QStringList{QStringLiteral("env"), QStringLiteral("-i")} + environment;
    command.append(program);
    command += arguments;

    VTTest::RunOptions options;
    options.workingDirectory = scratch();
    options.timeoutMs = 240000;
    const VTTest::Run done = VTTest::run(command.first(), command.mid(1), options);
    return {done.exitCode, done.out, done.err};
}

inline void E2ESystem::setPreference(const QString &key, const QVariant &value)
{
    const QString folder = home() + QStringLiteral("/Library/Preferences");
    QDir().mkpath(folder);
    const QString path = folder + QStringLiteral("/com.vantorel.Tessary.plist");
    QVariantMap preferences = VTPropertyList::readFile(path).toMap();
    preferences.insert(key, value);
    (void)VTPropertyList::writeFile(path, preferences, VTPropertyList::Format::Xml);
    if (m_runner == Runner::Unprivileged)
        VTTest::execute(QStringLiteral("chown"), {QStringLiteral("-R"), QStringLiteral("tessary-test:"), folder});
}

inline QString E2ESystem::taskLog() const
{
    // A superuser writes the all-users log, anyone else the user's own.
    const QString library = m_runner == Runner::CurrentUser && geteuid() == 0 ? root() : home();
    QFile file(library + QStringLiteral("/Library/Logs/Vantorel/Tessary.task.1.log"));
    if (!file.open(QIODevice::ReadOnly))
        return QString();
    return QString::fromUtf8(file.readAll());
}

inline QStringList E2ESystem::snapshot() const
{
    QStringList entries;
    for (const QString &top : {root(), home()}) {
        QDirIterator it(top, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                        QDirIterator::Subdirectories);
        while (it.hasNext()) {
            it.next();
            entries.append(it.filePath() + u' ' + QString::number(it.fileInfo().size()));
        }
    }
    entries.sort();
    return entries;
}

inline QMap<QString, QByteArray> E2ESystem::contents(const QString &path)
{
    QMap<QString, QByteArray> files;
    if (QFileInfo(path).isFile()) {
        QFile file(path);
        if (file.open(QIODevice::ReadOnly))
            files.insert(QString(), file.readAll());
        return files;
    }
    QDirIterator it(path, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        it.next();
        QFile file(it.filePath());
        if (file.open(QIODevice::ReadOnly))
            files.insert(it.filePath().mid(path.size()), file.readAll());
    }
    return files;
}
