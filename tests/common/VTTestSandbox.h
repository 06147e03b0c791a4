#pragma once

#include "VTPath.h"
#include "VTPropertyList.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QVariantMap>

#include <optional>
#include <utility>
#include <vector>

// A managed system for one test: a temporary folder as TESSARY_SYSTEM_ROOT
// and another as HOME, with helpers that fill them with real folders, files
// and application bundles. The environment is restored on destruction.
// Variables that would point a superuser run at another user's home
// (SUDO_USER, PKEXEC_UID) are cleared meanwhile, so a run under sudo sees
// the sandbox home too. Link tessary_platform to use it.
class VTTestSandbox
{
public:
    VTTestSandbox()
    {
        for (const char *name : {"TESSARY_SYSTEM_ROOT", "HOME", "SUDO_USER", "PKEXEC_UID"}) {
            const bool set = qEnvironmentVariableIsSet(name);
            m_saved.emplace_back(QByteArray(name), set ? std::optional<QByteArray>(qgetenv(name)) : std::nullopt);
        }
        qputenv("TESSARY_SYSTEM_ROOT", QFile::encodeName(m_root.path()));
        qputenv("HOME", QFile::encodeName(m_home.path()));
        qunsetenv("SUDO_USER");
        qunsetenv("PKEXEC_UID");
    }

    ~VTTestSandbox()
    {
        for (const auto &[name, value] : m_saved) {
            if (value)
                qputenv(name.constData(), *value);
            else
                qunsetenv(name.constData());
        }
    }

    VTTestSandbox(const VTTestSandbox &) = delete;
    VTTestSandbox &operator=(const VTTestSandbox &) = delete;

    [[nodiscard]] bool isValid() const { return m_root.isValid() && m_home.isValid(); }
    [[nodiscard]] QString root() const { return m_root.path(); }
    [[nodiscard]] QString home() const { return m_home.path(); }

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

    // A bundle folder holding Contents/Info.plist with `info` (XML form).
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
    QTemporaryDir m_root;
    QTemporaryDir m_home;
    std::vector<std::pair<QByteArray, std::optional<QByteArray>>> m_saved;
};
