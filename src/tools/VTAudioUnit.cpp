#include "VTAudioUnit.h"

#include <utility>

VTAudioUnit::VTAudioUnit(QString typeCode, QString idCode, QString manCode, QString title, QString manName)
    : m_typeCode(std::move(typeCode))
    , m_idCode(std::move(idCode))
    , m_manCode(std::move(manCode))
    , m_title(std::move(title))
    , m_manName(std::move(manName))
    , m_status(QStringLiteral("Validating..."))
{
}

QString VTAudioUnit::status() const
{
    const QMutexLocker locker(&m_mutex);
    return m_status;
}

void VTAudioUnit::setStatus(const QString &status)
{
    const QMutexLocker locker(&m_mutex);
    m_status = status;
}

QString VTAudioUnit::value(const QString &key) const
{
    if (key == QLatin1String("typeCode"))
        return m_typeCode;
    if (key == QLatin1String("idCode"))
        return m_idCode;
    if (key == QLatin1String("manCode"))
        return m_manCode;
    if (key == QLatin1String("title"))
        return m_title;
    if (key == QLatin1String("manName"))
        return m_manName;
    if (key == QLatin1String("status"))
        return status();
    return {};
}
