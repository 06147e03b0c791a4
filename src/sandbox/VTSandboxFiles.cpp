#include "VTSandboxFiles.h"

#include "VTPath.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace {

bool writeAll(int fd, const QByteArray &bytes)
{
    const char *data = bytes.constData();
    qsizetype left = bytes.size();
    while (left > 0) {
        const ssize_t written = ::write(fd, data, static_cast<size_t>(left));
        if (written < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        data += written;
        left -= written;
    }
    return true;
}

} // namespace

bool VTSandboxFiles::fail(const char *what, const QString &path)
{
    m_lastError = QString::fromUtf8(what) + QStringLiteral(" ") + path + QStringLiteral(": ")
        + QString::fromLocal8Bit(std::strerror(errno));
    return false;
}

bool VTSandboxFiles::makePath(const QString &path)
{
    const QString clean = VTPath::normalize(path);
    if (clean.isEmpty() || clean == QLatin1String("/") || m_madeFolders.contains(clean))
        return true;
    // Parents first, so that each folder costs one mkdir: a failed attempt
    // followed by a retry costs as much as a creation on a busy disk.
    if (!makePath(VTPath::removeLastComponent(clean)))
        return false;
    if (::mkdir(VTPath::toNative(clean).constData(), 0755) != 0 && !(errno == EEXIST && isFolder(clean)))
        return fail("cannot create folder", clean);
    m_madeFolders.insert(clean);
    return true;
}

bool VTSandboxFiles::writeFile(const QString &path, const QByteArray &bytes, unsigned mode)
{
    const int fd = ::open(VTPath::toNative(path).constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, mode);
    if (fd < 0)
        return fail("cannot create file", path);
    const bool written = writeAll(fd, bytes);
    const int savedErrno = errno;
    ::close(fd);
    errno = savedErrno;
    return written ? true : fail("cannot write file", path);
}

bool VTSandboxFiles::createFile(const QString &path, const QByteArray &bytes, unsigned mode)
{
    const int fd = ::open(VTPath::toNative(path).constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    if (fd < 0)
        return fail("cannot create file", path);
    const bool written = writeAll(fd, bytes);
    const int savedErrno = errno;
    ::close(fd);
    errno = savedErrno;
    return written ? true : fail("cannot write file", path);
}

bool VTSandboxFiles::setAttribute(const QString &path, const QByteArray &name, const QByteArray &value)
{
    if (::lsetxattr(VTPath::toNative(path).constData(), name.constData(), value.constData(),
                    static_cast<size_t>(value.size()), 0) != 0)
        return fail("cannot set extended attribute on", path);
    return true;
}

bool VTSandboxFiles::moveNoReplace(const QString &from, const QString &to)
{
    const QByteArray source = VTPath::toNative(from);
    const QByteArray target = VTPath::toNative(to);
    if (::renameat2(AT_FDCWD, source.constData(), AT_FDCWD, target.constData(), RENAME_NOREPLACE) != 0)
        return fail("cannot move", from + QStringLiteral(" to ") + to);
    forgetFoldersInside(from);
    return true;
}

bool VTSandboxFiles::removeEmptyFolder(const QString &path)
{
    if (::rmdir(VTPath::toNative(path).constData()) != 0)
        return fail("cannot remove folder", path);
    forgetFoldersInside(path);
    return true;
}

bool VTSandboxFiles::makeLink(const QString &target, const QString &path)
{
    if (::symlink(VTPath::toNative(target).constData(), VTPath::toNative(path).constData()) != 0)
        return fail("cannot create link", path);
    return true;
}

bool VTSandboxFiles::exists(const QString &path)
{
    struct stat info {};
    return ::lstat(VTPath::toNative(path).constData(), &info) == 0;
}

bool VTSandboxFiles::isFolder(const QString &path)
{
    struct stat info {};
    return ::lstat(VTPath::toNative(path).constData(), &info) == 0 && S_ISDIR(info.st_mode);
}

void VTSandboxFiles::forgetFoldersInside(const QString &path)
{
    for (auto it = m_madeFolders.begin(); it != m_madeFolders.end();) {
        if (VTPath::isInside(*it, path))
            it = m_madeFolders.erase(it);
        else
            ++it;
    }
}
