#include "VTAuthorization.h"

#include "VTFileManager.h"
#include "VTHelperActions.h"
#include "VTHelperClient.h"
#include "VTLocalPaths.h"
#include "VTLog.h"
#include "VTPath.h"
#include "VTTaskEx.h"
#include "VTTrash.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QFileInfo>
#include <QProcess>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <pwd.h>

#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

std::mutex &classLock()
{
    static std::mutex lock;
    return lock;
}

// Never destroyed: the helper must serve threads still running while static
// objects (the log among them) go away at exit. Its socket closes with the
// process, which ends the helper.
VTAuthorization *&sharedAuth()
{
    static VTAuthorization *instance = nullptr;
    return instance;
}

// An item at `path`, a dangling link included.
bool itemExists(const QString &path)
{
    struct stat st {};
    return ::lstat(VTPath::toNative(path).constData(), &st) == 0;
}

const QString Move = QStringLiteral("/bin/mv");
const QString Copy = QStringLiteral("/bin/cp");
const QString Remove = QStringLiteral("/bin/rm");
const QString MakeFolder = QStringLiteral("/bin/mkdir");

// A superuser run needs no helper but keeps its rules: the same allow-listed
// actions, in this process, with no link followed on the way and nothing
// another user could have planted let into a protected folder. They act for
// the console user where there is one.
int runAsTheHelperWould(const QString &tool, const QStringList &parameters)
{
    std::vector<std::string> arguments{VTPath::toNative(tool).toStdString()};
    for (const QString &parameter : parameters)
        arguments.push_back(VTPath::toNative(parameter).toStdString());
    uid_t actingFor = 0;
    const QString console = VTLocalPaths::currentConsoleUser();
    if (const passwd *entry = console.isEmpty() ? nullptr : ::getpwnam(console.toLocal8Bit().constData()))
        actingFor = entry->pw_uid;
    const int status = VTHelperActions::run(arguments, actingFor);
    if (status != 0)
        VTLog::appendLog(QStringLiteral("%1 %2: %3").arg(tool, parameters.join(u' '), QString::fromLocal8Bit(std::strerror(status))));
    return status;
}

} // namespace

VTAuthorization *VTAuthorization::sharedController()
{
    return sharedController(true);
}

VTAuthorization *VTAuthorization::sharedController(bool gui)
{
    std::lock_guard lock(classLock());
    VTAuthorization *&instance = sharedAuth();
    if (!instance)
        instance = new VTAuthorization(gui);
    return instance;
}

VTAuthorization::VTAuthorization(bool gui)
    : m_hasGUI(gui)
{
    // The superuser keeps no user folder; the trash rules depend on that.
    if (!isSuperuser())
        m_userDirectory = VTLocalPaths::userDirectory();
}

VTAuthorization::~VTAuthorization()
{
    authEnd();
}

bool VTAuthorization::isSuperuser()
{
    return ::getuid() == 0;
}

void VTAuthorization::consoleLog(const QString &text)
{
    std::fprintf(stderr, "%s\n", text.toLocal8Bit().constData());
    std::fflush(stderr);
}

namespace {

// What runs as root must be beyond other users' reach: the helper file and
// the folder holding it belong to root or to this user, and neither group
// nor others may write them.
bool trustworthy(const QString &helper)
{
    const uid_t me = ::geteuid();
    for (const QString &path : {helper, VTPath::removeLastComponent(helper)}) {
        struct stat st {};
        if (::stat(VTPath::toNative(path).constData(), &st) != 0 || (st.st_uid != 0 && st.st_uid != me)
            || (st.st_mode & (S_IWGRP | S_IWOTH)))
            return false;
    }
    return true;
}

} // namespace

QString VTAuthorization::helperPath()
{
    const QString name = QStringLiteral("tessary-helper");
    QStringList candidates;
    if (QCoreApplication::instance()) {
        // Beside the program in its bundle, or where an install puts it
        // (<prefix>/lib/tessary beside <prefix>/bin).
        const QString folder = QCoreApplication::applicationDirPath();
        candidates << VTPath::join(folder, name) << VTPath::join(folder, QStringLiteral("../lib/tessary/") + name);
    }
    candidates << QStringLiteral(TESSARY_HELPER_BUILD_PATH);
    for (const QString &candidate : std::as_const(candidates)) {
        const QFileInfo info(candidate);
        if (!info.isExecutable())
            continue;
        const QString path = info.canonicalFilePath();
        if (trustworthy(path))
            return path;
        VTLog::appendLog(QStringLiteral("Not using the helper %1: others may change it").arg(path));
    }
    return QString();
}

bool VTAuthorization::isAuthorized() const
{
    if (isSuperuser())
        return true;
    std::lock_guard lock(m_helperMutex);
    return m_helper && m_helper->isRunning();
}

bool VTAuthorization::canAuthorize() const
{
    return hasGUI() || isSuperuser();
}

bool VTAuthorization::startHelper(const QStringList &command, const std::optional<QByteArray> &password,
                                  const QByteArray &prompt)
{
    auto helper = std::make_shared<VTHelperClient>();
    std::optional<VTHelperClient::Password> entry;
    if (password)
        entry = VTHelperClient::Password{*password, prompt};
    const QString path = helperPath();
    const bool started = !path.isEmpty() && helper->start(command, path, entry);
    // Holding a root helper's channel, this process must not be open to
    // ptrace or descriptor theft by other processes of the same user.
    if (started)
        (void)::prctl(PR_SET_DUMPABLE, 0);
    std::lock_guard lock(m_helperMutex);
    m_helper = started ? helper : nullptr;
    return started;
}

bool VTAuthorization::authStart()
{
    std::lock_guard attempt(m_startMutex);
    if (isAuthorized())
        return true;
    const QStringList command = QProcess::splitCommand(VTLocalPaths::escalateCommand());
    // Without a window nobody may be asked for a password; an escalation that
    // never asks (sudo -n, set up by a script) is still allowed.
    if (!hasGUI() && !isNonInteractiveEscalation(command)) {
        consoleLog(QStringLiteral("Unable to authorize"));
        return false;
    }
    if (command.isEmpty())
        return false;
    return startHelper(command, std::nullopt);
}

bool VTAuthorization::isNonInteractiveEscalation(const QStringList &command)
{
    if (command.isEmpty() || QFileInfo(command.first()).fileName() != QLatin1String("sudo"))
        return false;
    return command.contains(QLatin1String("-n")) || command.contains(QLatin1String("--non-interactive"));
}

bool VTAuthorization::authStartWithUser(const QString &user, const QString &password)
{
    if (isSuperuser())
        return true;
    if (user.isEmpty() || password.isEmpty())
        return false;
    std::lock_guard attempt(m_startMutex);
    const QString failure = QStringLiteral("Authorization failed. Invalid username or password");
    // sudo checks the password of the account that runs it; another user's
    // credentials cannot authorize this process.
    if (user != VTLocalPaths::username()) {
        consoleLog(failure);
        VTLog::appendLog(failure);
        return false;
    }
    // A prompt of our own, so that a second one tells a refused password.
    const QString prompt = QStringLiteral("[tessary-helper] password:");
    const QStringList command = {QStringLiteral("sudo"), QStringLiteral("-S"), QStringLiteral("-p"), prompt, QStringLiteral("--")};
    if (!startHelper(command, password.toUtf8(), prompt.toUtf8())) {
        consoleLog(failure);
        VTLog::appendLog(failure);
        return false;
    }
    return true;
}

void VTAuthorization::authEnd()
{
    std::shared_ptr<VTHelperClient> helper;
    {
        std::lock_guard lock(m_helperMutex);
        helper.swap(m_helper);
    }
    if (helper)
        helper->stop();
}

int VTAuthorization::authExecTask(const QString &tool, const QStringList &parameters, bool async)
{
    if (VTTaskEx::resolveTool(tool).isEmpty() && !QFileInfo::exists(tool)) {
        consoleLog(QStringLiteral("Unable to execute task: path %1 doesn't exist").arg(tool));
        return StatusToolMissing;
    }
    if (isSuperuser()) {
        (void)runAsTheHelperWould(tool, parameters);
        return StatusSuccess;
    }
    if (!isAuthorized())
        (void)authStart();
    std::shared_ptr<VTHelperClient> helper;
    {
        std::lock_guard lock(m_helperMutex);
        helper = m_helper;
    }
    if (!helper || !helper->isRunning())
        return StatusNotAuthorized;
    const int status = helper->execute(QStringList{tool} + parameters, !async);
    return status == VTHelperClient::StatusHelperGone ? StatusNotAuthorized : status;
}

bool VTAuthorization::authRemoveFile(const QString &path)
{
    if (VTLocalPaths::isPathSystemDirectory(path, true)) {
        consoleLog(QStringLiteral("Unable to delete path %1 because it is a system directory.").arg(path));
        return false;
    }
    return authExecTask(Remove, {QStringLiteral("-Rdf"), QStringLiteral("--"), path}) == StatusSuccess;
}

bool VTAuthorization::authMoveFile(const QString &oldPath, const QString &newPath)
{
    if (oldPath.isEmpty()) {
        consoleLog(QStringLiteral("Error in authMoveFile: old path is null"));
        return false;
    }
    if (newPath.isEmpty()) {
        consoleLog(QStringLiteral("Error in authMoveFile: new path is null"));
        return false;
    }
    if (VTLocalPaths::isPathSystemDirectory(oldPath, true)) {
        consoleLog(QStringLiteral("Unable to move path %1 because it is a system directory.").arg(oldPath));
        return false;
    }
    if (!itemExists(oldPath))
        return false;
    const QStringList arguments = {QStringLiteral("-f"), QStringLiteral("--"), oldPath, newPath};
    if (isSuperuser()) {
        (void)runAsTheHelperWould(Move, arguments);
        return true;
    }
    return authExecTask(Move, arguments) == StatusSuccess;
}

bool VTAuthorization::authCopyFile(const QString &source, const QString &destination)
{
    if (source.isEmpty()) {
        consoleLog(QStringLiteral("Error in authCopyFile: old path is null"));
        return false;
    }
    if (destination.isEmpty()) {
        consoleLog(QStringLiteral("Error in authCopyFile: new path is null"));
        return false;
    }
    if (!itemExists(source))
        return false;
    const QStringList arguments = {QStringLiteral("-f"), QStringLiteral("-p"), QStringLiteral("-R"), QStringLiteral("--"),
                                   source, destination};
    if (isSuperuser()) {
        (void)runAsTheHelperWould(Copy, arguments);
        return true;
    }
    return authExecTask(Copy, arguments) == StatusSuccess;
}

bool VTAuthorization::authCreateDir(const QString &path)
{
    const QStringList arguments = {QStringLiteral("-p"), QStringLiteral("--"), path};
    if (isSuperuser()) {
        (void)runAsTheHelperWould(MakeFolder, arguments);
        return true;
    }
    if (authExecTask(MakeFolder, arguments) != StatusSuccess)
        return false;
    ::usleep(500);
    return true;
}

bool VTAuthorization::authTrashFile(const QString &path, bool deleteOnRootAccount)
{
    if (VTLocalPaths::isPathSystemDirectory(path, true)) {
        consoleLog(QStringLiteral("Unable to trash path %1 because it is a system directory.").arg(path));
        return false;
    }
    if (m_userDirectory.isEmpty() && deleteOnRootAccount && isSuperuser()) {
        // Deliberately the would-be destination, not the source: the source
        // stays where it is.
        QString destination = VTPath::join(VTLocalPaths::trashDirectory(), VTPath::lastComponent(path));
        if (itemExists(destination)) {
            const QString stamp = QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMddHHmmss"));
            destination = VTPath::removeExtension(destination) + QStringLiteral("_%1.%2").arg(stamp, VTPath::extension(path));
        }
        return authRemoveFile(destination);
    }
    if (isSuperuser())
        return VTTrash::trashItem(path);
    // The same Trash as the user's own trashing: the item's file system's,
    // a record made exclusively and taken back when the move fails, a free
    // name, nothing replaced. The move waits for the helper's answer.
    return VTTrash::trashItemWith(path, [this, &path](const QString &destination) {
        const int status = authExecTask(Move, {QStringLiteral("-n"), QStringLiteral("--"), path, destination}, false);
        return status == StatusSuccess || status == EEXIST ? status : (status < 0 ? EPERM : status);
    });
}

bool VTAuthorization::authTrashFolderContents(const QString &folder, bool deleteOnRootAccount)
{
    if (VTLocalPaths::isPathSystemDirectory(folder, true)) {
        consoleLog(QStringLiteral("Unable to trash folder contents of path %1 because it is a system directory.").arg(folder));
        return false;
    }
    bool allSucceeded = true;
    for (const QString &entry : VTFileManager::contentsOfDirectory(folder)) {
        bool succeeded = false;
        if (!m_userDirectory.isEmpty() || !isSuperuser() || !deleteOnRootAccount)
            succeeded = authTrashFile(entry);
        else
            succeeded = authExecTask(Remove, {QStringLiteral("-R"), QStringLiteral("-f"), QStringLiteral("--"), entry})
                == StatusSuccess;
        allSucceeded = allSucceeded && succeeded;
    }
    return allSucceeded;
}

bool VTAuthorization::authMoveFolderContents(const QString &source, const QString &destination)
{
    if (VTLocalPaths::isPathSystemDirectory(source, true)) {
        consoleLog(QStringLiteral("Unable to move contents of path %1 because it is a system directory.").arg(source));
        return false;
    }
    bool allSucceeded = true;
    for (const QString &entry : VTFileManager::contentsOfDirectory(source)) {
        if (!authMoveFile(entry, VTPath::join(destination, VTPath::lastComponent(entry))))
            allSucceeded = false;
    }
    return allSucceeded;
}
