#include "VTKeyedArchive.h"

namespace VTKeyedArchive {
namespace {

const QString kArchiver = QStringLiteral("NSKeyedArchiver");
const QString kNull = QStringLiteral("$null");
const QString kClass = QStringLiteral("$class");
const QString kArrayObjects = QStringLiteral("NS.objects");

QString fieldKey(int index)
{
    return u'$' + QString::number(index);
}

bool isUid(const QVariant &value)
{
    return value.userType() == qMetaTypeId<Uid>();
}

bool isInteger(const QVariant &value)
{
    return value.typeId() == QMetaType::LongLong;
}

} // namespace

Writer::Writer()
{
    m_objects.append(kNull);
}

Uid Writer::append(const QVariant &entry)
{
    m_objects.append(entry);
    return Uid{static_cast<quint64>(m_objects.size() - 1)};
}

Uid Writer::addString(const QString &text)
{
    const auto it = m_strings.constFind(text);
    if (it != m_strings.cend())
        return *it;
    const Uid uid = append(text);
    m_strings.insert(text, uid);
    return uid;
}

Uid Writer::addOptionalString(const QString &text)
{
    return text.isNull() ? Null : addString(text);
}

Uid Writer::addInteger(qint64 value)
{
    const auto it = m_integers.constFind(value);
    if (it != m_integers.cend())
        return *it;
    const Uid uid = append(QVariant(value));
    m_integers.insert(value, uid);
    return uid;
}

Uid Writer::addArray(const QList<Uid> &elements)
{
    QVariantList references;
    references.reserve(elements.size());
    for (const Uid &element : elements)
        references.append(QVariant::fromValue(element));
    // The class entry is made first, so the array itself follows it.
    const Uid cls = classEntry(QStringLiteral("NSArray"), {QStringLiteral("NSObject")});
    QVariantMap array;
    array.insert(kArrayObjects, references);
    array.insert(kClass, QVariant::fromValue(cls));
    return append(array);
}

Uid Writer::reserve(const void *identity, bool *isNew)
{
    const auto it = m_identities.constFind(identity);
    if (it != m_identities.cend()) {
        *isNew = false;
        return *it;
    }
    *isNew = true;
    const Uid uid = append(QVariantMap());
    m_identities.insert(identity, uid);
    return uid;
}

void Writer::define(Uid object, const QString &className, const QStringList &superclasses, const QVariantList &fields)
{
    Q_ASSERT(object.value > 0 && object.value < quint64(m_objects.size()));
    QVariantMap entry;
    for (int i = 0; i < fields.size(); ++i)
        entry.insert(fieldKey(i), fields.at(i));
    entry.insert(kClass, QVariant::fromValue(classEntry(className, superclasses)));
    m_objects[qsizetype(object.value)] = entry;
}

Uid Writer::classEntry(const QString &className, const QStringList &superclasses)
{
    const auto it = m_classes.constFind(className);
    if (it != m_classes.cend())
        return *it;
    QVariantMap entry;
    entry.insert(QStringLiteral("$classname"), className);
    entry.insert(QStringLiteral("$classes"), QStringList{className} + superclasses);
    const Uid uid = append(entry);
    m_classes.insert(className, uid);
    return uid;
}

QByteArray Writer::finish(Uid root) const
{
    QVariantMap top;
    top.insert(QStringLiteral("root"), QVariant::fromValue(root));
    QVariantMap archive;
    archive.insert(QStringLiteral("$archiver"), kArchiver);
    archive.insert(QStringLiteral("$version"), Version);
    archive.insert(QStringLiteral("$top"), top);
    archive.insert(QStringLiteral("$objects"), m_objects);
    return VTPropertyList::toData(archive, VTPropertyList::Format::Binary);
}

std::optional<Reader> Reader::fromData(const QByteArray &bytes)
{
    const QVariant parsed = VTPropertyList::fromData(bytes);
    if (parsed.typeId() != QMetaType::QVariantMap)
        return std::nullopt;
    const QVariantMap archive = parsed.toMap();
    const QVariant archiver = archive.value(QStringLiteral("$archiver"));
    const QVariant version = archive.value(QStringLiteral("$version"));
    const QVariant top = archive.value(QStringLiteral("$top"));
    const QVariant objects = archive.value(QStringLiteral("$objects"));
    if (archiver.typeId() != QMetaType::QString || !isInteger(version) || version.toLongLong() != Version
        || top.typeId() != QMetaType::QVariantMap || objects.typeId() != QMetaType::QVariantList)
        return std::nullopt;
    Reader reader;
    reader.m_top = top.toMap();
    reader.m_objects = objects.toList();
    if (reader.m_objects.isEmpty() || reader.m_objects.constFirst().toString() != kNull
        || reader.m_objects.constFirst().typeId() != QMetaType::QString)
        return std::nullopt;
    return reader;
}

std::optional<Uid> Reader::top(const QString &key) const
{
    const QVariant value = m_top.value(key);
    if (!isUid(value))
        return std::nullopt;
    return value.value<Uid>();
}

const QVariant *Reader::entry(Uid uid) const
{
    if (uid.value == 0 || uid.value >= quint64(m_objects.size()))
        return nullptr;
    return &m_objects.at(qsizetype(uid.value));
}

QString Reader::className(Uid object) const
{
    const QVariant *value = entry(object);
    if (!value || value->typeId() != QMetaType::QVariantMap)
        return QString();
    const QVariant cls = value->toMap().value(kClass);
    if (!isUid(cls))
        return QString();
    const QVariant *classValue = entry(cls.value<Uid>());
    if (!classValue || classValue->typeId() != QMetaType::QVariantMap)
        return QString();
    const QVariant name = classValue->toMap().value(QStringLiteral("$classname"));
    return name.typeId() == QMetaType::QString ? name.toString() : QString();
}

std::optional<QString> Reader::string(Uid uid) const
{
    const QVariant *value = entry(uid);
    if (!value || value->typeId() != QMetaType::QString)
        return std::nullopt;
    return value->toString();
}

std::optional<QString> Reader::optionalString(Uid uid) const
{
    if (isNull(uid))
        return QString();
    return string(uid);
}

std::optional<qint64> Reader::integer(Uid uid) const
{
    const QVariant *value = entry(uid);
    if (!value || !isInteger(*value))
        return std::nullopt;
    return value->toLongLong();
}

std::optional<QList<Uid>> Reader::array(Uid uid) const
{
    const QString cls = className(uid);
    if (cls != QLatin1String("NSArray") && cls != QLatin1String("NSMutableArray"))
        return std::nullopt;
    const QVariant elements = entry(uid)->toMap().value(kArrayObjects);
    if (elements.typeId() != QMetaType::QVariantList)
        return std::nullopt;
    QList<Uid> result;
    const QVariantList list = elements.toList();
    result.reserve(list.size());
    for (const QVariant &element : list) {
        if (!isUid(element))
            return std::nullopt;
        result.append(element.value<Uid>());
    }
    return result;
}

std::optional<QVariant> Reader::field(Uid object, int index) const
{
    const QVariant *value = entry(object);
    if (!value || value->typeId() != QMetaType::QVariantMap)
        return std::nullopt;
    const QVariantMap map = value->toMap();
    const auto it = map.constFind(fieldKey(index));
    if (it == map.cend())
        return std::nullopt;
    return *it;
}

std::optional<Uid> Reader::referenceField(Uid object, int index) const
{
    const auto value = field(object, index);
    if (!value || !isUid(*value))
        return std::nullopt;
    return value->value<Uid>();
}

std::optional<qint64> Reader::integerField(Uid object, int index) const
{
    const auto value = field(object, index);
    if (!value || !isInteger(*value))
        return std::nullopt;
    return value->toLongLong();
}

} // namespace VTKeyedArchive
