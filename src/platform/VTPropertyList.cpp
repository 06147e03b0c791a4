#include "VTPropertyList.h"

#include "VTBinaryPropertyListCheck.h"

#include <QDateTime>
#include <QFile>
#include <QSaveFile>
#include <QTimeZone>

#include <plist/plist.h>

#include <memory>

namespace VTPropertyList {
namespace {

// Seconds between the Unix epoch and the property-list epoch (2001-01-01).
constexpr qint64 kAppleEpochOffset = 978307200;

struct PlistDeleter {
    void operator()(plist_t node) const { plist_free(node); }
};
using PlistPtr = std::unique_ptr<void, PlistDeleter>;

QVariant toVariant(plist_t node, int depth)
{
    // Nesting deeper than this only comes from hostile input.
    if (!node || depth > 512)
        return QVariant();
    switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
        uint8_t value = 0;
        plist_get_bool_val(node, &value);
        return QVariant(value != 0);
    }
    case PLIST_UINT: {
        uint64_t value = 0;
        plist_get_uint_val(node, &value);
        return QVariant(static_cast<qint64>(value));
    }
    case PLIST_REAL: {
        double value = 0;
        plist_get_real_val(node, &value);
        return QVariant(value);
    }
    case PLIST_STRING: {
        uint64_t length = 0;
        const char *text = plist_get_string_ptr(node, &length);
        return QVariant(QString::fromUtf8(text, static_cast<qsizetype>(length)));
    }
    case PLIST_DATA: {
        uint64_t length = 0;
        const char *bytes = plist_get_data_ptr(node, &length);
        return QVariant(QByteArray(bytes, static_cast<qsizetype>(length)));
    }
    case PLIST_DATE: {
        int32_t sec = 0, usec = 0;
        plist_get_date_val(node, &sec, &usec);
        // libplist gives the fraction without its sign: -100.5 s comes back
        // as -100 and 500000.
        const qint64 fractionMs = usec / 1000;
        const qint64 ms = (kAppleEpochOffset + sec) * 1000 + (sec < 0 ? -fractionMs : fractionMs);
        return QVariant(QDateTime::fromMSecsSinceEpoch(ms, Qt::UTC));
    }
    case PLIST_UID: {
        uint64_t value = 0;
        plist_get_uid_val(node, &value);
        return QVariant::fromValue(Uid{value});
    }
    case PLIST_ARRAY: {
        QVariantList list;
        const uint32_t count = plist_array_get_size(node);
        list.reserve(count);
        for (uint32_t i = 0; i < count; ++i)
            list.append(toVariant(plist_array_get_item(node, i), depth + 1));
        return list;
    }
    case PLIST_DICT: {
        QVariantMap map;
        plist_dict_iter it = nullptr;
        plist_dict_new_iter(node, &it);
        for (;;) {
            char *key = nullptr;
            plist_t value = nullptr;
            plist_dict_next_item(node, it, &key, &value);
            if (!key)
                break;
            map.insert(QString::fromUtf8(key), toVariant(value, depth + 1));
            free(key);
        }
        free(it);
        return map;
    }
    default:
        return QVariant();
    }
}

plist_t fromVariant(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::Bool:
        return plist_new_bool(value.toBool() ? 1 : 0);
    case QMetaType::Int:
    case QMetaType::LongLong:
    case QMetaType::Long:
    case QMetaType::Short:
    case QMetaType::Char:
    case QMetaType::SChar:
        return plist_new_uint(static_cast<uint64_t>(value.toLongLong()));
    case QMetaType::UInt:
    case QMetaType::ULongLong:
    case QMetaType::ULong:
    case QMetaType::UShort:
    case QMetaType::UChar:
        return plist_new_uint(value.toULongLong());
    case QMetaType::Double:
    case QMetaType::Float:
        return plist_new_real(value.toDouble());
    case QMetaType::QByteArray: {
        const QByteArray bytes = value.toByteArray();
        return plist_new_data(bytes.constData(), static_cast<uint64_t>(bytes.size()));
    }
    case QMetaType::QDateTime: {
        const qint64 ms = value.toDateTime().toMSecsSinceEpoch() - kAppleEpochOffset * 1000;
        return plist_new_date(static_cast<int32_t>(ms / 1000), static_cast<int32_t>((ms % 1000) * 1000));
    }
    case QMetaType::QVariantList:
    case QMetaType::QStringList: {
        plist_t array = plist_new_array();
        for (const QVariant &item : value.toList())
            plist_array_append_item(array, fromVariant(item));
        return array;
    }
    case QMetaType::QVariantMap:
    case QMetaType::QVariantHash: {
        plist_t dict = plist_new_dict();
        const QVariantMap map = value.toMap();
        for (auto it = map.cbegin(); it != map.cend(); ++it)
            plist_dict_set_item(dict, it.key().toUtf8().constData(), fromVariant(it.value()));
        return dict;
    }
    default:
        if (value.canConvert<Uid>() && value.userType() == qMetaTypeId<Uid>())
            return plist_new_uid(value.value<Uid>().value);
        return plist_new_string(value.toString().toUtf8().constData());
    }
}

} // namespace

QVariant fromData(const QByteArray &bytes)
{
    if (bytes.isEmpty() || bytes.size() > std::numeric_limits<uint32_t>::max()
        || !VTBinaryPropertyListCheck::isSafe(bytes))
        return QVariant();
    plist_t root = nullptr;
    plist_from_memory(bytes.constData(), static_cast<uint32_t>(bytes.size()), &root);
    PlistPtr owner(root);
    return toVariant(root, 0);
}

QVariant readFile(const QString &path, qint64 maxBytes)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QVariant();
    return fromData(file.read(maxBytes));
}

QByteArray toData(const QVariant &value, Format format)
{
    if (!value.isValid())
        return QByteArray();
    PlistPtr root(fromVariant(value));
    char *out = nullptr;
    uint32_t length = 0;
    if (format == Format::Binary)
        plist_to_bin(root.get(), &out, &length);
    else
        plist_to_xml(root.get(), &out, &length);
    QByteArray result(out, static_cast<qsizetype>(length));
    if (format == Format::Binary)
        plist_to_bin_free(out);
    else
        plist_to_xml_free(out);
    return result;
}

bool writeFile(const QString &path, const QVariant &value, Format format)
{
    const QByteArray bytes = toData(value, format);
    if (bytes.isEmpty())
        return false;
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    file.write(bytes);
    return file.commit();
}

} // namespace VTPropertyList
