// Installers built from a sandbox selection: the layout, the settings file
// read back with Python's plistlib, code signing through stand-in tools, the
// sheets of the failures, and a build from the real template installed into
// a second, empty system.

#include "CatalogueTestSupport.h"

#include "VTInstallerBuilder.h"
#include "VTInstallerDisplay.h"
#include "VTLocalPaths.h"
#include "VTPluginKind.h"
#include "VTTestProcess.h"
#include "VTUserDefaults.h"

#include <QJsonObject>
#include <QTemporaryDir>

#include <mutex>

using namespace VTSandboxKind;
using namespace std::chrono_literals;

namespace {

class RecordingDisplay final : public VTInstallerDisplay
{
public:
    void startSpinner() override { record(QStringLiteral("spin")); }
    void stopSpinner() override { record(QStringLiteral("stop")); }
    void showSheet(const QString &messageText, const QString &informativeText) override
    {
        record(messageText + u'|' + informativeText);
    }
    QStringList steps() const
    {
        std::lock_guard lock(m_mutex);
        return m_steps;
    }

private:
    void record(const QString &step)
    {
        std::lock_guard lock(m_mutex);
        m_steps << step;
    }
    mutable std::mutex m_mutex;
    QStringList m_steps;
};

// Each original's files stand at its copy, byte for byte; answers how many
// files that is.
qsizetype expectCopies(const QMap<QString, QString> &copies)
{
    qsizetype files = 0;
    for (auto it = copies.begin(); it != copies.end(); ++it) {
        const auto original = VTTestSandbox::readTree(it.key());
        EXPECT_FALSE(original.isEmpty());
        EXPECT_EQ(VTTestSandbox::readTree(it.value()), original) << it.value().toStdString();
        files += original.size();
    }
    return files;
}

class InstallerBuildTest : public CatalogueSandbox
{
protected:
    void SetUp() override
    {
        CatalogueSandbox::SetUp();
        m_template = m_env.path() + QStringLiteral("/program/Plugin Installer.app");
        ASSERT_TRUE(VTTestSandbox::makeBundle(m_template, {{QStringLiteral("CFBundleExecutable"), QStringLiteral("Plugin Installer")},
                                                           {QStringLiteral("CFBundleIdentifier"), QStringLiteral("com.vantorel.PluginInstaller")}}));
        VTTestSandbox::createScript(m_template + QStringLiteral("/Contents/MacOS/Plugin Installer"), "exit 0\n");
        ASSERT_TRUE(VTTestSandbox::makeFolder(m_template + QStringLiteral("/Contents/Resources")));

        m_warm = builder().addBundle(FxPlug, CurrentUser, QStringLiteral("Warm"), {{QStringLiteral("Color")}});
        m_cool = builder().addBundle(FxPlug, CurrentUser, QStringLiteral("Cool"), {{QStringLiteral("Color")}});
        m_synth = builder().addBundle(VST, AllUsers, QStringLiteral("Synth"));
        builder().addGroup(AudioUnit, AllUsers, QStringLiteral("Empty"));
        reload();
    }

    ItemPtr topLevel(const QString &title)
    {
        for (const ItemPtr &item : catalogue().dataArray()) {
            if (item->displayTitle() == title)
                return item;
        }
        ADD_FAILURE() << "no row " << title.toStdString();
        return nullptr;
    }

    QString codesign(const QByteArray &body)
    {
        return VTTestSandbox::createScript(m_env.systemPath(QStringLiteral("/usr/bin/codesign")), body);
    }

    QString m_template;
    QString m_warm;
    QString m_cool;
    QString m_synth;
    RecordingDisplay m_display;
};

TEST_F(InstallerBuildTest, LaysOutSelectionWritesSettingsAndSigns)
{
    const GroupPtr color = topLevel(QStringLiteral("Color"))->asGroup();
    const PluginPtr warm = pluginNamed(catalogue().allPlugins(), QStringLiteral("Warm.fxplug"));
    ASSERT_TRUE(color && warm && warm->pluginPath() == m_warm);
    // The group, a plug-in inside it once more, and one for all users.
    const QStringList files = VTInstallerSettings::fileList({color, warm, topLevel(QStringLiteral("Synth"))});
    EXPECT_EQ(files.size(), 3) << files.join(u'\n').toStdString();
    EXPECT_EQ(QSet<QString>(files.begin(), files.end()), (QSet<QString>{m_warm, m_cool, m_synth}));
    EXPECT_EQ(files.last(), m_synth);

    const QString eula = VTTestSandbox::createFile(m_env.homePath(QStringLiteral("Documents/License.txt")), "Terms");
    const QString background = VTTestSandbox::createFile(m_env.homePath(QStringLiteral("Pictures/Back.png")), "PNG");
    const QString icon = VTTestSandbox::createFile(m_env.homePath(QStringLiteral("Pictures/Box.icns")), "icns");
    VTUserDefaults::setValue(QStringLiteral("installerEULAPath"), eula);
    VTUserDefaults::setValue(QStringLiteral("installerBgImagePath"), background);
    VTUserDefaults::setValue(QStringLiteral("installerIconPath"), icon);
    VTUserDefaults::setValue(QStringLiteral("removeInstallerBranding"), true);
    codesign("printf '%s\\n' \"$@\" > \"$0.args\"\necho \"$5: replacing existing signature\" >&2\n");

    // Something already there goes to the Trash first.
    const QString destination = m_env.homePath(QStringLiteral("Desktop/Color Installer.app"));
    VTTestSandbox::createFile(destination + QStringLiteral("/old"), "old");
    const VTInstallerSettings settings = VTInstallerSettings::fromDefaults(
        destination, QStringLiteral("Color"), QStringLiteral("2.1"), QStringLiteral("Ann"), files, QStringLiteral("Dev ID"));
    VTInstallerBuilder builder(m_display, m_template);
    ASSERT_TRUE(builder.createInstallerWithSettings(settings));

    EXPECT_EQ(m_display.steps(), (QStringList{QStringLiteral("spin"),
                                              QStringLiteral("Installer created|An installer was successfully created at %1.").arg(destination),
                                              QStringLiteral("stop")}));
    EXPECT_TRUE(QFile::exists(VTLocalPaths::trashDirectory() + QStringLiteral("/Color Installer.app/old")));
    EXPECT_FALSE(QFile::exists(destination + QStringLiteral("/old")));

    const QString structure = destination + QStringLiteral("/Contents/Resources/PluginStructure");
    EXPECT_EQ(VTTestSandbox::readTree(structure).size(),
              expectCopies({{m_warm, structure + QStringLiteral("/Users/user/Library/Plug-Ins/FxPlug/Color/Warm.fxplug")},
                            {m_cool, structure + QStringLiteral("/Users/user/Library/Plug-Ins/FxPlug/Color/Cool.fxplug")},
                            {m_synth, structure + QStringLiteral("/Library/Audio/Plug-Ins/VST/Synth.vst")}}))
        << "nothing else below PluginStructure";

    const QString resources = destination + QStringLiteral("/Contents/Resources/");
    for (const QString &name : {QStringLiteral("License.txt"), QStringLiteral("Back.png"), QStringLiteral("Box.icns")})
        EXPECT_TRUE(QFile::exists(resources + name)) << name.toStdString();
    const QJsonObject written = VTTest::plistlibRead(resources + QStringLiteral("InstallerSettings.plist")).toObject();
    EXPECT_EQ(written, (QJsonObject{{QStringLiteral("VTPluginName"), QStringLiteral("Color")},
                                    {QStringLiteral("VTPluginVersion"), QStringLiteral("2.1")},
                                    {QStringLiteral("VTPluginAuthor"), QStringLiteral("Ann")},
                                    {QStringLiteral("VTEULAPath"), QStringLiteral("License.txt")},
                                    {QStringLiteral("VTBgImagePath"), QStringLiteral("Back.png")},
                                    {QStringLiteral("removeBranding"), true}}));
    const QJsonObject info = VTTest::plistlibRead(destination + QStringLiteral("/Contents/Info.plist")).toObject();
    EXPECT_EQ(info.value(QStringLiteral("CFBundleIconFile")).toString(), QStringLiteral("Box.icns"));
    EXPECT_EQ(info.value(QStringLiteral("CFBundleIdentifier")).toString(), QStringLiteral("com.vantorel.PluginInstaller"));

    QFile arguments(m_env.systemPath(QStringLiteral("/usr/bin/codesign.args")));
    ASSERT_TRUE(arguments.open(QIODevice::ReadOnly));
    EXPECT_EQ(QString::fromUtf8(arguments.readAll()), QStringLiteral("--deep\n-f\n-s\nDev ID\n%1\n").arg(destination));
}

TEST_F(InstallerBuildTest, FailedSigningKeepsTheUnsignedInstallerAndAMissingLicenceIsSkipped)
{
    VTUserDefaults::setValue(QStringLiteral("installerEULAPath"), m_env.homePath(QStringLiteral("Gone.txt")));
    codesign("echo 'error: Dev ID: no identity found' >&2\nexit 1\n");
    VTInstallerBuilder builder(m_display, m_template);
    VTInstallerSettings form;
    form.installerName = QStringLiteral("Synth");
    form.installerVersion = QStringLiteral("1.0");
    form.installerAuthor = QStringLiteral("Ann");
    form.certificate = QStringLiteral("Dev ID");
    // A name ending in "app" in another case keeps it; others get ".app".
    ASSERT_TRUE(builder.installerSavePanelDidEnd(m_env.homePath(QStringLiteral("Synth.APP")), {topLevel(QStringLiteral("Synth"))}, form));
    ASSERT_TRUE(builder.waitForBuilds(120s));
    const QString installer = m_env.homePath(QStringLiteral("Synth.APP"));
    EXPECT_EQ(m_display.steps(),
              (QStringList{QStringLiteral("spin"),
                           QStringLiteral("Unable to create installer|Code signing failed: error: Dev ID: no identity found.\n\n"
                                          "Make sure you have Xcode and the Xcode command-line tools installed."),
                           QStringLiteral("stop")}));
    EXPECT_TRUE(QFile::exists(installer + QStringLiteral("/Contents/Resources/PluginStructure/Library/Audio/Plug-Ins/VST/Synth.vst")));
    EXPECT_FALSE(QFile::exists(installer + QStringLiteral("/Contents/Resources/Gone.txt")));
    const QJsonObject written = VTTest::plistlibRead(installer + QStringLiteral("/Contents/Resources/InstallerSettings.plist")).toObject();
    EXPECT_EQ(written.keys(), (QStringList{QStringLiteral("VTPluginAuthor"), QStringLiteral("VTPluginName"), QStringLiteral("VTPluginVersion")}));

    // No signing tool at all is a failure with its own text.
    QFile::remove(m_env.systemPath(QStringLiteral("/usr/bin/codesign")));
    RecordingDisplay second;
    VTInstallerBuilder withoutTool(second, m_template);
    ASSERT_TRUE(withoutTool.installerSavePanelDidEnd(m_env.homePath(QStringLiteral("Synth")), {topLevel(QStringLiteral("Synth"))}, form));
    ASSERT_TRUE(withoutTool.waitForBuilds(120s));
    ASSERT_EQ(second.steps().size(), 3);
    EXPECT_TRUE(second.steps().at(1).startsWith(QStringLiteral("Unable to create installer|Code signing failed: %1 is missing")
                                                    .arg(VTInstallerBuilder::codesignPath())))
        << second.steps().at(1).toStdString();
    EXPECT_TRUE(QFile::exists(m_env.homePath(QStringLiteral("Synth.app/Contents/Resources/InstallerSettings.plist"))));
}

TEST_F(InstallerBuildTest, EmptySelectionVanishedPluginAndMissingTemplateStopWithTheirSheets)
{
    VTInstallerBuilder builder(m_display, m_template);
    EXPECT_FALSE(builder.installerSavePanelDidEnd(m_env.homePath(QStringLiteral("Empty")), {topLevel(QStringLiteral("Empty"))}, {}));
    EXPECT_EQ(m_display.steps(),
              QStringList{QStringLiteral("Unable to create installer|No files to add. Make sure you didn't select an empty group.")});
    EXPECT_FALSE(QFile::exists(m_env.homePath(QStringLiteral("Empty.app"))));

    // A failed build leaves what it made.
    VTInstallerSettings settings;
    settings.destFilename = m_env.homePath(QStringLiteral("Gone.app"));
    settings.files = {m_synth, m_env.homePath(QStringLiteral("Library/Plug-Ins/FxPlug/Gone.fxplug")), m_warm};
    RecordingDisplay vanished;
    EXPECT_FALSE(VTInstallerBuilder(vanished, m_template).createInstallerWithSettings(settings));
    EXPECT_EQ(vanished.steps().value(1), QStringLiteral("File doesn't exist|The plugin %1 no longer exists.").arg(settings.files.at(1)));
    const QString structure = settings.destFilename + QStringLiteral("/Contents/Resources/PluginStructure");
    EXPECT_TRUE(QFile::exists(structure + QStringLiteral("/Library/Audio/Plug-Ins/VST/Synth.vst")));
    EXPECT_FALSE(QFile::exists(structure + QStringLiteral("/Users")));

    RecordingDisplay damaged;
    EXPECT_FALSE(VTInstallerBuilder(damaged, m_env.path() + QStringLiteral("/nowhere.app")).createInstallerWithSettings(settings));
    EXPECT_EQ(damaged.steps().value(1), QStringLiteral("Unable to create installer|This application may be damaged. "
                                                       "It is recommended that you reinstall Hearthkit."));
}

TEST_F(InstallerBuildTest, TheBuiltInstallerPutsEveryPluginInPlaceInAnotherSystem)
{
    const QString realTemplate =
        qEnvironmentVariable("TESSARY_BINARY_DIR") + QStringLiteral("/Tessary.app/Contents/MacOS/Plugin Installer.app");
    ASSERT_TRUE(QFileInfo(realTemplate).isDir()) << "the template installer is built with the program";
    const QString installer = m_env.path() + QStringLiteral("/Color Installer.app");
    const VTInstallerSettings settings = VTInstallerSettings::fromDefaults(
        installer, QStringLiteral("Color"), QStringLiteral("1.0"), QStringLiteral("Ann"),
        VTInstallerSettings::fileList({topLevel(QStringLiteral("Color")), topLevel(QStringLiteral("Synth"))}), QString());
    ASSERT_TRUE(VTInstallerBuilder(m_display, realTemplate).createInstallerWithSettings(settings));

    QTemporaryDir other;
    const QString root = other.path() + QStringLiteral("/root");
    const QString home = other.path() + QStringLiteral("/home");
    ASSERT_TRUE(VTTestSandbox::makeFolder(root) && VTTestSandbox::makeFolder(home));
    VTTest::RunOptions options;
    options.environment.insert(QStringLiteral("TESSARY_SYSTEM_ROOT"), root);
    options.environment.insert(QStringLiteral("HOME"), home);
    options.timeoutMs = 120000;
    const VTTest::Run install =
        VTTest::run(installer + QStringLiteral("/Contents/MacOS/Plugin Installer"), {QStringLiteral("--install")}, options);
    EXPECT_EQ(install.exitCode, 0) << install.out.toStdString() << install.err.toStdString();

    expectCopies({{m_warm, home + QStringLiteral("/Library/Plug-Ins/FxPlug/Color/Warm.fxplug")},
                  {m_cool, home + QStringLiteral("/Library/Plug-Ins/FxPlug/Color/Cool.fxplug")},
                  {m_synth, root + QStringLiteral("/Library/Audio/Plug-Ins/VST/Synth.vst")}});
}

} // namespace
