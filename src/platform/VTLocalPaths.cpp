#include "VTLocalPaths.h"

#include "VTPath.h"

#include <QDir>
#include <QFile>
#include <QUuid>

#include <climits>
#include <cstdlib>
#include <ctime>
#include <pwd.h>
#include <unistd.h>

namespace {

QString homeOfUser(const QString &name)
{
    if (name.isEmpty())
        return QString();
    struct passwd entry {};
    struct passwd *found = nullptr;
    char buffer[4096];
    if (getpwnam_r(name.toLocal8Bit().constData(), &entry, buffer, sizeof buffer, &found) != 0 || !found)
        return QString();
    return QFile::decodeName(found->pw_dir);
}

QString nameOfUid(uid_t uid)
{
    struct passwd entry {};
    struct passwd *found = nullptr;
    char buffer[4096];
    if (getpwuid_r(uid, &entry, buffer, sizeof buffer, &found) != 0 || !found)
        return QString();
    return QString::fromLocal8Bit(found->pw_name);
}

// The user of the active graphical or console session, as systemd-logind
// records it; empty when logind keeps no sessions (containers, CI).
QString activeSessionUser()
{
    const QDir sessions(QStringLiteral("/run/systemd/sessions"));
    const QStringList names = sessions.entryList(QDir::Files);
    for (const QString &name : names) {
        QFile file(sessions.filePath(name));
        if (!file.open(QIODevice::ReadOnly))
            continue;
        bool active = false;
        QString user;
        const QList<QByteArray> lines = file.readAll().split('\n');
        for (const QByteArray &line : lines) {
            if (line == "ACTIVE=1")
                active = true;
            else if (line.startsWith("USER="))
                user = QString::fromLocal8Bit(line.mid(5));
        }
        if (active && !user.isEmpty())
            return user;
    }
    return QString();
}

} // namespace

QString VTLocalPaths::systemRoot()
{
    const QString root = VTPath::normalize(qEnvironmentVariable("TESSARY_SYSTEM_ROOT"));
    return root.isEmpty() ? QStringLiteral("/") : root;
}

QString VTLocalPaths::systemPath(const QString &macPath)
{
    return VTPath::join(systemRoot(), macPath);
}

QString VTLocalPaths::stripSystemRoot(const QString &path)
{
    const QString root = systemRoot();
    if (root == QLatin1String("/") || !VTPath::isInside(path, root))
        return path;
    const QString rest = path.mid(root.size());
    return rest.isEmpty() ? QStringLiteral("/") : rest;
}

QString VTLocalPaths::mirrorPath(const QString &disabledRoot, const QString &path)
{
    return VTPath::mirror(disabledRoot, stripSystemRoot(path));
}

QString VTLocalPaths::unmirrorPath(const QString &disabledRoot, const QString &mirrored)
{
    const QString root = systemRoot();
    return unmirrorPath(disabledRoot, mirrored, root, root == QLatin1String("/") ? QString() : userDirectory());
}

QString VTLocalPaths::unmirrorPath(const QString &disabledRoot, const QString &mirrored, const QString &root,
                                   const QString &home)
{
    if (!VTPath::isInside(mirrored, disabledRoot) || mirrored.size() <= disabledRoot.size() + 1)
        return QString();
    const QString recorded = mirrored.mid(disabledRoot.endsWith(u'/') ? disabledRoot.size() - 1 : disabledRoot.size());
    if (root == QLatin1String("/"))
        return recorded;
    if (!VTPath::isInside(home, root) && VTPath::isInside(recorded, home))
        return recorded;
    return VTPath::join(root, recorded);
}

QString VTLocalPaths::escalateCommand()
{
    const QString command = qEnvironmentVariable("TESSARY_ESCALATE");
    return command.isEmpty() ? QStringLiteral("pkexec") : command;
}

bool VTLocalPaths::isSuperuser()
{
    return geteuid() == 0;
}

QString VTLocalPaths::processHome()
{
    const QString home = qEnvironmentVariable("HOME");
    if (!home.isEmpty())
        return VTPath::normalize(home);
    struct passwd entry {};
    struct passwd *found = nullptr;
    char buffer[4096];
    if (getpwuid_r(geteuid(), &entry, buffer, sizeof buffer, &found) == 0 && found)
        return QFile::decodeName(found->pw_dir);
    return QStringLiteral("/");
}

// The Linux form of the standard-directory search: the macOS layout below the
// process's home for the user domain and below the system root for the local
// domain. Kinds a domain does not have give an empty path.
QString VTLocalPaths::searchPath(Directory directory, bool forUser)
{
    const QString base = forUser ? processHome() : systemRoot();
    switch (directory) {
    case Directory::Applications:
        return VTPath::join(base, QStringLiteral("Applications"));
    case Directory::AdminApplications:
        return VTPath::join(base, QStringLiteral("Applications/Utilities"));
    case Directory::Documents:
        return forUser ? VTPath::join(base, QStringLiteral("Documents")) : QString();
    case Directory::Library:
        return VTPath::join(base, QStringLiteral("Library"));
    case Directory::Caches:
        return VTPath::join(base, QStringLiteral("Library/Caches"));
    case Directory::ApplicationSupport:
        return VTPath::join(base, QStringLiteral("Library/Application Support"));
    case Directory::Movies:
        return forUser ? VTPath::join(base, QStringLiteral("Movies")) : QString();
    case Directory::Desktop:
        return forUser ? VTPath::join(base, QStringLiteral("Desktop")) : QString();
    case Directory::Documentation:
        return VTPath::join(base, QStringLiteral("Library/Documentation"));
    }
    return QString();
}

QString VTLocalPaths::pathForDirectory(Directory directory, bool forUser)
{
    const QString found = searchPath(directory, forUser);
    if (found.isEmpty() || !forUser || !isSuperuser())
        return found;
    // A superuser run must see the console user's folders, not root's own:
    // cut root's home off the front and join the rest to the user's home.
    // Root's home is /var/root (or /private/var/root) in the macOS layout and
    // HOME here; the whole prefix goes, component by component.
    QString rest = found;
    const QString ownHome = processHome();
    for (const QString &rootHome : {QStringLiteral("/var/root"), QStringLiteral("/private/var/root"), ownHome}) {
        if (rootHome != QLatin1String("/") && VTPath::isInside(rest, rootHome)) {
            rest = rest.mid(rootHome.size());
            break;
        }
    }
    return VTPath::join(userDirectory(), rest);
}

QString VTLocalPaths::applicationDirectory(bool forUser)
{
    return pathForDirectory(Directory::Applications, forUser);
}

QString VTLocalPaths::adminApplicationDirectory(bool forUser)
{
    return pathForDirectory(Directory::AdminApplications, forUser);
}

QString VTLocalPaths::documentDirectory(bool forUser)
{
    return pathForDirectory(Directory::Documents, forUser);
}

QString VTLocalPaths::libraryDirectory(bool forUser)
{
    return pathForDirectory(Directory::Library, forUser);
}

QString VTLocalPaths::prefsDirectory(bool forUser)
{
    return VTPath::join(libraryDirectory(forUser), QStringLiteral("Preferences"));
}

QString VTLocalPaths::cacheDirectory(bool forUser)
{
    return pathForDirectory(Directory::Caches, forUser);
}

QString VTLocalPaths::appSupportDirectory(bool forUser)
{
    return pathForDirectory(Directory::ApplicationSupport, forUser);
}

QString VTLocalPaths::logDirectory(bool forUser)
{
    return VTPath::join(libraryDirectory(forUser), QStringLiteral("Logs"));
}

QString VTLocalPaths::darwinCacheDirectory()
{
    const QString cache = qEnvironmentVariable("XDG_CACHE_HOME");
    if (!cache.isEmpty())
        return cache;
    const QString home = processHome();
    return home.isEmpty() ? QString() : VTPath::join(home, QStringLiteral(".cache"));
}

QString VTLocalPaths::movieDirectory()
{
    return pathForDirectory(Directory::Movies, true);
}

QString VTLocalPaths::desktopDirectory()
{
    return pathForDirectory(Directory::Desktop, true);
}

QString VTLocalPaths::systemLibraryDirectory()
{
    return systemPath(QStringLiteral("/System/Library"));
}

QString VTLocalPaths::localDocumentationDirectory()
{
    return pathForDirectory(Directory::Documentation, false);
}

QString VTLocalPaths::userDirectory()
{
    if (isSuperuser()) {
        const QString home = homeOfUser(currentConsoleUser());
        if (!home.isEmpty())
            return VTPath::normalize(home);
    }
    return processHome();
}

QString VTLocalPaths::username()
{
    if (isSuperuser()) {
        const QString console = currentConsoleUser();
        if (!console.isEmpty())
            return console;
    }
    return nameOfUid(geteuid());
}

QString VTLocalPaths::currentConsoleUser()
{
    QString user = qEnvironmentVariable("SUDO_USER");
    if (user.isEmpty()) {
        bool ok = false;
        const uint uid = qEnvironmentVariable("PKEXEC_UID").toUInt(&ok);
        if (ok)
            user = nameOfUid(static_cast<uid_t>(uid));
    }
    if (user.isEmpty())
        user = activeSessionUser();
    if (user == QLatin1String("loginwindow"))
        return QString();
    return user;
}

QString VTLocalPaths::trashDirectory()
{
    // The freedesktop.org home trash keeps its items in "files". A superuser
    // run on behalf of a console user uses that user's trash, so the data
    // folder named in our own environment does not apply then.
    const QString home = userDirectory();
    QString dataHome = qEnvironmentVariable("XDG_DATA_HOME");
    if (dataHome.isEmpty() || home != processHome())
        dataHome = VTPath::join(home, QStringLiteral(".local/share"));
    return VTPath::join(dataHome, QStringLiteral("Trash/files"));
}

QString VTLocalPaths::tempDirectory()
{
    return VTPath::normalize(QDir::tempPath());
}

QString VTLocalPaths::tempFile()
{
    return VTPath::join(tempDirectory(), uuid() + randomString(8));
}

QString VTLocalPaths::uuid()
{
    return QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
}

QString VTLocalPaths::randomString(int length)
{
    static const char alphabet[] = "abcdefghijklmnopqrstuvwxyz0123456789";
    // Seeded on every call from processor clock times wall time; uniqueness
    // comes from the UUID that callers put in front. A generator of its own
    // keeps the process-wide random() sequence untouched and threads apart.
    const auto seed = static_cast<unsigned>(static_cast<unsigned long>(clock()) * static_cast<unsigned long>(time(nullptr)));
    char state[64] = {};
    random_data generator {};
    initstate_r(seed, state, sizeof state, &generator);
    QString result;
    result.reserve(qMax(length, 0));
    for (int i = 0; i < length; ++i) {
        int32_t number = 0;
        random_r(&generator, &number);
        result += QLatin1Char(alphabet[number % 36]);
    }
    return result;
}

bool VTLocalPaths::isPathSystemDirectory(const QString &path, bool exactMatch)
{
    const QString root = systemRoot();
    if (path == QLatin1String("/") || path == root)
        return true;
    if (path.size() < 3)
        return false;
    QString candidate = path;
    // Two characters, not one: "/Library/" becomes "/Librar" and matches
    // nothing. Long-standing behaviour that callers depend on.
    if (candidate.endsWith(u'/'))
        candidate.chop(2);

    const QString protectedFolders[] = {
        applicationDirectory(true), applicationDirectory(false),
        adminApplicationDirectory(true), adminApplicationDirectory(false),
        documentDirectory(true), documentDirectory(false),
        libraryDirectory(true), libraryDirectory(false),
        prefsDirectory(true), prefsDirectory(false),
        cacheDirectory(true), cacheDirectory(false),
        appSupportDirectory(true), appSupportDirectory(false),
        desktopDirectory(), userDirectory(), systemLibraryDirectory(), localDocumentationDirectory(),
        systemPath(QStringLiteral("/Users/Shared")), systemPath(QStringLiteral("/Volumes")),
    };
    for (const QString &folder : protectedFolders) {
        if (!folder.isEmpty() && candidate == folder)
            return true;
    }
    if (exactMatch)
        return false;
    // Plain text prefix tests. A path inside a sandbox root is judged by its
    // place in the managed system, so a root under /var does not protect all.
    const bool inSandbox = root != QLatin1String("/") && VTPath::isInside(candidate, root);
    for (const char *prefix : {"/usr", "/var", "/private/var", "/System"}) {
        const QString text = QLatin1String(prefix);
        if (inSandbox ? candidate.startsWith(systemPath(text)) : candidate.startsWith(text))
            return true;
    }
    return false;
}

bool VTLocalPaths::isPathOnTimeMachineVolume(const QString &path)
{
    const QString volumes = systemPath(QStringLiteral("/Volumes/"));
    if (!path.startsWith(QLatin1String("/Volumes/")) && !path.startsWith(volumes))
        return false;
    return VTPath::components(path).contains(QLatin1String("Backups.backupdb"));
}
