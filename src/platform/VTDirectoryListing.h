#pragma once

#include <QByteArray>

#include <sys/stat.h>

#include <vector>

// A folder's entries as the file system gives them, read with as few system
// calls as a folder allows: one open, getdents64 until the end, one close
// (and one fstat when the folder's own status is wanted). "." and ".." are
// left out; names stay bytes, so nothing that is not valid UTF-8 is lost.
namespace VTDirectoryListing {

struct Entry {
    QByteArray name;
    unsigned char type; // d_type: DT_DIR, DT_REG, DT_LNK, ... or DT_UNKNOWN
};

// Lists the folder at `path` (absolute, or relative to `at`, a folder's file
// descriptor). Answers 0, or the errno of the open or read that failed;
// `status`, when given, receives the opened folder's own status.
[[nodiscard]] int list(const QByteArray &path, std::vector<Entry> &entries, struct stat *status = nullptr,
                       int at = -100 /* AT_FDCWD */);
// Reads the entries of a folder already open as `fd` (from its start), which
// stays open. Answers 0 or the errno of the read that failed.
[[nodiscard]] int read(int fd, std::vector<Entry> &entries);

} // namespace VTDirectoryListing
