#pragma once

// Shared parts of the group, drag-and-drop and access tests: a fixture that
// places bundles by kind, access, group and state, and names the folders
// they land in.

#include "OperationsTestSupport.h"

#include "VTSandboxLayout.h"

namespace GroupsTest {

class Fixture : public OpsTest::OperationsTest
{
protected:
    explicit Fixture(bool window = true) : OpsTest::OperationsTest(window) {}

    QString bundle(const QString &name, const QString &group = QString(), bool enabled = true,
                   qint64 kind = VTSandboxKind::FxPlug, qint64 access = VTSandboxKind::AllUsers)
    {
        VTBundleOptions options;
        options.group = group;
        options.enabled = enabled;
        return builder().addBundle(kind, access, name, options);
    }
    QString lockedBundle(const QString &name, const QString &group = QString())
    {
        VTBundleOptions options;
        options.group = group;
        options.fxFactoryManaged = true;
        return builder().addBundle(VTSandboxKind::FxPlug, VTSandboxKind::AllUsers, name, options);
    }

    // A kind's enabled folder joined with a relative path.
    QString folder(qint64 kind, qint64 access, const QString &relative = QString())
    {
        return VTPath::join(builder().folder(kind, access), relative);
    }
    QString fxPlug(const QString &relative = QString()) { return folder(VTSandboxKind::FxPlug, VTSandboxKind::AllUsers, relative); }
    QString userFxPlug(const QString &relative = QString())
    {
        return folder(VTSandboxKind::FxPlug, VTSandboxKind::CurrentUser, relative);
    }

    static int logCount(const QString &prefix)
    {
        int count = 0;
        for (const QString &line : logLines())
            count += line.startsWith(prefix) ? 1 : 0;
        return count;
    }
};

} // namespace GroupsTest
