#include "VTTrash.h"

#include "VTLocalPaths.h"
#include "VTLog.h"
#include "VTPath.h"
#include "VTSafeFs.h"

#include <QUrl>

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using VTSafeFs::Fd;

namespace {

constexpr int NameMax = 255;
const QByteArray InfoSuffix = QByteArrayLiteral(".trashinfo");

std::string native(const QString &path)
{
    return VTPath::toNative(path).toStdString();
}

// The device of `path`, or of its nearest existing ancestor.
bool deviceOf(const QString &path, dev_t &device)
{
    QString current = path;
    while (!current.isEmpty()) {
        struct stat st {};
        if (::stat(native(current).c_str(), &st) == 0) {
            device = st.st_dev;
            return true;
        }
        current = VTPath::removeLastComponent(current);
    }
    return false;
}

// The highest folder above `path` still on the same file system.
QString topDirectory(const QString &path, dev_t device)
{
    QString top = VTPath::removeLastComponent(path);
    for (QString up = VTPath::removeLastComponent(top); !up.isEmpty(); up = VTPath::removeLastComponent(up)) {
        struct stat st {};
        if (::stat(native(up).c_str(), &st) != 0 || st.st_dev != device)
            break;
        top = up;
        if (up == QLatin1String("/"))
            break;
    }
    return top;
}

// A trash folder must be the user's own; the superuser acting for a console
// user uses that user's.
bool isOwnFolder(const struct stat &st)
{
    return S_ISDIR(st.st_mode) && (st.st_uid == ::geteuid() || ::geteuid() == 0);
}

// Makes `name` in `dirFd` a folder of mode 0700 when missing and opens it,
// refusing anything that is not a folder (a link above all).
int openOwnFolder(int dirFd, const char *name)
{
    if (::mkdirat(dirFd, name, 0700) != 0 && errno != EEXIST)
        return -errno;
    struct stat st {};
    if (::fstatat(dirFd, name, &st, AT_SYMLINK_NOFOLLOW) != 0)
        return -errno;
    if (!S_ISDIR(st.st_mode))
        return -ENOTDIR;
    const int fd = ::openat(dirFd, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    return fd >= 0 ? fd : -errno;
}

bool createInfo(int infoFd, const QByteArray &name, const QByteArray &contents, int &error)
{
    const QByteArray infoName = name + InfoSuffix;
    Fd info(::openat(infoFd, infoName.constData(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!info.valid()) {
        error = errno;
        return false;
    }
    const char *data = contents.constData();
    qsizetype left = contents.size();
    while (left > 0) {
        const ssize_t n = ::write(info.get(), data, static_cast<size_t>(left));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            error = errno ? errno : EIO;
            ::unlinkat(infoFd, infoName.constData(), 0);
            return false;
        }
        data += n;
        left -= n;
    }
    if (::fsync(info.get()) != 0) {
        error = errno;
        ::unlinkat(infoFd, infoName.constData(), 0);
        return false;
    }
    return true;
}

} // namespace

QString VTTrash::homeTrash()
{
    return VTPath::removeLastComponent(VTLocalPaths::trashDirectory());
}

QString VTTrash::trashForPath(const QString &path)
{
    struct stat item {};
    if (::lstat(native(path).c_str(), &item) != 0)
        return QString();
    dev_t homeDevice = 0;
    if (deviceOf(homeTrash(), homeDevice) && homeDevice == item.st_dev)
        return homeTrash();
    const QString top = topDirectory(path, item.st_dev);
    const QString uid = QString::number(::geteuid());
    const QString shared = VTPath::join(top, QStringLiteral(".Trash"));
    struct stat st {};
    if (::lstat(native(shared).c_str(), &st) == 0 && S_ISDIR(st.st_mode) && (st.st_mode & S_ISVTX))
        return VTPath::join(shared, uid);
    return VTPath::join(top, QStringLiteral(".Trash-") + uid);
}

bool VTTrash::prepareTrash(const QString &trash)
{
    const QString parent = VTPath::removeLastComponent(trash);
    const QString name = VTPath::lastComponent(trash);
    struct stat above {};
    if (trash == homeTrash() && ::stat(native(parent).c_str(), &above) != 0) {
        // The home trash may be the first thing under a new data folder;
        // missing folders above it are private to the user, as the data
        // folder's own rules ask.
        QStringList missing;
        for (QString folder = parent; !folder.isEmpty() && ::stat(native(folder).c_str(), &above) != 0;
             folder = VTPath::removeLastComponent(folder))
            missing.prepend(folder);
        for (const QString &folder : std::as_const(missing))
            ::mkdir(native(folder).c_str(), 0700);
    }
    Fd parentFd(VTSafeFs::openFolder(native(parent), VTSafeFs::linksRefused()));
    if (!parentFd.valid() || ::fstat(parentFd.get(), &above) != 0)
        return false;
    Fd trashFd(openOwnFolder(parentFd.get(), name.toLocal8Bit().constData()));
    if (!trashFd.valid())
        return false;
    Fd files(openOwnFolder(trashFd.get(), "files"));
    Fd info(openOwnFolder(trashFd.get(), "info"));
    if (!files.valid() || !info.valid())
        return false;
    if (::geteuid() == 0 && above.st_uid != 0) {
        for (int fd : {trashFd.get(), files.get(), info.get()})
            (void)::fchown(fd, above.st_uid, above.st_gid);
    }
    return true;
}

QByteArray VTTrash::infoContents(const QString &originalPath, const QDateTime &deletionDate)
{
    // Path is percent-encoded byte by byte, keeping only unreserved
    // characters and "/", so that any name survives the round trip.
    const QByteArray path = QUrl::toPercentEncoding(QString::fromLatin1(VTPath::toNative(originalPath)), "/");
    return QByteArrayLiteral("[Trash Info]\nPath=") + path + QByteArrayLiteral("\nDeletionDate=")
        + deletionDate.toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss")).toLatin1() + '\n';
}

QByteArray VTTrash::candidateName(const QByteArray &name, int n)
{
    QByteArray stem = name;
    QByteArray extension;
    const qsizetype dot = name.lastIndexOf('.');
    if (dot > 0) {
        stem = name.left(dot);
        extension = name.mid(dot);
    }
    const QByteArray counter = n > 1 ? QByteArray(" ") + QByteArray::number(n) : QByteArray();
    const qsizetype room = NameMax - InfoSuffix.size() - counter.size() - extension.size();
    if (room < 1) {
        extension.clear();
        stem = name;
    }
    const qsizetype limit = NameMax - InfoSuffix.size() - counter.size() - extension.size();
    if (stem.size() > limit) {
        qsizetype cut = limit;
        // Never split a UTF-8 sequence.
        while (cut > 0 && (static_cast<unsigned char>(stem.at(cut)) & 0xC0) == 0x80)
            --cut;
        stem.truncate(cut);
    }
    return stem + counter + extension;
}

bool VTTrash::writeInfo(const QString &trash, const QString &name, const QString &originalPath)
{
    Fd trashFd(VTSafeFs::openFolder(native(trash), VTSafeFs::linksRefused()));
    if (!trashFd.valid())
        return false;
    Fd info(::openat(trashFd.get(), "info", O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!info.valid())
        return false;
    int error = 0;
    if (!createInfo(info.get(), VTPath::toNative(name), infoContents(originalPath, QDateTime::currentDateTime()), error))
        return false;
    struct stat st {};
    if (::geteuid() == 0 && ::fstat(trashFd.get(), &st) == 0 && st.st_uid != 0) {
        const QByteArray infoName = VTPath::toNative(name) + InfoSuffix;
        (void)::fchownat(info.get(), infoName.constData(), st.st_uid, st.st_gid, AT_SYMLINK_NOFOLLOW);
    }
    return true;
}

namespace {

// Places an item in `trash` under the first free name: the record is made
// first (exclusively), then `place` puts the item at files/NAME without
// replacing anything; a failed placement takes its record back. Answers 0,
// NoTrash when the trash cannot be used, or the placement's error.
constexpr int NoTrash = -1;
using Placement = std::function<int(int filesFd, const QByteArray &name, const QString &destination)>;

int placeInTrash(const QString &path, const QString &trash, const Placement &place, QString *trashedPath)
{
    if (trash.isEmpty() || !VTTrash::prepareTrash(trash))
        return NoTrash;
    Fd trashFd(VTSafeFs::openFolder(native(trash), VTSafeFs::linksRefused()));
    if (!trashFd.valid())
        return NoTrash;
    struct stat st {};
    if (::fstat(trashFd.get(), &st) != 0 || !isOwnFolder(st)) {
        VTLog::appendLog(QStringLiteral("Trash folder %1 is not the user's own").arg(trash));
        return NoTrash;
    }
    Fd files(::openat(trashFd.get(), "files", O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    Fd info(::openat(trashFd.get(), "info", O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!files.valid() || !info.valid())
        return NoTrash;

    const QByteArray name = VTPath::toNative(VTPath::lastComponent(VTPath::normalize(path)));
    const QByteArray contents = VTTrash::infoContents(VTPath::normalize(path), QDateTime::currentDateTime());
    const QString filesPath = VTPath::join(trash, QStringLiteral("files"));
    for (int n = 1; n < 10000; ++n) {
        const QByteArray candidate = VTTrash::candidateName(name, n);
        int error = 0;
        if (!createInfo(info.get(), candidate, contents, error)) {
            if (error == EEXIST)
                continue;
            return error;
        }
        const QByteArray infoName = candidate + InfoSuffix;
        if (::geteuid() == 0 && st.st_uid != 0)
            (void)::fchownat(info.get(), infoName.constData(), st.st_uid, st.st_gid, AT_SYMLINK_NOFOLLOW);
        const QString destination = VTPath::join(filesPath, VTPath::fromNative(candidate));
        error = place(files.get(), candidate, destination);
        if (error == 0) {
            VTSafeFs::syncFolder(info.get());
            if (trashedPath)
                *trashedPath = destination;
            return 0;
        }
        ::unlinkat(info.get(), infoName.constData(), 0);
        if (error != EEXIST)
            return error;
    }
    return EEXIST;
}

} // namespace

bool VTTrash::trashItem(const QString &path, QString *trashedPath)
{
    std::string leaf;
    Fd parent(VTSafeFs::openParent(native(VTPath::normalize(path)), VTSafeFs::linksRefused(), leaf));
    if (!parent.valid())
        return false;
    return placeInTrash(path, trashForPath(path),
                        [&](int filesFd, const QByteArray &name, const QString &) {
                            return VTSafeFs::renameNoReplace(parent.get(), leaf, filesFd, name.toStdString());
                        },
                        trashedPath)
        == 0;
}

bool VTTrash::trashItemWith(const QString &path, const Mover &move, QString *trashedPath)
{
    const Placement place = [&move](int, const QByteArray &, const QString &destination) { return move(destination); };
    // The trash of the item's own file system first; where this user cannot
    // make one there, the home trash (the helper then copies across).
    const QString own = trashForPath(path);
    const int result = placeInTrash(path, own, place, trashedPath);
    if (result != NoTrash)
        return result == 0;
    const QString home = homeTrash();
    return own != home && placeInTrash(path, home, place, trashedPath) == 0;
}
