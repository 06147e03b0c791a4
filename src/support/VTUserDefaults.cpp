#include "VTUserDefaults.h"

#include "VTLocalPaths.h"
#include "VTPath.h"
#include "VTPropertyList.h"

#include <QFile>
#include <QMutex>
#include <QSysInfo>

namespace {

bool readPropertyList(QIODevice &device, QSettings::SettingsMap &map)
{
    const QByteArray bytes = device.readAll();
    if (bytes.isEmpty())
        return true; // a new, empty file
    const QVariant root = VTPropertyList::fromData(bytes);
    if (root.typeId() != QMetaType::QVariantMap)
        return false;
    const QVariantMap dict = root.toMap();
    for (auto it = dict.cbegin(); it != dict.cend(); ++it)
        map.insert(it.key(), it.value());
    return true;
}

bool writePropertyList(QIODevice &device, const QSettings::SettingsMap &map)
{
    QVariantMap dict;
    for (auto it = map.cbegin(); it != map.cend(); ++it)
        dict.insert(it.key(), it.value());
    return device.write(VTPropertyList::toData(dict, VTPropertyList::Format::Binary)) >= 0;
}

QMutex &defaultsMutex()
{
    static QMutex mutex;
    return mutex;
}

QVariantMap &defaultsStore()
{
    static QVariantMap defaults;
    return defaults;
}

} // namespace

QSettings::Format VTUserDefaults::propertyListFormat()
{
    static const QSettings::Format format =
        QSettings::registerFormat(QStringLiteral("plist"), readPropertyList, writePropertyList, Qt::CaseSensitive);
    return format;
}

QString VTUserDefaults::applicationDomain()
{
    return QLatin1String(VendorDomainPrefix) + QStringLiteral(".Tessary");
}

QString VTUserDefaults::globalDomain()
{
    return QLatin1String(VendorDomainPrefix) + QStringLiteral(".global");
}

QString VTUserDefaults::pathForDomain(const QString &domain, bool byHost)
{
    const QString prefs = VTLocalPaths::prefsDirectory(true);
    if (!byHost)
        return VTPath::join(prefs, domain + QStringLiteral(".plist"));
    QString host = QString::fromLatin1(QSysInfo::machineUniqueId());
    if (host.isEmpty())
        host = QSysInfo::machineHostName();
    return VTPath::join({prefs, QStringLiteral("ByHost"), domain + u'.' + host + QStringLiteral(".plist")});
}

std::unique_ptr<QSettings> VTUserDefaults::settingsForDomain(const QString &domain, bool byHost)
{
    auto settings = std::make_unique<QSettings>(pathForDomain(domain, byHost), propertyListFormat());
    settings->setFallbacksEnabled(false);
    return settings;
}

QVariant VTUserDefaults::value(const QString &key)
{
    const QVariant stored = settingsForDomain(applicationDomain())->value(key);
    if (stored.isValid())
        return stored;
    QMutexLocker lock(&defaultsMutex());
    return defaultsStore().value(key);
}

qint64 VTUserDefaults::integerValue(const QString &key)
{
    return value(key).toLongLong();
}

void VTUserDefaults::setValue(const QString &key, const QVariant &value)
{
    auto settings = settingsForDomain(applicationDomain());
    settings->setValue(key, value);
    settings->sync();
}

void VTUserDefaults::removeValue(const QString &key)
{
    auto settings = settingsForDomain(applicationDomain());
    settings->remove(key);
    settings->sync();
}

void VTUserDefaults::registerDefaults(const QVariantMap &defaults)
{
    QMutexLocker lock(&defaultsMutex());
    for (auto it = defaults.cbegin(); it != defaults.cend(); ++it)
        defaultsStore().insert(it.key(), it.value());
}

QVariantMap VTUserDefaults::registeredDefaults()
{
    QMutexLocker lock(&defaultsMutex());
    return defaultsStore();
}

void VTUserDefaults::registerApplicationDefaults()
{
    registerDefaults({
        {QStringLiteral("SUCheckAtStartup"), true},
        {QStringLiteral("filter"), qint64(0)},
        {QStringLiteral("installerAuthor"), VTLocalPaths::username()},
        {QStringLiteral("installerVersion"), QStringLiteral("1.0")},
        {QStringLiteral("installerName"), QStringLiteral("My Plugin")},
        {QStringLiteral("ignoreFxFactory"), qint64(0)},
    });
}

QVariant VTUserDefaults::globalValue(const QString &key)
{
    return settingsForDomain(globalDomain())->value(key);
}

QVariant VTUserDefaults::hostValue(const QString &key)
{
    return settingsForDomain(applicationDomain(), true)->value(key);
}

void VTUserDefaults::setHostValue(const QString &key, const QVariant &value)
{
    auto settings = settingsForDomain(applicationDomain(), true);
    settings->setValue(key, value);
    settings->sync();
}
