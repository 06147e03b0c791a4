#include "VTChildRun.h"

#include <QFile>
#include <QTemporaryFile>

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <sstream>
#include <vector>

extern char **environ;

namespace {

double nowMs()
{
    timespec now {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return double(now.tv_sec) * 1e3 + double(now.tv_nsec) / 1e6;
}

double milliseconds(const timeval &time)
{
    return double(time.tv_sec) * 1e3 + double(time.tv_usec) / 1e3;
}

} // namespace

VTChildRun::Measure VTChildRun::run(const QStringList &command, const QString &output)
{
    Measure measure;
    std::vector<QByteArray> arguments;
    for (const QString &argument : command)
        arguments.push_back(QFile::encodeName(argument));
    std::vector<char *> argv;
    for (QByteArray &argument : arguments)
        argv.push_back(argument.data());
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    const QByteArray target = output.isEmpty() ? QByteArray("/dev/null") : QFile::encodeName(output);
    posix_spawn_file_actions_addopen(&actions, 1, target.constData(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    std::fflush(stdout);
    const double start = nowMs();
    pid_t child = 0;
    const int spawned = posix_spawnp(&child, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0)
        return measure;
    int status = 0;
    rusage usage {};
    if (wait4(child, &status, 0, &usage) != child)
        return measure;
    measure.wallMs = nowMs() - start;
    measure.processorMs = milliseconds(usage.ru_utime) + milliseconds(usage.ru_stime);
    measure.peakMegabytes = double(usage.ru_maxrss) / 1024.0;
    measure.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return measure;
}

bool VTChildRun::haveStrace()
{
    return run({QStringLiteral("strace"), QStringLiteral("-V")}).exitStatus == 0;
}

std::optional<VTChildRun::Calls> VTChildRun::countCalls(const QStringList &command)
{
    QTemporaryFile report;
    if (!report.open())
        return std::nullopt;
    QStringList traced{QStringLiteral("strace"), QStringLiteral("-f"), QStringLiteral("-c"), QStringLiteral("-o"),
                       report.fileName()};
    traced += command;
    if (run(traced).exitStatus != 0)
        return std::nullopt;
    // strace -c: "% time seconds usecs/call calls errors syscall" rows; the
    // errors column is empty when there were none.
    Calls calls;
    std::istringstream lines(report.readAll().toStdString());
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::vector<std::string> fields;
        for (std::string word; words >> word;)
            fields.push_back(word);
        if (fields.size() < 5 || fields[0].find_first_not_of("0123456789.") != std::string::npos)
            continue;
        const long count = std::stol(fields[3]);
        const std::string &name = fields.back();
        if (name == "total")
            calls.total = count;
        else
            calls.bySyscall[name] = count;
    }
    if (calls.total == 0)
        return std::nullopt;
    return calls;
}

bool VTChildRun::dropCaches()
{
    if (geteuid() != 0)
        return false;
    sync();
    FILE *control = std::fopen("/proc/sys/vm/drop_caches", "w");
    if (!control)
        return false;
    const bool written = std::fputs("3\n", control) >= 0;
    return std::fclose(control) == 0 && written;
}
