#pragma once

#include <QString>

#include <optional>

// The running operating system's version. Here the "process information"
// version is the kernel release (uname), read as major.minor.bug-fix.
class VTOSDetect
{
public:
    struct Version {
        long major = 0;
        long minor = 0;
        long bugFix = 0;
    };

    // True when the running version is at least major.minor.bugFix.
    [[nodiscard]] static bool isOSVersionHigherThan(long major, long minor, long bugFix);
    [[nodiscard]] static bool isOSVersionHigherThan(const Version &running, long major, long minor, long bugFix);
    // "%li.%li.%li" of the running version.
    [[nodiscard]] static QString osxVersion();
    [[nodiscard]] static Version runningVersion();

    // The legacy version query: fills the outputs that are given. Here the
    // raw selector values come from the kernel release; see decodeLegacy.
    static void getSystemVersionMajor(long *major, long *minor, long *bugFix);
    // Decodes the legacy selectors: below 0x1040 the "sysv" value is binary
    // coded decimal (0x1039 is 10.3.9); from 0x1040 on, "sys1", "sys2" and
    // "sys3" carry the three parts.
    [[nodiscard]] static Version decodeLegacy(long sysv, long sys1, long sys2, long sys3);

    [[nodiscard]] static bool isLeopardOrHigher();
    [[nodiscard]] static bool isSnowLeopardOrHigher();
    [[nodiscard]] static bool isLionOrHigher();
    [[nodiscard]] static bool isMountainLionOrHigher();
    [[nodiscard]] static bool isMavericksOrHigher();
    [[nodiscard]] static bool isYosemiteOrHigher();
    [[nodiscard]] static bool isElCapitanOrHigher();

    // Parses "6.1.0-18-amd64" style text into a version; nothing when the
    // text does not start with a number.
    [[nodiscard]] static std::optional<Version> parseRelease(const QString &release);
};
