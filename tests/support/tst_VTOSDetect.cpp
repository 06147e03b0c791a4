#include "VTTestSandbox.h"
#include "VTOSDetect.h"
#include "VTPropertyList.h"

#include <gtest/gtest.h>

namespace {

void expectVersion(const VTOSDetect::Version &actual, long major, long minor, long bugFix)
{
    EXPECT_EQ(actual.major, major);
    EXPECT_EQ(actual.minor, minor);
    EXPECT_EQ(actual.bugFix, bugFix);
}

} // namespace

TEST(VTOSDetect, LegacyValuesAreBinaryCodedDecimalBelow1040AndTheSelectorsFromThere)
{
    // The three selectors hold rubbish here: below 0x1040 they must be ignored.
    expectVersion(VTOSDetect::decodeLegacy(0x1039, 99, 99, 99), 10, 3, 9);
    expectVersion(VTOSDetect::decodeLegacy(0x1028, 99, 99, 99), 10, 2, 8);
    expectVersion(VTOSDetect::decodeLegacy(0x1000, 99, 99, 99), 10, 0, 0);
    // The major number is the two high nibbles read as decimal digits.
    expectVersion(VTOSDetect::decodeLegacy(0x0939, 99, 99, 99), 9, 3, 9);
    // From 0x1040 on, the three selectors.
    expectVersion(VTOSDetect::decodeLegacy(0x1040, 10, 4, 11), 10, 4, 11);
    // A bug-fix above 9 cannot be written in the packed form at all.
    expectVersion(VTOSDetect::decodeLegacy(0x1049, 10, 4, 11), 10, 4, 11);
    expectVersion(VTOSDetect::decodeLegacy(0x1099, 10, 11, 6), 10, 11, 6);
}

TEST(VTOSDetect, ComparisonRule)
{
    struct Case {
        const char *name;
        VTOSDetect::Version running;
        long major, minor, bugFix;
        bool expected;
    };
    const Case cases[] = {
        {"same version", {10, 6, 3}, 10, 6, 3, true},
        {"higher bug-fix", {10, 6, 4}, 10, 6, 3, true},
        {"equal major and minor, lower bug-fix", {10, 6, 3}, 10, 6, 4, false},
        {"higher minor, lower bug-fix", {10, 7, 0}, 10, 6, 8, true},
        {"higher major, lower minor and bug-fix", {11, 0, 0}, 10, 15, 7, true},
        {"lower minor, higher bug-fix", {10, 5, 9}, 10, 6, 0, false},
        {"lower major", {9, 9, 9}, 10, 0, 0, false},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(VTOSDetect::isOSVersionHigherThan(c.running, c.major, c.minor, c.bugFix), c.expected);
    }
}

TEST(VTOSDetect, ReleaseTextIsReadAsThreeNumbers)
{
    const auto full = VTOSDetect::parseRelease(QStringLiteral("6.1.0-18-amd64"));
    ASSERT_TRUE(full);
    expectVersion(*full, 6, 1, 0);
    const auto shortForm = VTOSDetect::parseRelease(QStringLiteral("5.10"));
    ASSERT_TRUE(shortForm);
    expectVersion(*shortForm, 5, 10, 0);
    EXPECT_FALSE(VTOSDetect::parseRelease(QStringLiteral("generic")));
    EXPECT_FALSE(VTOSDetect::parseRelease(QString()));
}

TEST(VTOSDetect, TheManagedSystemsVersionFileIsTheRunningVersion)
{
    VTTestSandbox sandbox;
    const QString plist = sandbox.systemPath(QStringLiteral("/System/Library/CoreServices/SystemVersion.plist"));

    // Without the file (Linux's own root): the documented fallback, and a
    // description that names no OS X version.
    EXPECT_FALSE(VTOSDetect::managedSystemVersion());
    EXPECT_EQ(VTOSDetect::osxVersion(), QStringLiteral("10.5.0"));
    EXPECT_TRUE(VTOSDetect::isLeopardOrHigher());
    EXPECT_FALSE(VTOSDetect::isSnowLeopardOrHigher());
    EXPECT_TRUE(VTOSDetect::systemDescription().endsWith(QStringLiteral(" (no OS X version in the managed system)")));
    EXPECT_FALSE(VTOSDetect::systemDescription().startsWith(QStringLiteral("OS X")));

    ASSERT_TRUE(VTTestSandbox::makeFile(plist, VTPropertyList::toData(QVariantMap{{QStringLiteral("ProductVersion"), QStringLiteral("10.11.6")}},
                                                                    VTPropertyList::Format::Xml)));
    EXPECT_EQ(VTOSDetect::osxVersion(), QStringLiteral("10.11.6"));
    EXPECT_EQ(VTOSDetect::systemDescription(), QStringLiteral("OS X 10.11.6"));
    EXPECT_TRUE(VTOSDetect::isElCapitanOrHigher());
    long major = 0, minor = 0, bugFix = 0;
    VTOSDetect::getSystemVersionMajor(&major, &minor, &bugFix);
    EXPECT_EQ(QStringLiteral("%1.%2.%3").arg(major).arg(minor).arg(bugFix), QStringLiteral("10.11.6"));

    ASSERT_TRUE(VTTestSandbox::makeFile(plist, VTPropertyList::toData(QVariantMap{{QStringLiteral("ProductVersion"), QStringLiteral("10.9")}},
                                                                    VTPropertyList::Format::Binary)));
    EXPECT_TRUE(VTOSDetect::isMavericksOrHigher());
    EXPECT_FALSE(VTOSDetect::isYosemiteOrHigher());
}
