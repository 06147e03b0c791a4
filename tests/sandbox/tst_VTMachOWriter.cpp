#include "VTMachOWriter.h"

#include "SandboxTestSupport.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QTemporaryDir>

using Arch = VTMachOWriter::Arch;
using Container = VTMachOWriter::Container;
using ByteOrder = VTMachOWriter::ByteOrder;
using FileType = VTMachOWriter::FileType;

namespace {

QByteArray hex(const char *text)
{
    return QByteArray::fromHex(QByteArray(text));
}

// Decodes a thin or universal Mach-O file with Python's struct, choosing the
// byte order from the magic as a loader does, and lists each image header.
QJsonArray decodeWithPython(const QString &path)
{
    return SandboxTest::pythonJson(R"PY(
import json, struct, sys
data = open(sys.argv[1], 'rb').read()
def thin(offset):
    magic_le = struct.unpack_from('<I', data, offset)[0]
    if magic_le in (0xfeedface, 0xfeedfacf):
        order = '<'
    elif struct.unpack_from('>I', data, offset)[0] in (0xfeedface, 0xfeedfacf):
        order = '>'
    else:
        raise SystemExit('no Mach-O magic at %d' % offset)
    magic, cpu, sub, ftype = struct.unpack_from(order + 'IiiI', data, offset)
    return {'magic': magic, 'cpu': cpu & 0xffffffff, 'sub': sub, 'type': ftype,
            'big': order == '>', 'offset': offset}
magic = struct.unpack_from('>I', data, 0)[0]
out = []
if magic in (0xcafebabe, 0xcafebabf):
    count = struct.unpack_from('>I', data, 4)[0]
    for i in range(count):
        if magic == 0xcafebabe:
            cpu, sub, off, size, align = struct.unpack_from('>iiIII', data, 8 + 20 * i)
        else:
            cpu, sub, off, size, align, _ = struct.unpack_from('>iiQQII', data, 8 + 32 * i)
        entry = thin(off)
        entry.update({'fatCpu': cpu & 0xffffffff, 'size': size, 'align': align, 'fat': hex(magic)})
        assert off % (1 << align) == 0 and off + size <= len(data)
        out.append(entry)
else:
    out.append(thin(0))
print(json.dumps(out))
)PY",
                                   {path})
        .toArray();
}

} // namespace

TEST(VTMachOWriter, ThinHeadersMatchHandComputedBytes)
{
    // magic, cputype, cpusubtype, filetype (8 = bundle), ncmds, sizeofcmds, flags
    EXPECT_EQ(VTMachOWriter::thinImage(Arch::I386, FileType::Bundle),
              hex("cefaedfe" "07000000" "03000000" "08000000" "00000000" "00000000" "85000000"));
    EXPECT_EQ(VTMachOWriter::thinImage(Arch::PPC, FileType::Bundle),
              hex("feedface" "00000012" "00000000" "00000008" "00000000" "00000000" "00000085"));
    // 64-bit headers carry a reserved word and the 0x01000000 flag in the CPU type.
    EXPECT_EQ(VTMachOWriter::thinImage(Arch::X86_64, FileType::Execute),
              hex("cffaedfe" "07000001" "03000000" "02000000" "00000000" "00000000" "85000000" "00000000"));
    EXPECT_EQ(VTMachOWriter::thinImage(Arch::PPC64, FileType::Bundle),
              hex("feedfacf" "01000012" "00000000" "00000008" "00000000" "00000000" "00000085" "00000000"));
    EXPECT_EQ(VTMachOWriter::thinImage(Arch::ARM64, FileType::Bundle),
              hex("cffaedfe" "0c000001" "00000000" "08000000" "00000000" "00000000" "85000000" "00000000"));
}

TEST(VTMachOWriter, ByteOrderCanBeForcedEitherWay)
{
    EXPECT_EQ(VTMachOWriter::thinImage(Arch::I386, FileType::Bundle, ByteOrder::Big),
              hex("feedface" "00000007" "00000003" "00000008" "00000000" "00000000" "00000085"));
    EXPECT_EQ(VTMachOWriter::thinImage(Arch::PPC, FileType::Bundle, ByteOrder::Little),
              hex("cefaedfe" "12000000" "00000000" "08000000" "00000000" "00000000" "85000000"));
    EXPECT_EQ(VTMachOWriter::image({Arch::X86_64}, Container::Auto, FileType::Bundle, ByteOrder::Big).left(8),
              hex("feedfacf" "01000007"));
}

TEST(VTMachOWriter, FatHeaderIsBigEndianWithAlignedSlices)
{
    const QByteArray image = VTMachOWriter::image({Arch::PPC, Arch::I386}, Container::Fat, FileType::Bundle);
    // fat_header, then per slice: cputype, cpusubtype, offset, size (28), align (2^12)
    EXPECT_EQ(image.left(48), hex("cafebabe" "00000002"
                                  "00000012" "00000000" "00001000" "0000001c" "0000000c"
                                  "00000007" "00000003" "00002000" "0000001c" "0000000c"));
    ASSERT_EQ(image.size(), 0x2000 + 28);
    EXPECT_EQ(image.mid(0x1000, 4), hex("feedface")); // PowerPC slice stays big-endian
    EXPECT_EQ(image.mid(0x2000, 4), hex("cefaedfe")); // Intel slice little-endian
    EXPECT_EQ(image.mid(48, 0x1000 - 48), QByteArray(0x1000 - 48, '\0'));
}

TEST(VTMachOWriter, Fat64HeaderUsesWideOffsets)
{
    const QByteArray image = VTMachOWriter::image({Arch::X86_64, Arch::ARM64}, Container::Fat64, FileType::Bundle,
                                                  ByteOrder::Natural, 5);
    // header 8 + 2 * 32 = 72 bytes, rounded up to 96 for 2^5 alignment
    EXPECT_EQ(image.left(72), hex("cafebabf" "00000002"
                                  "01000007" "00000003" "0000000000000060" "0000000000000020" "00000005" "00000000"
                                  "0100000c" "00000000" "0000000000000080" "0000000000000020" "00000005" "00000000"));
    EXPECT_EQ(image.size(), 0x80 + 32);
}

TEST(VTMachOWriter, UniversalFilesDecodeWithAnIndependentReader)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    struct Case {
        QList<Arch> archs;
        Container container;
        QList<quint32> cpuTypes;
        QList<bool> bigEndian;
    };
    const QList<Case> cases{
        {{Arch::PPC, Arch::I386, Arch::X86_64}, Container::Fat, {18, 7, 0x01000007}, {true, false, false}},
        {{Arch::PPC64, Arch::ARM64}, Container::Fat64, {0x01000012, 0x0100000c}, {true, false}},
        {{Arch::I386}, Container::Fat, {7}, {false}},
        {{Arch::PPC}, Container::Thin, {18}, {true}},
    };
    int index = 0;
    for (const Case &c : cases) {
        const QString path = dir.filePath(QStringLiteral("exe%1").arg(index++));
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(VTMachOWriter::image(c.archs, c.container, FileType::Bundle));
        file.close();

        const QJsonArray images = decodeWithPython(path);
        ASSERT_EQ(images.size(), c.archs.size()) << path.toStdString();
        for (qsizetype i = 0; i < images.size(); ++i) {
            const QJsonObject header = images.at(i).toObject();
            EXPECT_EQ(header.value(QStringLiteral("cpu")).toInteger(), c.cpuTypes.at(i));
            EXPECT_EQ(header.value(QStringLiteral("big")).toBool(), c.bigEndian.at(i));
            EXPECT_EQ(header.value(QStringLiteral("type")).toInteger(), 8);
            EXPECT_EQ(header.value(QStringLiteral("magic")).toInteger(),
                      (c.cpuTypes.at(i) & 0x01000000) ? 0xfeedfacf : 0xfeedface);
            if (c.container != Container::Thin) {
                EXPECT_EQ(header.value(QStringLiteral("fatCpu")).toInteger(), c.cpuTypes.at(i));
            }
        }
    }
}

TEST(VTMachOWriter, ImpossibleRequestsGiveNothing)
{
    EXPECT_TRUE(VTMachOWriter::image({}, Container::Auto, FileType::Bundle).isEmpty());
    EXPECT_TRUE(VTMachOWriter::image({Arch::I386, Arch::PPC}, Container::Thin, FileType::Bundle).isEmpty());
    EXPECT_EQ(VTMachOWriter::image({Arch::I386, Arch::PPC}, Container::Auto, FileType::Bundle).left(4), hex("cafebabe"));
}
