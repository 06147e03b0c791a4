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
    m_objects.push_back(m_list.string(kNull));
    m_defined.push_back(true);
}

Uid Writer::append(Ref entry)
{
    m_objects.push_back(entry);
    m_defined.push_back(true);
    return Uid{static_cast<quint64>(m_objects.size() - 1)};
}

Uid Writer::addString(const QString &text)
{
    const Ref ref = m_list.string(text);
    const auto it = m_strings.constFind(ref);
    if (it != m_strings.cend())
        return *it;
    const Uid uid = append(ref);
    m_strings.insert(ref, uid);
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
    const Uid uid = append(m_list.integer(value));
    m_integers.insert(value, uid);
    return uid;
}

Uid Writer::addArray(const QList<Uid> &elements)
{
    std::vector<Ref> references;
    references.reserve(size_t(elements.size()));
    for (const Uid &element : elements)
        references.push_back(m_list.uid(element.value));
    // The class entry is made first, so the array itself follows it.
    const Uid cls = classEntry(QStringLiteral("NSArray"), {QStringLiteral("NSObject")});
    return append(m_list.dictionary({{m_list.string(kArrayObjects), m_list.array(references)},
                                     {m_list.string(kClass), m_list.uid(cls.value)}}));
}

Uid Writer::reserve(const void *identity, bool *isNew)
{
    const auto it = m_identities.constFind(identity);
    if (it != m_identities.cend()) {
        *isNew = false;
        return *it;
    }
    *isNew = true;
    const Uid uid = append(0);
    m_defined.back() = false;
    m_identities.insert(identity, uid);
    return uid;
}

VTBinaryPropertyListWriter::Ref Writer::keyOfField(int index)
{
    while (int(m_fieldKeys.size()) <= index)
        m_fieldKeys.push_back(m_list.string(fieldKey(int(m_fieldKeys.size()))));
    return m_fieldKeys[size_t(index)];
}

void Writer::define(Uid object, const QString &className, const QStringList &superclasses,
                    const std::vector<Field> &fields)
{
    Q_ASSERT(object.value > 0 && object.value < quint64(m_objects.size()));
    std::vector<std::pair<Ref, Ref>> entries;
    entries.reserve(fields.size() + 1);
    for (size_t i = 0; i < fields.size(); ++i) {
        const Field &field = fields[i];
        const Ref value = std::holds_alternative<Uid>(field) ? m_list.uid(std::get<Uid>(field).value)
                                                             : m_list.integer(std::get<qint64>(field));
        entries.emplace_back(keyOfField(int(i)), value);
    }
    entries.emplace_back(m_list.string(kClass), m_list.uid(classEntry(className, superclasses).value));
    m_objects[size_t(object.value)] = m_list.dictionary(entries);
    m_defined[size_t(object.value)] = true;
}

void Writer::define(Uid object, const QString &className, const QStringList &superclasses, const QVariantList &fields)
{
    std::vector<Field> converted;
    converted.reserve(size_t(fields.size()));
    for (const QVariant &field : fields) {
        if (isUid(field))
            converted.emplace_back(field.value<Uid>());
        else
            converted.emplace_back(field.toLongLong());
    }
    define(object, className, superclasses, converted);
}

Uid Writer::classEntry(const QString &className, const QStringList &superclasses)
{
    const auto it = m_classes.constFind(className);
    if (it != m_classes.cend())
        return *it;
    std::vector<Ref> classes{m_list.string(className)};
    for (const QString &superclass : superclasses)
        classes.push_back(m_list.string(superclass));
    const Uid uid = append(m_list.dictionary({{m_list.string(QStringLiteral("$classname")), m_list.string(className)},
                                              {m_list.string(QStringLiteral("$classes")), m_list.array(classes)}}));
    m_classes.insert(className, uid);
    return uid;
}

QByteArray Writer::finish(Uid root)
{
    // An object reserved but never defined is an empty dictionary.
    for (size_t i = 0; i < m_objects.size(); ++i) {
        if (!m_defined[i])
            m_objects[i] = m_list.dictionary({});
    }
    const Ref top = m_list.dictionary({{m_list.string(QStringLiteral("root")), m_list.uid(root.value)}});
    const Ref objects = m_list.array(m_objects);
    return m_list.finish(m_list.dictionary({{m_list.string(QStringLiteral("$archiver")), m_list.string(kArchiver)},
                                            {m_list.string(QStringLiteral("$objects")), objects},
                                            {m_list.string(QStringLiteral("$top")), top},
                                            {m_list.string(QStringLiteral("$version")), m_list.integer(Version)}}));
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
