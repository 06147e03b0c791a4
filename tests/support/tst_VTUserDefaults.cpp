#include "VTTestProcess.h"
#include "VTTestSandbox.h"
#include "VTLocalPaths.h"
#include "VTUserDefaults.h"

#include <QJsonObject>

#include <gtest/gtest.h>

namespace {

QString appPrefs(const VTTestSandbox &sandbox)
{
    return sandbox.home() + QStringLiteral("/Library/Preferences/com.vantorel.Tessary.plist");
}

QJsonValue json(const char *text)
{
    return QJsonDocument::fromJson(text).object();
}

} // namespace

TEST(VTUserDefaults, PythonReadsTheValuesWeWrite)
{
    VTTestSandbox sandbox;
    EXPECT_EQ(VTUserDefaults::pathForDomain(VTUserDefaults::applicationDomain()), appPrefs(sandbox));
    VTUserDefaults::setValue(QStringLiteral("installerName"), QStringLiteral("Glow Pack"));
    VTUserDefaults::setValue(QStringLiteral("filter"), qint64(3));
    VTUserDefaults::setValue(QStringLiteral("offset"), qint64(-42));
    VTUserDefaults::setValue(QStringLiteral("SUCheckAtStartup"), false);
    VTUserDefaults::setValue(QStringLiteral("ratio"), 0.75);
    VTUserDefaults::setValue(QStringLiteral("expanded"), QVariantList{QStringLiteral("Group A"), qint64(2)});
    VTUserDefaults::setValue(QStringLiteral("sorting"), QVariantMap{{QStringLiteral("column"), QStringLiteral("name")},
                                                                    {QStringLiteral("ascending"), true}});
    EXPECT_EQ(VTTest::plistlibRead(appPrefs(sandbox)),
              json(R"({"installerName": "Glow Pack", "filter": 3, "offset": -42, "SUCheckAtStartup": false,
                       "ratio": 0.75, "expanded": ["Group A", 2], "sorting": {"column": "name", "ascending": true}})"));
}

TEST(VTUserDefaults, WeReadWhatPythonWrites)
{
    VTTestSandbox sandbox;
    const QString app = appPrefs(sandbox);
    QDir().mkpath(QFileInfo(app).absolutePath());
    // Another process writes the files (the second time just after this one
    // read them): every read sees the file as it is now.
    const auto write = [&](const char *author, const char *format) {
        const VTTest::Run run = VTTest::runPython(QStringLiteral(R"PY(
import plistlib, sys
plistlib.dump({'filter': 5, 'installerAuthor': sys.argv[3], 'offset': -7, 'ignoreFxFactory': 1},
              open(sys.argv[1], 'wb'), fmt=getattr(plistlib, sys.argv[4]))
plistlib.dump({'disable-logging': True}, open(sys.argv[2], 'wb'))
)PY"), {app, QFileInfo(app).absolutePath() + QStringLiteral("/com.vantorel.global.plist"),
                                                                 QLatin1String(author), QLatin1String(format)});
        ASSERT_EQ(run.exitCode, 0) << run.out.toStdString();
    };
    write("Ann", "FMT_BINARY");
    EXPECT_EQ(VTUserDefaults::integerValue(QStringLiteral("filter")), 5);
    EXPECT_EQ(VTUserDefaults::integerValue(QStringLiteral("offset")), -7);
    EXPECT_EQ(VTUserDefaults::value(QStringLiteral("installerAuthor")).toString(), QStringLiteral("Ann"));
    EXPECT_EQ(VTUserDefaults::globalValue(QStringLiteral("disable-logging")).toBool(), true);
    EXPECT_FALSE(VTUserDefaults::value(QStringLiteral("disable-logging")).isValid());
    write("Bob", "FMT_XML");
    EXPECT_EQ(VTUserDefaults::value(QStringLiteral("installerAuthor")).toString(), QStringLiteral("Bob"));

    // Writing a key keeps the ones another program put there.
    VTUserDefaults::setValue(QStringLiteral("filter"), qint64(1));
    EXPECT_EQ(VTTest::plistlibRead(app), json(R"({"filter": 1, "installerAuthor": "Bob", "offset": -7, "ignoreFxFactory": 1})"));
}

TEST(VTUserDefaults, RegisteredDefaultsApplyOnlyWhenUnset)
{
    VTTestSandbox sandbox;
    VTUserDefaults::registerApplicationDefaults();
    EXPECT_EQ(VTUserDefaults::value(QStringLiteral("SUCheckAtStartup")), QVariant(true));
    EXPECT_EQ(VTUserDefaults::integerValue(QStringLiteral("filter")), 0);
    EXPECT_EQ(VTUserDefaults::value(QStringLiteral("installerAuthor")).toString(), VTLocalPaths::username());
    EXPECT_FALSE(VTLocalPaths::username().isEmpty());
    EXPECT_EQ(VTUserDefaults::value(QStringLiteral("installerVersion")).toString(), QStringLiteral("1.0"));
    EXPECT_EQ(VTUserDefaults::value(QStringLiteral("installerName")).toString(), QStringLiteral("My Plugin"));
    EXPECT_EQ(VTUserDefaults::integerValue(QStringLiteral("ignoreFxFactory")), 0);
    EXPECT_FALSE(VTUserDefaults::value(QStringLiteral("requireAdminPassword")).isValid());

    // A stored value wins, removing it brings the default back, and the
    // defaults themselves never reach the file.
    VTUserDefaults::setValue(QStringLiteral("installerName"), QStringLiteral("Mine"));
    EXPECT_EQ(VTUserDefaults::value(QStringLiteral("installerName")).toString(), QStringLiteral("Mine"));
    EXPECT_EQ(VTTest::plistlibRead(appPrefs(sandbox)), json(R"({"installerName": "Mine"})"));
    VTUserDefaults::removeValue(QStringLiteral("installerName"));
    EXPECT_EQ(VTUserDefaults::value(QStringLiteral("installerName")).toString(), QStringLiteral("My Plugin"));
}

TEST(VTUserDefaults, HostValuesLiveInTheirOwnFile)
{
    VTTestSandbox sandbox;
    VTUserDefaults::setHostValue(QStringLiteral("requireAdminPassword"), qint64(1));
    EXPECT_EQ(VTUserDefaults::hostValue(QStringLiteral("requireAdminPassword")).toLongLong(), 1);
    EXPECT_FALSE(VTUserDefaults::value(QStringLiteral("requireAdminPassword")).isValid());

    const QString byHost = VTUserDefaults::pathForDomain(VTUserDefaults::applicationDomain(), true);
    EXPECT_TRUE(byHost.startsWith(sandbox.home() + QStringLiteral("/Library/Preferences/ByHost/com.vantorel.Tessary.")));
    EXPECT_TRUE(byHost.endsWith(QStringLiteral(".plist")));
    EXPECT_FALSE(byHost.contains(QStringLiteral("..")));
    EXPECT_EQ(VTTest::plistlibRead(byHost), json(R"({"requireAdminPassword": 1})"));
}
