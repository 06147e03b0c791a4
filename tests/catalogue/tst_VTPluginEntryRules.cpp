#include "VTFinderInfo.h"
#include "VTPluginEntryRules.h"
#include "VTTestSandbox.h"

#include <gtest/gtest.h>

using namespace VTPluginEntryRules;

TEST(VTPluginEntryRules, ExtensionsAndNamesTheWalkRecognises)
{
    const struct {
        bool (*rule)(const QString &);
        const char *name;
        std::initializer_list<const char *> yes, no;
    } rules[] = {
        {isPluginExtension, "plug-in extension",
         {"txt", "fcfcc", "bundle", "avx", "dpm", "fxplug", "component", "plugin", "vst", "FxPlug", "VST", "Component", "TXT"},
         {"", "app", "fxplugx", "vst3", "moti", "localized", "2.0", "aaxplugin"}},
        {isMotionTemplateExtension, "template extension", {"moti", "motn", "motr", "moef", "MOTN", "Moti"},
         {"", "mot", "mov", "motion", "fxplug"}},
        // "Old.Disabled" is skipped for its extension, not for its name.
        {isGroupFolderExtension, "group folder extension", {"", "localized", "0", "12", "2.5"},
         {"Disabled", "bundle", "v2", "nan", "txt"}},
        {isIgnoredName, "ignored name", {".localized", ".Disabled"},
         {"Old.Disabled", ".disabled", "localized", ".localized2", "Blur.fxplug"}},
    };
    for (const auto &each : rules) {
        for (const char *text : each.yes)
            EXPECT_TRUE(each.rule(QLatin1String(text))) << each.name << ": " << text;
        for (const char *text : each.no)
            EXPECT_FALSE(each.rule(QLatin1String(text))) << each.name << ": " << text;
    }
}

TEST(VTPluginEntryRules, FxScriptTypeCodeOnFilesOnlyAndFxFactoryMarkOnTheFolderItself)
{
    VTTestSandbox sandbox;
    const QString script = sandbox.systemPath(QStringLiteral("Effects/Old Film"));
    const QString text = sandbox.systemPath(QStringLiteral("Effects/Notes"));
    const QString plain = sandbox.systemPath(QStringLiteral("Effects/Plain"));
    const QString folder = sandbox.systemPath(QStringLiteral("Effects/Folder"));
    ASSERT_TRUE(VTTestSandbox::makeFile(script, QByteArrayLiteral("script")));
    ASSERT_TRUE(VTTestSandbox::makeFile(text));
    ASSERT_TRUE(VTTestSandbox::makeFile(plain));
    ASSERT_TRUE(VTTestSandbox::makeFolder(folder));
    ASSERT_TRUE(VTFinderInfo::setTypeCode(script, QByteArrayLiteral("FCSC")));
    ASSERT_TRUE(VTFinderInfo::setTypeCode(text, QByteArrayLiteral("TEXT")));
    ASSERT_TRUE(VTFinderInfo::setTypeCode(folder, QByteArrayLiteral("FCSC")));

    EXPECT_TRUE(hasFxScriptTypeCode(script));
    EXPECT_FALSE(hasFxScriptTypeCode(text));
    EXPECT_FALSE(hasFxScriptTypeCode(plain));
    EXPECT_FALSE(hasFxScriptTypeCode(folder)) << "a folder's Finder information holds no type code";
    EXPECT_FALSE(hasFxScriptTypeCode(sandbox.systemPath(QStringLiteral("Effects/Missing"))));

    // Compared byte for byte: lower case is another code.
    ASSERT_TRUE(VTFinderInfo::setTypeCode(text, QByteArrayLiteral("fcsc")));
    EXPECT_FALSE(hasFxScriptTypeCode(text));

    const QString marked = sandbox.systemPath(QStringLiteral("Marked"));
    const QString unmarked = sandbox.systemPath(QStringLiteral("Unmarked"));
    ASSERT_TRUE(VTTestSandbox::makeFile(VTPath::join(marked, QStringLiteral(".fxfactory.plist"))));
    ASSERT_TRUE(VTTestSandbox::makeFile(VTPath::join(unmarked, QStringLiteral("fxfactory.plist"))));
    ASSERT_TRUE(VTTestSandbox::makeFile(VTPath::join(unmarked, QStringLiteral("Sub/.fxfactory.plist"))));
    EXPECT_TRUE(isFxFactoryFolder(marked));
    EXPECT_FALSE(isFxFactoryFolder(unmarked)) << "only the folder's own entries count";
}
