#pragma once

#include <QSettings>
#include <QString>
#include <QVariant>

#include <memory>

// Preferences stored as property lists in the current user's
// Library/Preferences, as QSettings in a format of our own (see registerFormat).
//   application:  <prefs>/com.vantorel.Tessary.plist
//   suite-wide:   <prefs>/com.vantorel.global.plist
//   per host:     <prefs>/ByHost/com.vantorel.Tessary.<host id>.plist
// Each call opens the file afresh, so another process's change is seen.
// Registered defaults answer for keys the file does not hold; they are never
// written.
class VTUserDefaults
{
public:
    static constexpr const char *VendorDomainPrefix = "com.vantorel";

    [[nodiscard]] static QString applicationDomain(); // "com.vantorel.Tessary"
    [[nodiscard]] static QString globalDomain();      // "com.vantorel.global"

    [[nodiscard]] static QString pathForDomain(const QString &domain, bool byHost = false);
    [[nodiscard]] static std::unique_ptr<QSettings> settingsForDomain(const QString &domain, bool byHost = false);

    // Application preferences, falling back to the registered defaults.
    [[nodiscard]] static QVariant value(const QString &key);
    [[nodiscard]] static qint64 integerValue(const QString &key);
    static void setValue(const QString &key, const QVariant &value);
    static void removeValue(const QString &key);
    static void registerDefaults(const QVariantMap &defaults);
    [[nodiscard]] static QVariantMap registeredDefaults();

    // Registers the application's default preferences: SUCheckAtStartup true,
    // filter 0, installerAuthor the user's name, installerVersion "1.0",
    // installerName "My Plugin", ignoreFxFactory 0.
    static void registerApplicationDefaults();

    [[nodiscard]] static QVariant globalValue(const QString &key);
    [[nodiscard]] static QVariant hostValue(const QString &key);
    static void setHostValue(const QString &key, const QVariant &value);

    // The QSettings format that reads and writes property lists.
    [[nodiscard]] static QSettings::Format propertyListFormat();
};
