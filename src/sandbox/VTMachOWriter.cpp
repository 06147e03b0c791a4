#include "VTMachOWriter.h"

#include <QtEndian>

namespace {

constexpr quint32 kMagic32 = 0xfeedface;
constexpr quint32 kMagic64 = 0xfeedfacf;
constexpr quint32 kFatMagic = 0xcafebabe;
constexpr quint32 kFatMagic64 = 0xcafebabf;
// MH_NOUNDEFS | MH_DYLDLINK | MH_TWOLEVEL, as a linker sets them.
constexpr quint32 kHeaderFlags = 0x85;

void put32(QByteArray &bytes, quint32 value, bool bigEndian)
{
    char raw[4];
    if (bigEndian)
        qToBigEndian(value, raw);
    else
        qToLittleEndian(value, raw);
    bytes.append(raw, 4);
}

void put64(QByteArray &bytes, quint64 value)
{
    char raw[8];
    qToBigEndian(value, raw);
    bytes.append(raw, 8);
}

} // namespace

quint32 VTMachOWriter::cpuType(Arch arch)
{
    switch (arch) {
    case Arch::I386: return kCpuTypeX86;
    case Arch::X86_64: return kCpuTypeX86 | kCpuArch64;
    case Arch::PPC: return kCpuTypePowerPC;
    case Arch::PPC64: return kCpuTypePowerPC | kCpuArch64;
    case Arch::ARM64: return kCpuTypeArm | kCpuArch64;
    }
    return 0;
}

quint32 VTMachOWriter::cpuSubtype(Arch arch)
{
    // CPU_SUBTYPE_I386_ALL and CPU_SUBTYPE_X86_64_ALL are 3; the PowerPC and
    // ARM64 "all" subtypes are 0.
    return (arch == Arch::I386 || arch == Arch::X86_64) ? 3 : 0;
}

bool VTMachOWriter::is64Bit(Arch arch)
{
    return (cpuType(arch) & kCpuArch64) != 0;
}

bool VTMachOWriter::isNaturallyBigEndian(Arch arch)
{
    return arch == Arch::PPC || arch == Arch::PPC64;
}

QString VTMachOWriter::name(Arch arch)
{
    switch (arch) {
    case Arch::I386: return QStringLiteral("i386");
    case Arch::X86_64: return QStringLiteral("x86_64");
    case Arch::PPC: return QStringLiteral("ppc");
    case Arch::PPC64: return QStringLiteral("ppc64");
    case Arch::ARM64: return QStringLiteral("arm64");
    }
    return QString();
}

std::optional<VTMachOWriter::Arch> VTMachOWriter::fromName(const QString &text)
{
    for (Arch arch : allArchitectures()) {
        if (name(arch) == text)
            return arch;
    }
    return std::nullopt;
}

QList<VTMachOWriter::Arch> VTMachOWriter::allArchitectures()
{
    return {Arch::I386, Arch::X86_64, Arch::PPC, Arch::PPC64, Arch::ARM64};
}

QString VTMachOWriter::displayText(Arch arch)
{
    switch (arch) {
    case Arch::I386: return QStringLiteral("32-bit (Intel)");
    case Arch::X86_64: return QStringLiteral("64-bit (Intel)");
    case Arch::PPC: return QStringLiteral("32-bit (PowerPC)");
    case Arch::PPC64: return QStringLiteral("64-bit (PowerPC)");
    case Arch::ARM64: return QString();
    }
    return QString();
}

QByteArray VTMachOWriter::thinImage(Arch arch, FileType type, ByteOrder order)
{
    const bool big = order == ByteOrder::Big || (order == ByteOrder::Natural && isNaturallyBigEndian(arch));
    QByteArray bytes;
    bytes.reserve(32);
    put32(bytes, is64Bit(arch) ? kMagic64 : kMagic32, big);
    put32(bytes, cpuType(arch), big);
    put32(bytes, cpuSubtype(arch), big);
    put32(bytes, static_cast<quint32>(type), big);
    put32(bytes, 0, big); // ncmds
    put32(bytes, 0, big); // sizeofcmds
    put32(bytes, kHeaderFlags, big);
    if (is64Bit(arch))
        put32(bytes, 0, big); // reserved
    return bytes;
}

QByteArray VTMachOWriter::image(const QList<Arch> &archs, Container container, FileType type, ByteOrder order,
                                int alignShift)
{
    if (archs.isEmpty())
        return QByteArray();
    if (container == Container::Auto)
        container = archs.size() == 1 ? Container::Thin : Container::Fat;
    if (container == Container::Thin)
        return archs.size() == 1 ? thinImage(archs.first(), type, order) : QByteArray();

    const bool wide = container == Container::Fat64;
    const quint32 entrySize = wide ? 32 : 20;
    const quint64 alignment = quint64(1) << alignShift;
    const auto alignUp = [alignment](quint64 offset) { return (offset + alignment - 1) / alignment * alignment; };

    QList<QByteArray> slices;
    QList<quint64> offsets;
    quint64 offset = alignUp(8 + entrySize * static_cast<quint64>(archs.size()));
    for (Arch arch : archs) {
        slices.append(thinImage(arch, type, order));
        offsets.append(offset);
        offset = alignUp(offset + static_cast<quint64>(slices.last().size()));
    }

    // The fat header is big-endian whatever the slices are.
    QByteArray bytes;
    put32(bytes, wide ? kFatMagic64 : kFatMagic, true);
    put32(bytes, static_cast<quint32>(archs.size()), true);
    for (qsizetype i = 0; i < archs.size(); ++i) {
        put32(bytes, cpuType(archs.at(i)), true);
        put32(bytes, cpuSubtype(archs.at(i)), true);
        if (wide) {
            put64(bytes, offsets.at(i));
            put64(bytes, static_cast<quint64>(slices.at(i).size()));
            put32(bytes, static_cast<quint32>(alignShift), true);
            put32(bytes, 0, true); // reserved
        } else {
            put32(bytes, static_cast<quint32>(offsets.at(i)), true);
            put32(bytes, static_cast<quint32>(slices.at(i).size()), true);
            put32(bytes, static_cast<quint32>(alignShift), true);
        }
    }
    for (qsizetype i = 0; i < archs.size(); ++i) {
        bytes.resize(static_cast<qsizetype>(offsets.at(i)), '\0');
        bytes.append(slices.at(i));
    }
    return bytes;
}
