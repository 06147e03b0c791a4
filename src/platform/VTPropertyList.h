#pragma once

#include <QByteArray>
#include <QString>
#include <QVariant>

// Property lists (XML and binary) as QVariant trees, through libplist.
// Dictionaries are QVariantMap, arrays QVariantList, strings QString,
// integers qint64 (signed 64-bit, as property lists store them), reals
// double, booleans bool, data QByteArray, dates QDateTime in UTC (XML keeps
// whole seconds, binary keeps fractions). Keyed-archive references (UID)
// read as VTPropertyList::Uid.
namespace VTPropertyList {

enum class Format { Xml, Binary };

struct Uid {
    quint64 value = 0;
    friend bool operator==(const Uid &, const Uid &) = default;
};

// Parses XML or binary bytes; an invalid or empty input gives an invalid QVariant.
[[nodiscard]] QVariant fromData(const QByteArray &bytes);
// Reads a file; a missing, unreadable or malformed file gives an invalid
// QVariant. Reads at most `maxBytes` (property lists here are small).
[[nodiscard]] QVariant readFile(const QString &path, qint64 maxBytes = 16 * 1024 * 1024);

// Serialises a QVariant tree; types outside the list above are written as
// their string form. An invalid QVariant gives empty bytes.
[[nodiscard]] QByteArray toData(const QVariant &value, Format format);
// Writes atomically (temporary file, then rename). Returns false on failure.
[[nodiscard]] bool writeFile(const QString &path, const QVariant &value, Format format);

} // namespace VTPropertyList

Q_DECLARE_METATYPE(VTPropertyList::Uid)
