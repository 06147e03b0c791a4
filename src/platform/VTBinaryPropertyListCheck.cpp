#include "VTBinaryPropertyListCheck.h"

#include <optional>

namespace VTBinaryPropertyListCheck {
namespace {

constexpr qint64 kHeaderSize = 8;
constexpr qint64 kTrailerSize = 32;

class BinaryList
{
public:
    explicit BinaryList(const QByteArray &bytes) : m_bytes(bytes) {}

    // Big-endian unsigned number of `width` bytes (1 to 8) at `offset`.
    [[nodiscard]] std::optional<quint64> number(qint64 offset, int width) const
    {
        if (width < 1 || width > 8 || offset < 0 || offset > m_bytes.size() - width)
            return std::nullopt;
        quint64 value = 0;
        for (int i = 0; i < width; ++i)
            value = (value << 8) | static_cast<quint8>(m_bytes.at(offset + i));
        return value;
    }

    [[nodiscard]] qint64 size() const { return m_bytes.size(); }
    [[nodiscard]] quint8 byte(qint64 offset) const { return static_cast<quint8>(m_bytes.at(offset)); }

    // The element count of the object whose marker is at `offset`, and
    // where its contents start: a low nibble of 0xF means the count
    // follows as an integer object.
    [[nodiscard]] std::optional<std::pair<quint64, qint64>> countAt(qint64 offset) const
    {
        if (offset < 0 || offset >= size())
            return std::nullopt;
        const quint8 low = byte(offset) & 0x0F;
        if (low != 0x0F)
            return std::pair<quint64, qint64>(low, offset + 1);
        if (offset + 1 >= size() || (byte(offset + 1) & 0xF0) != 0x10)
            return std::nullopt;
        const int width = 1 << (byte(offset + 1) & 0x0F);
        const auto count = number(offset + 2, width);
        if (!count)
            return std::nullopt;
        return std::pair<quint64, qint64>(*count, offset + 2 + width);
    }

private:
    const QByteArray &m_bytes;
};

// True when the object at `offset` is an ASCII or UTF-16 string without NUL.
bool isCleanKey(const BinaryList &list, qint64 offset)
{
    const auto counted = list.countAt(offset);
    if (!counted)
        return false;
    const auto [count, start] = *counted;
    const quint8 type = list.byte(offset) & 0xF0;
    const quint64 unit = type == 0x50 ? 1 : (type == 0x60 ? 2 : 0);
    if (unit == 0 || count > quint64(list.size() - start) / unit)
        return false;
    for (quint64 i = 0; i < count; ++i) {
        bool zero = true;
        for (quint64 b = 0; b < unit; ++b)
            zero = zero && list.byte(start + qint64(i * unit + b)) == 0;
        if (zero)
            return false;
    }
    return true;
}

} // namespace

bool isSafe(const QByteArray &bytes)
{
    if (!bytes.startsWith("bplist"))
        return true;
    const BinaryList list(bytes);
    if (list.size() < kHeaderSize + kTrailerSize)
        return false;
    const qint64 trailer = list.size() - kTrailerSize;
    const int offsetSize = list.byte(trailer + 6);
    const int refSize = list.byte(trailer + 7);
    const auto objectCount = list.number(trailer + 8, 8);
    const auto tableOffset = list.number(trailer + 24, 8);
    if (offsetSize < 1 || offsetSize > 8 || refSize < 1 || refSize > 8 || !objectCount || !tableOffset
        || *tableOffset > quint64(trailer) || *objectCount > (quint64(trailer) - *tableOffset) / quint64(offsetSize))
        return false;

    const auto objectOffset = [&](quint64 index) -> std::optional<qint64> {
        if (index >= *objectCount)
            return std::nullopt;
        const auto offset = list.number(qint64(*tableOffset + index * quint64(offsetSize)), offsetSize);
        if (!offset || *offset < quint64(kHeaderSize) || *offset >= quint64(trailer))
            return std::nullopt;
        return qint64(*offset);
    };

    for (quint64 index = 0; index < *objectCount; ++index) {
        const auto offset = objectOffset(index);
        if (!offset)
            return false;
        if ((list.byte(*offset) & 0xF0) != 0xD0)
            continue;
        const auto counted = list.countAt(*offset);
        if (!counted)
            return false;
        const auto [count, start] = *counted;
        // Keys, then values: 2 * count references.
        if (count > quint64(list.size() - start) / quint64(refSize) / 2)
            return false;
        for (quint64 k = 0; k < count; ++k) {
            const auto keyIndex = list.number(start + qint64(k) * refSize, refSize);
            const auto keyOffset = keyIndex ? objectOffset(*keyIndex) : std::nullopt;
            if (!keyOffset || !isCleanKey(list, *keyOffset))
                return false;
        }
    }
    return true;
}

} // namespace VTBinaryPropertyListCheck
