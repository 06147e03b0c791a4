#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>

#include <utility>
#include <vector>

// Writes a binary property list ("bplist00") object by object, for large
// lists built by the program itself (the keyed archive of the catalogue):
// no tree of variants is made first, and equal strings, integers and
// references are written once.
//
// Objects are added bottom-up: a container names objects added before it.
// Only the types the program writes are offered: strings (ASCII, else
// UTF-16), signed 64-bit integers, keyed-archive references (UIDs), arrays
// and dictionaries.
class VTBinaryPropertyListWriter
{
public:
    using Ref = quint32;

    [[nodiscard]] Ref string(const QString &text);
    [[nodiscard]] Ref integer(qint64 value);
    [[nodiscard]] Ref uid(quint64 value);
    [[nodiscard]] Ref array(const std::vector<Ref> &elements);
    // Keys (string objects) and values, in the order given.
    [[nodiscard]] Ref dictionary(const std::vector<std::pair<Ref, Ref>> &entries);

    // The whole list with `top` as its root object.
    [[nodiscard]] QByteArray finish(Ref top) const;

private:
    struct Object {
        quint8 marker;   // type nibble; containers get their count when written
        qint64 start;    // scalars: encoded bytes in m_scalars; containers: refs in m_refs
        qint64 length;   // bytes, or refs (a dictionary's keys and values)
    };

    [[nodiscard]] Ref scalar(const QByteArray &encoded);
    // The object already made for `key`, or a new one of the bytes `encode` gives:
    // equal values share one object.
    template <typename Key, typename Encode>
    [[nodiscard]] Ref cachedScalar(QHash<Key, Ref> &cache, const Key &key, Encode encode)
    {
        if (const auto it = cache.constFind(key); it != cache.cend())
            return *it;
        const Ref ref = scalar(encode());
        cache.insert(key, ref);
        return ref;
    }
    [[nodiscard]] Ref container(quint8 marker, qint64 start, qint64 count);

    std::vector<Object> m_objects;
    QByteArray m_scalars;     // every scalar object, already encoded
    std::vector<Ref> m_refs;  // the references of every container, in turn
    QHash<QString, Ref> m_strings;
    QHash<qint64, Ref> m_integers;
    QHash<quint64, Ref> m_uids;
};
