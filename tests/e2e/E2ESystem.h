#pragma once

#include "../filesystem/FsTestSupport.h"
#include "VTPropertyList.h"
#include "VTSandboxBuilder.h"
#include "VTTestSandbox.h"

#include <QDirIterator>
#include <QFile>

#include <memory>
#include <string>

// A sandboxed system (root and home) for end-to-end runs, and the way the
// program is run against it: as the current user (root in CI) or as the
// unprivileged test account, which may not write the all-users folders and
// reaches them only through the privileged helper ("sudo -n").
class E2ESystem
{
public:
    enum class Runner { CurrentUser, Unprivileged };

    struct Run : VTTest::Run {
        [[nodiscard]] QStringList lines() const { return QString::fromUtf8(out).split(u'\n', Qt::SkipEmptyParts); }
    };

    explicit E2ESystem(Runner runner) : m_runner(runner)
    {
        QFile::setPermissions(m_sandbox.path(), QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner
                                                    | QFileDevice::ReadGroup | QFileDevice::ExeGroup
                                                    | QFileDevice::ReadOther | QFileDevice::ExeOther);
        QDir(m_sandbox.path()).mkpath(QStringLiteral("scratch"));
        m_builder.createAllFolders();
        if (runner == Runner::Unprivileged && !FsTest::isRoot())
            m_whyNotReady = QStringLiteral("the unprivileged runs need root to set up the test account");
        else if (runner == Runner::Unprivileged && !FsTest::testUser().valid())
            m_whyNotReady = QStringLiteral("the test account could not be prepared");
    }
    ~E2ESystem()
    {
        // The unprivileged user's files and the trash are removed with the
        // folder; immutable flags set by a test would block that.
        VTTest::execute(QStringLiteral("chattr"), {QStringLiteral("-R"), QStringLiteral("-i"), m_sandbox.path()});
    }

    [[nodiscard]] bool ready() const { return m_whyNotReady.isEmpty(); }
    [[nodiscard]] QString whyNotReady() const { return m_whyNotReady; }
    [[nodiscard]] VTSandboxBuilder &builder() { return m_builder; }
    [[nodiscard]] QString root() const { return m_builder.root(); }
    [[nodiscard]] QString home() const { return m_builder.home(); }
    // A folder for install sources.
    [[nodiscard]] QString scratch() const { return m_sandbox.path() + QStringLiteral("/scratch"); }

    // Hands the sandbox to the runner: an unprivileged run gets the home and
    // the install sources, while the system root stays root's and read-only
    // to it. Answers what the builder could not make (empty when all is there).
    [[nodiscard]] std::string finishBuilding()
    {
        if (m_runner == Runner::Unprivileged) {
            for (const QString &path : {home(), scratch()})
                VTTest::execute(QStringLiteral("chown"), {QStringLiteral("-R"), QStringLiteral("tessary-test:"), path});
            VTTest::execute(QStringLiteral("chmod"), {QStringLiteral("-R"), QStringLiteral("go-w"), root()});
        }
        return m_builder.errors().join(u'\n').toStdString();
    }

    // Runs the program with the arguments after its name, on the system root
    // or on `movedRoot` where the test moved it.
    [[nodiscard]] Run run(const QStringList &arguments, const QString &movedRoot = QString()) const
    {
        QStringList command;
        if (m_runner == Runner::Unprivileged) {
            command = {QStringLiteral("setpriv"), QStringLiteral("--reuid=tessary-test"),
                       QStringLiteral("--regid=tessary-test"), QStringLiteral("--clear-groups")};
        }
        command += {QStringLiteral("env"), QStringLiteral("-i"), QStringLiteral("HOME=") + home(),
                    QStringLiteral("TESSARY_SYSTEM_ROOT=") + (movedRoot.isEmpty() ? root() : movedRoot),
                    QStringLiteral("TESSARY_ESCALATE=sudo -n"),
                    QStringLiteral("PATH=/usr/sbin:/usr/bin:/sbin:/bin")};
        for (const char *name : {"TSAN_OPTIONS", "ASAN_OPTIONS", "UBSAN_OPTIONS", "LANG"}) {
            if (qEnvironmentVariableIsSet(name))
                command.append(QLatin1String(name) + u'=' + qEnvironmentVariable(name));
        }
        command += QStringList{qEnvironmentVariable("TESSARY_PROGRAM")} + arguments;
        VTTest::RunOptions options;
        options.workingDirectory = scratch();
        options.timeoutMs = 240000;
        return {VTTest::run(command.first(), command.mid(1), options)};
    }

    // Writes an application preference (plist) into the sandbox home.
    void setPreference(const QString &key, const QVariant &value)
    {
        const QString folder = home() + QStringLiteral("/Library/Preferences");
        const QString path = folder + QStringLiteral("/com.vantorel.Tessary.plist");
        QDir().mkpath(folder);
        QVariantMap preferences = VTPropertyList::readFile(path).toMap();
        preferences.insert(key, value);
        (void)VTPropertyList::writeFile(path, preferences, VTPropertyList::Format::Xml);
        if (m_runner == Runner::Unprivileged)
            VTTest::execute(QStringLiteral("chown"), {QStringLiteral("-R"), QStringLiteral("tessary-test:"), folder});
    }

    // The log of the last command-line run ("Tessary.task.1.log"): a
    // superuser writes the all-users log, anyone else the user's own.
    [[nodiscard]] QString taskLog() const
    {
        const QString library = m_runner == Runner::CurrentUser && FsTest::isRoot() ? root() : home();
        return QString::fromUtf8(VTTestSandbox::readFile(library + QStringLiteral("/Library/Logs/Vantorel/Tessary.task.1.log")));
    }

    // Every path below the root and the home with its size, for before/after
    // comparisons ("nothing was touched").
    [[nodiscard]] QStringList snapshot() const
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

private:
    Runner m_runner;
    VTTestSandbox m_sandbox;
    VTSandboxBuilder m_builder{m_sandbox.root(), m_sandbox.home()};
    QString m_whyNotReady;
};
