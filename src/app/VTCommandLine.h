#pragma once

#include <QStringList>

#include <cstdio>
#include <optional>

// The program's command-line mode. The first argument decides: a known
// command runs without any window and ends with an exit status; anything
// else (or nothing) belongs to the window application.
class VTCommandLine
{
public:
    static constexpr int ControllerFailure = 1004;

    // True when the first argument (after the program name) is a command.
    [[nodiscard]] static bool isCommand(const QStringList &arguments);

    // Runs the command and returns its exit status; nothing when the
    // arguments are not a command. `arguments` includes the program name.
    [[nodiscard]] static std::optional<int> run(const QStringList &arguments, FILE *output = stdout);

private:
    [[nodiscard]] static int runAllPlugins(const QStringList &arguments, FILE *output);
    // -enable, -disable, -remove and -setaccess: every scanned plug-in that
    // matches the plug-in argument (or every one without it), in listing
    // order, through the operation's unthreaded form.
    [[nodiscard]] static int runPluginCommand(const QStringList &arguments);
};
