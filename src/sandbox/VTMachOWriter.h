#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>

// Makes Mach-O executables that carry nothing but headers: enough for a
// reader of executable architectures. A thin image is one mach_header
// (32-bit, magic 0xfeedface, or 64-bit, 0xfeedfacf) in the CPU's byte order;
// a universal image is a big-endian fat header (0xcafebabe with 32-bit
// offsets, or 0xcafebabf with 64-bit ones) followed by aligned thin slices.
class VTMachOWriter
{
public:
    enum class Arch { I386, X86_64, PPC, PPC64, ARM64 };
    // Auto: thin for one architecture, fat for several.
    enum class Container { Auto, Thin, Fat, Fat64 };
    // Natural: PowerPC big-endian, Intel and ARM little-endian.
    enum class ByteOrder { Natural, Big, Little };
    enum class FileType : quint32 { Execute = 2, Bundle = 8 };

    static constexpr quint32 kCpuArch64 = 0x01000000;
    static constexpr quint32 kCpuTypeX86 = 7;
    static constexpr quint32 kCpuTypeArm = 12;
    static constexpr quint32 kCpuTypePowerPC = 18;

    [[nodiscard]] static quint32 cpuType(Arch arch);
    [[nodiscard]] static quint32 cpuSubtype(Arch arch);
    [[nodiscard]] static bool is64Bit(Arch arch);
    [[nodiscard]] static bool isNaturallyBigEndian(Arch arch);

    // "i386", "x86_64", "ppc", "ppc64", "arm64".
    [[nodiscard]] static QString name(Arch arch);
    [[nodiscard]] static std::optional<Arch> fromName(const QString &name);
    [[nodiscard]] static QList<Arch> allArchitectures();
    // How the catalogue shows an architecture: "32-bit (Intel)",
    // "64-bit (PowerPC)", ...; empty for arm64, which it leaves out.
    [[nodiscard]] static QString displayText(Arch arch);

    // One thin image: the header with no load commands.
    [[nodiscard]] static QByteArray thinImage(Arch arch, FileType type, ByteOrder order = ByteOrder::Natural);
    // A whole executable. Empty when `archs` is empty, or when a thin
    // container is asked for more than one architecture. Slices of a
    // universal image start at multiples of 2^alignShift.
    [[nodiscard]] static QByteArray image(const QList<Arch> &archs, Container container, FileType type,
                                          ByteOrder order = ByteOrder::Natural, int alignShift = 12);
};
