#include "VTBinaryPropertyListWriter.h"

#include <algorithm>
#include <bit>

namespace {

constexpr quint8 kInteger = 0x10;
constexpr quint8 kAsciiString = 0x50;
constexpr quint8 kUtf16String = 0x60;
constexpr quint8 kUid = 0x80;
constexpr quint8 kArray = 0xA0;
constexpr quint8 kDictionary = 0xD0;

void appendBigEndian(QByteArray &out, quint64 value, int width)
{
    for (int shift = (width - 1) * 8; shift >= 0; shift -= 8)
        out.append(char((value >> shift) & 0xFF));
}

// The width, of 1, 2, 4 or 8 bytes, that holds `value`: the sizes every
// reader accepts for integers, references and offsets.
int widthOf(quint64 value)
{
    if (value <= 0xFF)
        return 1;
    if (value <= 0xFFFF)
        return 2;
    if (value <= 0xFFFFFFFFu)
        return 4;
    return 8;
}

void appendInteger(QByteArray &out, qint64 value)
{
    // Negative numbers take all eight bytes, as readers sign only those.
    const int width = value < 0 ? 8 : widthOf(quint64(value));
    out.append(char(kInteger | std::countr_zero(unsigned(width))));
    appendBigEndian(out, quint64(value), width);
}

// A marker with its element count: in the low nibble when it fits, else
// 0xF and an integer object.
void appendHeader(QByteArray &out, quint8 marker, qint64 count)
{
    if (count < 15) {
        out.append(char(marker | quint8(count)));
        return;
    }
    out.append(char(marker | 0x0F));
    appendInteger(out, count);
}

} // namespace

VTBinaryPropertyListWriter::Ref VTBinaryPropertyListWriter::scalar(const QByteArray &encoded)
{
    m_objects.push_back({0, m_scalars.size(), encoded.size()});
    m_scalars.append(encoded);
    return Ref(m_objects.size() - 1);
}

VTBinaryPropertyListWriter::Ref VTBinaryPropertyListWriter::container(quint8 marker, qint64 start, qint64 count)
{
    m_objects.push_back({marker, start, count});
    return Ref(m_objects.size() - 1);
}

VTBinaryPropertyListWriter::Ref VTBinaryPropertyListWriter::string(const QString &text)
{
    return cachedScalar(m_strings, text, [&text] {
        const bool ascii = std::all_of(text.cbegin(), text.cend(), [](QChar c) { return c.unicode() < 0x80; });
        QByteArray encoded;
        appendHeader(encoded, ascii ? kAsciiString : kUtf16String, text.size());
        if (ascii) {
            encoded.append(text.toLatin1());
        } else {
            for (const QChar c : text)
                appendBigEndian(encoded, c.unicode(), 2);
        }
        return encoded;
    });
}

VTBinaryPropertyListWriter::Ref VTBinaryPropertyListWriter::integer(qint64 value)
{
    return cachedScalar(m_integers, value, [value] {
        QByteArray encoded;
        appendInteger(encoded, value);
        return encoded;
    });
}

VTBinaryPropertyListWriter::Ref VTBinaryPropertyListWriter::uid(quint64 value)
{
    return cachedScalar(m_uids, value, [value] {
        const int width = widthOf(value);
        QByteArray encoded;
        encoded.append(char(kUid | (width - 1)));
        appendBigEndian(encoded, value, width);
        return encoded;
    });
}

VTBinaryPropertyListWriter::Ref VTBinaryPropertyListWriter::array(const std::vector<Ref> &elements)
{
    const qint64 start = qint64(m_refs.size());
    m_refs.insert(m_refs.end(), elements.cbegin(), elements.cend());
    return container(kArray, start, qint64(elements.size()));
}

VTBinaryPropertyListWriter::Ref VTBinaryPropertyListWriter::dictionary(const std::vector<std::pair<Ref, Ref>> &entries)
{
    const qint64 start = qint64(m_refs.size());
    for (const auto &entry : entries)
        m_refs.push_back(entry.first);
    for (const auto &entry : entries)
        m_refs.push_back(entry.second);
    return container(kDictionary, start, qint64(entries.size()) * 2);
}

QByteArray VTBinaryPropertyListWriter::finish(Ref top) const
{
    const int refWidth = widthOf(m_objects.empty() ? 0 : m_objects.size() - 1);
    QByteArray out;
    out.reserve(8 + m_scalars.size() + qint64(m_refs.size()) * refWidth + qint64(m_objects.size()) * 6 + 32);
    out.append("bplist00");
    std::vector<quint64> offsets;
    offsets.reserve(m_objects.size());
    for (const Object &object : m_objects) {
        offsets.push_back(quint64(out.size()));
        if (object.marker == 0) {
            out.append(m_scalars.constData() + object.start, object.length);
            continue;
        }
        appendHeader(out, object.marker, object.marker == kDictionary ? object.length / 2 : object.length);
        for (qint64 i = object.start; i < object.start + object.length; ++i)
            appendBigEndian(out, m_refs[size_t(i)], refWidth);
    }
    const quint64 tableOffset = quint64(out.size());
    const int offsetWidth = widthOf(tableOffset);
    for (const quint64 offset : offsets)
        appendBigEndian(out, offset, offsetWidth);
    out.append(6, '\0');
    out.append(char(offsetWidth));
    out.append(char(refWidth));
    appendBigEndian(out, m_objects.size(), 8);
    appendBigEndian(out, top, 8);
    appendBigEndian(out, tableOffset, 8);
    return out;
}
