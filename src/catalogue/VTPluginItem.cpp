#include "VTPluginItem.h"

#include "VTBundleInfoReader.h"
#include "VTGroupItem.h"
#include "VTLocalPaths.h"
#include "VTPath.h"
#include "VTPluginFolders.h"
#include "VTPluginKind.h"

#include <QFileInfo>

#include <sys/stat.h>

namespace {

const QString kProductNamePlaceholder = QStringLiteral("${PRODUCT_NAME}");

QString noneIfEmpty(const QString &subdir)
{
    return subdir.isEmpty() ? QString() : subdir;
}

} // namespace

VTPluginItem::VTPluginItem(Passkey, const ArchivedFields &fields)
    : m_shortName(fields.shortName)
    , m_fileName(fields.fileName)
    , m_subdir(noneIfEmpty(fields.subdir))
    , m_version(fields.version)
    , m_pluginEnabled(fields.pluginEnabled)
    , m_pluginType(fields.pluginType)
    , m_pluginAccess(fields.pluginAccess)
    , m_itemSelection(fields.itemSelection)
    , m_architectures(fields.architectures)
{
}

VTPluginItem::~VTPluginItem()
{
    // The read holds only a weak reference; cancelling keeps a queued read
    // from doing the work at all.
    if (m_bundleRequest)
        m_bundleRequest->cancel();
}

PluginPtr VTPluginItem::create(const QString &fileName, qint64 pluginType, qint64 pluginAccess, qint64 pluginEnabled)
{
    ArchivedFields fields;
    fields.fileName = fileName;
    fields.pluginType = pluginType;
    fields.pluginAccess = pluginAccess;
    fields.pluginEnabled = pluginEnabled;
    fields.version = QStringLiteral("");
    auto item = std::make_shared<VTPluginItem>(Passkey(), fields);
    item->setActualPath(item->pluginPath());
    item->setLockStatus();
    item->startBundleRead();
    return item;
}

PluginPtr VTPluginItem::createScanned(const QString &fileName, const QString &shortName, const QString &subdir,
                                      const QString &version, qint64 pluginType, qint64 pluginAccess,
                                      qint64 pluginEnabled, bool isPlainFile, VTDiskLooks looks)
{
    ArchivedFields fields;
    fields.shortName = shortName;
    fields.fileName = fileName;
    fields.subdir = subdir;
    // The version is text from the start: a missing one would be archived as
    // no object at all rather than as an empty text.
    fields.version = version.isNull() ? QStringLiteral("") : version;
    fields.pluginType = pluginType;
    fields.pluginAccess = pluginAccess;
    fields.pluginEnabled = pluginEnabled;
    auto item = std::make_shared<VTPluginItem>(Passkey(), fields);
    item->setActualPath(item->pluginPath());
    if (isPlainFile) {
        // The walk saw a plain file here: nothing lies inside it and it is no
        // bundle, so neither the lock check nor the bundle read asks the disk.
        std::lock_guard lock(item->m_mutex);
        item->m_lockCheckedPath = item->m_actualPath;
        item->m_lockCheckedManaged = false;
    }
    if (looks.lockStatus)
        item->setLockStatus();
    if (!isPlainFile && looks.bundleInformation)
        item->startBundleRead();
    return item;
}

PluginPtr VTPluginItem::fromArchivedFields(const ArchivedFields &fields)
{
    return std::make_shared<VTPluginItem>(Passkey(), fields);
}

void VTPluginItem::startBundleRead()
{
    auto request = VTBundleInfoReader::shared().read(std::static_pointer_cast<VTPluginItem>(shared_from_this()));
    std::lock_guard lock(m_mutex);
    m_bundleRequest = std::move(request);
}

VTPluginItem::ArchivedFields VTPluginItem::archivedFields() const
{
    std::lock_guard lock(m_mutex);
    return ArchivedFields{m_shortName,     m_fileName,      m_subdir,     m_version,     m_pluginEnabled,
                          m_itemSelection, m_architectures, m_pluginType, m_pluginAccess};
}

template<typename Change>
void VTPluginItem::changePathField(Change change)
{
    updateActualPath();
    {
        std::lock_guard lock(m_mutex);
        change();
    }
    updateActualPath();
}

QString VTPluginItem::shortName() const
{
    std::lock_guard lock(m_mutex);
    return m_shortName;
}

void VTPluginItem::setShortName(const QString &shortName)
{
    std::lock_guard lock(m_mutex);
    m_shortName = shortName;
}

QString VTPluginItem::fileName() const
{
    std::lock_guard lock(m_mutex);
    return m_fileName;
}

void VTPluginItem::setFileName(const QString &fileName)
{
    changePathField([&] { m_fileName = fileName; });
}

QString VTPluginItem::subdir() const
{
    std::lock_guard lock(m_mutex);
    return m_subdir;
}

void VTPluginItem::setSubdir(const QString &subdir)
{
    changePathField([&] { m_subdir = noneIfEmpty(subdir); });
}

QString VTPluginItem::version() const
{
    std::lock_guard lock(m_mutex);
    return m_version;
}

void VTPluginItem::setVersion(const QString &version)
{
    std::lock_guard lock(m_mutex);
    m_version = version;
}

qint64 VTPluginItem::pluginEnabled() const
{
    std::lock_guard lock(m_mutex);
    return m_pluginEnabled;
}

void VTPluginItem::setPluginEnabled(qint64 enabled)
{
    changePathField([&] { m_pluginEnabled = enabled; });
}

qint64 VTPluginItem::pluginType() const
{
    std::lock_guard lock(m_mutex);
    return m_pluginType;
}

void VTPluginItem::setPluginType(qint64 type)
{
    changePathField([&] { m_pluginType = type; });
}

qint64 VTPluginItem::pluginAccess() const
{
    std::lock_guard lock(m_mutex);
    return m_pluginAccess;
}

void VTPluginItem::setPluginAccess(qint64 access)
{
    changePathField([&] { m_pluginAccess = access; });
}

qint64 VTPluginItem::itemSelection() const
{
    std::lock_guard lock(m_mutex);
    return m_itemSelection;
}

void VTPluginItem::setItemSelection(qint64 selection)
{
    changePathField([&] { m_itemSelection = selection; });
}

void VTPluginItem::setParent(const GroupPtr &parent)
{
    updateActualPath();
    VTCatalogueItem::setParent(parent);
    updateActualPath();
}

QString VTPluginItem::actualPath() const
{
    std::lock_guard lock(m_mutex);
    return m_actualPath;
}

QString VTPluginItem::detachedActualPath() const
{
    std::lock_guard lock(m_mutex);
    return QString(m_actualPath.constData(), m_actualPath.size());
}

void VTPluginItem::setActualPath(const QString &path)
{
    std::lock_guard lock(m_mutex);
    m_actualPath = path;
}

std::optional<QStringList> VTPluginItem::architectures() const
{
    std::lock_guard lock(m_mutex);
    return m_architectures;
}

void VTPluginItem::setArchitectures(const std::optional<QStringList> &architectures)
{
    std::lock_guard lock(m_mutex);
    m_architectures = architectures;
}

QString VTPluginItem::pluginTypeDir() const
{
    if (pluginEnabled() != VTPluginKind::Disabled)
        return QStringLiteral("");
    return VTPluginFolders::shared()->disabledPath();
}

QString VTPluginItem::pluginBasePath() const
{
    qint64 type = 0, access = 0;
    {
        std::lock_guard lock(m_mutex);
        type = m_pluginType;
        access = m_pluginAccess;
    }
    return VTPluginFolders::shared()->basePath(type, access);
}

QString VTPluginItem::pluginRelativePath() const
{
    QString subdir, fileName;
    {
        std::lock_guard lock(m_mutex);
        subdir = m_subdir;
        fileName = m_fileName;
    }
    QString path = pluginBasePath();
    if (!subdir.isEmpty())
        path = VTPath::join(path, subdir);
    return VTPath::join(path, fileName);
}

QString VTPluginItem::pluginPath() const
{
    const QString typeDir = pluginTypeDir();
    return typeDir.isEmpty() ? pluginRelativePath() : VTLocalPaths::mirrorPath(typeDir, pluginRelativePath());
}

void VTPluginItem::updateActualPath()
{
    const QString computed = pluginPath();
    {
        // Unset or already there: the computed path is the answer whatever
        // the disk says, so the disk is not asked (a reload places
        // thousands of records).
        std::lock_guard lock(m_mutex);
        if (m_actualPath.isEmpty() || m_actualPath == computed) {
            m_actualPath = computed;
            return;
        }
    }
    // The disk is asked without holding the mutex; a file that appears or
    // goes in between is seen by the next call, as with any check of the disk.
    const bool exists = QFileInfo::exists(computed);
    std::lock_guard lock(m_mutex);
    if (!m_actualPath.isEmpty() && !exists)
        return;
    m_actualPath = computed;
}

QString VTPluginItem::pluginTypeName() const
{
    return VTPluginKind::typeName(pluginType());
}

void VTPluginItem::setLockStatus()
{
    const QString path = actualPath();
    // Asked again for the same place (once made, once placed in the tree),
    // the disk's answer stands; the flags are set from it each time.
    std::optional<bool> managed;
    {
        std::lock_guard lock(m_mutex);
        if (!path.isEmpty() && m_lockCheckedPath == path)
            managed = m_lockCheckedManaged;
    }
    if (!managed) {
        // A status look rather than an access() check: it answers the same
        // (links followed) without the credential switch access() makes.
        struct stat info {};
        managed = !path.isEmpty()
            && ::stat(VTPath::toNative(VTPath::join(path, QStringLiteral(".fxfactory.plist"))).constData(), &info) == 0;
        std::lock_guard lock(m_mutex);
        m_lockCheckedPath = path;
        m_lockCheckedManaged = *managed;
    }
    if (*managed) {
        m_isLocked = true;
        m_isDeletable = false;
    } else {
        m_isDeletable = true;
    }
}

bool VTPluginItem::anyArchitecture(bool (*test)(const QString &)) const
{
    const auto known = architectures();
    if (!known)
        return false;
    return std::any_of(known->cbegin(), known->cend(), test);
}

bool VTPluginItem::is32BitAvailable() const
{
    return anyArchitecture([](const QString &text) { return text.startsWith(QLatin1String("32-bit")); });
}

bool VTPluginItem::is64BitAvailable() const
{
    return anyArchitecture([](const QString &text) { return text.startsWith(QLatin1String("64-bit")); });
}

bool VTPluginItem::isIntelAvailable() const
{
    return anyArchitecture([](const QString &text) { return text.endsWith(QLatin1String("(Intel)")); });
}

bool VTPluginItem::isPPCAvailable() const
{
    return anyArchitecture([](const QString &text) { return text.endsWith(QLatin1String("(PowerPC)")); });
}

QStringList VTPluginItem::architectureTexts(const QList<VTMachO::Architecture> &architectures)
{
    QStringList texts;
    for (const VTMachO::Architecture &architecture : architectures) {
        const bool is64 = (architecture.cpuType & VTMachO::CpuArch64) != 0;
        const qint32 family = architecture.cpuType & ~VTMachO::CpuArch64;
        const QString width = is64 ? QStringLiteral("64-bit") : QStringLiteral("32-bit");
        if (family == VTMachO::CpuTypeX86)
            texts.append(width + QStringLiteral(" (Intel)"));
        else if (family == VTMachO::CpuTypePowerPC)
            texts.append(width + QStringLiteral(" (PowerPC)"));
    }
    return texts;
}

std::shared_ptr<VTBundleInfoRequest> VTPluginItem::bundleProcessThread() const
{
    std::lock_guard lock(m_mutex);
    return m_bundleRequest;
}

void VTPluginItem::applyBundleInfo(VTBundleInfo info)
{
    // The texts are moved in, so the reading thread keeps no share of them.
    std::optional<QStringList> texts;
    if (!info.architectures.isEmpty())
        texts = architectureTexts(info.architectures);
    std::lock_guard lock(m_mutex);
    if (info.name && *info.name != kProductNamePlaceholder)
        m_shortName = std::move(*info.name);
    if (info.version)
        m_version = std::move(*info.version);
    if (texts)
        m_architectures = std::move(texts);
}

VTOrder VTPluginItem::nameCompare(const VTCatalogueItem &other) const
{
    return compareText(shortName(), other.displayTitle());
}

VTOrder VTPluginItem::versionCompare(const VTCatalogueItem &other) const
{
    if (other.isGroup())
        return VTOrder::Ascending;
    return compareText(version(), static_cast<const VTPluginItem &>(other).version());
}

VTOrder VTPluginItem::statusCompare(const VTCatalogueItem &other) const
{
    if (other.isGroup())
        return VTOrder::Ascending;
    return compareNumbers(pluginEnabled(), static_cast<const VTPluginItem &>(other).pluginEnabled());
}

VTOrder VTPluginItem::typeCompare(const VTCatalogueItem &other) const
{
    const QString otherName =
        other.isGroup() ? QStringLiteral("Group") : static_cast<const VTPluginItem &>(other).pluginTypeName();
    return compareText(pluginTypeName(), otherName);
}

PluginPtr VTPluginItem::copy() const
{
    return fromArchivedFields(archivedFields());
}
