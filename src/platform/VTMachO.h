#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

// Architectures of a Mach-O executable: a thin file (32- or 64-bit header) or
// a universal file (fat or fat64 header listing one slice per architecture),
// in either byte order.
//
// Executables come from plug-ins we do not control, so every read is bounded:
// only the first HeaderBytes of a file are looked at, and a fat header whose
// count or slice offsets do not fit the file is rejected as a whole rather
// than partly believed.
namespace VTMachO {

// CPU types as the headers store them.
constexpr qint32 CpuTypeX86 = 7;
constexpr qint32 CpuTypePowerPC = 18;
constexpr qint32 CpuArch64 = 0x01000000;

// More slices than this only come from a damaged or hostile header (real
// files carry two to four). It also keeps Java class files, which share the
// fat magic, from reading as universal files.
constexpr quint32 MaximumSlices = 30;

// Enough for a fat64 header with MaximumSlices entries.
constexpr qint64 HeaderBytes = 8 + 32 * MaximumSlices;

struct Architecture {
    qint32 cpuType = 0;
    qint32 cpuSubtype = 0;
    friend bool operator==(const Architecture &, const Architecture &) = default;
};

// The architectures described by the start of a file (`head`, at most
// HeaderBytes of it) whose full size is `fileSize`, in header order. Empty for
// anything that is not a well-formed Mach-O header.
[[nodiscard]] QList<Architecture> parse(const QByteArray &head, qint64 fileSize);

// Reads the header of a regular file and parses it. Missing files, folders,
// devices and pipes give an empty list without blocking.
[[nodiscard]] QList<Architecture> architecturesOfFile(const QString &path);

} // namespace VTMachO
