#include "VTPluginFolders.h"

#include "VTApplicationLocator.h"
#include "VTLocalPaths.h"
#include "VTPath.h"
#include "VTPluginKind.h"
#include "VTPremiere.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <mutex>

namespace {

const QString kFinalCutExpressIdentifier = QStringLiteral("com.apple.FinalCutExpress");
// The folder dictionary and the base-path table spell the Symphony identifier
// differently; both spellings are kept, each where it was always used.
const QString kSymphonyFolderIdentifier = QStringLiteral("com.avid.symphony");
const QString kSymphonyBaseIdentifier = QStringLiteral("com.avid.Symphony");

std::mutex g_sharedMutex;
std::shared_ptr<const VTPluginFolders> g_shared;

QString adobePluginsFolder()
{
    return VTPath::join(VTLocalPaths::appSupportDirectory(false), QStringLiteral("/Adobe/Common/Plug-ins"));
}

} // namespace

QString VTPluginFolders::adobeMediaCoreFolder()
{
    const QString base = adobePluginsFolder();
    // An unreadable or missing folder lists nothing, as if it were empty.
    QStringList entries =
        QDir(base).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System, QDir::NoSort);
    std::sort(entries.begin(), entries.end(), [](const QString &a, const QString &b) { return a > b; });

    // Plain descending text order on purpose: "CS5" sorts before "7.0",
    // which sorts before "12.0".
    QString folder = VTPath::join({base, QStringLiteral("7.0"), QStringLiteral("MediaCore")});
    const auto numeric = std::find_if(entries.cbegin(), entries.cend(), &VTPath::isNumeric);
    if (numeric != entries.cend())
        folder = VTPath::join({base, *numeric, QStringLiteral("MediaCore")});

    if (!QFileInfo::exists(folder)) {
        const QStringList versions = VTPremiere::premiereVersions();
        if (!versions.isEmpty()) {
            QString version = versions.last();
            // Only the first character survives, so "10.0" names CS1; kept
            // as the folder names were always derived.
            if (version.endsWith(QLatin1String(".0")))
                version = version.left(1);
            folder = VTPath::join({base, QStringLiteral("CS") + version, QStringLiteral("MediaCore")});
        }
    }
    return folder;
}

VTPluginFolders VTPluginFolders::build()
{
    using namespace VTPluginKind;

    const QString libraryAll = VTLocalPaths::libraryDirectory(false);
    const QString libraryUser = VTLocalPaths::libraryDirectory(true);
    const QString prefsUser = VTLocalPaths::prefsDirectory(true);
    const QString moviesUser = VTLocalPaths::movieDirectory();
    const QString appSupportAll = VTLocalPaths::appSupportDirectory(false);
    const QString applicationsAll = VTLocalPaths::applicationDirectory(false);

    VTPluginFolders result;
    result.m_symphonyInstalled = VTApplicationLocator::isInstalled(kSymphonyBaseIdentifier);
    result.m_adobeFolder = adobeMediaCoreFolder();
    result.m_disabledPath = VTPath::join(appSupportAll, QStringLiteral("Vantorel/Hearthkit/Tessary Disabled Plugins"));

    const QString finalCut =
        VTApplicationLocator::isInstalled(kFinalCutExpressIdentifier) ? QStringLiteral("Express") : QStringLiteral("Pro");
    const QString avidApplication = VTApplicationLocator::isInstalled(kSymphonyFolderIdentifier)
        ? QStringLiteral("/Avid Symphony/SupportingFiles/AVX_Plug-Ins")
        : QStringLiteral("/Avid Media Composer/SupportingFiles/AVX_Plug-Ins");

    const auto add = [&result](const char *key, qint64 kind, qint64 access, const QString &base, const QString &rest) {
        result.m_folders.append({QLatin1String(key), kind, access, VTPath::join(base, rest)});
    };
    // Listed in the folder-matching order, which is also the dictionary order.
    add("localFxPlug", FxPlug, AllUsers, libraryAll, QStringLiteral("/Plug-Ins/FxPlug"));
    add("userFxPlug", FxPlug, CurrentUser, libraryUser, QStringLiteral("/Plug-Ins/FxPlug"));
    add("localFxScript", FxScript, AllUsers, appSupportAll,
        QStringLiteral("/Final Cut %1 System Support/Plugins").arg(finalCut));
    add("userFxScript", FxScript, CurrentUser, prefsUser, QStringLiteral("/Final Cut %1 User Data/Plugins").arg(finalCut));
    add("localAU", AudioUnit, AllUsers, libraryAll, QStringLiteral("/Audio/Plug-Ins/Components"));
    add("userAU", AudioUnit, CurrentUser, libraryUser, QStringLiteral("/Audio/Plug-Ins/Components"));
    add("avidAVX", AvidAVX, AllUsers, applicationsAll, avidApplication);
    add("avidAVX2", AvidAVX2, AllUsers, appSupportAll, QStringLiteral("Avid/AVX2_Plug-ins"));
    add("avidRTAS", AvidRTAS, AllUsers, appSupportAll, QStringLiteral("Digidesign/Plug-Ins"));
    add("adobeCommon", AdobePlugin, AllUsers, result.m_adobeFolder, QString());
    add("localVST", VST, AllUsers, libraryAll, QStringLiteral("/Audio/Plug-Ins/VST"));
    add("userVST", VST, CurrentUser, libraryUser, QStringLiteral("/Audio/Plug-Ins/VST"));
    add("localMotionTemplate", MotionTemplate, AllUsers, appSupportAll, QStringLiteral("/Final Cut Pro/Templates.localized"));
    add("userMotionTemplate", MotionTemplate, CurrentUser, moviesUser, QStringLiteral("/Motion Templates.localized"));
    add("localOFX", OpenFX, AllUsers, libraryAll, QStringLiteral("/OFX/Plugins"));

    result.m_systemRoot = VTLocalPaths::systemRoot();
    result.m_home = VTLocalPaths::userDirectory();
    result.buildBasePaths(result.m_systemRoot, result.m_home, appSupportAll);
    return result;
}

QString VTPluginFolders::unmirrorPath(const QString &disabledRoot, const QString &mirrored) const
{
    if (m_systemRoot.isEmpty()) // a table not made by build()
        return VTLocalPaths::unmirrorPath(disabledRoot, mirrored);
    return VTLocalPaths::unmirrorPath(disabledRoot, mirrored, m_systemRoot, m_home);
}

void VTPluginFolders::buildBasePaths(const QString &systemRoot, const QString &home, const QString &allUsersAppSupport)
{
    using namespace VTPluginKind;

    const QString avidAVX = m_symphonyInstalled ? QStringLiteral("/Applications/Avid Symphony/SupportingFiles/AVX_Plug-Ins")
                                                : QStringLiteral("/Applications/Avid Media Composer/SupportingFiles/AVX_Plug-Ins");
    // The Adobe folder is already a full path under the system root; its
    // place in the managed system is what gets appended to either root.
    const QString adobe = VTLocalPaths::stripSystemRoot(m_adobeFolder);

    for (int user = 0; user < 2; ++user) {
        const QString root = user ? home : systemRoot;
        std::array<QString, KindCount> &paths = m_basePaths[static_cast<size_t>(user)];
        paths[FxPlug] = VTPath::join(root, QStringLiteral("Library/Plug-Ins/FxPlug"));
        // The base path says "Pro" even while Final Cut Express is installed.
        paths[FxScript] = VTPath::join(root, user ? QStringLiteral("Library/Preferences/Final Cut Pro User Data/Plugins")
                                                  : QStringLiteral("Library/Application Support/Final Cut Pro System Support/Plugins"));
        paths[AudioUnit] = VTPath::join(root, QStringLiteral("Library/Audio/Plug-Ins/Components"));
        paths[AvidAVX] = VTPath::join(root, avidAVX);
        paths[AdobePlugin] = VTPath::join(root, adobe);
        paths[AvidAVX2] = VTPath::join(root, QStringLiteral("/Library/Application Support/Avid/AVX2_Plug-ins"));
        paths[AvidRTAS] = VTPath::join(root, QStringLiteral("/Library/Application Support/Digidesign/Plug-Ins"));
        paths[VST] = VTPath::join(root, QStringLiteral("/Library/Audio/Plug-Ins/VST"));
        paths[MotionTemplate] = user ? VTPath::join(root, QStringLiteral("/Movies/Motion Templates.localized"))
                                     : VTPath::join(allUsersAppSupport, QStringLiteral("/Final Cut Pro/Templates.localized"));
        // Items derive "OpenFX" although the scan looks in ".../OFX/Plugins".
        paths[OpenFX] = VTPath::join(root, QStringLiteral("/Library/OpenFX/Plugins"));
    }
}

std::shared_ptr<const VTPluginFolders> VTPluginFolders::shared()
{
    std::lock_guard lock(g_sharedMutex);
    if (!g_shared)
        g_shared = std::make_shared<const VTPluginFolders>(build());
    return g_shared;
}

void VTPluginFolders::setShared(std::shared_ptr<const VTPluginFolders> folders)
{
    std::lock_guard lock(g_sharedMutex);
    g_shared = std::move(folders);
}

QString VTPluginFolders::path(const QString &key) const
{
    for (const Folder &folder : m_folders) {
        if (folder.key == key)
            return folder.path;
    }
    return QString();
}

std::optional<VTPluginFolders::Folder> VTPluginFolders::match(const QString &enabledPath) const
{
    for (const Folder &folder : m_folders) {
        // A plain text prefix, not a component-wise test: that is how paths
        // have always been assigned to folders.
        if (!folder.path.isEmpty() && enabledPath.startsWith(folder.path))
            return folder;
    }
    return std::nullopt;
}

QStringList VTPluginFolders::foldersForFilter(qint64 filter) const
{
    static const char *const fxAndAudio[] = {"localFxPlug", "userFxPlug", "localFxScript", "userFxScript", "localAU", "userAU"};
    static const char *const motionAndAudio[] = {"localFxPlug", "userFxPlug", "localAU",
                                                 "userAU", "localMotionTemplate", "userMotionTemplate"};
    static const char *const avid[] = {"avidAVX", "avidAVX2", "avidRTAS"};
    static const char *const adobeAndVST[] = {"adobeCommon", "localVST", "userVST"};
    static const char *const openFX[] = {"localOFX"};
    static const char *const video[] = {"localFxPlug", "userFxPlug", "localFxScript", "userFxScript",
                                        "localMotionTemplate", "userMotionTemplate", "avidAVX", "avidAVX2",
                                        "adobeCommon", "localOFX"};
    static const char *const audio[] = {"localAU", "userAU", "localVST", "userVST"};

    const auto paths = [this](const auto &keys) {
        QStringList result;
        for (const char *key : keys)
            result.append(path(QLatin1String(key)));
        return result;
    };
    switch (filter) {
    case 1:
        return paths(fxAndAudio);
    case 2:
        return paths(motionAndAudio);
    case 3:
        return paths(avid);
    case 4:
        return paths(adobeAndVST);
    case 5:
        return paths(openFX);
    case 7:
        return paths(video);
    case 8:
        return paths(audio);
    default:
        break;
    }
    QStringList all;
    for (const Folder &folder : m_folders)
        all.append(folder.path);
    return all;
}

QString VTPluginFolders::pathForPlugin(const QString &fileName, const QString &subdir) const
{
    for (const Folder &folder : m_folders) {
        const QString candidate = VTPath::join({folder.path, subdir, fileName});
        if (QFileInfo::exists(candidate))
            return candidate;
    }
    return QString();
}

QString VTPluginFolders::basePath(qint64 kind, qint64 access) const
{
    if (kind < 0 || kind >= KindCount)
        return QString();
    return m_basePaths[access == VTPluginKind::AllUsers ? 0 : 1][static_cast<size_t>(kind)];
}

QString VTPluginFolders::currentUser()
{
    // The variable's name really is "$USER", dollar sign included, so in
    // practice this answers nothing.
    return qEnvironmentVariable("$USER");
}
