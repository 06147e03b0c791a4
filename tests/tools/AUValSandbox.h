#pragma once

#include "VTLog.h"
#include "VTTestSandbox.h"

#include <QFile>
#include <QStringList>

// A sandbox whose managed system carries the stand-in validator at
// usr/bin/auval, a log of its own, and helpers for the files that steer it.
class AUValSandbox : public VTTestSandbox
{
public:
    explicit AUValSandbox(bool withValidator = true)
    {
        VTLog::createNewLog(QStringLiteral("AUVal"));
        if (withValidator) {
            makeFolder(binPath(QString()));
            m_placed = QFile::copy(QStringLiteral(TESSARY_AUVAL_STANDIN), binPath(QStringLiteral("auval")))
                && QFile::setPermissions(binPath(QStringLiteral("auval")),
                                         QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        }
    }

    [[nodiscard]] bool placed() const { return m_placed; }
    [[nodiscard]] QString binPath(const QString &name) const
    {
        return systemPath(QStringLiteral("/usr/bin/") + name);
    }

    // Nine banner lines, the second one the marker the validator prints.
    static QStringList banner()
    {
        return {QString(), QStringLiteral("    * * * * * * * * * * * * *"), QStringLiteral("     AU Validation Tool"),
                QStringLiteral("     Version: 1.0"), QStringLiteral("    * * * * * * * * * * * * *"), QString(),
                QStringLiteral("    Audio Units:"), QStringLiteral("    ----------"), QString()};
    }

    // The listing printed for "-a": the lines joined by "\n", as given.
    void setListing(const QStringList &lines) const
    {
        makeFile(binPath(QStringLiteral("auval-listing.txt")), lines.join(QLatin1Char('\n')).toUtf8());
    }
    // The banner, the unit lines and a closing line.
    void setBannerListing(const QStringList &units) const
    {
        setListing(banner() + units + QStringList{QStringLiteral("* * done")});
    }
    // "TYPE SUB MANU STATUS" lines.
    void setStatuses(const QStringList &lines) const
    {
        makeFile(binPath(QStringLiteral("auval-status.txt")), lines.join(QLatin1Char('\n')).toUtf8() + '\n');
    }
    void setDelay(const QString &seconds) const { makeFile(binPath(QStringLiteral("auval-delay.txt")), seconds.toUtf8()); }
    // Each validation holds until `runs` have been under way at once.
    void setGather(int runs) const { makeFile(binPath(QStringLiteral("auval-gather.txt")), QByteArray::number(runs)); }
    [[nodiscard]] int peakConcurrentRuns() const
    {
        QFile file(binPath(QStringLiteral("auval-peak")));
        return file.open(QIODevice::ReadOnly) ? file.readAll().trimmed().toInt() : 0;
    }

private:
    bool m_placed = false;
};
