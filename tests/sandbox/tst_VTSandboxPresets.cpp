#include "VTSandboxBuilder.h"

#include "VTTestProcess.h"

#include <gtest/gtest.h>

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>
#include <QSet>
#include <QTemporaryDir>

#include <algorithm>

#include <sys/statvfs.h>

using namespace VTSandboxKind;

namespace {

// Walks the sandbox with Python, finds every bundle (a folder holding
// Contents/Info.plist, applications aside), every type-coded file and every
// Motion template on its own, and checks each against the manifest: the
// same set of bundles, the version from Info.plist, and the architectures
// decoded from the Mach-O headers.
QJsonObject verifyWithPython(const VTSandboxBuilder &builder, const QString &manifestPath)
{
    EXPECT_TRUE(builder.manifest().writeJson(manifestPath));
    const QJsonValue check = VTTest::pythonJson(R"PY(
import json, os, struct, plistlib, sys
m = json.load(open(sys.argv[1]))
names = {7: 'i386', 0x1000007: 'x86_64', 18: 'ppc', 0x1000012: 'ppc64', 0x100000c: 'arm64'}
def thin_cpu(data, offset):
    for order in '<>':
        magic, cpu = struct.unpack_from(order + 'II', data, offset)
        if magic in (0xfeedface, 0xfeedfacf):
            assert (magic == 0xfeedfacf) == bool(cpu & 0x1000000)
            return cpu
    raise ValueError('no Mach-O header')
def archs(path):
    data = open(path, 'rb').read()
    magic = struct.unpack_from('>I', data)[0]
    if magic not in (0xcafebabe, 0xcafebabf):
        return [names[thin_cpu(data, 0)]]
    out = []
    for i in range(struct.unpack_from('>I', data, 4)[0]):
        if magic == 0xcafebabe:
            cpu, _, off = struct.unpack_from('>III', data, 8 + 20 * i)
        else:
            cpu, _, off = struct.unpack_from('>IIQ', data, 8 + 32 * i)
        assert thin_cpu(data, off) == cpu
        out.append(names[cpu])
    return out
found, typed, templates = set(), set(), set()
for top in (m['root'], m['home']):
    for folder, dirs, files in os.walk(top):
        if os.path.isfile(os.path.join(folder, 'Contents', 'Info.plist')):
            if not folder.endswith('.app'):
                found.add(folder)
            dirs[:] = []
            continue
        if any(os.path.splitext(f)[1] in ('.motn', '.moti', '.moef', '.motr') for f in files):
            templates.add(folder)
        for f in files:
            try:
                if os.getxattr(os.path.join(folder, f), 'user.com.apple.FinderInfo')[:4] == b'FCSC':
                    typed.add(os.path.join(folder, f))
            except OSError:
                pass
plugins = m['plugins']
def paths(form):
    return {p['path'] for p in plugins if p['form'] == form}
problems = []
for form, on_disk in (('bundle', found), ('type-coded file', typed), ('motion template', templates)):
    if paths(form) != on_disk:
        problems.append('%s: %d in manifest, %d on disk' % (form, len(paths(form)), len(on_disk)))
for p in plugins:
    if p['form'] != 'bundle':
        continue
    info = plistlib.load(open(os.path.join(p['path'], 'Contents', 'Info.plist'), 'rb'))
    version = info.get('CFBundleShortVersionString') or info.get('CFBundleVersion') or ''
    if version != p['version']:
        problems.append('version of %s' % p['path'])
    if 'CFBundleExecutable' in info:
        exe = os.path.join(p['path'], 'Contents', 'MacOS', info['CFBundleExecutable'])
        if archs(exe) != p['architectures'] or not os.access(exe, os.X_OK):
            problems.append('architectures of %s' % p['path'])
disabled_on_disk = sum(1 for p in plugins if p['path'].startswith(m['disabledRoot'] + '/') and os.path.exists(p['path']))
print(json.dumps({'bundles': len(found), 'disabledOnDisk': disabled_on_disk, 'problems': problems[:20]}))
)PY",
                                                {manifestPath});
    EXPECT_TRUE(check.isObject()) << "the Python check did not run to its end";
    return check.toObject();
}

} // namespace

TEST(VTSandboxPresets, DemoHasEveryKindAndCase)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    VTSandboxBuilder builder(dir.filePath(QStringLiteral("root")), dir.filePath(QStringLiteral("home")));
    builder.demo();
    ASSERT_TRUE(builder.ok()) << builder.errors().join(u'\n').toStdString();
    const VTSandboxManifest &manifest = builder.manifest();

    for (qint64 kind = 0; kind < Count; ++kind) {
        for (qint64 access : {AllUsers, CurrentUser}) {
            const bool present = std::any_of(manifest.plugins.cbegin(), manifest.plugins.cend(), [&](const VTSandboxPlugin &p) {
                return p.kind == kind && p.access == access;
            });
            EXPECT_EQ(present, access == AllUsers || hasCurrentUserFolder(kind)) << kind << " " << access;
        }
    }
    QSet<QString> architectures;
    QSet<QString> categories;
    int spaced = 0;
    int disabledInGroups = 0;
    for (const VTSandboxPlugin &plugin : manifest.plugins) {
        EXPECT_TRUE(QFileInfo::exists(plugin.path)) << plugin.path.toStdString();
        for (const QString &arch : plugin.architectures)
            architectures.insert(arch);
        if (plugin.kind == MotionTemplate && plugin.access == AllUsers)
            categories.insert(plugin.group.section(u'/', 0, 0));
        spaced += plugin.name.contains(u' ');
        disabledInGroups += !plugin.enabled && !plugin.group.isEmpty();
    }
    EXPECT_EQ(architectures.size(), 5);
    EXPECT_EQ(categories, (QSet<QString>{QStringLiteral("Generators.localized"), QStringLiteral("Titles.localized"),
                                         QStringLiteral("Effects.localized"), QStringLiteral("Transitions.localized"),
                                         QStringLiteral("Compositions.localized")}));
    EXPECT_GT(spaced, 10);
    EXPECT_GE(manifest.disabledCount(), 8);
    EXPECT_GE(disabledInGroups, 3);

    // Groups three deep. What the catalogue tests assert of the demo (the
    // numeric folder, the FxFactory pack, the managed bundle) is not repeated
    // here; the folder tests make their own applications and Adobe folders.
    int deepest = 0;
    for (const VTSandboxGroup &group : manifest.groups)
        deepest = std::max(deepest, group.depth());
    EXPECT_EQ(deepest, 3);
    for (const QString &ignored : manifest.ignored)
        EXPECT_TRUE(QFileInfo::exists(ignored)) << ignored.toStdString();

    const QJsonObject check = verifyWithPython(builder, dir.filePath(QStringLiteral("manifest.json")));
    EXPECT_EQ(check.value(QStringLiteral("problems")).toArray(), QJsonArray());
    EXPECT_EQ(check.value(QStringLiteral("disabledOnDisk")).toInteger(), manifest.disabledCount());
}

TEST(VTSandboxPresets, TenThousandPlugins)
{
    // On tmpfs where it has room (the files take about 70 MB of pages): a
    // shared disk is spared 50,000 creations and deletions.
    const QString shm = QStringLiteral("/dev/shm");
    struct statvfs space {};
    const bool memory = QFileInfo(shm).isWritable() && ::statvfs("/dev/shm", &space) == 0
                        && static_cast<double>(space.f_bavail) * static_cast<double>(space.f_frsize) > 256.0 * 1024 * 1024;
    QTemporaryDir dir(memory ? shm + QStringLiteral("/tst_VTSandboxPresets-XXXXXX") : QString());
    ASSERT_TRUE(dir.isValid());
    VTSandboxBuilder builder(dir.filePath(QStringLiteral("root")), dir.filePath(QStringLiteral("home")));
    builder.scaled(10000, 11);
    ASSERT_TRUE(builder.ok()) << builder.errors().join(u'\n').toStdString();

    const VTSandboxManifest &manifest = builder.manifest();
    ASSERT_EQ(manifest.plugins.size(), 10000);
    EXPECT_EQ(manifest.disabledCount(), 2000);
    int deepest = 0;
    int userPlugins = 0;
    for (qint64 kind = 0; kind < Count; ++kind)
        EXPECT_EQ(manifest.countOfKind(kind), 1000) << kind;
    for (const VTSandboxPlugin &plugin : manifest.plugins) {
        const int depth = static_cast<int>(plugin.group.count(u'/')) + (plugin.group.isEmpty() ? 0 : 1);
        deepest = std::max(deepest, depth);
        userPlugins += plugin.access == CurrentUser;
        if (plugin.kind == MotionTemplate) {
            EXPECT_TRUE(plugin.group.section(u'/', 0, 0).endsWith(QLatin1String(".localized"))) << plugin.group.toStdString();
        }
        if (plugin.form == VTSandboxPlugin::Form::Bundle) {
            EXPECT_FALSE(plugin.architectures.isEmpty()) << plugin.path.toStdString();
        }
    }
    EXPECT_EQ(deepest, 3);
    EXPECT_GT(userPlugins, 1500);

    const QJsonObject check = verifyWithPython(builder, dir.filePath(QStringLiteral("manifest.json")));
    EXPECT_EQ(check.value(QStringLiteral("problems")).toArray(), QJsonArray());
    EXPECT_EQ(check.value(QStringLiteral("bundles")).toInteger(), 8000);
    EXPECT_EQ(check.value(QStringLiteral("disabledOnDisk")).toInteger(), 2000);
}
