#include "E2ESystem.h"

#include "VTSandboxLayout.h"

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
    ASSERT_EQ(system().finishBuilding(), "");

    const E2ESystem::Run plain = system().run({QStringLiteral("-allplugins")});
    EXPECT_EQ(plain.exitCode, 0) << plain.err.toStdString();
    // Folders in the dictionary's order, names in order within a folder, the
    // disabled tree after every enabled folder.
    const QStringList lines = plain.lines();
    EXPECT_EQ(lines, (QStringList{blur, grouped, echo, disabledVerb})) << lines.join(u'\n').toStdString();

    // Any other word after -allplugins lists the same way.
    EXPECT_EQ(system().run({QStringLiteral("-allplugins"), QStringLiteral("-anything")}).lines(), lines);
}

TEST_P(CommandLine, DisableByNameDisablesTheAllUsersAndTheCurrentUserCopy)
{
    const QString shared = builder().addBundle(Kind::FxPlug, Kind::AllUsers, QStringLiteral("Blur"));
    const QString own = builder().addBundle(Kind::FxPlug, Kind::CurrentUser, QStringLiteral("Blur"));
    const QString other = builder().addBundle(Kind::FxPlug, Kind::AllUsers, QStringLiteral("Glow"));
    ASSERT_EQ(system().finishBuilding(), "");
    const auto sharedBytes = VTTestSandbox::readTree(shared);
    const auto ownBytes = VTTestSandbox::readTree(own);

    // Any folder in the argument is ignored: only the name matches.
    const E2ESystem::Run run = system().run({QStringLiteral("-disable"), QStringLiteral("/any/where/Blur.fxplug")});
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_FALSE(QFileInfo::exists(shared));
    EXPECT_FALSE(QFileInfo::exists(own));
    // The disabled tree records paths within the managed system; the home
    // lies outside the sandbox's root and keeps its whole path.
    const QString disabledRoot = builder().disabledRoot();
    EXPECT_EQ(VTTestSandbox::readTree(disabledRoot + QStringLiteral("/Library/Plug-Ins/FxPlug/Blur.fxplug")), sharedBytes);
    EXPECT_EQ(VTTestSandbox::readTree(disabledRoot + own), ownBytes);
    EXPECT_TRUE(QFileInfo::exists(other));
}

TEST_P(CommandLine, EnableWithoutArgumentEnablesEverythingWithinTheTypeFilter)
{
    const VTBundleOptions disabled{{QString(), false}};
    // Paths as they are when enabled; the files start in the disabled tree.
    const QString fx = builder().folder(Kind::FxPlug, Kind::AllUsers) + QStringLiteral("/Blur.fxplug");
    const QString vst = builder().folder(Kind::VST, Kind::AllUsers) + QStringLiteral("/Verb.vst");
    const QString grouped = builder().folder(Kind::AudioUnit, Kind::CurrentUser) + QStringLiteral("/Light/Echo.component");
    builder().addBundle(Kind::FxPlug, Kind::AllUsers, QStringLiteral("Blur"), disabled);
    builder().addBundle(Kind::VST, Kind::AllUsers, QStringLiteral("Verb"), disabled);
    builder().addBundle(Kind::AudioUnit, Kind::CurrentUser, QStringLiteral("Echo"), {{QStringLiteral("Light"), false}});
    ASSERT_EQ(system().finishBuilding(), "");
    const auto mirror = [this](const QString &path) { return builder().layout().mirror(path); };
    ASSERT_TRUE(QFileInfo::exists(mirror(vst)));

    // Filter 8 sees the audio folders and their mirrors only.
    system().setPreference(QStringLiteral("filter"), qint64(8));
    EXPECT_EQ(system().run({QStringLiteral("-enable")}).exitCode, 0);
    EXPECT_TRUE(QFileInfo::exists(vst));
    EXPECT_TRUE(QFileInfo::exists(grouped));
    EXPECT_FALSE(QFileInfo::exists(mirror(vst)));
    // The emptied mirror folders are cleaned up, the root stays.
    EXPECT_FALSE(QFileInfo::exists(mirror(QFileInfo(grouped).path())));
    EXPECT_TRUE(QFileInfo::exists(builder().disabledRoot()));
    EXPECT_FALSE(QFileInfo::exists(fx));
    EXPECT_TRUE(QFileInfo::exists(mirror(fx)));

    system().setPreference(QStringLiteral("filter"), qint64(0));
    EXPECT_EQ(system().run({QStringLiteral("-enable")}).exitCode, 0);
    EXPECT_TRUE(QFileInfo::exists(fx));
}

TEST_P(CommandLine, SetAccessMovesTheNamedPluginOrAllThatCanMove)
{
    const QString fx = builder().addBundle(Kind::FxPlug, Kind::AllUsers, QStringLiteral("Blur"));
    const QString glow = builder().addBundle(Kind::FxPlug, Kind::AllUsers, QStringLiteral("Glow"));
    const QString vst = builder().addBundle(Kind::VST, Kind::AllUsers, QStringLiteral("Verb"));
    const QString avid = builder().addBundle(Kind::AvidAVX2, Kind::AllUsers, QStringLiteral("Match"));
    const QString adobe = builder().addBundle(Kind::AdobePlugin, Kind::AllUsers, QStringLiteral("Sharpen"));
    ASSERT_EQ(system().finishBuilding(), "");
    const QString userFx = builder().folder(Kind::FxPlug, Kind::CurrentUser);

    // The access is the text's leading integer; only the named plug-in moves.
    EXPECT_EQ(system().run({QStringLiteral("-setaccess"), QStringLiteral("1x"), QStringLiteral("Glow.fxplug")}).exitCode, 0);
    EXPECT_TRUE(QFileInfo::exists(fx));
    EXPECT_FALSE(QFileInfo::exists(glow));
    EXPECT_TRUE(QFileInfo::exists(userFx + QStringLiteral("/Glow.fxplug")));
    // Text that is no number reads 0: back to all users.
    EXPECT_EQ(system().run({QStringLiteral("-setaccess"), QStringLiteral("one"), QStringLiteral("Glow.fxplug")}).exitCode, 0);
    EXPECT_TRUE(QFileInfo::exists(glow));
    EXPECT_FALSE(QFileInfo::exists(userFx + QStringLiteral("/Glow.fxplug")));

    const E2ESystem::Run run = system().run({QStringLiteral("-setaccess"), QStringLiteral("1.0")});
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_FALSE(QFileInfo::exists(fx));
    EXPECT_TRUE(QFileInfo::exists(userFx + QStringLiteral("/Blur.fxplug")));
    EXPECT_TRUE(QFileInfo::exists(builder().folder(Kind::VST, Kind::CurrentUser) + QStringLiteral("/Verb.vst")));
    EXPECT_FALSE(QFileInfo::exists(vst));
    // Avid and Adobe plug-ins exist for all users only and never move.
    EXPECT_TRUE(QFileInfo::exists(avid));
    EXPECT_TRUE(QFileInfo::exists(adobe));
}

TEST_P(CommandLine, AnUnknownIncompleteOrEmptyCommandChangesNothing)
{
    builder().addBundle(Kind::FxPlug, Kind::AllUsers, QStringLiteral("Blur"));
    builder().addBundle(Kind::VST, Kind::AllUsers, QStringLiteral("Verb"));
    builder().addBundle(Kind::FxPlug, Kind::AllUsers, QStringLiteral("Glow"), {{QString(), false}});
    ASSERT_EQ(system().finishBuilding(), "");
    const QStringList snapshot = system().snapshot();

    // An unknown first argument runs no command (no window can open here, so
    // the program says so and fails); "-setaccess" without its argument exits
    // 1 before any catalogue is built. Neither lists anything or writes a file.
    const E2ESystem::Run help = system().run({QStringLiteral("-help"), QStringLiteral("Blur.fxplug")});
    EXPECT_NE(help.exitCode, 0);
    EXPECT_FALSE(help.out.contains("Blur"));
    const E2ESystem::Run incomplete = system().run({QStringLiteral("-setaccess")});
    EXPECT_EQ(incomplete.exitCode, 1);
    EXPECT_TRUE(incomplete.out.isEmpty());
    EXPECT_FALSE(system().taskLog().contains(QStringLiteral("Loading plugin data...")));
    EXPECT_EQ(system().snapshot(), snapshot);

    // Every plug-in path on disk, enabled ones and the disabled tree.
    const auto listing = [this] { return system().run({QStringLiteral("-allplugins")}).lines(); };
    const QStringList before = listing();
    ASSERT_EQ(before.size(), 3);
    // A script whose variable is unset passes "": it must act on nothing.
    const QList<QStringList> calls = {
        {QStringLiteral("-disable"), QString()},
        {QStringLiteral("-enable"), QString()},
        {QStringLiteral("-remove"), QString()},
        {QStringLiteral("-setaccess"), QStringLiteral("1"), QString()},
    };
    for (const QStringList &call : calls) {
        const E2ESystem::Run run = system().run(call);
        EXPECT_EQ(run.exitCode, 0) << call.join(u' ').toStdString() << run.err.toStdString();
        EXPECT_EQ(listing(), before) << call.join(u' ').toStdString();
    }
}

TEST_P(CommandLine, InstallPutsThePluginForAllUsersOrTheCurrentUser)
{
    // Install sources outside the sandbox's plug-in folders.
    VTSandboxBuilder sources(system().scratch() + QStringLiteral("/src-root"), system().scratch() + QStringLiteral("/src-home"));
    const QString blur = sources.addBundle(Kind::FxPlug, Kind::AllUsers, QStringLiteral("Blur"));
    const QString glow = sources.addBundle(Kind::FxPlug, Kind::AllUsers, QStringLiteral("Glow"));
    ASSERT_TRUE(sources.ok());
    ASSERT_EQ(system().finishBuilding(), "");
    const QString allUsers = builder().folder(Kind::FxPlug, Kind::AllUsers);
    const QString currentUser = builder().folder(Kind::FxPlug, Kind::CurrentUser);

    EXPECT_EQ(system().run({QStringLiteral("-install"), QStringLiteral("-all"), blur}).exitCode, 0);
    EXPECT_TRUE(system().taskLog().contains(QStringLiteral("Installing plugins for all users: %1").arg(blur)));
    EXPECT_EQ(system().run({QStringLiteral("-install"), QStringLiteral("-user"), glow}).exitCode, 0);

    EXPECT_EQ(VTTestSandbox::readTree(allUsers + QStringLiteral("/Blur.fxplug")), VTTestSandbox::readTree(blur));
    EXPECT_TRUE(QFileInfo::exists(currentUser + QStringLiteral("/Glow.fxplug")));
    EXPECT_FALSE(QFileInfo::exists(allUsers + QStringLiteral("/Glow.fxplug")));
    // Installation copies: the sources stay.
    EXPECT_TRUE(QFileInfo::exists(blur));
}

TEST_P(CommandLine, RemoveMovesTheMatchingPluginToTheTrash)
{
    const QString blur = builder().addBundle(Kind::FxPlug, Kind::CurrentUser, QStringLiteral("Blur"));
    const QString glow = builder().addBundle(Kind::FxPlug, Kind::CurrentUser, QStringLiteral("Glow"));
    ASSERT_EQ(system().finishBuilding(), "");

    EXPECT_EQ(system().run({QStringLiteral("-remove"), QStringLiteral("Blur.fxplug")}).exitCode, 0);
    EXPECT_FALSE(QFileInfo::exists(blur));
    EXPECT_TRUE(QFileInfo::exists(glow));
    // trash-cli lists it with its original path.
    VTTest::RunOptions options;
    options.environment.insert(QStringLiteral("HOME"), system().home());
    options.environment.remove(QStringLiteral("XDG_DATA_HOME"));
    EXPECT_TRUE(QString::fromUtf8(VTTest::run(QStringLiteral("trash-list"), {}, options).out).contains(blur));
}

// The disabled tree records paths within the managed system, so the whole
// system can move: a sandbox moved to another folder enables what it had
// disabled, into its new place.
TEST(CommandLineOnAMovedSystem, EnablesWhatWasDisabledBeforeTheMove)
{
    E2ESystem system(E2ESystem::Runner::CurrentUser);
    const QString shared =
        system.builder().addBundle(Kind::FxPlug, Kind::AllUsers, QStringLiteral("Blur"), {{QStringLiteral("Soft")}});
    const QString own = system.builder().addBundle(Kind::VST, Kind::CurrentUser, QStringLiteral("Blur"));
    ASSERT_EQ(system.finishBuilding(), "");
    const auto sharedBytes = VTTestSandbox::readTree(shared);
    ASSERT_EQ(system.run({QStringLiteral("-disable"), QStringLiteral("Blur.fxplug")}).exitCode, 0);
    ASSERT_EQ(system.run({QStringLiteral("-disable"), QStringLiteral("Blur.vst")}).exitCode, 0);
    ASSERT_FALSE(QFileInfo::exists(shared));
    ASSERT_FALSE(QFileInfo::exists(own));

    const QString moved = system.root() + QStringLiteral(" moved");
    ASSERT_TRUE(QDir().rename(system.root(), moved));
    for (const char *name : {"Blur.fxplug", "Blur.vst"}) {
        const E2ESystem::Run run = system.run({QStringLiteral("-enable"), QString::fromLatin1(name)}, moved);
        EXPECT_EQ(run.exitCode, 0) << name << run.err.toStdString();
    }
    EXPECT_EQ(VTTestSandbox::readTree(moved + QStringLiteral("/Library/Plug-Ins/FxPlug/Soft/Blur.fxplug")), sharedBytes);
    EXPECT_TRUE(QFileInfo::exists(own)) << "the home did not move and keeps its whole path";
    ASSERT_TRUE(QDir().rename(moved, system.root()));
}

INSTANTIATE_TEST_SUITE_P(Runners, CommandLine,
                         ::testing::Values(E2ESystem::Runner::CurrentUser, E2ESystem::Runner::Unprivileged),
                         [](const auto &info) {
                             return info.param == E2ESystem::Runner::CurrentUser ? std::string("CurrentUser")
                                                                                  : std::string("Unprivileged");
                         });

} // namespace
