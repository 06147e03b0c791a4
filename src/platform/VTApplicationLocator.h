#pragma once

#include <QString>
#include <QStringList>

// Finds an installed application by its bundle identifier. The Linux form of
// the workspace lookup: the Applications folders of all users and of the
// current user, and one level of subfolders in each, are searched for
// "*.app" bundles whose Contents/Info.plist "CFBundleIdentifier" matches,
// ignoring letter case as the platform's own registry does.
class VTApplicationLocator
{
public:
    // The path of the first matching application (all users' folder first,
    // then the current user's; names in sorted order, bundles at the top of a
    // folder before those in its subfolders); empty when there is none.
    [[nodiscard]] static QString applicationPathForBundleIdentifier(const QString &bundleIdentifier);

    [[nodiscard]] static bool isInstalled(const QString &bundleIdentifier);

    // The "CFBundleIdentifier" of the bundle at `bundlePath`; empty when it
    // has no readable Info.plist or no such key.
    [[nodiscard]] static QString bundleIdentifier(const QString &bundlePath);

    // Every application bundle the lookup considers, in search order.
    [[nodiscard]] static QStringList applicationBundles();

private:
    static void collectBundles(const QString &folder, int depth, QStringList &bundles);
};
