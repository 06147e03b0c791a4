#pragma once

#include <QMutex>
#include <QString>

#include <memory>

// One Audio Unit as the validator lists it. The codes and names are fixed
// when the line is read; the status is written by a validation on a queue
// thread while the table reads it on the main thread, so it is guarded.
class VTAudioUnit
{
public:
    VTAudioUnit(QString typeCode, QString idCode, QString manCode, QString title, QString manName);

    [[nodiscard]] const QString &typeCode() const { return m_typeCode; }
    [[nodiscard]] const QString &idCode() const { return m_idCode; }
    [[nodiscard]] const QString &manCode() const { return m_manCode; }
    [[nodiscard]] const QString &title() const { return m_title; }
    [[nodiscard]] const QString &manName() const { return m_manName; }

    [[nodiscard]] QString status() const;
    void setStatus(const QString &status);

    // The value for a dictionary key: "typeCode", "idCode", "manCode",
    // "title", "manName" or "status"; empty for any other key.
    [[nodiscard]] QString value(const QString &key) const;

private:
    const QString m_typeCode;
    const QString m_idCode;
    const QString m_manCode;
    const QString m_title;
    const QString m_manName;
    mutable QMutex m_mutex;
    QString m_status; // guarded by m_mutex
};

using VTAudioUnitPtr = std::shared_ptr<VTAudioUnit>;
