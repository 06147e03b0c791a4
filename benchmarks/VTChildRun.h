#pragma once

#include <QString>
#include <QStringList>

#include <map>
#include <optional>
#include <string>

// Runs a program as a child process, its standard output sent to a file
// (or thrown away), and measures it: wall time, processor time and peak
// resident memory from wait4. With strace installed it also counts the
// system calls of the child and all its threads (strace -f -c).
class VTChildRun
{
public:
    struct Measure {
        double wallMs = 0;
        double processorMs = 0;
        double peakMegabytes = 0;
        int exitStatus = -1;
    };
    struct Calls {
        long total = 0;
        std::map<std::string, long> bySyscall;
    };

    // `output` empty: standard output goes to /dev/null.
    [[nodiscard]] static Measure run(const QStringList &command, const QString &output = QString());
    // Nothing when strace is missing or the run failed.
    [[nodiscard]] static std::optional<Calls> countCalls(const QStringList &command);
    [[nodiscard]] static bool haveStrace();

    // Empties the page, dentry and inode caches (root only); false otherwise.
    [[nodiscard]] static bool dropCaches();
};
