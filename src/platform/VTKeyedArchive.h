#pragma once

#include "VTBinaryPropertyListWriter.h"
#include "VTPropertyList.h"

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <optional>
#include <variant>
#include <vector>

// Keyed archives: an object graph flattened into one binary property list,
// the format used for the "-data" listing and the drag pasteboard:
//
//   { "$archiver": "NSKeyedArchiver", "$version": 100000,
//     "$top": { "root": UID }, "$objects": [ "$null", ... ] }
//
// Every object is an entry of "$objects" and is referred to by its index (a
// UID); UID 0 is the "$null" entry and stands for "none". Strings and boxed
// numbers are stored as plain strings and integers, arrays as
// { "NS.objects": [UIDs], "$class": UID }, and other objects as dictionaries
// whose fields, in their encoding order, are under "$0", "$1", ... with a
// "$class" reference to { "$classname": ..., "$classes": [class, superclasses] }.
// Any property-list reader can walk such a file.
namespace VTKeyedArchive {

using Uid = VTPropertyList::Uid;
inline constexpr Uid Null{0};
inline constexpr qint64 Version = 100000;

// Builds an archive. Objects that have an identity (records shared between
// lists, back references) are written once: reserve() hands out their UID
// before their fields are encoded, so cycles through back references end.
class Writer
{
public:
    Writer();

    // A string object; equal strings share one entry.
    [[nodiscard]] Uid addString(const QString &text);
    // A string, or Null for a null QString.
    [[nodiscard]] Uid addOptionalString(const QString &text);
    // A boxed integer object; equal numbers share one entry.
    [[nodiscard]] Uid addInteger(qint64 value);
    // An array object of the given elements (class "NSArray").
    [[nodiscard]] Uid addArray(const QList<Uid> &elements);

    // The UID of the object with this identity. `isNew` tells whether it was
    // handed out just now, in which case the caller must define() it.
    [[nodiscard]] Uid reserve(const void *identity, bool *isNew);
    // Gives a reserved object its class and fields. A field is either a Uid
    // (a reference to an object) or an integer (a scalar stored in place).
    using Field = std::variant<Uid, qint64>;
    void define(Uid object, const QString &className, const QStringList &superclasses,
                const std::vector<Field> &fields);
    // The same with the fields as variants holding a Uid or an integer.
    void define(Uid object, const QString &className, const QStringList &superclasses, const QVariantList &fields);

    // The finished archive, as a binary property list, with `root` as "$top"'s "root".
    [[nodiscard]] QByteArray finish(Uid root);

private:
    using Ref = VTBinaryPropertyListWriter::Ref;
    [[nodiscard]] Uid append(Ref entry);
    [[nodiscard]] Uid classEntry(const QString &className, const QStringList &superclasses);
    [[nodiscard]] Ref keyOfField(int index);

    // The archive is written as it is built: each entry of "$objects" is an
    // object of the property list, and m_objects holds their references.
    VTBinaryPropertyListWriter m_list;
    std::vector<Ref> m_objects;
    std::vector<bool> m_defined;          // reserved entries that got their fields
    QHash<Ref, Uid> m_strings;            // string objects by their property-list object
    QHash<qint64, Uid> m_integers;
    QHash<const void *, Uid> m_identities;
    QHash<QString, Uid> m_classes;
    std::vector<Ref> m_fieldKeys;         // "$0", "$1", ...
};

// Reads an archive. Nothing in it is trusted: every lookup checks the UID
// range and the type of what it finds and answers nothing on a mismatch.
class Reader
{
public:
    // Checks the envelope ($archiver, $version 100000, $top, $objects with
    // "$null" first); nothing when the bytes are not such an archive.
    [[nodiscard]] static std::optional<Reader> fromData(const QByteArray &bytes);

    // The UID stored in "$top" under `key`.
    [[nodiscard]] std::optional<Uid> top(const QString &key) const;
    [[nodiscard]] static bool isNull(Uid uid) { return uid.value == 0; }
    [[nodiscard]] qsizetype objectCount() const { return m_objects.size(); }

    // The class name of an object dictionary; empty for anything else.
    [[nodiscard]] QString className(Uid object) const;
    // The string object at `uid`; nothing when it is no string.
    [[nodiscard]] std::optional<QString> string(Uid uid) const;
    // Null gives a null QString, a string object its text, anything else nothing.
    [[nodiscard]] std::optional<QString> optionalString(Uid uid) const;
    // The boxed integer at `uid`.
    [[nodiscard]] std::optional<qint64> integer(Uid uid) const;
    // The elements of an array object.
    [[nodiscard]] std::optional<QList<Uid>> array(Uid uid) const;

    // Field `index` ("$<index>") of an object dictionary, as a reference or
    // as a scalar integer.
    [[nodiscard]] std::optional<Uid> referenceField(Uid object, int index) const;
    [[nodiscard]] std::optional<qint64> integerField(Uid object, int index) const;

private:
    Reader() = default;
    [[nodiscard]] const QVariant *entry(Uid uid) const;
    [[nodiscard]] std::optional<QVariant> field(Uid object, int index) const;

    QVariantMap m_top;
    QVariantList m_objects;
};

} // namespace VTKeyedArchive
