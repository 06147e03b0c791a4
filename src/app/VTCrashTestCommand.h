#pragma once

#include "VTCrashTester.h"

#include <QStringList>

#include <cstdio>

class AppController;

// The crash tester's view of the application controller's catalogue.
class VTControllerCrashTestCatalogue final : public VTCrashTestCatalogue
{
public:
    explicit VTControllerCrashTestCatalogue(AppController &controller)
        : m_controller(controller)
    {
    }
    QStringList enabledPluginPaths() override;
    PluginPtr pluginFromPath(const QString &path) override;
    bool moveFilter(const PluginPtr &plugin, qint64 newStatus) override;
    void reloadData() override;

private:
    AppController &m_controller;
};

// "-crashtest HOST": runs the crash tester without a window for the host of
// a chooser index ("0" to "5") or a display name ("Final Cut Pro"), printing
// its status lines. The exit status is 0 when a culprit was found and
// disabled, 1 otherwise (also for an unknown host).
class VTCrashTestCommand
{
public:
    [[nodiscard]] static int run(const QStringList &arguments, FILE *output);
    // The chooser index HOST names; -1 for none.
    [[nodiscard]] static int hostIndex(const QString &host);
};
