#include "E2ESystem.h"

#include "VTSandboxLayout.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

namespace Kind = VTSandboxKind;

namespace {

// The end-to-end suite runs twice: as the current user (root in CI), and as
// an unprivileged account that reaches the all-users folders only through
// the privileged helper.
class CommandLine : public ::testing::TestWithParam<E2ESystem::Runner>
{
protected:
    void SetUp() override
    {
        m_system = std::make_unique<E2ESystem>(GetParam());
        if (!m_system->ready())
            GTEST_SKIP() << m_system->whyNotReady().toStdString();
    }

    E2ESystem &system() { return *m_system; }
    VTSandboxBuilder &builder() { return m_system->builder(); }

    // The records of a "-data" archive's top level as an independent reader
    // (Python's plistlib) sees them: [[class, name, fileName or title], ...].
    static QJsonArray readArchive(const QByteArray &archive)
    {
        static const char *script = R"(
import json, plistlib, sys
data = plistlib.loads(sys.stdin.buffer.read())
objects = data["$objects"]
def deref(value):
    return objects[value.data] if isinstance(value, plistlib.UID) else value
root = deref(data["$top"]["root"])
out = []
for ref in root["NS.objects"]:
    record = deref(ref)
    cls = deref(record["$class"])["$classname"]
    fields = [deref(record["$%d" % i]) for i in range(0, 9) if "$%d" % i in record]
    out.append([cls, fields[0], fields[1] if cls == "VTPluginItem" else fields[0]])
print(json.dumps(out))
)";
        QProcess python;
        python.start(QStringLiteral("python3"), {QStringLiteral("-c"), QString::fromLatin1(script)});
        python.write(archive);
        python.closeWriteChannel();
        python.waitForFinished();
        EXPECT_EQ(python.exitCode(), 0) << python.readAllStandardError().toStdString();
        return QJsonDocument::fromJson(python.readAllStandardOutput()).array();
    }

    std::unique_ptr<E2ESystem> m_system;
};

TEST_P(CommandLine, AllPluginsListsEnabledPathsFirstThenTheDisabledTree)
{
    const QString blur = builder().addBundle(Kind::FxPlug, Kind::AllUsers, QStringLiteral("Blur"));
    const QString verb = builder().addBundle(Kind::VST, Kind::AllUsers, QStringLiteral("Verb"));
    const QString echo = builder().addBundle(Kind::AudioUnit, Kind::CurrentUser, QStringLiteral("Tape Echo"));
    const QString disabledVerb = builder().disable(verb);
    const QString grouped =
        builder().addBundle(Kind::FxPlug, Kind::AllUsers, QStringLiteral("Warm"), {{QStringLiteral("Color/Warm")}});
    ASSERT_TRUE(builder().ok()) << builder().errors().join(u'\n').toStdString();
    system().finishBuilding();

    const E2ESystem::Run plain = system().run({QStringLiteral("-allplugins")});
    EXPECT_EQ(plain.exitCode, 0) << plain.standardError.toStdString();
    const QStringList lines = plain.lines();
    EXPECT_TRUE(lines.contains(blur));
    EXPECT_TRUE(lines.contains(echo));
    EXPECT_TRUE(lines.contains(grouped));
    EXPECT_FALSE(lines.contains(verb));
    ASSERT_TRUE(lines.contains(disabledVerb));
    // The disabled tree comes after every enabled folder.
    EXPECT_EQ(lines.last(), disabledVerb);
    EXPECT_EQ(lines.size(), 4);

    // Any other word after -allplugins lists the same way; -plist is silent.
    EXPECT_EQ(system().run({QStringLiteral("-allplugins"), QStringLiteral("-anything")}).lines(), lines);
    const E2ESystem::Run plist = system().run({QStringLiteral("-allplugins"), QStringLiteral("-plist")});
    EXPECT_EQ(plist.exitCode, 0);
    EXPECT_TRUE(plist.standardOutput.isEmpty());
}

TEST_P(CommandLine, AllPluginsDataIsAKeyedArchiveOfTheTopLevelInOrder)
{
    VTBundleOptions named;
    named.displayName = QStringLiteral("Gaussian Blur");
    named.version = QStringLiteral("2.5");
    builder().addBundle(Kind::FxPlug, Kind::AllUsers, QStringLiteral("Blur"), named);
    builder().addBundle(Kind::FxPlug, Kind::AllUsers, QStringLiteral("Glow"), {{QStringLiteral("Lights")}});
    builder().addBundle(Kind::VST, Kind::AllUsers, QStringLiteral("Verb"));
    ASSERT_TRUE(builder().ok());
    system().finishBuilding();

    const E2ESystem::Run data = system().run({QStringLiteral("-allplugins"), QStringLiteral("-data")});
    ASSERT_EQ(data.exitCode, 0) << data.standardError.toStdString();
    const QJsonArray records = readArchive(data.standardOutput);
    ASSERT_EQ(records.size(), 3);
    // Listing order: the FxPlug folder (Blur, then the group Lights), then VST.
    EXPECT_EQ(records[0].toArray()[0].toString(), QStringLiteral("VTPluginItem"));
    // The bundle's own name and version were read before the archive was written.
    EXPECT_EQ(records[0].toArray()[1].toString(), QStringLiteral("Gaussian Blur"));
    EXPECT_EQ(records[0].toArray()[2].toString(), QStringLiteral("Blur.fxplug"));
    EXPECT_EQ(records[1].toArray()[0].toString(), QStringLiteral("VTGroupItem"));
    EXPECT_EQ(records[1].toArray()[1].toString(), QStringLiteral("Lights"));
    EXPECT_EQ(records[2].toArray()[2].toString(), QStringLiteral("Verb.vst"));
}

TEST_P(CommandLine, AnUnknownFirstArgumentRunsNoCommand)
{
    const QString blur = builder().addBundle(Kind::FxPlug, Kind::AllUsers, QStringLiteral("Blur"));
    system().finishBuilding();
    const QStringList before = system().snapshot();

    const E2ESystem::Run help = system().run({QStringLiteral("-help"), QStringLiteral("Blur.fxplug")});
    // No window can open here: the program says so and fails, listing nothing.
    EXPECT_NE(help.exitCode, 0);
    EXPECT_FALSE(help.standardOutput.contains("Blur"));
    EXPECT_EQ(system().snapshot(), before);
}

TEST_P(CommandLine, SetAccessWithoutItsArgumentExitsOneAndBuildsNothing)
{
    builder().addBundle(Kind::FxPlug, Kind::AllUsers, QStringLiteral("Blur"));
    system().finishBuilding();
    const QStringList before = system().snapshot();

    const E2ESystem::Run run = system().run({QStringLiteral("-setaccess")});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_TRUE(run.standardOutput.isEmpty());
    // No catalogue was built: no log of a reload, nothing on disk changed.
    EXPECT_FALSE(system().taskLog().contains(QStringLiteral("Loading plugin data...")));
    EXPECT_EQ(system().snapshot(), before);
}

INSTANTIATE_TEST_SUITE_P(Runners, CommandLine,
                         ::testing::Values(E2ESystem::Runner::CurrentUser, E2ESystem::Runner::Unprivileged),
                         [](const auto &info) {
                             return info.param == E2ESystem::Runner::CurrentUser ? std::string("CurrentUser")
                                                                                  : std::string("Unprivileged");
                         });

} // namespace
