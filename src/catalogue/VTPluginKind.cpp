#include "VTPluginKind.h"

namespace VTPluginKind {

QString typeName(qint64 kind)
{
    switch (kind) {
    case FxPlug:
        return QStringLiteral("FxPlug");
    case FxScript:
        return QStringLiteral("FxScript");
    case AudioUnit:
        return QStringLiteral("Audio Unit");
    case AvidAVX:
        return QStringLiteral("Avid AVX");
    case AdobePlugin:
        return QStringLiteral("Adobe Plugin");
    case AvidAVX2:
        return QStringLiteral("Avid AVX2");
    case AvidRTAS:
        return QStringLiteral("Avid RTAS");
    case VST:
        return QStringLiteral("VST");
    case MotionTemplate:
        return QStringLiteral("Motion Template");
    case OpenFX:
        return QStringLiteral("OpenFX Plugin");
    default:
        return QStringLiteral("Unknown");
    }
}

bool hasCurrentUserFolder(qint64 kind)
{
    return kind == FxPlug || kind == FxScript || kind == AudioUnit || kind == VST || kind == MotionTemplate;
}

} // namespace VTPluginKind
