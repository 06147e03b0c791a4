#include "VTMachO.h"

#include "VTBundle.h"

#include <algorithm>
#include <optional>

namespace VTMachO {
namespace {

enum class Order { Big, Little };

// A bounds-checked view of the header bytes; every read outside them fails.
class HeaderView
{
public:
    HeaderView(const QByteArray &bytes, Order order) : m_bytes(bytes), m_order(order) {}

    [[nodiscard]] std::optional<quint32> u32(qint64 offset) const
    {
        if (offset < 0 || offset + 4 > m_bytes.size())
            return std::nullopt;
        quint32 value = 0;
        for (int i = 0; i < 4; ++i) {
            const auto byte = static_cast<quint8>(m_bytes.at(offset + (m_order == Order::Big ? i : 3 - i)));
            value = (value << 8) | byte;
        }
        return value;
    }

    [[nodiscard]] std::optional<quint64> u64(qint64 offset) const
    {
        const auto first = u32(offset);
        const auto second = u32(offset + 4);
        if (!first || !second)
            return std::nullopt;
        return m_order == Order::Big ? (quint64(*first) << 32) | *second : (quint64(*second) << 32) | *first;
    }

private:
    const QByteArray &m_bytes;
    Order m_order;
};

struct Slice {
    Architecture architecture;
    quint64 offset = 0;
    quint64 size = 0;
};

QList<Architecture> parseThin(const QByteArray &head, qint64 fileSize, Order order, bool is64)
{
    const qint64 headerSize = is64 ? 32 : 28;
    if (head.size() < headerSize || fileSize < headerSize)
        return {};
    const HeaderView view(head, order);
    // The load commands follow the header; a size that runs past the end of
    // the file means the header is not what it claims.
    const auto commandBytes = view.u32(20);
    if (!commandBytes || qint64(*commandBytes) > fileSize - headerSize)
        return {};
    return {Architecture{static_cast<qint32>(*view.u32(4)), static_cast<qint32>(*view.u32(8))}};
}

QList<Architecture> parseFat(const QByteArray &head, qint64 fileSize, Order order, bool is64)
{
    const HeaderView view(head, order);
    const auto count = view.u32(4);
    if (!count || *count == 0 || *count > MaximumSlices)
        return {};
    const qint64 entrySize = is64 ? 32 : 20;
    const qint64 tableEnd = 8 + entrySize * qint64(*count);
    if (tableEnd > head.size() || tableEnd > fileSize)
        return {};

    QList<Slice> slices;
    slices.reserve(*count);
    for (quint32 i = 0; i < *count; ++i) {
        const qint64 entry = 8 + entrySize * i;
        Slice slice;
        slice.architecture.cpuType = static_cast<qint32>(*view.u32(entry));
        slice.architecture.cpuSubtype = static_cast<qint32>(*view.u32(entry + 4));
        if (is64) {
            slice.offset = *view.u64(entry + 8);
            slice.size = *view.u64(entry + 16);
        } else {
            slice.offset = *view.u32(entry + 8);
            slice.size = *view.u32(entry + 12);
        }
        // Written so that no sum can overflow: offset and size are checked
        // against the file size one after the other.
        const auto total = static_cast<quint64>(fileSize);
        if (slice.offset < quint64(tableEnd) || slice.size == 0 || slice.offset > total
            || slice.size > total - slice.offset)
            return {};
        slices.append(slice);
    }

    QList<Slice> byOffset = slices;
    std::sort(byOffset.begin(), byOffset.end(), [](const Slice &a, const Slice &b) { return a.offset < b.offset; });
    for (qsizetype i = 1; i < byOffset.size(); ++i) {
        if (byOffset.at(i).offset < byOffset.at(i - 1).offset + byOffset.at(i - 1).size)
            return {};
    }

    QList<Architecture> result;
    result.reserve(slices.size());
    for (const Slice &slice : slices)
        result.append(slice.architecture);
    return result;
}

} // namespace

QList<Architecture> parse(const QByteArray &head, qint64 fileSize)
{
    if (head.size() < 8 || fileSize < head.size())
        return {};
    const auto magic = HeaderView(head, Order::Big).u32(0).value_or(0);
    switch (magic) {
    case 0xCAFEBABE:
        return parseFat(head, fileSize, Order::Big, false);
    case 0xBEBAFECA:
        return parseFat(head, fileSize, Order::Little, false);
    case 0xCAFEBABF:
        return parseFat(head, fileSize, Order::Big, true);
    case 0xBFBAFECA:
        return parseFat(head, fileSize, Order::Little, true);
    case 0xFEEDFACE:
        return parseThin(head, fileSize, Order::Big, false);
    case 0xCEFAEDFE:
        return parseThin(head, fileSize, Order::Little, false);
    case 0xFEEDFACF:
        return parseThin(head, fileSize, Order::Big, true);
    case 0xCFFAEDFE:
        return parseThin(head, fileSize, Order::Little, true);
    default:
        return {};
    }
}

QList<Architecture> architecturesOfFile(const QString &path)
{
    qint64 fileSize = 0;
    const auto head = VTBundle::readRegularFile(path, HeaderBytes, &fileSize);
    if (!head)
        return {};
    return parse(*head, fileSize);
}

} // namespace VTMachO
