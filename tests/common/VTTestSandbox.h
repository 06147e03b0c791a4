#pragma once

#include "VTPath.h"
#include "VTPropertyList.h"

#include <QByteArray>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QMap>
#include <QTemporaryDir>
#include <QVariantMap>

#include <map>
#include <optional>
#include <string>

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
        qputenv(name, QFile::encodeName(value));
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

// The managed system of one test: <tmp>/root stands for "/" of the all-users
// domain (TESSARY_SYSTEM_ROOT) and <tmp>/home is HOME, with helpers that fill
// them with real folders, files and application bundles. The console-user
// variables (SUDO_USER, PKEXEC_UID) and XDG_DATA_HOME are cleared meanwhile,
// so that a superuser run resolves the user domain and its Trash to this
// home; everything is restored on destruction. The temporary folder may be
// passed through by other accounts, so tests can hand the root or the home
// to the unprivileged test account. Link tessary_platform to use it.
class VTTestSandbox
{
public:
    VTTestSandbox()
    {
        QDir(m_dir.path()).mkpath(QStringLiteral("root"));
        QDir(m_dir.path()).mkpath(QStringLiteral("home"));
        QFile::setPermissions(m_dir.path(), QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner
                                                | QFileDevice::ExeGroup | QFileDevice::ExeOther);
        m_env.set("TESSARY_SYSTEM_ROOT", root());
        m_env.set("HOME", home());
        m_env.unset("SUDO_USER");
        m_env.unset("PKEXEC_UID");
        m_env.unset("XDG_DATA_HOME");
    }

    VTTestSandbox(const VTTestSandbox &) = delete;
    VTTestSandbox &operator=(const VTTestSandbox &) = delete;

    [[nodiscard]] bool isValid() const { return m_dir.isValid(); }
    [[nodiscard]] QString path() const { return m_dir.path(); }
    [[nodiscard]] QString root() const { return m_dir.path() + QStringLiteral("/root"); }
    [[nodiscard]] QString home() const { return m_dir.path() + QStringLiteral("/home"); }
    [[nodiscard]] ScopedEnvironment &environment() { return m_env; }

    // A macOS absolute path ("/Library/...") below the sandbox root.
    [[nodiscard]] QString systemPath(const QString &macPath) const { return VTPath::join(root(), macPath); }
    // A path relative to the sandbox home ("Library/...").
    [[nodiscard]] QString homePath(const QString &relative) const { return VTPath::join(home(), relative); }

    static bool makeFolder(const QString &path) { return QDir().mkpath(path); }

    static bool makeFile(const QString &path, const QByteArray &bytes = QByteArray())
    {
        if (!QDir().mkpath(VTPath::removeLastComponent(path)))
            return false;
        QFile file(path);
        return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(bytes) == bytes.size();
    }

    static QByteArray readFile(const QString &path)
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    // The bytes of every file below `path` (hidden ones too) by relative
    // path; a plain file is the one entry "".
    static QMap<QString, QByteArray> readTree(const QString &path)
    {
        if (QFileInfo(path).isFile())
            return {{QString(), readFile(path)}};
        QMap<QString, QByteArray> files;
        QDirIterator it(path, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
        while (it.hasNext()) {
            it.next();
            files.insert(it.filePath().mid(path.size()), readFile(it.filePath()));
        }
        return files;
    }

    // Writes a file with exactly these permissions (making its folders) and
    // answers its path.
    static QString createFile(const QString &path, const QByteArray &contents,
                              QFileDevice::Permissions permissions = QFileDevice::ReadOwner | QFileDevice::WriteOwner)
    {
        if (makeFile(path, contents))
            QFile::setPermissions(path, permissions | QFileDevice::ReadOwner | QFileDevice::WriteOwner);
        return path;
    }

    // A shell script that everyone may run.
    static QString createScript(const QString &path, const QByteArray &body)
    {
        return createFile(path, "#!/bin/sh\n" + body,
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner | QFileDevice::ReadGroup
                              | QFileDevice::ExeGroup | QFileDevice::ReadOther | QFileDevice::ExeOther);
    }

    // A bundle folder holding Contents/Info.plist with `info`.
    static bool makeBundle(const QString &path, const QVariantMap &info,
                           VTPropertyList::Format format = VTPropertyList::Format::Xml)
    {
        const QString contents = VTPath::join(path, QStringLiteral("Contents"));
        return QDir().mkpath(VTPath::join(contents, QStringLiteral("MacOS")))
            && VTPropertyList::writeFile(VTPath::join(contents, QStringLiteral("Info.plist")), info, format);
    }

    // An application bundle with the given identifier and extra info keys.
    static bool makeApplication(const QString &path, const QString &bundleIdentifier, QVariantMap info = {})
    {
        info.insert(QStringLiteral("CFBundleIdentifier"), bundleIdentifier);
        info.insert(QStringLiteral("CFBundleName"), VTPath::displayName(path));
        return makeBundle(path, info);
    }

private:
    QTemporaryDir m_dir;
    ScopedEnvironment m_env;
};
