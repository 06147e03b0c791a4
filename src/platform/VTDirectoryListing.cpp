#include "VTDirectoryListing.h"

#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

// The record getdents64 fills; glibc has no declaration of it.
struct LinuxDirent64 {
    ino64_t d_ino;
    off64_t d_off;
    unsigned short d_reclen;
    unsigned char d_type;
    char d_name[];
};

} // namespace

int VTDirectoryListing::list(const QByteArray &path, std::vector<Entry> &entries, struct stat *status, int at)
{
    const int fd = ::openat(at, path.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOCTTY);
    if (fd < 0)
        return errno;
    int error = 0;
    if (status && ::fstat(fd, status) != 0)
        error = errno;
    if (error == 0)
        error = read(fd, entries);
    ::close(fd);
    return error;
}

int VTDirectoryListing::read(int fd, std::vector<Entry> &entries)
{
    // The size readdir uses too: most plug-in folders fit in one read.
    alignas(LinuxDirent64) char buffer[32768];
    for (;;) {
        const long got = ::syscall(SYS_getdents64, fd, buffer, sizeof buffer);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return errno;
        if (got == 0)
            return 0;
        for (long offset = 0; offset < got;) {
            const auto *record = reinterpret_cast<const LinuxDirent64 *>(buffer + offset);
            offset += record->d_reclen;
            const char *name = record->d_name;
            if (name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0')))
                continue;
            entries.push_back({QByteArray(name, qsizetype(std::strlen(name))), record->d_type});
        }
    }
}
