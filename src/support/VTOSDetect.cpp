#include "VTOSDetect.h"

#include "VTLocalPaths.h"
#include "VTLog.h"
#include "VTPropertyList.h"

#include <QRegularExpression>
#include <QVariantMap>

#include <cerrno>

#include <sys/utsname.h>

std::optional<VTOSDetect::Version> VTOSDetect::parseRelease(const QString &release)
{
    static const QRegularExpression pattern(QStringLiteral("^(\\d+)(?:\\.(\\d+))?(?:\\.(\\d+))?"));
    const QRegularExpressionMatch match = pattern.match(release);
    if (!match.hasMatch())
        return std::nullopt;
    return Version{match.captured(1).toLong(), match.captured(2).toLong(), match.captured(3).toLong()};
}

std::optional<VTOSDetect::Version> VTOSDetect::managedSystemVersion()
{
    const QString plist = VTLocalPaths::systemPath(QStringLiteral("/System/Library/CoreServices/SystemVersion.plist"));
    const QVariant info = VTPropertyList::readFile(plist);
    return parseRelease(info.toMap().value(QStringLiteral("ProductVersion")).toString());
}

VTOSDetect::Version VTOSDetect::runningVersion()
{
    if (const auto version = managedSystemVersion())
        return *version;
    Version legacy;
    getSystemVersionMajor(&legacy.major, &legacy.minor, &legacy.bugFix);
    return legacy;
}

QString VTOSDetect::systemDescription()
{
    if (const auto v = managedSystemVersion())
        return QStringLiteral("OS X %1.%2.%3").arg(v->major).arg(v->minor).arg(v->bugFix);
    struct utsname info {};
    const QString kernel = uname(&info) == 0 ? QStringLiteral("%1 %2").arg(QString::fromLatin1(info.sysname),
                                                                            QString::fromLatin1(info.release))
                                             : QStringLiteral("unknown system");
    return kernel + QStringLiteral(" (no OS X version in the managed system)");
}

bool VTOSDetect::isOSVersionHigherThan(const Version &running, long major, long minor, long bugFix)
{
    if (running.major < major || (running.major == major && running.minor < minor))
        return false;
    return running.bugFix >= bugFix || running.major != major || running.minor != minor;
}

bool VTOSDetect::isOSVersionHigherThan(long major, long minor, long bugFix)
{
    return isOSVersionHigherThan(runningVersion(), major, minor, bugFix);
}

QString VTOSDetect::osxVersion()
{
    const Version v = runningVersion();
    return QStringLiteral("%1.%2.%3").arg(v.major).arg(v.minor).arg(v.bugFix);
}

VTOSDetect::Version VTOSDetect::decodeLegacy(long sysv, long sys1, long sys2, long sys3)
{
    if (sysv < 0x1040) {
        return Version{((sysv >> 8) & 0xF) + 10 * ((sysv >> 12) & 0xF), (sysv >> 4) & 0xF, sysv & 0xF};
    }
    return Version{sys1, sys2, sys3};
}

void VTOSDetect::getSystemVersionMajor(long *major, long *minor, long *bugFix)
{
    // The selectors "sys1".."sys3" are read from the managed system's version
    // file ("sysv" taken as past 0x1040); a root without one fails the query.
    Version version{10, 5, 0};
    if (const auto managed = managedSystemVersion())
        version = decodeLegacy(0x1040, managed->major, managed->minor, managed->bugFix);
    else
        VTLog::appendLog(QStringLiteral("Unable to obtain system version: %1").arg(long(ENOENT)));
    if (major)
        *major = version.major;
    if (minor)
        *minor = version.minor;
    if (bugFix)
        *bugFix = version.bugFix;
}

bool VTOSDetect::isLeopardOrHigher() { return isOSVersionHigherThan(10, 5, 0); }
bool VTOSDetect::isSnowLeopardOrHigher() { return isOSVersionHigherThan(10, 6, 0); }
bool VTOSDetect::isLionOrHigher() { return isOSVersionHigherThan(10, 7, 0); }
bool VTOSDetect::isMountainLionOrHigher() { return isOSVersionHigherThan(10, 8, 0); }
bool VTOSDetect::isMavericksOrHigher() { return isOSVersionHigherThan(10, 9, 0); }
bool VTOSDetect::isYosemiteOrHigher() { return isOSVersionHigherThan(10, 10, 0); }
bool VTOSDetect::isElCapitanOrHigher() { return isOSVersionHigherThan(10, 11, 0); }
