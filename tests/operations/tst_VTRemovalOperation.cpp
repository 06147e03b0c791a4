// Removal to the Trash and folder hygiene on a sandboxed system: what the
// Trash holds afterwards (read back with trash-cli), the progress threshold,
// selections of a group and its own plug-ins, emptied folders and locks.

#include "OperationsTestSupport.h"

using namespace VTSandboxKind;

using RemovalTest = OpsTest::OperationsTest;

TEST_F(RemovalTest, AGroupSelectedWithOneOfItsPluginsIsRemovedOnce)
{
    const QString a = bundle(QStringLiteral("A"), QStringLiteral("G"));
    const QString b = bundle(QStringLiteral("B"), QStringLiteral("G/Sub"));
    const QString c = bundle(QStringLiteral("C"), QStringLiteral("G"), false);
    const QString lone = bundle(QStringLiteral("Lone"));
    reload();
    const GroupPtr g = group(QStringLiteral("G"));
    ASSERT_TRUE(g);
    const QList<ItemPtr> selection{g, plugin(QStringLiteral("A.fxplug"))};

    removal().remove(selection);
    waitForOperations();
    EXPECT_EQ(ui().steps(QStringLiteral("alert:")),
              QStringList{QStringLiteral("alert:Are you sure you wish to remove these items?|To restore from the Trash, "
                                         "drag the plugin back into the main window.|Remove,Cancel")});
    for (const QString &path : {a, b, c})
        EXPECT_FALSE(exists(path)) << path.toStdString();
    EXPECT_FALSE(exists(fxPlug(QStringLiteral("G")))) << "the group's folder goes too";
    EXPECT_TRUE(exists(lone));

    const QStringList trashed = trashList();
    for (const QString &path : {a, b, c})
        EXPECT_EQ(trashed.count(path), 1) << path.toStdString();
    EXPECT_EQ(trashed.count(fxPlug(QStringLiteral("G"))), 1);
    EXPECT_EQ(logLines().count(QStringLiteral("Removing group G...")), 1);
    EXPECT_FALSE(catalogue().dataArray().contains(g));
    EXPECT_TRUE(view().selection.isEmpty()) << "the selection is reset";
    // Three plug-ins in all: no sheet, but each one steps the bar.
    EXPECT_TRUE(ui().steps(QStringLiteral("sheet")).isEmpty());
    EXPECT_EQ(ui().steps(QStringLiteral("step")).size(), 3);
}

// Three plug-ins show no sheet (the group case above); four show one.
TEST_F(RemovalTest, FourPluginsShowProgress)
{
    QStringList paths;
    for (int i = 0; i < 4; ++i)
        paths << bundle(QStringLiteral("P%1").arg(i));
    reload();

    removal().remove(catalogue().dataArray());
    waitForOperations();
    EXPECT_EQ(ui().steps(QStringLiteral("sheet")).size(), 1);
    EXPECT_EQ(ui().steps(QStringLiteral("max:")), QStringList{QStringLiteral("max:4")});
    EXPECT_EQ(ui().steps(QStringLiteral("text:")), QStringList{QStringLiteral("text:Removing files...")});
    for (const QString &path : paths)
        EXPECT_FALSE(exists(path));
    EXPECT_TRUE(catalogue().dataArray().isEmpty());
    const QStringList trashed = trashList();
    for (const QString &path : paths)
        EXPECT_TRUE(trashed.contains(path)) << path.toStdString();
}

TEST_F(RemovalTest, OnlyRemoveGoesAheadAndAPluginLeavesItsGroupWithoutARedisplay)
{
    const QString a = bundle(QStringLiteral("A"), QStringLiteral("G"));
    bundle(QStringLiteral("B"), QStringLiteral("G"));
    reload();
    const GroupPtr g = group(QStringLiteral("G"));
    const PluginPtr plugA = plugin(QStringLiteral("A.fxplug"));
    EXPECT_EQ(VTRemovalOperation::removalSubject({plugA}), QStringLiteral("this plugin"));
    EXPECT_EQ(VTRemovalOperation::removalSubject({g}), QStringLiteral("this group"));

    ui().answerNext(VTUserInterface::SecondButton);
    removal().remove({plugA});
    waitForOperations();
    EXPECT_TRUE(exists(a));
    EXPECT_EQ(ui().steps(QStringLiteral("alert:")).size(), 1);
    EXPECT_FALSE(logged(QStringLiteral("Removing items...")));
    removal().remove({});
    EXPECT_EQ(ui().steps(QStringLiteral("alert:")).size(), 1) << "nothing selected asks nothing";

    ui().clear();
    const int redisplays = view().treeReloads;
    EXPECT_TRUE(removal().removePlugin(plugA));
    EXPECT_FALSE(exists(a));
    EXPECT_EQ(g->children().size(), 1);
    EXPECT_FALSE(plugA->parent());
    EXPECT_EQ(view().treeReloads, redisplays);
    EXPECT_EQ(ui().steps(QStringLiteral("busy")).size(), 1);
    EXPECT_EQ(ui().steps(QStringLiteral("idle")).size(), 1);
    EXPECT_FALSE(removal().removePlugin(nullptr));
}

TEST_F(RemovalTest, DeleteAllDisabledEmptiesTheDisabledTreeAfterAsking)
{
    const QString a = bundle(QStringLiteral("A"), QStringLiteral("G"), false);
    const QString b = bundle(QStringLiteral("B"), QString(), false);
    const QString enabled = bundle(QStringLiteral("C"));
    ASSERT_TRUE(builder().ok());

    ui().answerNext(VTUserInterface::SecondButton);
    removal().deleteAllDisabled();
    EXPECT_TRUE(exists(a));

    removal().deleteAllDisabled();
    EXPECT_FALSE(exists(a));
    EXPECT_FALSE(exists(b));
    EXPECT_TRUE(exists(enabled));
    EXPECT_TRUE(VTSandboxFiles::isFolder(disabledRoot())) << "the root stays";
    EXPECT_TRUE(QDir(disabledRoot()).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot));
    EXPECT_EQ(reloadRequests(), 1);
    const QString question = QStringLiteral("alert:Are you sure you wish to delete all disabled plugins?|The plugins "
                                            "will be placed in the Trash.|Delete All,Cancel");
    EXPECT_EQ(ui().steps(QStringLiteral("alert:")),
              (QStringList{question, question,
                           QStringLiteral("alert:Plugin trash successful|All disabled plugins were trashed.|")}));
    // The disabled tree went as whole folders, each listed once: it records
    // paths within the managed system, so its one top folder is its Library.
    EXPECT_EQ(trashList(), QStringList{disabledRoot() + QStringLiteral("/Library")});

    ASSERT_TRUE(QDir(disabledRoot()).removeRecursively());
    ui().clear();
    removal().deleteAllDisabled();
    EXPECT_EQ(ui().steps(QStringLiteral("alert:")).last(),
              QStringLiteral("alert:Unable to trash disabled plugins|No plugins have been disabled.|"));
}

TEST_F(RemovalTest, EmptyFoldersGoAndEmptySubfoldersOnlyWhenAskedFor)
{
    // A folder holding only a ".DS_Store" counts as empty.
    const QString onlyStore = fxPlug(QStringLiteral("OnlyStore"));
    const QString withFile = fxPlug(QStringLiteral("WithFile"));
    ASSERT_TRUE(VTTestSandbox::makeFile(VTPath::join(onlyStore, QStringLiteral(".DS_Store")), "x"));
    ASSERT_TRUE(VTTestSandbox::makeFile(VTPath::join(withFile, QStringLiteral("ReadMe.txt")), "x"));
    EXPECT_TRUE(cleanup().removeEmptyFolder(onlyStore, false));
    EXPECT_FALSE(exists(onlyStore));
    EXPECT_FALSE(cleanup().removeEmptyFolder(withFile, false));
    EXPECT_TRUE(exists(VTPath::join(withFile, QStringLiteral("ReadMe.txt"))));
    EXPECT_TRUE(cleanup().removeEmptyFolder(onlyStore, false)) << "a folder that is gone counts as removed";
    EXPECT_FALSE(cleanup().removeEmptyFolder(VTPath::join(withFile, QStringLiteral("ReadMe.txt")), true))
        << "a file is not a folder";
    EXPECT_TRUE(logged(QStringLiteral("Removing empty folder %1...").arg(onlyStore)));
    EXPECT_TRUE(logged(QStringLiteral("Beginning removal of empty folder %1...").arg(onlyStore)));

    const QString outer = fxPlug(QStringLiteral("Outer"));
    ASSERT_TRUE(VTTestSandbox::makeFolder(VTPath::join(outer, QStringLiteral("A/B"))));
    ASSERT_TRUE(VTTestSandbox::makeFile(VTPath::join(outer, QStringLiteral("A/.DS_Store")), "x"));
    ASSERT_TRUE(VTTestSandbox::makeFolder(VTPath::join(outer, QStringLiteral("C"))));
    EXPECT_FALSE(cleanup().removeEmptyFolder(outer, false));
    EXPECT_TRUE(exists(VTPath::join(outer, QStringLiteral("A/B"))));
    EXPECT_TRUE(cleanup().removeEmptyFolder(outer, true));
    EXPECT_FALSE(exists(outer));

    // A file deep down keeps the folder; sub-folders emptied before it was
    // met stay removed.
    ASSERT_TRUE(VTTestSandbox::makeFolder(VTPath::join(outer, QStringLiteral("A"))));
    ASSERT_TRUE(VTTestSandbox::makeFile(VTPath::join(outer, QStringLiteral("Z/Keep.txt")), "x"));
    EXPECT_FALSE(cleanup().removeEmptyFolder(outer, true));
    EXPECT_TRUE(exists(VTPath::join(outer, QStringLiteral("Z/Keep.txt"))));
}

TEST_F(RemovalTest, KindFoldersAndSystemFoldersAreNeverRemoved)
{
    builder().createAllFolders();
    ASSERT_TRUE(builder().ok());
    const QString kindFolder = fxPlug();
    ASSERT_TRUE(QDir(kindFolder).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot));
    EXPECT_FALSE(cleanup().removeEmptyFolder(kindFolder, true));
    EXPECT_TRUE(exists(kindFolder));
    EXPECT_TRUE(cleanup().isKindFolder(kindFolder + u'/'));

    const QString userAudioUnits = VTPath::join(m_env.home(), QStringLiteral("Library/Audio/Plug-Ins/Components"));
    EXPECT_FALSE(cleanup().removeEmptyFolder(userAudioUnits, false));
    EXPECT_TRUE(exists(userAudioUnits));

    const QString systemFolder = m_env.systemPath(QStringLiteral("/Users/Shared"));
    ASSERT_TRUE(VTTestSandbox::makeFolder(systemFolder));
    EXPECT_FALSE(cleanup().removeEmptyFolder(systemFolder, false));
    EXPECT_TRUE(exists(systemFolder));

    // The mirror of a kind's folder is no kind folder: it goes when empty.
    const QString kindMirror = mirror(kindFolder);
    ASSERT_TRUE(exists(kindMirror));
    EXPECT_TRUE(cleanup().removeEmptyFolder(kindMirror, false));
}

TEST_F(RemovalTest, AStartClearsWhatAnInterruptedTrashLeftInTheTrash)
{
    // A privileged trash across file systems copies into files/ under a
    // temporary name first; a kill in the middle leaves that copy behind.
    const QString files = m_env.homePath(QStringLiteral(".local/share/Trash/files"));
    ASSERT_TRUE(VTTestSandbox::makeFile(VTPath::join(files, QStringLiteral(".vtmove.0123456789abcdef/Contents/half")), "x"));
    ASSERT_TRUE(VTTestSandbox::makeFile(VTPath::join(files, QStringLiteral("Kept.fxplug/Contents/Info.plist")), "kept"));

    EXPECT_EQ(operations().resolveInterruptedMovesOnce(), 1);
    EXPECT_FALSE(exists(VTPath::join(files, QStringLiteral(".vtmove.0123456789abcdef"))));
    EXPECT_TRUE(exists(VTPath::join(files, QStringLiteral("Kept.fxplug/Contents/Info.plist"))));
}
