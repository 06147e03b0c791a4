#include "VTCrashTestHost.h"

#include "VTPluginKind.h"

VTCrashTestHost VTCrashTestHost::forIndex(int index)
{
    using namespace VTPluginKind;
    // AVX2 and OpenFX plug-ins are never candidates.
    switch (index) {
    case 1:
        return {QStringLiteral("com.apple.FinalCutExpress"), QStringLiteral("Final Cut Express"), {FxPlug, FxScript, AudioUnit}};
    case 2:
        return {QStringLiteral("com.apple.FinalCut"), QStringLiteral("Final Cut Pro X"), {MotionTemplate, FxPlug, AudioUnit}};
    case 3:
        return {QStringLiteral("com.apple.FinalCutTrial"), QStringLiteral("Final Cut Pro X Trial"), {MotionTemplate, FxPlug, AudioUnit}};
    case 4:
        return {QStringLiteral("com.adobe.AdobePremierePro"), QStringLiteral("Adobe Premiere Pro"), {AdobePlugin, VST}};
    case 5:
        return {QStringLiteral("com.avid.MediaComposer"), QStringLiteral("Avid Media Composer"), {AvidAVX, AvidRTAS}};
    default:
        return {QStringLiteral("com.apple.FinalCutPro"), QStringLiteral("Final Cut Pro"), {FxPlug, FxScript, AudioUnit}};
    }
}

int VTCrashTestHost::indexOfDisplayName(const QString &name)
{
    for (int index = 0; index < Count; ++index) {
        if (forIndex(index).displayName == name)
            return index;
    }
    return -1;
}
