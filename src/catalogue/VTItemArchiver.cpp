#include "VTItemArchiver.h"

#include "VTGroupItem.h"
#include "VTKeyedArchive.h"
#include "VTPluginItem.h"

#include <QHash>

#include <functional>

namespace {

using VTKeyedArchive::Uid;
using Field = VTKeyedArchive::Writer::Field;

const QString kPluginClass = QStringLiteral("VTPluginItem");
const QString kGroupClass = QStringLiteral("VTGroupItem");
const QStringList kSuperclasses{QStringLiteral("NSObject")};

class Encoder
{
public:
    Uid item(const ItemPtr &record)
    {
        if (!record)
            return VTKeyedArchive::Null;
        bool isNew = false;
        const Uid uid = m_writer.reserve(record.get(), &isNew);
        if (!isNew)
            return uid;
        if (const auto plugin = record->asPlugin())
            definePlugin(uid, *plugin);
        else
            defineGroup(uid, *record->asGroup());
        return uid;
    }

    Uid list(const QList<ItemPtr> &records)
    {
        QList<Uid> uids;
        uids.reserve(records.size());
        for (const ItemPtr &record : records)
            uids.append(item(record));
        return m_writer.addArray(uids);
    }

    [[nodiscard]] QByteArray finish(Uid root) { return m_writer.finish(root); }

private:

    void definePlugin(Uid uid, const VTPluginItem &plugin)
    {
        const VTPluginItem::ArchivedFields f = plugin.archivedFields();
        Uid architectures = VTKeyedArchive::Null;
        if (f.architectures) {
            QList<Uid> texts;
            for (const QString &text : *f.architectures)
                texts.append(m_writer.addString(text));
            architectures = m_writer.addArray(texts);
        }
        m_writer.define(uid, kPluginClass, kSuperclasses,
                        std::vector<Field>{m_writer.addOptionalString(f.shortName),
                                           m_writer.addOptionalString(f.fileName),
                                           m_writer.addOptionalString(f.subdir), m_writer.addOptionalString(f.version),
                                           m_writer.addInteger(f.pluginEnabled), m_writer.addInteger(f.itemSelection),
                                           architectures, f.pluginType, f.pluginAccess});
    }

    void defineGroup(Uid uid, const VTGroupItem &group)
    {
        const VTGroupItem::ArchivedFields f = group.archivedFields();
        const Uid children = list(f.children);
        const Uid parent = item(f.parent.lock());
        m_writer.define(uid, kGroupClass, kSuperclasses,
                        std::vector<Field>{m_writer.addOptionalString(f.title), children,
                                           m_writer.addOptionalString(f.subdir),
                                           m_writer.addOptionalString(f.groupPath),
                                           m_writer.addInteger(group.groupEnabled()), parent});
    }

    VTKeyedArchive::Writer m_writer;
};

class Decoder
{
public:
    explicit Decoder(const VTKeyedArchive::Reader &reader) : m_reader(reader) {}

    // A record; a null pointer for "$null". Nothing on any damage.
    std::optional<ItemPtr> item(Uid uid)
    {
        if (VTKeyedArchive::Reader::isNull(uid))
            return ItemPtr();
        if (const auto it = m_decoded.constFind(uid.value); it != m_decoded.cend())
            return *it;
        if (m_depth >= VTItemArchiver::MaximumDepth)
            return std::nullopt;
        ++m_depth;
        const QString cls = m_reader.className(uid);
        std::optional<ItemPtr> result;
        if (cls == kPluginClass)
            result = plugin(uid);
        else if (cls == kGroupClass)
            result = group(uid);
        --m_depth;
        return result;
    }

    // An array of records, none of them "$null".
    std::optional<QList<ItemPtr>> list(Uid uid)
    {
        const auto uids = m_reader.array(uid);
        if (!uids)
            return std::nullopt;
        QList<ItemPtr> records;
        for (const Uid &element : *uids) {
            const auto record = item(element);
            if (!record || !*record)
                return std::nullopt;
            records.append(*record);
        }
        return records;
    }

    [[nodiscard]] const QList<ItemPtr> &records() const { return m_records; }

private:
    std::optional<QString> stringField(Uid object, int index) const
    {
        const auto ref = m_reader.referenceField(object, index);
        return ref ? m_reader.optionalString(*ref) : std::nullopt;
    }

    std::optional<qint64> numberField(Uid object, int index) const
    {
        const auto ref = m_reader.referenceField(object, index);
        return ref ? m_reader.integer(*ref) : std::nullopt;
    }

    std::optional<ItemPtr> plugin(Uid uid)
    {
        VTPluginItem::ArchivedFields f;
        const auto shortName = stringField(uid, 0), fileName = stringField(uid, 1), subdir = stringField(uid, 2),
                   version = stringField(uid, 3);
        const auto enabled = numberField(uid, 4), selection = numberField(uid, 5);
        const auto architectures = m_reader.referenceField(uid, 6);
        const auto type = m_reader.integerField(uid, 7), access = m_reader.integerField(uid, 8);
        if (!shortName || !fileName || !subdir || !version || !enabled || !selection || !architectures || !type
            || !access)
            return std::nullopt;
        if (!VTKeyedArchive::Reader::isNull(*architectures)) {
            const auto uids = m_reader.array(*architectures);
            if (!uids)
                return std::nullopt;
            QStringList texts;
            for (const Uid &text : *uids) {
                const auto value = m_reader.string(text);
                if (!value)
                    return std::nullopt;
                texts.append(*value);
            }
            f.architectures = texts;
        }
        f.shortName = *shortName;
        f.fileName = *fileName;
        f.subdir = *subdir;
        f.version = *version;
        f.pluginEnabled = *enabled;
        f.itemSelection = *selection;
        f.pluginType = *type;
        f.pluginAccess = *access;
        ItemPtr record = VTPluginItem::fromArchivedFields(f);
        remember(uid, record);
        return record;
    }

    std::optional<ItemPtr> group(Uid uid)
    {
        // Known before its fields are read, so that a child's parent
        // reference back to it resolves to this record.
        const GroupPtr record = VTGroupItem::create(QString(), QString(), QString());
        remember(uid, record);
        const auto title = stringField(uid, 0), subdir = stringField(uid, 2), groupPath = stringField(uid, 3);
        const auto childrenRef = m_reader.referenceField(uid, 1), parentRef = m_reader.referenceField(uid, 5);
        const auto enabled = numberField(uid, 4);
        if (!title || !subdir || !groupPath || !childrenRef || !parentRef || !enabled)
            return std::nullopt;
        const auto children = list(*childrenRef);
        const auto parent = item(*parentRef);
        if (!children || !parent || (*parent && !(*parent)->isGroup()))
            return std::nullopt;
        record->setTitle(*title);
        record->setChildren(*children);
        record->setSubdir(*subdir);
        record->setGroupPath(*groupPath);
        record->setGroupEnabled(*enabled);
        if (*parent)
            record->VTCatalogueItem::setParent((*parent)->asGroup());
        return ItemPtr(record);
    }

    void remember(Uid uid, const ItemPtr &record)
    {
        m_decoded.insert(uid.value, record);
        m_records.append(record);
    }

    const VTKeyedArchive::Reader &m_reader;
    QHash<quint64, ItemPtr> m_decoded;
    QList<ItemPtr> m_records;
    int m_depth = 0;
};

// A group that is its own descendant would own itself and make every walk
// of its subtree endless; children nested deeper than the limit would make
// those walks overflow the stack. The decoder's own depth does not bound
// this: records met earlier through another path are not decoded again.
bool isAcceptableTree(const QList<ItemPtr> &records)
{
    constexpr int kVisiting = -1;
    // Height of each finished group's subtree, or kVisiting while it is on
    // the current path.
    QHash<const VTCatalogueItem *, int> heights;
    std::function<int(const ItemPtr &, int)> height = [&](const ItemPtr &record, int depth) -> int {
        const auto group = record->asGroup();
        if (!group)
            return 0;
        if (const auto it = heights.constFind(record.get()); it != heights.cend())
            return *it == kVisiting || depth + *it > VTItemArchiver::MaximumDepth ? -1 : *it;
        if (depth > VTItemArchiver::MaximumDepth)
            return -1;
        heights.insert(record.get(), kVisiting);
        int tallest = 0;
        for (const ItemPtr &child : group->children()) {
            const int below = height(child, depth + 1);
            if (below < 0)
                return -1;
            tallest = std::max(tallest, below + 1);
        }
        heights.insert(record.get(), tallest);
        return tallest;
    };
    for (const ItemPtr &record : records) {
        if (height(record, 0) < 0)
            return false;
    }
    return true;
}

} // namespace

QByteArray VTItemArchiver::archive(const QList<ItemPtr> &items)
{
    Encoder encoder;
    const Uid root = encoder.list(items);
    return encoder.finish(root);
}

std::optional<VTItemArchiver::Unarchived> VTItemArchiver::unarchive(const QByteArray &data)
{
    const auto reader = VTKeyedArchive::Reader::fromData(data);
    if (!reader)
        return std::nullopt;
    const auto root = reader->top(QStringLiteral("root"));
    if (!root)
        return std::nullopt;
    Decoder decoder(*reader);
    auto items = decoder.list(*root);
    if (!items || !isAcceptableTree(decoder.records())) {
        // Break the partial graph's ownership before it is released: a
        // cycle of shared children would otherwise never be freed.
        for (const ItemPtr &record : decoder.records()) {
            if (const auto group = record->asGroup())
                group->setChildren({});
        }
        return std::nullopt;
    }
    return Unarchived{*items, decoder.records()};
}
