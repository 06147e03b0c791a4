#pragma once

// Test fixtures shared by the platform, support and filesystem tests: an
// environment that is put back afterwards, and a temporary managed system
// (TESSARY_SYSTEM_ROOT and HOME in a QTemporaryDir).

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QString>
#include <QTemporaryDir>

#include "VTTestProcess.h"

#include <cstdio>
#include <map>
#include <optional>
#include <string>

#include <unistd.h>

// Sets or clears environment variables and restores every one it touched.
class ScopedEnvironment
{
public:
    ScopedEnvironment() = default;
    ScopedEnvironment(const ScopedEnvironment &) = delete;
    ScopedEnvironment &operator=(const ScopedEnvironment &) = delete;
    ~ScopedEnvironment()
    {
        for (const auto &[name, value] : m_saved) {
            if (value)
                qputenv(name.c_str(), *value);
            else
                qunsetenv(name.c_str());
        }
    }

    void set(const char *name, const QString &value)
    {
        remember(name);
        qputenv(name, value.toLocal8Bit());
    }

    void unset(const char *name)
    {
        remember(name);
        qunsetenv(name);
    }

private:
    void remember(const char *name)
    {
        if (m_saved.count(name))
            return;
        m_saved[name] = qEnvironmentVariableIsSet(name) ? std::optional<QByteArray>(qgetenv(name)) : std::nullopt;
    }

    std::map<std::string, std::optional<QByteArray>> m_saved;
};

// A managed system in a temporary folder: <tmp>/root stands for "/" of the
// all-users domain and <tmp>/home is HOME. The console-user variables are
// cleared so that a superuser run resolves the user domain to this HOME.
class TestSandbox
{
public:
    TestSandbox()
    {
        QDir(m_dir.path()).mkpath(QStringLiteral("root"));
        QDir(m_dir.path()).mkpath(QStringLiteral("home"));
        m_env.set("TESSARY_SYSTEM_ROOT", root());
        m_env.set("HOME", home());
        m_env.unset("SUDO_USER");
        m_env.unset("PKEXEC_UID");
        m_env.unset("XDG_DATA_HOME");
    }

    [[nodiscard]] bool isValid() const { return m_dir.isValid(); }
    [[nodiscard]] QString path() const { return m_dir.path(); }
    [[nodiscard]] QString root() const { return m_dir.path() + QStringLiteral("/root"); }
    [[nodiscard]] QString home() const { return m_dir.path() + QStringLiteral("/home"); }
    [[nodiscard]] ScopedEnvironment &environment() { return m_env; }

    // Writes a file (making its folders) and returns its path.
    QString createFile(const QString &path, const QByteArray &contents,
                       QFileDevice::Permissions permissions = QFileDevice::ReadOwner | QFileDevice::WriteOwner)
    {
        QDir().mkpath(QFileInfo(path).absolutePath());
        QFile file(path);
        if (file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
            file.write(contents);
            file.close();
            file.setPermissions(permissions | QFileDevice::ReadOwner | QFileDevice::WriteOwner);
        }
        return path;
    }

    // A shell script made executable.
    QString createScript(const QString &path, const QByteArray &body)
    {
        return createFile(path, "#!/bin/sh\n" + body,
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner
                              | QFileDevice::ReadGroup | QFileDevice::ExeGroup | QFileDevice::ReadOther
                              | QFileDevice::ExeOther);
    }

private:
    QTemporaryDir m_dir;
    ScopedEnvironment m_env;
};

// Redirects standard output to a file for the life of the object.
class CapturedStandardOutput
{
public:
    explicit CapturedStandardOutput(const QString &path)
    {
        fflush(stdout);
        m_saved = dup(STDOUT_FILENO);
        if (FILE *file = fopen(QFile::encodeName(path).constData(), "w")) {
            dup2(fileno(file), STDOUT_FILENO);
            fclose(file);
        }
    }
    CapturedStandardOutput(const CapturedStandardOutput &) = delete;
    CapturedStandardOutput &operator=(const CapturedStandardOutput &) = delete;
    ~CapturedStandardOutput()
    {
        fflush(stdout);
        dup2(m_saved, STDOUT_FILENO);
        close(m_saved);
    }

private:
    int m_saved = -1;
};

inline QByteArray readWholeFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// A Python script's exit code and its output and errors merged; -1 when
// python3 cannot be run.
struct PythonRun {
    int exitCode = -1;
    QByteArray output;
};

inline PythonRun runPython(const QString &script, const QStringList &arguments = {})
{
    const VTTest::Run run = VTTest::runPython(script, arguments);
    return {run.exitCode, run.out};
}
