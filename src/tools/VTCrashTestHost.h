#pragma once

#include <QList>
#include <QString>

// One host the crash tester can test: what is launched and watched, the
// name used in messages and the plug-in kinds that become candidates.
struct VTCrashTestHost
{
    static constexpr int Count = 6;

    QString bundleIdentifier;
    QString displayName;
    QList<qint64> candidateKinds; // VTPluginKind codes

    // The host of a chooser index; any index outside 1 to 5 is host 0.
    [[nodiscard]] static VTCrashTestHost forIndex(int index);
    // The chooser index of a display name (exact); -1 when none has it.
    [[nodiscard]] static int indexOfDisplayName(const QString &name);
};
