#include "VTOSDetect.h"

#include "VTLog.h"

#include <QRegularExpression>

#include <sys/utsname.h>

std::optional<VTOSDetect::Version> VTOSDetect::parseRelease(const QString &release)
{
    static const QRegularExpression pattern(QStringLiteral("^(\\d+)(?:\\.(\\d+))?(?:\\.(\\d+))?"));
    const QRegularExpressionMatch match = pattern.match(release);
    if (!match.hasMatch())
        return std::nullopt;
    return Version{match.captured(1).toLong(), match.captured(2).toLong(), match.captured(3).toLong()};
}

VTOSDetect::Version VTOSDetect::runningVersion()
{
    struct utsname info {};
    if (uname(&info) == 0) {
        if (const auto version = parseRelease(QString::fromLatin1(info.release)))
            return *version;
    }
    Version legacy;
    getSystemVersionMajor(&legacy.major, &legacy.minor, &legacy.bugFix);
    return legacy;
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
    // The legacy selectors do not exist here; the kernel release stands in
    // for "sys1".."sys3" and "sysv" is taken as past 0x1040.
    Version version{10, 5, 0};
    struct utsname info {};
    const auto parsed = uname(&info) == 0 ? parseRelease(QString::fromLatin1(info.release)) : std::nullopt;
    if (parsed)
        version = decodeLegacy(0x1040, parsed->major, parsed->minor, parsed->bugFix);
    else
        VTLog::appendLog(QStringLiteral("Unable to obtain system version: %1").arg(long(errno)));
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
