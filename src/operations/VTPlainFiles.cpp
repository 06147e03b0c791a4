#include "VTPlainFiles.h"

#include "VTFileManager.h"
#include "VTPath.h"
#include "VTSafeFs.h"
#include "VTTreeCopy.h"

#include <cerrno>
#include <cstring>

#include <sys/stat.h>

namespace {

std::string native(const QString &path)
{
    return VTPath::toNative(VTPath::normalize(path)).toStdString();
}

} // namespace

namespace VTPlainFiles {

bool exists(const QString &path)
{
    struct stat st {};
    return !path.isEmpty() && ::lstat(native(path).c_str(), &st) == 0;
}

bool isFolder(const QString &path)
{
    struct stat st {};
    return !path.isEmpty() && ::lstat(native(path).c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

int makeFolders(const QString &path)
{
    return VTSafeFs::makeFolders(native(path), VTSafeFs::linksRefused(), 0777);
}

int move(const QString &from, const QString &to)
{
    std::string fromLeaf, toLeaf;
    VTSafeFs::Fd fromDir(VTSafeFs::openParent(native(from), VTSafeFs::linksRefused(), fromLeaf));
    if (!fromDir.valid())
        return -fromDir.get();
    VTSafeFs::Fd toDir(VTSafeFs::openParent(native(to), VTSafeFs::linksRefused(), toLeaf));
    if (!toDir.valid())
        return -toDir.get();
    return VTTreeCopy::moveItem(fromDir.get(), fromLeaf, toDir.get(), toLeaf, false, native(from));
}

int list(const QString &folder, QStringList &names)
{
    names.clear();
    VTSafeFs::Fd fd(VTSafeFs::openFolder(native(folder), VTSafeFs::linksRefused()));
    if (!fd.valid())
        return -fd.get();
    int error = 0;
    const std::vector<std::string> entries = VTSafeFs::listFolder(fd.get(), &error);
    if (error)
        return error;
    for (const std::string &entry : entries)
        names.append(VTPath::fromNative(QByteArray::fromStdString(entry)));
    return 0;
}

QString describe(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

bool waitFor(int seconds, const std::function<bool()> &condition)
{
    return VTFileManager::waitUntil(condition, std::chrono::seconds(seconds));
}

void pause(int seconds)
{
    (void)VTFileManager::waitUntil([] { return false; }, std::chrono::seconds(seconds));
}

} // namespace VTPlainFiles
