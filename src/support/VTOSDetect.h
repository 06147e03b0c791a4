#pragma once

#include <QString>

#include <optional>

// The managed system's version: "ProductVersion" of its
// System/Library/CoreServices/SystemVersion.plist below the system root. A
// root without that file (Linux's own "/") has no such version: the version
// tests then take the documented fallback, and the log says plainly what
// system this is instead.
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

    // The managed system's version, when its SystemVersion.plist names one.
    [[nodiscard]] static std::optional<Version> managedSystemVersion();
    // "OS X 10.14.6", or for a root without a version "Linux 6.1.0-18-amd64
    // (no OS X version in the managed system)".
    [[nodiscard]] static QString systemDescription();

    // The legacy version query: fills the outputs that are given. The
    // selector values come from the same SystemVersion.plist; without it the
    // query fails, is logged, and reports 10.5.0. See decodeLegacy.
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

    // Parses "10.14.6" or "6.1.0-18-amd64" style text into a version; nothing
    // when the text does not start with a number.
    [[nodiscard]] static std::optional<Version> parseRelease(const QString &release);
};
