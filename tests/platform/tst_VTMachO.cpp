#include "VTTestSandbox.h"
#include "VTMachO.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/stat.h>

using VTMachO::Architecture;

namespace {

constexpr qint32 kI386 = VTMachO::CpuTypeX86;
constexpr qint32 kX86_64 = VTMachO::CpuTypeX86 | VTMachO::CpuArch64;
constexpr qint32 kPPC = VTMachO::CpuTypePowerPC;
constexpr qint32 kPPC64 = VTMachO::CpuTypePowerPC | VTMachO::CpuArch64;
constexpr qint32 kArm64 = 12 | VTMachO::CpuArch64;

// Builds header bytes field by field in one byte order.
class Bytes
{
public:
    explicit Bytes(bool bigEndian) : m_big(bigEndian) {}
    Bytes &u32(quint32 v)
    {
        for (int i = 0; i < 4; ++i)
            m_data.append(char((v >> (m_big ? 24 - 8 * i : 8 * i)) & 0xFF));
        return *this;
    }
    Bytes &u64(quint64 v)
    {
        return m_big ? u32(quint32(v >> 32)).u32(quint32(v)) : u32(quint32(v)).u32(quint32(v >> 32));
    }
    Bytes &pad(qsizetype size)
    {
        if (m_data.size() < size)
            m_data.append(QByteArray(size - m_data.size(), '\0'));
        return *this;
    }
    [[nodiscard]] QByteArray data() const { return m_data; }

private:
    bool m_big;
    QByteArray m_data;
};

// A thin header as a compiler writes it; the magic is written in the file's
// own byte order, which is what tells readers the order.
QByteArray thin(qint32 cpu, bool is64, bool bigEndian, quint32 commandBytes = 0)
{
    Bytes b(bigEndian);
    b.u32(is64 ? 0xFEEDFACF : 0xFEEDFACE).u32(quint32(cpu)).u32(3).u32(2).u32(0).u32(commandBytes).u32(0);
    if (is64)
        b.u32(0);
    return b.pad(commandBytes + (is64 ? 32 : 28)).data();
}

struct SliceSpec {
    qint32 cpu;
    quint64 offset;
    quint64 size;
};

QByteArray fat(const QList<SliceSpec> &slices, bool is64, bool bigEndian = true, qint64 padTo = 0, qint64 count = -1)
{
    Bytes b(bigEndian);
    b.u32(is64 ? 0xCAFEBABF : 0xCAFEBABE).u32(quint32(count < 0 ? slices.size() : count));
    for (const SliceSpec &s : slices) {
        b.u32(quint32(s.cpu)).u32(3);
        if (is64)
            b.u64(s.offset).u64(s.size).u32(12).u32(0);
        else
            b.u32(quint32(s.offset)).u32(quint32(s.size)).u32(12);
    }
    return b.pad(padTo).data();
}

QList<Architecture> parseWhole(const QByteArray &file)
{
    return VTMachO::parse(file.left(VTMachO::HeaderBytes), file.size());
}

QList<qint32> cpuTypes(const QList<Architecture> &archs)
{
    QList<qint32> types;
    for (const Architecture &a : archs)
        types.append(a.cpuType);
    return types;
}

} // namespace

TEST(VTMachO, ThinHeadersInBothByteOrders)
{
    EXPECT_EQ(cpuTypes(parseWhole(thin(kI386, false, false))), QList<qint32>{kI386});
    EXPECT_EQ(cpuTypes(parseWhole(thin(kX86_64, true, false))), QList<qint32>{kX86_64});
    EXPECT_EQ(cpuTypes(parseWhole(thin(kPPC, false, true))), QList<qint32>{kPPC});
    EXPECT_EQ(cpuTypes(parseWhole(thin(kPPC64, true, true))), QList<qint32>{kPPC64});
    EXPECT_EQ(parseWhole(thin(kX86_64, true, false, 64)).value(0).cpuSubtype, 3);
}

TEST(VTMachO, UniversalHeadersKeepSliceOrder)
{
    const QByteArray intel = fat({{kI386, 4096, 4096}, {kX86_64, 8192, 4096}}, false, true, 12288);
    EXPECT_EQ(cpuTypes(parseWhole(intel)), (QList<qint32>{kI386, kX86_64}));

    const QByteArray threeWay = fat({{kPPC, 0x1000, 0x100}, {kI386, 0x2000, 0x100}, {kX86_64, 0x3000, 0x100}}, false,
                                    true, 0x3100);
    EXPECT_EQ(cpuTypes(parseWhole(threeWay)), (QList<qint32>{kPPC, kI386, kX86_64}));

    const QByteArray fat64 = fat({{kX86_64, 0x4000, 0x100}, {kArm64, 0x8000, 0x100}}, true, true, 0x8100);
    EXPECT_EQ(cpuTypes(parseWhole(fat64)), (QList<qint32>{kX86_64, kArm64}));

    const QByteArray swapped = fat({{kI386, 0x1000, 0x10}, {kPPC64, 0x2000, 0x10}}, false, false, 0x2010);
    EXPECT_EQ(cpuTypes(parseWhole(swapped)), (QList<qint32>{kI386, kPPC64}));

    const QByteArray swapped64 = fat({{kX86_64, 0x1000, 0x10}}, true, false, 0x1010);
    EXPECT_EQ(cpuTypes(parseWhole(swapped64)), QList<qint32>{kX86_64});
}

// Headers that must be rejected whole; each row names what is wrong.
TEST(VTMachO, BadHeadersGiveNoArchitectures)
{
    const std::pair<const char *, QByteArray> rows[] = {
        {"Empty", QByteArray()},
        {"ShellScript", QByteArray("#!/bin/sh\nexit 0\n")},
        {"TruncatedThin", thin(kI386, false, false).left(20)},
        {"TruncatedThin64", thin(kX86_64, true, false).left(30)},
        {"CommandsPastEnd", thin(kI386, false, false, 64).left(60)},
        {"FatWithoutSlices", fat({}, false, true, 64)},
        {"JavaClassFile", Bytes(true).u32(0xCAFEBABE).u32(0x00000034).pad(2048).data()},
        {"CountBeyondLimit", fat({{kI386, 0x1000, 0x10}}, false, true, 0x2000, 31)},
        {"CountBeyondFile", fat({{kI386, 0x100, 0x10}}, false, true, 0x110, 20)},
        {"SliceInsideTable", fat({{kI386, 8, 0x10}}, false, true, 0x100)},
        {"SlicePastEnd", fat({{kI386, 0x1000, 0x1000}}, false, true, 0x1800)},
        {"EmptySlice", fat({{kI386, 0x1000, 0}}, false, true, 0x1800)},
        {"OverlappingSlices", fat({{kI386, 0x1000, 0x800}, {kX86_64, 0x1400, 0x100}}, false, true, 0x2000)},
        {"Fat64SizeWraps", fat({{kX86_64, 0x1000, ~quint64(0) - 0x800}}, true, true, 0x2000)},
        {"Fat64OffsetHuge", fat({{kX86_64, quint64(1) << 62, 0x10}}, true, true, 0x2000)},
    };
    for (const auto &[name, bytes] : rows)
        EXPECT_TRUE(parseWhole(bytes).isEmpty()) << name << " (" << bytes.size() << " bytes)";
}

TEST(VTMachO, ClaimedFileSizeMustCoverTheHeader)
{
    const QByteArray header = thin(kI386, false, false);
    EXPECT_TRUE(VTMachO::parse(header, header.size() - 1).isEmpty());
    const QByteArray universal = fat({{kI386, 0x1000, 0x100}}, false, true, 0x40);
    EXPECT_EQ(cpuTypes(VTMachO::parse(universal, 0x1100)), QList<qint32>{kI386});
    EXPECT_TRUE(VTMachO::parse(universal, 0x10FF).isEmpty());
}

TEST(VTMachO, ReadsOnlyRegularFiles)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString universal = dir.filePath(QStringLiteral("Blur"));
    const QString thinFile = dir.filePath(QStringLiteral("Verb"));
    ASSERT_TRUE(VTTestSandbox::makeFile(universal, fat({{kI386, 0x1000, 0x1000}, {kX86_64, 0x2000, 0x1000}}, false, true, 0x3000)));
    // A long body after the header: the reader only needs the start.
    ASSERT_TRUE(VTTestSandbox::makeFile(thinFile, thin(kPPC, false, true, 16) + QByteArray(1 << 20, 'x')));
    EXPECT_EQ(cpuTypes(VTMachO::architecturesOfFile(universal)), (QList<qint32>{kI386, kX86_64}));
    EXPECT_EQ(cpuTypes(VTMachO::architecturesOfFile(thinFile)), QList<qint32>{kPPC});

    // A pipe would block a plain open; a folder or a missing file reads as nothing.
    const QString pipe = dir.filePath(QStringLiteral("pipe"));
    ASSERT_EQ(::mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    EXPECT_TRUE(VTMachO::architecturesOfFile(pipe).isEmpty());
    EXPECT_TRUE(VTMachO::architecturesOfFile(dir.path()).isEmpty());
    EXPECT_TRUE(VTMachO::architecturesOfFile(dir.filePath(QStringLiteral("missing"))).isEmpty());
}
