#include "CatalogueTestSupport.h"

#include "VTPluginKind.h"

#include <atomic>
#include <thread>

namespace {

using namespace VTPluginKind;
using Arch = VTMachOWriter::Arch;

QVariantMap info(std::initializer_list<std::pair<const char *, QString>> pairs)
{
    QVariantMap map;
    for (const auto &[key, value] : pairs)
        map.insert(QString::fromLatin1(key), value);
    return map;
}

} // namespace

class VTPluginItemPaths : public CatalogueSandbox
{
protected:
    // The folder each kind lives in; the table itself is checked word for word
    // in the folder tests.
    static QString expectedBase(qint64 kind, qint64 access) { return VTPluginFolders::build().basePath(kind, access); }
};

TEST_F(VTPluginItemPaths, EveryKindAndAccessEnabledAndDisabled)
{
    for (qint64 kind = Unknown; kind <= OpenFX; ++kind) {
        for (const qint64 access : {AllUsers, CurrentUser}) {
            for (const QString &subdir : {QString(), QStringLiteral("Color/Warm")}) {
                SCOPED_TRACE(QStringLiteral("kind %1 access %2 subdir '%3'").arg(kind).arg(access).arg(subdir).toStdString());
                const PluginPtr item = VTPluginItem::createScanned(QStringLiteral("Blur.fxplug"), QStringLiteral("Blur"),
                                                                   subdir, QString(), kind, access, Enabled);

                const QString base = expectedBase(kind, access);
                const QString relative = VTPath::join({base, subdir, QStringLiteral("Blur.fxplug")});
                EXPECT_EQ(item->pluginBasePath(), base);
                EXPECT_EQ(item->pluginRelativePath(), relative);
                EXPECT_EQ(item->pluginTypeDir(), QString());
                EXPECT_EQ(item->pluginPath(), relative);
                EXPECT_EQ(item->actualPath(), relative);

                item->setPluginEnabled(Disabled);
                EXPECT_EQ(item->pluginTypeDir(), disabledRoot());
                // Within the managed system below the root; the home lies
                // outside it and keeps its whole path.
                const QString recorded = VTPath::isInside(relative, systemRoot()) ? relative.mid(systemRoot().size()) : relative;
                EXPECT_EQ(item->pluginPath(), VTPath::join(disabledRoot(), recorded));
                EXPECT_EQ(item->pluginRelativePath(), relative);
            }
        }
    }

    // The same rule written out, for a disabled group member and an unknown kind.
    const PluginPtr item = VTPluginItem::createScanned(QStringLiteral("Blur.fxplug"), QStringLiteral("Blur"),
                                                       QStringLiteral("Color"), QString(), FxPlug, AllUsers, Disabled);
    EXPECT_EQ(item->pluginPath(),
              disabledRoot() + QStringLiteral("/Library/Plug-Ins/FxPlug/Color/Blur.fxplug"));
    EXPECT_EQ(item->pluginTypeName(), QStringLiteral("FxPlug"));

    const PluginPtr unknown = VTPluginItem::create(QStringLiteral("x.vst"), 42, AllUsers, Enabled);
    EXPECT_EQ(unknown->pluginBasePath(), QString());
    EXPECT_EQ(unknown->pluginPath(), QStringLiteral("x.vst"));
    EXPECT_EQ(unknown->pluginTypeName(), QStringLiteral("Unknown"));
    // An empty subfolder is none.
    EXPECT_TRUE(unknown->subdir().isNull());
    unknown->setSubdir(QStringLiteral(""));
    EXPECT_TRUE(unknown->subdir().isNull());
}

TEST_F(VTPluginItemPaths, ActualPathFollowsTheFile)
{
    const PluginPtr item = VTPluginItem::create(QStringLiteral("Blur.fxplug"), FxPlug, CurrentUser, Enabled);
    const QString enabledPath = item->pluginPath();
    writeFile(VTPath::join(enabledPath, QStringLiteral("Contents/Info.plist")), "x");
    const QString disabledPath = VTPath::mirror(disabledRoot(), enabledPath);
    EXPECT_EQ(item->actualPath(), enabledPath);

    // The flag changes ahead of the move: the file is still where it was.
    item->setPluginEnabled(Disabled);
    EXPECT_EQ(item->pluginPath(), disabledPath);
    EXPECT_EQ(item->actualPath(), enabledPath);

    ASSERT_TRUE(QDir().mkpath(VTPath::removeLastComponent(disabledPath)));
    ASSERT_TRUE(QDir().rename(enabledPath, disabledPath));
    item->updateActualPath();
    EXPECT_EQ(item->actualPath(), disabledPath);

    // The move comes first and the flag after it: the setter's second
    // look finds the file at the new derived path.
    ASSERT_TRUE(QDir().rename(disabledPath, enabledPath));
    item->updateActualPath();
    EXPECT_EQ(item->actualPath(), disabledPath);
    item->setPluginEnabled(Enabled);
    EXPECT_EQ(item->actualPath(), enabledPath);

    // Moving into a group: nothing at the new place yet, so the old place stays.
    item->setSubdir(QStringLiteral("Color"));
    EXPECT_EQ(item->actualPath(), enabledPath);
    const QString grouped = item->pluginPath();
    ASSERT_TRUE(QDir().mkpath(VTPath::removeLastComponent(grouped)));
    ASSERT_TRUE(QDir().rename(enabledPath, grouped));
    item->setItemSelection(1);
    EXPECT_EQ(item->actualPath(), grouped);
}

TEST_F(VTPluginItemPaths, LockStatusFollowsTheManagerFile)
{
    const QString folder = VTPath::join(expectedBase(FxPlug, AllUsers), QStringLiteral("Managed.fxplug"));
    writeFile(VTPath::join(folder, QStringLiteral(".fxfactory.plist")), "<plist/>");
    const PluginPtr managed = VTPluginItem::create(QStringLiteral("Managed.fxplug"), FxPlug, AllUsers, Enabled);
    EXPECT_TRUE(managed->isLocked());
    EXPECT_FALSE(managed->isDeletable());

    const PluginPtr plain = VTPluginItem::create(QStringLiteral("Plain.fxplug"), FxPlug, AllUsers, Enabled);
    EXPECT_FALSE(plain->isLocked());
    EXPECT_TRUE(plain->isDeletable());
    // A lock set elsewhere (the immutable flag) is not lifted here.
    plain->setIsLocked(true);
    plain->setIsDeletable(false);
    plain->setLockStatus();
    EXPECT_TRUE(plain->isLocked());
    EXPECT_TRUE(plain->isDeletable());
}

class VTPluginItemBundle : public VTPluginItemPaths
{
protected:
    QString bundlePath(const QString &fileName) const
    {
        return VTPath::join(expectedBase(AudioUnit, AllUsers), fileName);
    }
    static PluginPtr scanned(const QString &fileName, const QString &name)
    {
        const PluginPtr item = VTPluginItem::createScanned(fileName, name, QString(), QStringLiteral(""), AudioUnit,
                                                           AllUsers, Enabled);
        item->bundleProcessThread()->wait();
        return item;
    }
};

TEST_F(VTPluginItemBundle, ReadsNameVersionAndArchitecturesWithTheirFallBacks)
{
    const QString path = bundlePath(QStringLiteral("Verb.component"));
    writeBundle(path,
                info({{"CFBundleDisplayName", QStringLiteral("Verb Display")},
                      {"CFBundleName", QStringLiteral("Verb")},
                      {"CFBundleShortVersionString", QStringLiteral("2.5")},
                      {"CFBundleVersion", QStringLiteral("250")}}),
                universalBinary({Arch::I386, Arch::X86_64}));
    writeFile(VTPath::join(path, QStringLiteral("Contents/Resources/en.lproj/InfoPlist.strings")),
              "\"CFBundleDisplayName\" = \"Verb (English)\";");
    writeBundle(bundlePath(QStringLiteral("Old.component")),
                info({{"CFBundleName", QStringLiteral("Old Verb")}, {"CFBundleVersion", QStringLiteral("1.0b")}}),
                universalBinary({Arch::PPC}));
    // A key that is present is found, empty or not: no fall-back then.
    writeBundle(bundlePath(QStringLiteral("Blank.component")),
                info({{"CFBundleDisplayName", QStringLiteral("")}, {"CFBundleName", QStringLiteral("Blank Verb")},
                      {"CFBundleShortVersionString", QStringLiteral("")}, {"CFBundleVersion", QStringLiteral("3")}}));
    writeBundle(bundlePath(QStringLiteral("Tpl.component")),
                info({{"CFBundleDisplayName", QStringLiteral("${PRODUCT_NAME}")}, {"CFBundleName", QStringLiteral("Tpl")}}));

    const PluginPtr item = scanned(QStringLiteral("Verb.component"), QStringLiteral("scanned"));
    EXPECT_TRUE(item->bundleProcessThread()->isFinished());
    EXPECT_EQ(item->shortName(), QStringLiteral("Verb (English)"));
    EXPECT_EQ(item->version(), QStringLiteral("2.5"));
    EXPECT_EQ(item->architectures(), (QStringList{QStringLiteral("32-bit (Intel)"), QStringLiteral("64-bit (Intel)")}));
    EXPECT_TRUE(item->is32BitAvailable());
    EXPECT_TRUE(item->is64BitAvailable());
    EXPECT_TRUE(item->isIntelAvailable());
    EXPECT_FALSE(item->isPPCAvailable());

    const PluginPtr old = scanned(QStringLiteral("Old.component"), QStringLiteral("Old"));
    EXPECT_EQ(old->shortName(), QStringLiteral("Old Verb"));
    EXPECT_EQ(old->version(), QStringLiteral("1.0b"));
    EXPECT_EQ(old->architectures(), QStringList{QStringLiteral("32-bit (PowerPC)")});
    EXPECT_FALSE(old->is64BitAvailable());
    EXPECT_TRUE(old->isPPCAvailable());

    const PluginPtr blank = scanned(QStringLiteral("Blank.component"), QStringLiteral("Blank"));
    EXPECT_EQ(blank->shortName(), QStringLiteral(""));
    EXPECT_EQ(blank->version(), QStringLiteral(""));
    // A placeholder name keeps the scanned one.
    EXPECT_EQ(scanned(QStringLiteral("Tpl.component"), QStringLiteral("Scanned Tpl"))->shortName(),
              QStringLiteral("Scanned Tpl"));
}

TEST_F(VTPluginItemBundle, DamagedBundlesLeaveTheScannedFields)
{
    // No Info.plist at all.
    ASSERT_TRUE(QDir().mkpath(bundlePath(QStringLiteral("Empty.component"))));
    // A truncated property list.
    writeFile(VTPath::join(bundlePath(QStringLiteral("Cut.component")), QStringLiteral("Contents/Info.plist")),
              VTPropertyList::toData(info({{"CFBundleName", QStringLiteral("Cut")}}), VTPropertyList::Format::Binary).left(20));
    // The executable is a script.
    writeBundle(bundlePath(QStringLiteral("Script.component")), {}, "#!/bin/sh\nexit 0\n");
    // A fat header that claims slices beyond the end of the file.
    QByteArray lying = universalBinary({Arch::I386, Arch::X86_64});
    lying.truncate(0x1800);
    writeBundle(bundlePath(QStringLiteral("Liar.component")), {}, lying);
    // A plain file, not a bundle.
    writeFile(bundlePath(QStringLiteral("Flat.component")), "data");

    for (const char *name : {"Empty", "Cut", "Script", "Liar", "Flat"}) {
        const QString fileName = QString::fromLatin1(name) + QStringLiteral(".component");
        const PluginPtr item = scanned(fileName, QString::fromLatin1(name));
        EXPECT_EQ(item->shortName(), QString::fromLatin1(name)) << name;
        EXPECT_EQ(item->version(), QStringLiteral("")) << name;
        EXPECT_FALSE(item->architectures().has_value()) << name;
        EXPECT_FALSE(item->is32BitAvailable()) << name;
    }
}

TEST_F(VTPluginItemBundle, ReadsRaceWithReadersAndReleasedRecordsCancelTheirReads)
{
    writeBundle(bundlePath(QStringLiteral("Race.component")),
                info({{"CFBundleName", QStringLiteral("Race")}, {"CFBundleVersion", QStringLiteral("7")}}),
                universalBinary({Arch::I386, Arch::X86_64}));
    std::atomic<bool> done{false};
    std::vector<PluginPtr> kept;
    std::vector<std::shared_ptr<VTBundleInfoRequest>> released;
    std::mutex keptMutex;
    // Threads make and drop records while others read the fields the
    // bundle reader writes. A dropped record goes at once, most often while
    // its read is queued.
    std::vector<std::thread> makers;
    for (int t = 0; t < 3; ++t) {
        makers.emplace_back([&] {
            for (int i = 0; i < 400; ++i) {
                auto item = VTPluginItem::create(QStringLiteral("Race.component"), AudioUnit, AllUsers, Enabled);
                std::lock_guard lock(keptMutex);
                if (i % 4 == 0)
                    kept.push_back(std::move(item));
                else
                    released.push_back(item->bundleProcessThread());
            }
        });
    }
    std::thread watcher([&] {
        while (!done) {
            std::vector<PluginPtr> snapshot;
            {
                std::lock_guard lock(keptMutex);
                snapshot = kept;
            }
            for (const PluginPtr &item : snapshot) {
                (void)item->shortName();
                (void)item->architectures();
                (void)item->is64BitAvailable();
            }
        }
    });
    for (std::thread &maker : makers)
        maker.join();
    VTBundleInfoReader::shared().waitForAll();
    done = true;
    watcher.join();

    EXPECT_EQ(VTBundleInfoReader::shared().pendingCount(), 0);
    for (const auto &request : released) {
        EXPECT_TRUE(request->isCancelled());
        EXPECT_TRUE(request->isFinished());
    }
    ASSERT_EQ(kept.size(), 300u);
    for (const PluginPtr &item : kept) {
        EXPECT_EQ(item->shortName(), QStringLiteral("Race"));
        EXPECT_EQ(item->version(), QStringLiteral("7"));
        EXPECT_TRUE(item->is64BitAvailable());
    }
}
