#include "VTSandboxLayout.h"

#include "VTPath.h"

namespace VTSandboxKind {

QString name(qint64 kind)
{
    switch (kind) {
    case FxPlug: return QStringLiteral("FxPlug");
    case FxScript: return QStringLiteral("FxScript");
    case AudioUnit: return QStringLiteral("Audio Unit");
    case AvidAVX: return QStringLiteral("Avid AVX");
    case AdobePlugin: return QStringLiteral("Adobe Plugin");
    case AvidAVX2: return QStringLiteral("Avid AVX2");
    case AvidRTAS: return QStringLiteral("Avid RTAS");
    case VST: return QStringLiteral("VST");
    case MotionTemplate: return QStringLiteral("Motion Template");
    case OpenFX: return QStringLiteral("OpenFX Plugin");
    default: return QStringLiteral("Unknown");
    }
}

bool hasCurrentUserFolder(qint64 kind)
{
    return kind == FxPlug || kind == FxScript || kind == AudioUnit || kind == VST || kind == MotionTemplate;
}

QString defaultExtension(qint64 kind)
{
    switch (kind) {
    case FxPlug: return QStringLiteral("fxplug");
    case AudioUnit: return QStringLiteral("component");
    case AvidAVX:
    case AvidAVX2: return QStringLiteral("avx");
    case AvidRTAS: return QStringLiteral("dpm");
    case VST: return QStringLiteral("vst");
    default: return QStringLiteral("bundle");
    }
}

} // namespace VTSandboxKind

using namespace VTSandboxKind;

VTSandboxLayout::VTSandboxLayout(const QString &root, const QString &home)
    : m_root(VTPath::normalize(root))
    , m_home(VTPath::normalize(home))
{
}

QString VTSandboxLayout::applicationSupport() const
{
    return VTPath::join(m_root, QStringLiteral("Library/Application Support"));
}

QString VTSandboxLayout::folder(qint64 kind, qint64 access) const
{
    if (access == CurrentUser && !hasCurrentUserFolder(kind))
        return QString();
    if (access != AllUsers && access != CurrentUser)
        return QString();
    const bool user = access == CurrentUser;
    const QString library = VTPath::join(user ? m_home : m_root, QStringLiteral("Library"));
    const QString finalCut = m_finalCutExpress ? QStringLiteral("Express") : QStringLiteral("Pro");
    switch (kind) {
    case FxPlug:
        return VTPath::join(library, QStringLiteral("Plug-Ins/FxPlug"));
    case FxScript:
        return user ? VTPath::join(library, QStringLiteral("Preferences/Final Cut ") + finalCut + QStringLiteral(" User Data/Plugins"))
                    : VTPath::join(applicationSupport(), QStringLiteral("Final Cut ") + finalCut + QStringLiteral(" System Support/Plugins"));
    case AudioUnit:
        return VTPath::join(library, QStringLiteral("Audio/Plug-Ins/Components"));
    case AvidAVX:
        return VTPath::join({applicationsFolder(AllUsers),
                             m_avidSymphony ? QStringLiteral("Avid Symphony") : QStringLiteral("Avid Media Composer"),
                             QStringLiteral("SupportingFiles/AVX_Plug-Ins")});
    case AdobePlugin:
        return adobeFolder(m_adobeVersion);
    case AvidAVX2:
        return VTPath::join(applicationSupport(), QStringLiteral("Avid/AVX2_Plug-ins"));
    case AvidRTAS:
        return VTPath::join(applicationSupport(), QStringLiteral("Digidesign/Plug-Ins"));
    case VST:
        return VTPath::join(library, QStringLiteral("Audio/Plug-Ins/VST"));
    case MotionTemplate:
        return user ? VTPath::join(m_home, QStringLiteral("Movies/Motion Templates.localized"))
                    : VTPath::join(applicationSupport(), QStringLiteral("Final Cut Pro/Templates.localized"));
    case OpenFX:
        return VTPath::join(library, QStringLiteral("OFX/Plugins"));
    default:
        return QString();
    }
}

QList<VTSandboxLayout::KindFolder> VTSandboxLayout::allFolders() const
{
    QList<KindFolder> result;
    for (qint64 kind = 0; kind < Count; ++kind) {
        for (qint64 access : {AllUsers, CurrentUser}) {
            const QString path = folder(kind, access);
            if (!path.isEmpty())
                result.append({kind, access, path});
        }
    }
    return result;
}

bool VTSandboxLayout::findFolder(const QString &enabledPath, KindFolder *found) const
{
    for (const KindFolder &candidate : allFolders()) {
        if (VTPath::isInside(enabledPath, candidate.path)) {
            if (found)
                *found = candidate;
            return true;
        }
    }
    return false;
}

QString VTSandboxLayout::disabledRoot() const
{
    return VTPath::join(applicationSupport(), QStringLiteral("Vantorel/Hearthkit/Tessary Disabled Plugins"));
}

QString VTSandboxLayout::mirror(const QString &enabledPath) const
{
    // The disabled tree records a path as the managed system sees it: below
    // the root without the root's own location, anything else whole.
    const bool belowRoot = m_root != QLatin1String("/") && enabledPath.startsWith(m_root + u'/');
    return disabledRoot() + (belowRoot ? enabledPath.mid(m_root.size()) : enabledPath);
}

bool VTSandboxLayout::isInDisabledTree(const QString &path) const
{
    return VTPath::isInside(path, disabledRoot());
}

QString VTSandboxLayout::applicationsFolder(qint64 access) const
{
    return VTPath::join(access == CurrentUser ? m_home : m_root, QStringLiteral("Applications"));
}

QString VTSandboxLayout::adobeFolder(const QString &version) const
{
    return VTPath::join({applicationSupport(), QStringLiteral("Adobe/Common/Plug-ins"), version, QStringLiteral("MediaCore")});
}
