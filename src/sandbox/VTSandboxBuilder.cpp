#include "VTSandboxBuilder.h"

#include "VTApplicationWriter.h"
#include "VTPath.h"
#include "VTPropertyList.h"
#include "VTSandboxPresets.h"

#include <QDir>
#include <QFileInfo>

using namespace VTSandboxKind;

namespace {

const QString kFxFactoryFile = QStringLiteral(".fxfactory.plist");
const QString kLocalizedFile = QStringLiteral(".localized");
const QString kPlaceholderName = QStringLiteral("${PRODUCT_NAME}");

// An absolute, clean path: what a scan will report for things below it.
QString absoluteFolder(const QString &path)
{
    QDir().mkpath(path);
    const QString canonical = QFileInfo(path).canonicalFilePath();
    return canonical.isEmpty() ? VTPath::normalize(QDir(path).absolutePath()) : canonical;
}

QString identifierPart(const QString &name)
{
    QString out;
    for (QChar c : name.toLower()) {
        if (c.isLetterOrNumber() && c.unicode() < 128)
            out += c;
    }
    return out.isEmpty() ? QStringLiteral("plugin") : out;
}

// The name a reader of the bundle shows; see the class comment.
QString expectedName(const QVariantMap &info, const QList<VTLocalization> &localizations, const QString &fileName)
{
    const VTLocalization *english = nullptr;
    for (const VTLocalization &localization : localizations) {
        if (localization.language == QLatin1String("en") || localization.language == QLatin1String("English")) {
            english = &localization;
            break;
        }
    }
    const auto lookup = [&](const QString &key) {
        if (english && !english->strings.value(key).isEmpty())
            return english->strings.value(key);
        return info.value(key).toString();
    };
    QString name = lookup(QStringLiteral("CFBundleDisplayName"));
    if (name.isEmpty())
        name = lookup(QStringLiteral("CFBundleName"));
    if (name.isEmpty() || name == kPlaceholderName)
        return VTPath::displayName(fileName);
    return name;
}

} // namespace

VTSandboxBuilder::VTSandboxBuilder(const QString &root, const QString &home)
    : m_layout(absoluteFolder(root), absoluteFolder(home))
{
    m_manifest.root = m_layout.root();
    m_manifest.home = m_layout.home();
    m_manifest.disabledRoot = m_layout.disabledRoot();
    // The skeleton every macOS system has, so that standard folders resolve.
    const QStringList rootFolders{QStringLiteral("Library/Application Support"), QStringLiteral("Library/Preferences"),
                                  QStringLiteral("Applications/Utilities"), QStringLiteral("Users/Shared"),
                                  QStringLiteral("System/Library"), QStringLiteral("Volumes")};
    const QStringList homeFolders{QStringLiteral("Library/Preferences"), QStringLiteral("Library/Application Support"),
                                  QStringLiteral("Movies"), QStringLiteral("Desktop"), QStringLiteral("Documents")};
    for (const QString &folder : rootFolders) {
        if (!m_files.makePath(VTPath::join(m_layout.root(), folder)))
            fail(m_files.lastError());
    }
    for (const QString &folder : homeFolders) {
        if (!m_files.makePath(VTPath::join(m_layout.home(), folder)))
            fail(m_files.lastError());
    }
}

QString VTSandboxBuilder::fail(const QString &message)
{
    m_errors.append(message);
    return QString();
}

QString VTSandboxBuilder::markLocalized(const QString &folder)
{
    if (!VTPath::lastComponent(folder).endsWith(QLatin1String(".localized"), Qt::CaseInsensitive)
        || m_localizedFolders.contains(folder))
        return folder;
    const QString marker = VTPath::join(folder, kLocalizedFile);
    if (!m_files.writeFile(marker, QByteArray()))
        return fail(m_files.lastError());
    m_localizedFolders.insert(folder);
    m_manifest.ignored.append(marker);
    return folder;
}

QString VTSandboxBuilder::ensureGroups(qint64 kind, qint64 access, const QString &base, const QString &subdir,
                                       bool enabled)
{
    if (!m_files.makePath(base))
        return fail(m_files.lastError());
    if (enabled && markLocalized(base).isEmpty())
        return QString();
    QString current = base;
    QString accumulated;
    for (const QString &component : VTPath::components(subdir)) {
        if (component == QLatin1String(".") || component == QLatin1String(".."))
            return fail(QStringLiteral("group path may not hold . or ..: ") + subdir);
        accumulated = VTPath::join(accumulated, component);
        current = VTPath::join(current, component);
        if (m_groupPaths.contains(current))
            continue;
        if (!m_files.makePath(current))
            return fail(m_files.lastError());
        m_groupPaths.insert(current);
        m_manifest.groups.append({current, accumulated, kind, access, enabled, false});
        if (enabled && markLocalized(current).isEmpty())
            return QString();
    }
    return current;
}

bool VTSandboxBuilder::placeTarget(qint64 kind, qint64 access, const VTPlacement &placement, const QString &fileName,
                                   Target *target)
{
    const QString folder = m_layout.folder(kind, access);
    if (folder.isEmpty()) {
        fail(QStringLiteral("%1 has no folder for access %2").arg(VTSandboxKind::name(kind)).arg(access));
        return false;
    }
    if (fileName.isEmpty() || fileName.contains(u'/')) {
        fail(QStringLiteral("not a file name: ") + fileName);
        return false;
    }
    const QString group = VTPath::components(placement.group).join(u'/');
    const QString base = placement.enabled ? folder : m_layout.mirror(folder);
    target->parent = ensureGroups(kind, access, base, group, placement.enabled);
    if (target->parent.isEmpty())
        return false;
    target->path = VTPath::join(target->parent, fileName);
    target->enabledPath = VTPath::join({folder, group, fileName});
    target->group = group;
    if (VTSandboxFiles::exists(target->path)) {
        fail(QStringLiteral("already exists: ") + target->path);
        return false;
    }
    return true;
}

bool VTSandboxBuilder::underFxFactory(const QString &path) const
{
    for (const QString &folder : m_fxFactoryFolders) {
        if (path != folder && VTPath::isInside(path, folder))
            return true;
    }
    return false;
}

QString VTSandboxBuilder::record(VTSandboxPlugin plugin)
{
    plugin.insideFxFactory = underFxFactory(plugin.path);
    m_manifest.plugins.append(plugin);
    return plugin.path;
}

QByteArray VTSandboxBuilder::executable(const QList<VTMachOWriter::Arch> &archs, VTMachOWriter::Container container,
                                        VTMachOWriter::FileType type, VTMachOWriter::ByteOrder order) const
{
    return VTMachOWriter::image(archs, container, type, order, m_alignShift);
}

QString VTSandboxBuilder::addBundle(qint64 kind, qint64 access, const QString &name, const VTBundleOptions &options)
{
    const QString extension = options.extension.isEmpty() ? defaultExtension(kind) : options.extension;
    const QString fileName = name + u'.' + extension;
    const QByteArray exe = executable(options.architectures, options.container, VTMachOWriter::FileType::Bundle,
                                      options.byteOrder);
    if (exe.isEmpty() && !options.architectures.isEmpty())
        return fail(QStringLiteral("a thin executable holds one architecture: ") + fileName);
    Target target;
    if (!placeTarget(kind, access, options, fileName, &target))
        return QString();

    QVariantMap info{
        {QStringLiteral("CFBundleIdentifier"), QString(QStringLiteral("com.sandbox.") + identifierPart(name))},
        {QStringLiteral("CFBundleName"), name},
        {QStringLiteral("CFBundleExecutable"), name},
        {QStringLiteral("CFBundlePackageType"), QStringLiteral("BNDL")},
        {QStringLiteral("CFBundleInfoDictionaryVersion"), QStringLiteral("6.0")},
        {QStringLiteral("CFBundleDevelopmentRegion"), QStringLiteral("English")},
    };
    if (!options.version.isEmpty())
        info.insert(QStringLiteral("CFBundleShortVersionString"), options.version);
    if (!options.build.isEmpty())
        info.insert(QStringLiteral("CFBundleVersion"), options.build);
    if (!options.displayName.isEmpty())
        info.insert(QStringLiteral("CFBundleDisplayName"), options.displayName);
    for (auto it = options.info.cbegin(); it != options.info.cend(); ++it) {
        if (it.value().isValid())
            info.insert(it.key(), it.value());
        else
            info.remove(it.key());
    }

    if (!m_bundles.write(target.path, info, options.plistFormat, exe, options.localizations))
        return fail(m_files.lastError());
    if (options.fxFactoryManaged
        && !m_files.writeFile(VTPath::join(target.path, kFxFactoryFile),
                              VTPropertyList::toData(QVariantMap{{QStringLiteral("ProductName"), name}},
                                                     VTPropertyList::Format::Xml)))
        return fail(m_files.lastError());

    VTSandboxPlugin plugin;
    plugin.path = target.path;
    plugin.enabledPath = target.enabledPath;
    plugin.fileName = fileName;
    plugin.name = expectedName(info, options.localizations, fileName);
    plugin.version = info.value(QStringLiteral("CFBundleShortVersionString")).toString();
    if (plugin.version.isEmpty())
        plugin.version = info.value(QStringLiteral("CFBundleVersion")).toString();
    plugin.group = target.group;
    plugin.kind = kind;
    plugin.access = access;
    plugin.enabled = options.enabled;
    plugin.form = VTSandboxPlugin::Form::Bundle;
    // Without CFBundleExecutable a reader cannot find the executable.
    if (!info.value(QStringLiteral("CFBundleExecutable")).toString().isEmpty()) {
        for (VTMachOWriter::Arch arch : options.architectures)
            plugin.architectures.append(VTMachOWriter::name(arch));
    }
    plugin.locked = options.fxFactoryManaged;
    return record(plugin);
}

QString VTSandboxBuilder::addFile(qint64 kind, qint64 access, const QString &fileName, const VTFileOptions &options)
{
    Target target;
    if (!placeTarget(kind, access, options, fileName, &target))
        return QString();
    const QByteArray content = options.content.isEmpty()
        ? (QStringLiteral("scriptid \"") + VTPath::displayName(fileName) + QStringLiteral("\"\nfilter\n")).toUtf8()
        : options.content;
    if (!m_files.createFile(target.path, content))
        return fail(m_files.lastError());

    VTSandboxPlugin plugin;
    plugin.path = target.path;
    plugin.enabledPath = target.enabledPath;
    plugin.fileName = fileName;
    plugin.name = VTPath::displayName(fileName);
    plugin.group = target.group;
    plugin.kind = kind;
    plugin.access = access;
    plugin.enabled = options.enabled;
    plugin.form = VTSandboxPlugin::Form::File;
    return record(plugin);
}

QString VTSandboxBuilder::addTypeCodedFile(qint64 kind, qint64 access, const QString &name, const VTFileOptions &options)
{
    const QString path = addFile(kind, access, name, options);
    if (path.isEmpty())
        return path;
    // FinderInfo: file type, creator, then Finder flags and position; only
    // the type code matters to a scan.
    QByteArray finderInfo(32, '\0');
    finderInfo.replace(0, 4, "FCSC");
    if (!m_files.setAttribute(path, "user.com.apple.FinderInfo", finderInfo))
        return fail(m_files.lastError());
    m_manifest.plugins.last().form = VTSandboxPlugin::Form::TypeCodedFile;
    return path;
}

QString VTSandboxBuilder::addMotionTemplate(qint64 access, const QString &category, const QString &name,
                                            const VTTemplateOptions &options)
{
    QString bare = category;
    if (bare.endsWith(QLatin1String(".localized")))
        bare.chop(10);
    // The usual template file of each category.
    static const QHash<QString, QString> extensions{
        {QStringLiteral("Generators"), QStringLiteral("motn")}, {QStringLiteral("Titles"), QStringLiteral("moti")},
        {QStringLiteral("Effects"), QStringLiteral("moef")}, {QStringLiteral("Transitions"), QStringLiteral("motr")},
        {QStringLiteral("Compositions"), QStringLiteral("motn")}};
    if (!extensions.contains(bare))
        return fail(QStringLiteral("not a Motion template category: ") + category);
    VTPlacement placement = options;
    placement.group = VTPath::join(bare + QStringLiteral(".localized"), options.group);
    Target target;
    if (!placeTarget(MotionTemplate, access, placement, name, &target))
        return QString();
    const QString extension = options.extension.isEmpty() ? extensions.value(bare) : options.extension;
    const QString stem = options.stem.isEmpty() ? name : options.stem;
    const QString file = VTPath::join(target.path, stem + u'.' + extension);
    const QByteArray document = (QStringLiteral("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<ozml version=\"5.0\">\n"
                                                "<scene><name>") + name.toHtmlEscaped()
                                 + QStringLiteral("</name></scene>\n</ozml>\n")).toUtf8();
    if (!m_files.makePath(target.path) || !m_files.createFile(file, document))
        return fail(m_files.lastError());
    for (const QString &subfolder : options.subfolders) {
        if (!m_files.makePath(VTPath::join(target.path, subfolder)))
            return fail(m_files.lastError());
    }
    if (options.media) {
        // Only files with extensions the scan passes over, so that the
        // template is one plug-in whatever order the folder lists in.
        static const QByteArray png("\x89PNG\r\n\x1a\n", 8);
        if (!m_files.createFile(VTPath::join(target.path, QStringLiteral("Large.png")), png)
            || !m_files.createFile(VTPath::join(target.path, QStringLiteral("Small.png")), png)
            || !m_files.createFile(VTPath::join(target.path, name + QStringLiteral(".mov")), QByteArray(64, '\0')))
            return fail(m_files.lastError());
    }

    VTSandboxPlugin plugin;
    plugin.path = target.path;
    plugin.enabledPath = target.enabledPath;
    plugin.fileName = name;
    plugin.name = VTPath::displayName(name);
    plugin.group = target.group;
    plugin.kind = MotionTemplate;
    plugin.access = access;
    plugin.enabled = options.enabled;
    plugin.form = VTSandboxPlugin::Form::MotionTemplate;
    return record(plugin);
}

QString VTSandboxBuilder::addGroup(qint64 kind, qint64 access, const QString &subdir, bool enabled)
{
    const QString folder = m_layout.folder(kind, access);
    if (folder.isEmpty())
        return fail(QStringLiteral("%1 has no folder for access %2").arg(VTSandboxKind::name(kind)).arg(access));
    if (VTPath::components(subdir).isEmpty())
        return fail(QStringLiteral("empty group path"));
    return ensureGroups(kind, access, enabled ? folder : m_layout.mirror(folder), subdir, enabled);
}

QString VTSandboxBuilder::addFxFactoryGroup(qint64 kind, qint64 access, const QString &subdir, bool enabled)
{
    const QString path = addGroup(kind, access, subdir, enabled);
    if (path.isEmpty())
        return path;
    const QByteArray marker = VTPropertyList::toData(
        QVariantMap{{QStringLiteral("ProductName"), VTPath::lastComponent(path)}}, VTPropertyList::Format::Xml);
    if (!m_files.writeFile(VTPath::join(path, kFxFactoryFile), marker))
        return fail(m_files.lastError());
    m_fxFactoryFolders.insert(path);
    for (VTSandboxGroup &group : m_manifest.groups) {
        if (group.path == path)
            group.fxFactory = true;
    }
    for (VTSandboxPlugin &plugin : m_manifest.plugins)
        plugin.insideFxFactory = underFxFactory(plugin.path);
    return path;
}

QString VTSandboxBuilder::addIgnored(qint64 kind, qint64 access, const QString &relativePath, bool asFolder)
{
    const QString folder = m_layout.folder(kind, access);
    if (folder.isEmpty())
        return fail(QStringLiteral("%1 has no folder for access %2").arg(VTSandboxKind::name(kind)).arg(access));
    const QString parent = ensureGroups(kind, access, folder, VTPath::removeLastComponent(relativePath), true);
    if (parent.isEmpty())
        return parent;
    const QString path = VTPath::join(parent, VTPath::lastComponent(relativePath));
    if (asFolder ? !m_files.makePath(path) : !m_files.createFile(path, QByteArray("sandbox\n")))
        return fail(m_files.lastError());
    m_manifest.ignored.append(path);
    return path;
}

QString VTSandboxBuilder::addLink(qint64 kind, qint64 access, const QString &relativePath, const QString &target)
{
    const QString folder = m_layout.folder(kind, access);
    if (folder.isEmpty())
        return fail(QStringLiteral("%1 has no folder for access %2").arg(VTSandboxKind::name(kind)).arg(access));
    const QString parent = ensureGroups(kind, access, folder, VTPath::removeLastComponent(relativePath), true);
    if (parent.isEmpty())
        return parent;
    const QString path = VTPath::join(parent, VTPath::lastComponent(relativePath));
    if (!m_files.makeLink(target, path))
        return fail(m_files.lastError());
    m_manifest.ignored.append(path);
    return path;
}

QString VTSandboxBuilder::disable(const QString &enabledPath)
{
    const QString path = VTPath::normalize(enabledPath);
    VTSandboxLayout::KindFolder folder;
    if (!m_layout.findFolder(path, &folder) || path == folder.path)
        return fail(QStringLiteral("not inside a plug-in folder: ") + path);
    if (!VTSandboxFiles::exists(path))
        return fail(QStringLiteral("nothing to disable at ") + path);
    const QString target = m_layout.mirror(path);
    const QString parentSubdir = VTPath::removeLastComponent(path).mid(folder.path.size());
    if (ensureGroups(folder.kind, folder.access, m_layout.mirror(folder.path), parentSubdir, false).isEmpty())
        return QString();
    if (!moveMerging(path, target))
        return QString();
    relocate(path, target);
    return target;
}

bool VTSandboxBuilder::moveMerging(const QString &from, const QString &to)
{
    if (!VTSandboxFiles::exists(to)) {
        if (m_files.moveNoReplace(from, to))
            return true;
        fail(m_files.lastError());
        return false;
    }
    // A group folder that is partly disabled already: move its entries one
    // by one into the disabled copy. Two copies of one plug-in never merge.
    if (m_manifest.plugin(from) || !VTSandboxFiles::isFolder(from) || !VTSandboxFiles::isFolder(to)) {
        fail(QStringLiteral("already exists: ") + to);
        return false;
    }
    const QStringList entries = QDir(from).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    for (const QString &entry : entries) {
        if (!moveMerging(VTPath::join(from, entry), VTPath::join(to, entry)))
            return false;
    }
    if (!m_files.removeEmptyFolder(from)) {
        fail(m_files.lastError());
        return false;
    }
    return true;
}

void VTSandboxBuilder::relocate(const QString &from, const QString &to)
{
    const auto moved = [&](const QString &path) -> QString { return to + path.mid(from.size()); };
    for (VTSandboxPlugin &plugin : m_manifest.plugins) {
        if (VTPath::isInside(plugin.path, from)) {
            plugin.path = moved(plugin.path);
            plugin.enabled = false;
        }
    }
    for (qsizetype i = m_manifest.groups.size() - 1; i >= 0; --i) {
        VTSandboxGroup &group = m_manifest.groups[i];
        if (!VTPath::isInside(group.path, from))
            continue;
        m_groupPaths.remove(group.path);
        const QString newPath = moved(group.path);
        if (m_groupPaths.contains(newPath)) {
            // Merged into a folder the disabled tree had already.
            m_manifest.groups.removeAt(i);
            continue;
        }
        group.path = newPath;
        group.enabled = false;
        m_groupPaths.insert(newPath);
    }
    for (QString &ignored : m_manifest.ignored) {
        if (VTPath::isInside(ignored, from))
            ignored = moved(ignored);
    }
    QSet<QString> fxFactory;
    for (const QString &folder : std::as_const(m_fxFactoryFolders))
        fxFactory.insert(VTPath::isInside(folder, from) ? moved(folder) : folder);
    m_fxFactoryFolders = fxFactory;
    QSet<QString> localized;
    for (const QString &folder : std::as_const(m_localizedFolders))
        localized.insert(VTPath::isInside(folder, from) ? moved(folder) : folder);
    m_localizedFolders = localized;
    for (VTSandboxPlugin &plugin : m_manifest.plugins)
        plugin.insideFxFactory = underFxFactory(plugin.path);
}

QString VTSandboxBuilder::addApplication(const QString &relativePath, const QString &identifier,
                                         const VTApplicationOptions &options)
{
    if (!relativePath.endsWith(QLatin1String(".app")))
        return fail(QStringLiteral("an application name ends in .app: ") + relativePath);
    const QString path = VTPath::join(m_layout.applicationsFolder(options.access), relativePath);
    if (VTSandboxFiles::exists(path))
        return fail(QStringLiteral("already exists: ") + path);
    VTApplicationWriter writer(m_files, m_alignShift);
    if (!writer.write(path, identifier, options))
        return fail(m_files.lastError());
    m_manifest.applications.append({path, identifier, options.version});
    return path;
}

QString VTSandboxBuilder::addSystemVersion(const QString &productVersion)
{
    const QString path = VTPath::join(root(), QStringLiteral("System/Library/CoreServices/SystemVersion.plist"));
    const QVariantMap info = {{QStringLiteral("ProductName"), QStringLiteral("Mac OS X")},
                              {QStringLiteral("ProductVersion"), productVersion},
                              {QStringLiteral("ProductCopyright"), QStringLiteral("Sandbox")}};
    if (!m_files.makePath(VTPath::removeLastComponent(path))
        || !m_files.writeFile(path, VTPropertyList::toData(info, VTPropertyList::Format::Xml)))
        return fail(m_files.lastError());
    return path;
}

QString VTSandboxBuilder::addAudioUnitValidator(const QStringList &listing, const QStringList &statuses)
{
    const QString folder = VTPath::join(root(), QStringLiteral("usr/bin"));
    const QString tool = VTPath::join(folder, QStringLiteral("auval"));
    QFile script(QStringLiteral(":/sandbox/auval-standin.sh"));
    if (!m_files.makePath(folder) || !script.open(QIODevice::ReadOnly) || !m_files.writeFile(tool, script.readAll(), 0755)
        || !m_files.writeFile(VTPath::join(folder, QStringLiteral("auval-listing.txt")), listing.join(u'\n').toUtf8())
        || !m_files.writeFile(VTPath::join(folder, QStringLiteral("auval-status.txt")), statuses.join(u'\n').toUtf8() + '\n'))
        return fail(m_files.lastError().isEmpty() ? QStringLiteral("the stand-in validator could not be written") : m_files.lastError());
    return tool;
}

QString VTSandboxBuilder::addStandInHost(const QString &relativePath, const QString &identifier,
                                         const QString &hostProgram, const QList<qint64> &kinds,
                                         const QStringList &crashOn)
{
    QFile program(hostProgram);
    if (!program.open(QIODevice::ReadOnly))
        return fail(QStringLiteral("the stand-in host cannot be read: ") + hostProgram);
    VTApplicationOptions options;
    options.script = program.readAll();
    const QString path = addApplication(relativePath, identifier, options);
    if (path.isEmpty())
        return path;
    QStringList kindList;
    for (const qint64 kind : kinds)
        kindList.append(QString::number(kind));
    // QSettings' INI form: a value with commas is a list.
    const QByteArray settings = "[General]\nkinds=" + kindList.join(u',').toUtf8() + "\ncrashOn="
        + crashOn.join(u',').toUtf8() + '\n';
    const QString resources = VTPath::join(path, QStringLiteral("Contents/Resources"));
    if (!m_files.makePath(resources) || !m_files.writeFile(VTPath::join(resources, QStringLiteral("StandInHost.ini")), settings))
        return fail(m_files.lastError());
    return path;
}

QString VTSandboxBuilder::addFinalCutExpress()
{
    if (m_manifest.countOfKind(FxScript) > 0)
        return fail(QStringLiteral("add Final Cut Express before FxScript plug-ins"));
    VTApplicationOptions options;
    options.version = QStringLiteral("4.0.1");
    const QString path = addApplication(QStringLiteral("Final Cut Express.app"), QStringLiteral("com.apple.FinalCutExpress"), options);
    if (!path.isEmpty())
        m_layout.setFinalCutExpress(true);
    return path;
}

QString VTSandboxBuilder::addAvidSymphony()
{
    if (m_manifest.countOfKind(AvidAVX) > 0)
        return fail(QStringLiteral("add Avid Symphony before Avid AVX plug-ins"));
    VTApplicationOptions options;
    options.version = QStringLiteral("6.5.0");
    const QString path = addApplication(QStringLiteral("Avid Symphony/Avid Symphony.app"), QStringLiteral("com.avid.symphony"), options);
    if (!path.isEmpty())
        m_layout.setAvidSymphony(true);
    return path;
}

QString VTSandboxBuilder::addPremiere(const QString &folder, const QString &appName, const QString &bundleVersion,
                                      const QString &productVersion)
{
    const QString path = VTPath::join(m_layout.applicationsFolder(AllUsers), folder);
    if (!m_files.makePath(path))
        return fail(m_files.lastError());
    if (!appName.isEmpty()) {
        VTApplicationOptions options;
        options.version = bundleVersion;
        if (addApplication(VTPath::join(folder, appName + QStringLiteral(".app")),
                           QStringLiteral("com.adobe.AdobePremierePro"), options).isEmpty())
            return QString();
    }
    if (!productVersion.isEmpty() && !VTApplicationWriter(m_files).writeXManConfig(path, productVersion))
        return fail(m_files.lastError());
    return path;
}

QString VTSandboxBuilder::addAdobeFolder(const QString &version)
{
    const QString path = m_layout.adobeFolder(version);
    return m_files.makePath(path) ? path : fail(m_files.lastError());
}

void VTSandboxBuilder::setAdobePluginVersion(const QString &version)
{
    if (m_manifest.countOfKind(AdobePlugin) > 0)
        fail(QStringLiteral("choose the Adobe version before adding Adobe plug-ins"));
    else
        m_layout.setAdobeVersion(version);
}

void VTSandboxBuilder::createAllFolders()
{
    for (const VTSandboxLayout::KindFolder &folder : m_layout.allFolders()) {
        if (ensureGroups(folder.kind, folder.access, folder.path, QString(), true).isEmpty()
            || ensureGroups(folder.kind, folder.access, m_layout.mirror(folder.path), QString(), false).isEmpty())
            return;
    }
}

void VTSandboxBuilder::demo()
{
    VTSandboxPresets::demo(*this);
}

void VTSandboxBuilder::scaled(int count, quint32 seed)
{
    VTSandboxPresets::scaled(*this, count, seed);
}
