#include "VTKeychain.h"

#include "VTLocalPaths.h"
#include "VTLog.h"
#include "VTPath.h"

#include <QSslCertificate>

#include <algorithm>
#include <cerrno>
#include <memory>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Certificates are a few kilobytes; anything far larger is no keychain item.
constexpr qint64 MaximumItemBytes = 4 * 1024 * 1024;

// The regular files of the folder by name, or the errno of a failed listing.
int listItems(const QString &folder, QStringList &items)
{
    std::unique_ptr<DIR, int (*)(DIR *)> dir(::opendir(VTPath::toNative(folder).constData()), ::closedir);
    if (!dir)
        return errno;
    while (const dirent *entry = ::readdir(dir.get())) {
        const QString name = VTPath::fromNative(QByteArray(entry->d_name));
        if (name.startsWith(u'.'))
            continue;
        const QString path = VTPath::join(folder, name);
        struct stat status {};
        if (::stat(VTPath::toNative(path).constData(), &status) == 0 && S_ISREG(status.st_mode))
            items.append(path);
    }
    std::sort(items.begin(), items.end());
    return 0;
}

// The item's bytes, or the errno of the failed read.
int readItem(const QString &path, QByteArray &data)
{
    const int fd = ::open(VTPath::toNative(path).constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return errno;
    char buffer[65536];
    int error = 0;
    for (;;) {
        const ssize_t count = ::read(fd, buffer, sizeof buffer);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            error = errno;
        if (count <= 0)
            break;
        data.append(buffer, count);
        if (data.size() > MaximumItemBytes) {
            error = EFBIG;
            break;
        }
    }
    ::close(fd);
    return error;
}

QList<QSslCertificate> certificatesFromData(const QByteArray &data)
{
    QList<QSslCertificate> certificates = QSslCertificate::fromData(data, QSsl::Pem);
    if (certificates.isEmpty())
        certificates = QSslCertificate::fromData(data, QSsl::Der);
    return certificates;
}

} // namespace

QString VTKeychain::keychainsDirectory()
{
    return VTPath::join(VTLocalPaths::libraryDirectory(true), QStringLiteral("Keychains"));
}

QStringList VTKeychain::certificateNames()
{
    const QString folder = keychainsDirectory();
    QStringList items;
    if (const int error = listItems(folder, items); error != 0) {
        // No keychain folder is an empty search list, not a failed search.
        if (error != ENOENT)
            VTLog::appendLog(QStringLiteral("Unable to create keychain search: %1").arg(error));
        return {};
    }
    QStringList names;
    for (const QString &item : std::as_const(items)) {
        QByteArray data;
        if (const int error = readItem(item, data); error != 0) {
            VTLog::appendLog(QStringLiteral("Unable to copy keychain content: %1").arg(error));
            VTLog::appendLog(QStringLiteral("Skipped keychain item %1").arg(item));
            continue;
        }
        const QList<QSslCertificate> certificates = certificatesFromData(data);
        if (certificates.isEmpty() || certificates.first().isNull()) {
            VTLog::appendLog(QStringLiteral("Unable to create keychain certificate from data: %1").arg(EINVAL));
            VTLog::appendLog(QStringLiteral("Skipped keychain item %1").arg(item));
            continue;
        }
        for (const QSslCertificate &certificate : certificates) {
            const QStringList commonNames = certificate.subjectInfo(QSslCertificate::CommonName);
            if (!commonNames.isEmpty() && !commonNames.first().isEmpty())
                names.append(commonNames.first());
        }
    }
    return names;
}
