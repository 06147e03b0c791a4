#include "VTGroupPlaces.h"

#include "VTApplicationLocator.h"
#include "VTLocalPaths.h"
#include "VTPath.h"
#include "VTPluginFolders.h"

namespace {

// The all-users folders as the managed system names them, whatever root it
// is mounted at; they are appended after a root and a user part.
struct AllUsersFolders {
    QString appSupport = VTLocalPaths::stripSystemRoot(VTLocalPaths::appSupportDirectory(false));
    QString preferences = VTLocalPaths::stripSystemRoot(VTLocalPaths::prefsDirectory(false));
    QString applications = VTLocalPaths::stripSystemRoot(VTLocalPaths::applicationDirectory(false));
    QString finalCut = VTApplicationLocator::isInstalled(QStringLiteral("com.apple.FinalCutExpress"))
        ? QStringLiteral("Express")
        : QStringLiteral("Pro");
    bool symphony = VTApplicationLocator::isInstalled(QStringLiteral("com.avid.Symphony"));
    QString adobe = VTLocalPaths::stripSystemRoot(VTPluginFolders::adobeMediaCoreFolder());
};

// The kind's folder below a user part, in the managed system's names.
QString kindPart(int kind, bool forUser, const AllUsersFolders &all)
{
    switch (kind) {
    case 0:
        return QStringLiteral("/Library/Plug-Ins/FxPlug");
    case 1:
        return forUser ? VTPath::join(all.preferences, QStringLiteral("/Final Cut %1 User Data/Plugins").arg(all.finalCut))
                       : VTPath::join(all.appSupport, QStringLiteral("/Final Cut %1 System Support/Plugins").arg(all.finalCut));
    case 2:
        return QStringLiteral("/Library/Audio/Plug-Ins/Components");
    case 3:
        return VTPath::join(all.applications, all.symphony ? QStringLiteral("Avid Symphony/SupportingFiles/AVX_Plug-Ins")
                                                           : QStringLiteral("Avid Media Composer/SupportingFiles/AVX_Plug-Ins"));
    case 4:
        return all.adobe;
    case 5:
        return VTPath::join(all.appSupport, QStringLiteral("Avid/AVX2_Plug-ins"));
    case 6:
        return VTPath::join(all.appSupport, QStringLiteral("Digidesign/Plug-Ins"));
    case 7:
        return QStringLiteral("/Library/Audio/Plug-Ins/VST");
    case 8:
        // Only the current user's template folder has this shape; the
        // all-users one lies elsewhere and is not a rename candidate.
        return QStringLiteral("/Movies/Motion Templates.localized");
    case 9:
        return QStringLiteral("/Library/OFX/Plugins");
    default:
        return QString();
    }
}

QString userPart(bool forUser)
{
    return forUser ? VTLocalPaths::userDirectory() : VTLocalPaths::systemRoot();
}

} // namespace

QString VTGroupPlaces::kindFolder(int kind, bool forUser)
{
    const QString part = kindPart(kind, forUser, AllUsersFolders());
    return part.isEmpty() ? QString() : VTPath::join(userPart(forUser), part);
}

QStringList VTGroupPlaces::candidates(const QString &subdir, const QString &disabledPath)
{
    if (VTPath::components(subdir).isEmpty())
        return {};
    const AllUsersFolders all; // sampled once for the whole rename
    QStringList places;
    for (const QString &root : {QString(), disabledPath}) {
        for (const bool forUser : {false, true}) {
            for (int kind = 0; kind < KindCount; ++kind) {
                const QString place = VTPath::join({userPart(forUser), kindPart(kind, forUser, all), subdir});
                places.append(root.isEmpty() ? place : VTLocalPaths::mirrorPath(root, place));
            }
        }
    }
    return places;
}
