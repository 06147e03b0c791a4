// Installation on a sandboxed system: where each kind lands, copies that
// leave the source alone, groups made from plain folders, Motion template
// folders, the overwrite question and its "Ignore", the Trash for replaced
// copies, a replacement that fails part-way (the old copy stays installed),
// sources that vanish, the progress threshold and the containing
// folder that cannot be made.

#include "InstallTestSupport.h"
#include "VTFileManager.h"

#include <sys/stat.h>
#include <unistd.h>

using namespace InstallTest;

namespace {

using InstallOperationTest = InstallTestBase;

class InstallWithoutWindowTest : public InstallTestBase
{
protected:
    InstallWithoutWindowTest() : InstallTestBase(false) {}
};

} // namespace

TEST_F(InstallOperationTest, EachKindLandsInItsFolderAsACopy)
{
    const QString ofx = downloadBundle(QStringLiteral("MyFilter.ofx.bundle"));
    const QString plain = downloadBundle(QStringLiteral("Plain.bundle"));
    const QString avx = downloadBundle(QStringLiteral("Grain.avx"));
    const QString fxplug = downloadBundle(QStringLiteral("Blur.fxplug"));
    const QString ripple = downloadFile(QStringLiteral("Ripple"));
    ASSERT_TRUE(VTFinderInfo::setTypeCode(ripple, "FCSC"));
    const QStringList sources{ofx, plain, avx, fxplug, ripple};

    installation().installPlugins(sources, nullptr, true, true);

    const QString ofxInstalled = folder(OpenFX, AllUsers, QStringLiteral("MyFilter.ofx.bundle"));
    const QString plainInstalled = folder(FxScript, CurrentUser, QStringLiteral("Plain.bundle"));
    const QString avxInstalled = folder(AvidAVX2, AllUsers, QStringLiteral("Grain.avx"));
    const QString fxplugInstalled = folder(FxPlug, CurrentUser, QStringLiteral("Blur.fxplug"));
    EXPECT_TRUE(OpsTest::sameTree(ofx, ofxInstalled)) << "OpenFX goes to the all-users folder for the current user too";
    EXPECT_TRUE(OpsTest::sameTree(plain, plainInstalled)) << "a bundle without AVX keys is an FxScript plug-in";
    EXPECT_TRUE(OpsTest::sameTree(avx, avxInstalled)) << "an .avx file goes to the AVX2 folder";
    EXPECT_TRUE(OpsTest::sameTree(fxplug, fxplugInstalled));
    EXPECT_EQ(VTFinderInfo::typeCode(folder(FxScript, CurrentUser, QStringLiteral("Ripple"))), QByteArrayLiteral("FCSC"))
        << "an FxScript file keeps its type code";
    for (const QString &source : sources)
        EXPECT_TRUE(exists(source)) << "installation copies, never moves";

    const QStringList log = logLines();
    EXPECT_TRUE(log.contains(QStringLiteral("Installing plugins for current user: %1").arg(sources.join(QStringLiteral(", ")))));
    EXPECT_TRUE(log.contains(QStringLiteral("Installing plugin %1 to %2...").arg(ofx, ofxInstalled)));
    EXPECT_EQ(reloadRequests(), 1);
    EXPECT_TRUE(alerts().isEmpty());
    EXPECT_TRUE(posted().isEmpty());
}

TEST_F(InstallOperationTest, NothingShowsNoStepThreeFilesNoSheetAndFourShowOne)
{
    // An empty list does nothing, and leaves the pending list alone.
    installation().updateInstallList({QStringLiteral("/somewhere/Blur.fxplug")});
    installation().installPlugins({}, nullptr, true, true);
    EXPECT_EQ(reloadRequests(), 0);
    EXPECT_TRUE(ui().steps().isEmpty());
    EXPECT_EQ(installation().pendingInstallList().size(), 1);

    QStringList four;
    for (const char *name : {"A.txt", "B.txt", "C.txt", "D.txt"})
        four << downloadFile(QString::fromLatin1(name));
    installation().installPlugins(four.mid(0, 3), nullptr, true, true);
    EXPECT_TRUE(ui().steps(QStringLiteral("sheet")).isEmpty());
    EXPECT_TRUE(ui().steps(QStringLiteral("max:")).isEmpty());
    EXPECT_TRUE(installation().pendingInstallList().isEmpty()) << "an ended installation clears the pending list";

    ui().clear();
    const QStringList again{download(QStringLiteral("Again"))};
    ASSERT_TRUE(VTTestSandbox::makeFolder(again.first()));
    for (const QString &source : four)
        ASSERT_TRUE(QFile::copy(source, VTPath::join(again.first(), VTPath::lastComponent(source))));
    // One folder holding four files counts its files.
    installation().installPlugins(again, nullptr, true, true);
    const QStringList steps = ui().steps();
    EXPECT_EQ(steps.mid(steps.indexOf(QStringLiteral("sheet")), 3),
              (QStringList{QStringLiteral("sheet"), QStringLiteral("max:4"), QStringLiteral("text:Installing plugins...")}));
    EXPECT_GE(ui().steps(QStringLiteral("step")).size(), 4);
    EXPECT_EQ(steps.last(), QStringLiteral("end"));
    EXPECT_TRUE(exists(folder(FxScript, CurrentUser, QStringLiteral("Again/D.txt"))));
}

TEST_F(InstallOperationTest, AFolderWithItsOwnTemplateIsATemplateAndAnyOtherBecomesAGroup)
{
    const QString warm = download(QStringLiteral("Warm"));
    downloadFile(QStringLiteral("Warm/Warm.motn"), "generator");
    downloadFile(QStringLiteral("Warm/small.png"), "png");
    const QString cold = download(QStringLiteral("Cold"));
    downloadBundle(QStringLiteral("Cold/Blur.fxplug"));
    downloadFile(QStringLiteral("Cold/Fade.txt"));
    downloadFile(QStringLiteral("Cold/.DS_Store"), "finder");
    const QString readMe = downloadFile(QStringLiteral("Cold/ReadMe.pdf"), "pdf");
    downloadBundle(QStringLiteral("Cold/Deep/Echo.component"));

    installation().installPlugins({warm, cold}, nullptr, true, true);

    EXPECT_TRUE(OpsTest::sameTree(warm, folder(MotionTemplate, CurrentUser, QStringLiteral("Generators.localized/Warm"))));
    EXPECT_TRUE(OpsTest::sameTree(download(QStringLiteral("Cold/Blur.fxplug")),
                                  folder(FxPlug, CurrentUser, QStringLiteral("Cold/Blur.fxplug"))));
    EXPECT_TRUE(exists(folder(FxScript, CurrentUser, QStringLiteral("Cold/Fade.txt"))));
    EXPECT_TRUE(OpsTest::sameTree(download(QStringLiteral("Cold/Deep/Echo.component")),
                                  folder(AudioUnit, CurrentUser, QStringLiteral("Cold/Deep/Echo.component"))));
    for (const qint64 kind : {FxPlug, FxScript, AudioUnit})
        EXPECT_FALSE(exists(folder(kind, CurrentUser, QStringLiteral("Cold/.DS_Store"))));
    EXPECT_FALSE(exists(folder(FxScript, CurrentUser, QStringLiteral("Cold/ReadMe.pdf"))));

    const QStringList log = logLines();
    EXPECT_TRUE(log.contains(QStringLiteral("Creating new group from %1").arg(cold)));
    EXPECT_TRUE(log.contains(QStringLiteral("Creating new group from %1").arg(VTPath::join(cold, QStringLiteral("Deep")))));
    EXPECT_TRUE(posted().contains(QStringLiteral("Unrecognized format. Plugin not installed: %1").arg(readMe)));
    EXPECT_TRUE(alerts().isEmpty()) << "failures inside a group folder are not reported by the outer call";
    EXPECT_TRUE(ui().steps().contains(QStringLiteral("max:6")));
    EXPECT_EQ(reloadRequests(), 1) << "only the outermost call reloads";
}

TEST_F(InstallOperationTest, AnsweringIgnoreListsTheFileAmongTheFailures)
{
    const QString existing = builder().addBundle(FxPlug, CurrentUser, QStringLiteral("Blur"));
    ASSERT_TRUE(builder().ok());
    const QString source = downloadBundle(QStringLiteral("Blur.fxplug"));
    const QString fade = downloadFile(QStringLiteral("Fade.txt"));
    ui().answerNext(VTUserInterface::SecondButton);

    installation().installPlugins({source, fade}, nullptr, true, true);

    EXPECT_TRUE(marker(existing).isEmpty()) << "the existing copy is untouched";
    EXPECT_TRUE(exists(folder(FxScript, CurrentUser, QStringLiteral("Fade.txt"))));
    EXPECT_EQ(alerts(),
              (QStringList{QStringLiteral("alert:The file Blur.fxplug already exists. Would you like to overwrite it?||"
                                          "Overwrite,Ignore"),
                           QStringLiteral("alert:Installation failed|The following plugins failed to install: \nBlur.fxplug|")}));
    const QStringList log = logLines();
    EXPECT_TRUE(log.contains(QStringLiteral("Destination plugin %1 already exists. Asking user to overwrite...").arg(existing)));
    EXPECT_TRUE(log.contains(QStringLiteral("The user chose not to overwrite %1.").arg(existing)));
    EXPECT_TRUE(log.contains(QStringLiteral("Installation failed. The following plugins failed to install: Blur.fxplug")));
    EXPECT_TRUE(trashList().isEmpty());
}

TEST_F(InstallOperationTest, OverwritingSendsEveryOldCopyToTheTrash)
{
    // The existing-copy search finds the all-users copy first; the copy
    // already at the destination must go too, or the new one would be
    // copied into it.
    const QString allUsers = builder().addBundle(FxPlug, AllUsers, QStringLiteral("Blur"));
    const QString atDestination = builder().addBundle(FxPlug, CurrentUser, QStringLiteral("Blur"));
    // A template in its category folder is found as well.
    const QString oldTemplate = builder().addMotionTemplate(CurrentUser, QStringLiteral("Generators"), QStringLiteral("Sky"));
    ASSERT_TRUE(builder().ok());
    ASSERT_EQ(oldTemplate, folder(MotionTemplate, CurrentUser, QStringLiteral("Generators.localized/Sky")));
    const QString source = downloadBundle(QStringLiteral("Blur.fxplug"));
    const QString sky = download(QStringLiteral("Sky"));
    downloadFile(QStringLiteral("Sky/Sky.motn"), "new");
    ui().answerNext(VTUserInterface::FirstButton);
    ui().answerNext(VTUserInterface::FirstButton);

    installation().installPlugins({source, sky}, nullptr, true, true);

    ASSERT_EQ(alerts().size(), 2) << "one question for each file";
    EXPECT_EQ(alerts().at(1).section(u'|', 0, 0), QStringLiteral("alert:The file Sky already exists. Would you like to overwrite it?"));
    EXPECT_FALSE(exists(allUsers));
    EXPECT_TRUE(OpsTest::sameTree(source, atDestination));
    EXPECT_TRUE(OpsTest::sameTree(sky, oldTemplate)) << "replaced, not nested inside the old template";
    const QStringList originals = trashList();
    for (const QString &old : {allUsers, atDestination, oldTemplate})
        EXPECT_TRUE(originals.contains(old)) << old.toStdString() << " not in " << originals.join(u'\n').toStdString();
    EXPECT_TRUE(logged(QStringLiteral("Trashing old file %1...").arg(allUsers)));
}

// A source that is missing, or that vanishes while the overwrite question is
// open, is reported and leaves the old copy; the other sources go in.
TEST_F(InstallOperationTest, AMissingOrVanishedSourceIsReportedAndTheOldCopyStays)
{
    const QString gone = builder().addBundle(FxPlug, CurrentUser, QStringLiteral("Gone"));
    const QString existing = builder().addBundle(FxPlug, CurrentUser, QStringLiteral("Blur"));
    ASSERT_TRUE(builder().ok());
    const QString missing = download(QStringLiteral("Gone.fxplug"));
    const QString fade = downloadFile(QStringLiteral("Fade.txt"));
    const QString source = downloadBundle(QStringLiteral("Blur.fxplug"));
    ui().setOnAlert([source](int count) {
        if (count == 1)
            QDir(source).removeRecursively();
    });

    installation().installPlugins({missing, fade, source}, nullptr, true, true);

    EXPECT_TRUE(exists(gone));
    EXPECT_TRUE(exists(existing)) << "the old copy stays when nothing can take its place";
    EXPECT_TRUE(exists(folder(FxScript, CurrentUser, QStringLiteral("Fade.txt"))));
    EXPECT_TRUE(trashList().isEmpty());
    for (const QString &path : {missing, source})
        EXPECT_TRUE(posted().contains(QStringLiteral("Source file %1 does not exist. Plugin not installed.").arg(path)));
    EXPECT_EQ(alerts().value(1), QStringLiteral("alert:Installation failed|The following plugins failed to install: \nGone.fxplug\nBlur.fxplug|"));
}

TEST_F(InstallOperationTest, ANewCopyThatCannotBeMadeLeavesTheOldOneInstalledAndUntrashed)
{
    // A pipe inside the download cannot be copied, so the copy fails after
    // the overwrite was confirmed.
    const QString existing = builder().addBundle(FxPlug, CurrentUser, QStringLiteral("Blur"));
    ASSERT_TRUE(builder().ok());
    const QString info = VTPath::join(existing, QStringLiteral("Contents/Info.plist"));
    const QByteArray before = VTTestSandbox::readFile(info);
    const QString source = downloadBundle(QStringLiteral("Blur.fxplug"));
    ASSERT_EQ(::mkfifo(QFile::encodeName(VTPath::join(source, QStringLiteral("Contents/pipe"))).constData(), 0600), 0);
    ui().answerNext(VTUserInterface::FirstButton);

    installation().installPlugins({source}, nullptr, true, true);

    EXPECT_FALSE(before.isEmpty());
    EXPECT_EQ(VTTestSandbox::readFile(info), before);
    EXPECT_FALSE(exists(VTPath::join(existing, QStringLiteral("Contents/pipe"))));
    EXPECT_TRUE(trashList().isEmpty());
    EXPECT_EQ(QDir(VTPath::removeLastComponent(existing)).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
              QStringList{QStringLiteral("Blur.fxplug")});
    EXPECT_TRUE(alerts().contains(QStringLiteral("alert:Installation failed|The following plugins failed to install: \nBlur.fxplug|")));

    // A copy that can be made but a Trash that takes nothing: the old copy
    // comes back to its place and the new one is withdrawn.
    if (::geteuid() != 0)
        GTEST_SKIP() << "locking the Trash takes the superuser";
    ASSERT_TRUE(QFile::remove(VTPath::join(source, QStringLiteral("Contents/pipe"))));
    const QString trash = VTTrash::trashForPath(existing);
    ASSERT_TRUE(VTTrash::prepareTrash(trash));
    const QString trashFiles = VTPath::join(trash, QStringLiteral("files"));
    ASSERT_TRUE(VTFileManager::lockFile(trashFiles)) << "chattr +i on " << trashFiles.toStdString();
    ui().answerNext(VTUserInterface::FirstButton);

    installation().installPlugins({source}, nullptr, true, true);

    (void)VTFileManager::unlockFile(trashFiles);
    EXPECT_EQ(VTTestSandbox::readFile(info), before);
    EXPECT_FALSE(OpsTest::sameTree(source, existing));
    EXPECT_TRUE(trashList().isEmpty()) << "the record of a failed trash is taken back";
    EXPECT_EQ(QDir(VTPath::removeLastComponent(existing)).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
              QStringList{QStringLiteral("Blur.fxplug")});
    EXPECT_TRUE(posted().contains(QStringLiteral("Unable to trash old file %1. Plugin not installed: %2").arg(existing, source)));
}

TEST_F(InstallOperationTest, ACopyElsewhereIsTrashedOnlyOnceTheNewOneIsInstalled)
{
    const QString allUsers = builder().addBundle(FxPlug, AllUsers, QStringLiteral("Blur"));
    ASSERT_TRUE(builder().ok());
    const QString source = downloadBundle(QStringLiteral("Blur.fxplug"));
    ASSERT_EQ(::mkfifo(QFile::encodeName(VTPath::join(source, QStringLiteral("Contents/pipe"))).constData(), 0600), 0);
    ui().answerNext(VTUserInterface::FirstButton);

    installation().installPlugins({source}, nullptr, true, true);

    EXPECT_TRUE(exists(VTPath::join(allUsers, QStringLiteral("Contents/Info.plist"))));
    EXPECT_FALSE(exists(folder(FxPlug, CurrentUser, QStringLiteral("Blur.fxplug"))));
    EXPECT_TRUE(trashList().isEmpty());
}

TEST_F(InstallOperationTest, InstallingAPluginFromItsOwnPlaceNeverTrashesIt)
{
    const QString installed = builder().addBundle(FxPlug, CurrentUser, QStringLiteral("Blur"));
    ASSERT_TRUE(builder().ok());

    installation().installPlugins({installed}, nullptr, true, true);
    EXPECT_TRUE(exists(installed));
    EXPECT_TRUE(alerts().isEmpty()) << "neither a question nor a failure";
    EXPECT_TRUE(logged(QStringLiteral("Plugin %1 is already installed.").arg(installed)));

    // For all users the only existing copy would be the source itself.
    installation().installPlugins({installed}, nullptr, false, true);
    EXPECT_TRUE(exists(installed));
    EXPECT_FALSE(exists(folder(FxPlug, AllUsers, QStringLiteral("Blur.fxplug"))));
    EXPECT_EQ(alerts(), QStringList{QStringLiteral("alert:Installation failed|The following plugins failed to install: \nBlur.fxplug|")});
    EXPECT_TRUE(trashList().isEmpty());
}

TEST_F(InstallOperationTest, TheTargetGroupGivesTheSubfolder)
{
    bundle(QStringLiteral("Inside"), QStringLiteral("Color"));
    const QString topLevel = builder().addBundle(FxPlug, AllUsers, QStringLiteral("Same"));
    reload();
    const GroupPtr color = group(QStringLiteral("Color"));
    const PluginPtr inside = plugin(QStringLiteral("Inside.fxplug"));
    ASSERT_TRUE(color && inside);

    installation().installPlugins({downloadBundle(QStringLiteral("New.fxplug"))}, color, false, true);
    EXPECT_TRUE(exists(folder(FxPlug, AllUsers, QStringLiteral("Color/New.fxplug"))));

    // A plug-in stands for its group.
    installation().installPlugins({downloadFile(QStringLiteral("Other.txt"))}, inside, true, true);
    EXPECT_TRUE(exists(folder(FxScript, CurrentUser, QStringLiteral("Color/Other.txt"))));

    // The existing-copy search looks in the group's subfolder only.
    const QString same = downloadBundle(QStringLiteral("Same.fxplug"));
    installation().installPlugins({same}, color, false, true);
    EXPECT_TRUE(alerts().isEmpty());
    EXPECT_TRUE(OpsTest::sameTree(same, folder(FxPlug, AllUsers, QStringLiteral("Color/Same.fxplug"))));
    EXPECT_TRUE(marker(topLevel).isEmpty());

    // A folder dropped on the group becomes a group inside it, shown at once.
    const QString warm = download(QStringLiteral("Warm"));
    downloadBundle(QStringLiteral("Warm/A.fxplug"));
    installation().installPlugins({warm}, color, false, true);
    EXPECT_TRUE(exists(folder(FxPlug, AllUsers, QStringLiteral("Color/Warm/A.fxplug"))));
    const GroupPtr nested = group(QStringLiteral("Color/Warm"));
    ASSERT_TRUE(nested);
    EXPECT_EQ(nested->parent(), color);
}

TEST_F(InstallOperationTest, AContainingFolderThatCannotBeMadeEndsTheWholeInstallation)
{
    // A file where a folder of the FxScript path should be: nothing can make
    // the folder, not even the superuser.
    const QString blocker = VTPath::removeLastComponent(folder(FxScript, CurrentUser));
    ASSERT_TRUE(VTTestSandbox::makeFile(blocker, "in the way"));
    const QString a = downloadBundle(QStringLiteral("A.fxplug"));
    const QString groupFolder = download(QStringLiteral("G"));
    downloadFile(QStringLiteral("G/x.txt"));
    const QString b = downloadBundle(QStringLiteral("B.fxplug"));
    const QString c = downloadBundle(QStringLiteral("C.fxplug"));

    installation().installPlugins({a, groupFolder, b, c}, nullptr, true, true);

    const QString unmade = VTPath::join(folder(FxScript, CurrentUser), QStringLiteral("G"));
    EXPECT_TRUE(exists(folder(FxPlug, CurrentUser, QStringLiteral("A.fxplug"))));
    EXPECT_FALSE(exists(folder(FxPlug, CurrentUser, QStringLiteral("B.fxplug")))) << "the outer call stops too";
    EXPECT_FALSE(exists(folder(FxPlug, CurrentUser, QStringLiteral("C.fxplug"))));
    EXPECT_EQ(alerts(), QStringList{QStringLiteral("alert:Unable to create directory %1|Please check your file permissions.|").arg(unmade)});
    EXPECT_EQ(reloadRequests(), 0);
    EXPECT_EQ(ui().steps().last(), QStringLiteral("end")) << "the progress sheet is closed";
    const QStringList log = logLines();
    EXPECT_TRUE(log.contains(QStringLiteral("Unable to create directory %1....").arg(unmade)));
    EXPECT_TRUE(log.contains(QStringLiteral("Unable to auth create directory %1").arg(unmade)));
    EXPECT_FALSE(log.contains(QStringLiteral("Installation failed. The following plugins failed to install: ")));
}

TEST_F(InstallWithoutWindowTest, ExistingCopiesAreOverwrittenWithoutAskingAndFailuresArePrinted)
{
    const QString existing = builder().addBundle(FxPlug, CurrentUser, QStringLiteral("Blur"));
    ASSERT_TRUE(builder().ok());
    const QString source = downloadBundle(QStringLiteral("Blur.fxplug"));
    const QString readMe = downloadFile(QStringLiteral("ReadMe.pdf"), "pdf");

    testing::internal::CaptureStdout();
    installation().installPlugins({source, readMe}, nullptr, true, true);
    const QString printed = QString::fromStdString(testing::internal::GetCapturedStdout());

    EXPECT_TRUE(OpsTest::sameTree(source, existing));
    EXPECT_TRUE(ui().steps().isEmpty()) << "neither a question nor progress without a window";
    EXPECT_TRUE(logged(QStringLiteral("The file %1 already exists. Overwriting..").arg(existing)));
    const QString failure = QStringLiteral("Installation failed. The following plugins failed to install: \nReadMe.pdf");
    EXPECT_TRUE(posted().contains(failure));
    EXPECT_TRUE(posted().contains(QStringLiteral("Unrecognized format. Plugin not installed: %1").arg(readMe)));
    EXPECT_TRUE(printed.contains(failure)) << printed.toStdString();
    EXPECT_TRUE(trashList().contains(existing));
}
