#include "../platform/TestSandbox.h"
#include "VTLocalPaths.h"
#include "VTUserDefaults.h"

#include <gtest/gtest.h>

namespace {

QString prefsFile(const TestSandbox &sandbox, const QString &name)
{
    return sandbox.home() + QStringLiteral("/Library/Preferences/") + name;
}

// Runs a Python script with the preferences file as its argument; skips the
// test when python3 is missing.
#define RUN_PYTHON_OR_SKIP(run, script, ...)                                                                           \
    const PythonRun run = runPython(QStringLiteral(script), {__VA_ARGS__});                                           \
    if (run.exitCode == -1)                                                                                            \
        GTEST_SKIP() << "python3 is not available";

} // namespace

TEST(VTUserDefaults, PythonReadsTheValuesWeWrite)
{
    TestSandbox sandbox;
    const QString file = prefsFile(sandbox, QStringLiteral("com.vantorel.Tessary.plist"));
    EXPECT_EQ(VTUserDefaults::pathForDomain(VTUserDefaults::applicationDomain()), file);

    VTUserDefaults::setValue(QStringLiteral("installerName"), QStringLiteral("Glow Pack"));
    VTUserDefaults::setValue(QStringLiteral("filter"), qint64(3));
    VTUserDefaults::setValue(QStringLiteral("offset"), qint64(-42));
    VTUserDefaults::setValue(QStringLiteral("SUCheckAtStartup"), false);
    VTUserDefaults::setValue(QStringLiteral("ratio"), 0.75);
    VTUserDefaults::setValue(QStringLiteral("expanded"), QVariantList{QStringLiteral("Group A"), qint64(2)});
    VTUserDefaults::setValue(QStringLiteral("sorting"),
                             QVariantMap{{QStringLiteral("column"), QStringLiteral("name")},
                                         {QStringLiteral("ascending"), true}});

    RUN_PYTHON_OR_SKIP(run, R"PY(
import plistlib, sys
with open(sys.argv[1], 'rb') as f:
    got = plistlib.load(f)
expected = {'installerName': 'Glow Pack', 'filter': 3, 'offset': -42, 'SUCheckAtStartup': False,
            'ratio': 0.75, 'expanded': ['Group A', 2],
            'sorting': {'column': 'name', 'ascending': True}}
if got != expected:
    print(repr(got))
    sys.exit(1)
print('same')
)PY", file)
    EXPECT_EQ(run.exitCode, 0) << run.output.toStdString();
    EXPECT_EQ(run.output.trimmed(), "same");
}

TEST(VTUserDefaults, WeReadWhatPythonWrites)
{
    TestSandbox sandbox;
    const QString app = prefsFile(sandbox, QStringLiteral("com.vantorel.Tessary.plist"));
    const QString global = prefsFile(sandbox, QStringLiteral("com.vantorel.global.plist"));
    QDir().mkpath(QFileInfo(app).absolutePath());
    RUN_PYTHON_OR_SKIP(first, R"PY(
import plistlib, sys
with open(sys.argv[1], 'wb') as f:
    plistlib.dump({'filter': 5, 'installerAuthor': 'Ann', 'offset': -7, 'ignoreFxFactory': 1},
                  f, fmt=plistlib.FMT_BINARY)
with open(sys.argv[2], 'wb') as f:
    plistlib.dump({'disable-logging': True}, f, fmt=plistlib.FMT_XML)
)PY", app, global)
    ASSERT_EQ(first.exitCode, 0) << first.output.toStdString();

    EXPECT_EQ(VTUserDefaults::integerValue(QStringLiteral("filter")), 5);
    EXPECT_EQ(VTUserDefaults::integerValue(QStringLiteral("offset")), -7);
    EXPECT_EQ(VTUserDefaults::value(QStringLiteral("installerAuthor")).toString(), QStringLiteral("Ann"));
    EXPECT_EQ(VTUserDefaults::globalValue(QStringLiteral("disable-logging")).toBool(), true);
    EXPECT_FALSE(VTUserDefaults::value(QStringLiteral("disable-logging")).isValid());

    // Another process changes the file: the next read sees it, even though
    // this process read the file a moment ago.
    RUN_PYTHON_OR_SKIP(second, R"PY(
import plistlib, sys
with open(sys.argv[1], 'wb') as f:
    plistlib.dump({'filter': 6, 'installerAuthor': 'Bob', 'offset': -7, 'ignoreFxFactory': 1},
                  f, fmt=plistlib.FMT_XML)
)PY", app)
    ASSERT_EQ(second.exitCode, 0) << second.output.toStdString();
    EXPECT_EQ(VTUserDefaults::integerValue(QStringLiteral("filter")), 6);
    EXPECT_EQ(VTUserDefaults::value(QStringLiteral("installerAuthor")).toString(), QStringLiteral("Bob"));

    // Writing a key keeps the ones another program put there.
    VTUserDefaults::setValue(QStringLiteral("filter"), qint64(1));
    RUN_PYTHON_OR_SKIP(check, R"PY(
import plistlib, sys
with open(sys.argv[1], 'rb') as f:
    got = plistlib.load(f)
sys.exit(0 if got == {'filter': 1, 'installerAuthor': 'Bob', 'offset': -7, 'ignoreFxFactory': 1} else 1)
)PY", app)
    EXPECT_EQ(check.exitCode, 0) << check.output.toStdString();
}

TEST(VTUserDefaults, RegisteredDefaultsApplyOnlyWhenUnset)
{
    TestSandbox sandbox;
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
    const QString app = prefsFile(sandbox, QStringLiteral("com.vantorel.Tessary.plist"));
    RUN_PYTHON_OR_SKIP(run, R"PY(
import plistlib, sys
with open(sys.argv[1], 'rb') as f:
    print(sorted(plistlib.load(f).keys()))
)PY", app)
    EXPECT_EQ(run.output.trimmed(), "['installerName']");
    VTUserDefaults::removeValue(QStringLiteral("installerName"));
    EXPECT_EQ(VTUserDefaults::value(QStringLiteral("installerName")).toString(), QStringLiteral("My Plugin"));
}

TEST(VTUserDefaults, HostValuesLiveInTheirOwnFile)
{
    TestSandbox sandbox;
    VTUserDefaults::setHostValue(QStringLiteral("requireAdminPassword"), qint64(1));
    EXPECT_EQ(VTUserDefaults::hostValue(QStringLiteral("requireAdminPassword")).toLongLong(), 1);
    EXPECT_FALSE(VTUserDefaults::value(QStringLiteral("requireAdminPassword")).isValid());

    const QString byHost = VTUserDefaults::pathForDomain(VTUserDefaults::applicationDomain(), true);
    EXPECT_TRUE(byHost.startsWith(sandbox.home() + QStringLiteral("/Library/Preferences/ByHost/com.vantorel.Tessary.")));
    EXPECT_TRUE(byHost.endsWith(QStringLiteral(".plist")));
    EXPECT_FALSE(byHost.contains(QStringLiteral("..")));
    RUN_PYTHON_OR_SKIP(run, R"PY(
import plistlib, sys
with open(sys.argv[1], 'rb') as f:
    sys.exit(0 if plistlib.load(f) == {'requireAdminPassword': 1} else 1)
)PY", byHost)
    EXPECT_EQ(run.exitCode, 0) << run.output.toStdString();
}
