// The installer's window on the offscreen platform: the licence (RTF here)
// is shown as text and gates Install, the branding follows the settings,
// and an existing copy is kept when the user answers Ignore, while the rest
// is installed.

#include "FsTestSupport.h"
#include "VTPluginInstallerWindow.h"
#include "VTPropertyList.h"
#include "VTTestSandbox.h"
#include "VTWidgetTest.h"

#include <QCheckBox>
#include <QLabel>
#include <QPushButton>
#include <QTextBrowser>
#include <QTreeWidget>

#include <gtest/gtest.h>

namespace {

using VTWidgetTest::answerNextWith;
using VTWidgetTest::waitUntil;

TEST(PluginInstallerWindowTest, TheLicenceGatesInstallAndAnIgnoredCopyStaysInstalled)
{
    VTTestSandbox sandbox;
    const QString bundle = VTPath::join(sandbox.path(), QStringLiteral("Glow Installer.app"));
    const QString resources = VTPath::join(bundle, QStringLiteral("Contents/Resources"));
    const QString fxplug = VTPath::join(resources, QStringLiteral("PluginStructure/Library/Plug-Ins/FxPlug/Glow.fxplug"));
    ASSERT_TRUE(FsTest::makeBundle(fxplug));
    ASSERT_TRUE(FsTest::writeFile(
        VTPath::join(resources, QStringLiteral("PluginStructure/Users/user/Library/Audio/Plug-Ins/VST/Glow.vst")), "new"));
    ASSERT_TRUE(FsTest::writeFile(VTPath::join(resources, QStringLiteral("Licence.rtf")),
                                  "{\\rtf1\\ansi{\\fonttbl\\f0\\fswiss Helvetica;}{\\*\\generator Writer;}\\f0\\pard "
                                  "Use it \\b kindly\\b0 .\\par\n\\tab Caf\\'e9 \\{5 \\u8364?\\}\\par}"));
    ASSERT_TRUE(VTPropertyList::writeFile(VTPath::join(resources, QStringLiteral("InstallerSettings.plist")),
                                          QVariantMap{{QStringLiteral("VTPluginName"), QStringLiteral("Glow")},
                                                      {QStringLiteral("VTPluginVersion"), QStringLiteral("2.1")},
                                                      {QStringLiteral("VTPluginAuthor"), QStringLiteral("Ann Example")},
                                                      {QStringLiteral("VTEULAPath"), QStringLiteral("Licence.rtf")},
                                                      {QStringLiteral("removeBranding"), true}},
                                          VTPropertyList::Format::Xml));
    const QString existing = sandbox.homePath(QStringLiteral("Library/Audio/Plug-Ins/VST/Glow.vst"));
    ASSERT_TRUE(FsTest::writeFile(existing, "old"));

    QString error;
    const auto settings = VTPluginInstallerSettings::read(bundle, &error);
    ASSERT_TRUE(settings) << error.toStdString();
    VTPluginInstallerWindow window(*settings, VTPluginInstallerItem::collect(settings->structurePath()));
    window.show();

    EXPECT_EQ(window.pluginList()->topLevelItemCount(), 2);
    for (QLabel *label : window.findChildren<QLabel *>())
        EXPECT_NE(label->text(), QStringLiteral("Made with Tessary"));
    ASSERT_NE(window.acceptBox(), nullptr);
    EXPECT_EQ(window.licenceView()->toPlainText(), QStringLiteral("Use it kindly.\n\tCaf\u00e9 {5 \u20ac}\n"));
    EXPECT_FALSE(window.installButton()->isEnabled());
    window.acceptBox()->setChecked(true);
    EXPECT_TRUE(window.installButton()->isEnabled());

    QString asked;
    answerNextWith(&window, QStringLiteral("Ignore"), &asked);
    window.installButton()->click();
    ASSERT_TRUE(waitUntil([&] { return window.summaryLabel()->isVisible(); }));
    EXPECT_EQ(asked, QStringLiteral("The file Glow.vst already exists. Would you like to overwrite it?"));
    EXPECT_EQ(FsTest::readFile(existing), "old");
    EXPECT_TRUE(FsTest::sameTree(fxplug, sandbox.systemPath(QStringLiteral("/Library/Plug-Ins/FxPlug/Glow.fxplug"))));
    const QString summary = window.summaryLabel()->text();
    EXPECT_TRUE(summary.startsWith(QStringLiteral("Installed 1 of 2 plug-ins.\nNot installed:\n  Glow.vst (to %1): ").arg(existing)))
        << summary.toStdString();
    EXPECT_EQ(window.installButton()->text(), QStringLiteral("Quit"));
}

} // namespace
