// tessary-benchmark: how long `tessary -allplugins` (and `-allplugins -data`)
// take on a large system, next to the least work any scan of the same folders
// must do (tessary-floor-walk: one thread that lists, lstats, parses each
// Info.plist and reads 4 KB of each executable).
//
//   tessary-benchmark [--count N] [--seed S] [--runs R] [--dir DIR]
//
// Makes a scaled sandbox of N plug-ins in DIR (a temporary folder by default;
// an existing DIR/root is reused), then runs the three programs alternately,
// R rounds warm and, as root, R rounds cold (caches dropped before each run),
// and prints medians, ratios to the walk, system-call counts (strace -f -c)
// and peak memory. See scripts/benchmark.sh.

#include "VTChildRun.h"
#include "VTLocalPaths.h"
#include "VTPath.h"
#include "VTPluginFolders.h"
#include "VTSandboxBuilder.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

struct Options {
    int count = 10000;
    quint32 seed = 1;
    int runs = 3;
    QString dir;
};

bool parse(int argc, char **argv, Options &options)
{
    for (int i = 1; i < argc; ++i) {
        const QByteArray arg = argv[i];
        if (i + 1 >= argc)
            return false;
        const QByteArray value = argv[++i];
        if (arg == "--count")
            options.count = value.toInt();
        else if (arg == "--seed")
            options.seed = value.toUInt();
        else if (arg == "--runs")
            options.runs = std::max(1, value.toInt());
        else if (arg == "--dir")
            options.dir = QString::fromLocal8Bit(value);
        else
            return false;
    }
    return options.count > 0;
}

// Builds the sandbox in a child process, so that the builder's own memory
// and threads stay out of the measurements.
bool buildSandbox(const QString &root, const QString &home, const Options &options)
{
    std::fflush(stdout);
    const pid_t child = fork();
    if (child < 0)
        return false;
    if (child == 0) {
        QElapsedTimer timer;
        timer.start();
        VTSandboxBuilder builder(root, home);
        builder.scaled(options.count, options.seed);
        std::printf("sandbox:     %d plug-ins (%lld disabled) built in %.1f s\n", int(builder.manifest().plugins.size()),
                    qlonglong(builder.manifest().disabledCount()), double(timer.elapsed()) / 1000.0);
        for (const QString &error : builder.errors())
            std::fprintf(stderr, "sandbox error: %s\n", qPrintable(error));
        std::fflush(stdout);
        _exit(builder.ok() ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values.empty() ? 0.0 : values[values.size() / 2];
}

struct Program {
    const char *name;
    QStringList command;
    std::vector<double> warm, cold, processor; // processor: warm runs
    double peakMegabytes = 0;
    bool failed = false;
};

void runOnce(Program &program, bool cold)
{
    const VTChildRun::Measure measure = VTChildRun::run(program.command);
    if (measure.exitStatus != 0)
        program.failed = true;
    (cold ? program.cold : program.warm).push_back(measure.wallMs);
    if (!cold)
        program.processor.push_back(measure.processorMs);
    program.peakMegabytes = std::max(program.peakMegabytes, measure.peakMegabytes);
}

QString ratios(const std::vector<double> &times, const std::vector<double> &floor)
{
    QStringList perRound;
    for (size_t i = 0; i < times.size() && i < floor.size(); ++i)
        perRound.append(QString::number(times[i] / floor[i], 'f', 2));
    return perRound.join(u' ');
}

void printCalls(const char *name, const VTChildRun::Calls &calls, long floorTotal)
{
    const auto count = [&calls](const char *syscall) {
        const auto it = calls.bySyscall.find(syscall);
        return it == calls.bySyscall.end() ? 0L : it->second;
    };
    std::printf("  %-22s %7ld (%.2f of the walk's): stat %ld, statx %ld, openat %ld, getdents64 %ld, access %ld, "
                "write %ld, futex %ld\n",
                name, calls.total, double(calls.total) / double(std::max(1L, floorTotal)),
                count("newfstatat") + count("fstat") + count("lstat") + count("stat"), count("statx"), count("openat"),
                count("getdents64"), count("access") + count("faccessat") + count("faccessat2"), count("write"),
                count("futex"));
}

} // namespace

int main(int argc, char **argv)
{
    Options options;
    if (!parse(argc, argv, options)) {
        std::fputs("usage: tessary-benchmark [--count N] [--seed S] [--runs R] [--dir DIR]\n", stderr);
        return 2;
    }
    QCoreApplication app(argc, argv);
    QTemporaryDir temporary;
    const QString base = options.dir.isEmpty() ? temporary.path() : options.dir;
    const QString root = VTPath::join(base, QStringLiteral("root"));
    const QString home = VTPath::join(base, QStringLiteral("home"));
    if (QDir(root).exists()) {
        std::printf("sandbox:     reusing %s\n", qPrintable(base));
    } else if (!QDir().mkpath(root) || !QDir().mkpath(home) || !buildSandbox(root, home, options)) {
        std::fputs("tessary-benchmark: the sandbox could not be built\n", stderr);
        return 1;
    }
    qputenv("TESSARY_SYSTEM_ROOT", QFile::encodeName(root));
    qputenv("HOME", QFile::encodeName(home));

    // The walk covers what the scan covers: every plug-in folder, then its
    // mirror in the disabled tree.
    const VTPluginFolders folders = VTPluginFolders::build();
    QStringList walked;
    for (const VTPluginFolders::Folder &folder : folders.folders())
        walked.append(folder.path);
    for (const VTPluginFolders::Folder &folder : folders.folders())
        walked.append(VTLocalPaths::mirrorPath(folders.disabledPath(), folder.path));

    const QString bin = QCoreApplication::applicationDirPath();
    const QString tessary = VTPath::join(bin, QStringLiteral("tessary"));
    std::vector<Program> programs{
        {"floor walk", QStringList{VTPath::join(bin, QStringLiteral("tessary-floor-walk"))} + walked, {}, {}, {}},
        {"-allplugins", {tessary, QStringLiteral("-allplugins")}, {}, {}, {}},
        {"-allplugins -data", {tessary, QStringLiteral("-allplugins"), QStringLiteral("-data")}, {}, {}, {}},
    };

    // The listing, once: it must be complete before anything is timed.
    const QString listing = VTPath::join(base, QStringLiteral("allplugins.txt"));
    if (VTChildRun::run(programs[1].command, listing).exitStatus != 0) {
        std::fputs("tessary-benchmark: tessary -allplugins failed\n", stderr);
        return 1;
    }
    QFile listed(listing);
    const qsizetype lines = listed.open(QIODevice::ReadOnly) ? listed.readAll().count('\n') : 0;
    const VTChildRun::Measure floorProbe = VTChildRun::run(programs[0].command, listing + QStringLiteral(".walk"));
    QFile walkLine(listing + QStringLiteral(".walk"));
    const QByteArray walkCounts = walkLine.open(QIODevice::ReadOnly) ? walkLine.readAll().trimmed() : QByteArray();
    std::printf("listing:     %lld paths from -allplugins; the walk met %s\n", qlonglong(lines), walkCounts.constData());
    if (floorProbe.exitStatus != 0 || lines == 0)
        return 1;

    // Warm: every program once more untimed, so all start from the same cache.
    for (Program &program : programs)
        (void)VTChildRun::run(program.command);
    for (int round = 0; round < options.runs; ++round) {
        for (Program &program : programs)
            runOnce(program, false);
    }
    const bool cold = VTChildRun::dropCaches();
    for (int round = 0; cold && round < options.runs; ++round) {
        for (Program &program : programs) {
            (void)VTChildRun::dropCaches();
            runOnce(program, true);
        }
    }

    const Program &floor = programs[0];
    std::printf("warm (medians of %d; ratio to the walk, per round):\n", options.runs);
    for (const Program &program : programs) {
        std::printf("  %-22s %7.1f ms, %7.1f ms processor; ratio %.2f (%s)\n", program.name, median(program.warm),
                    median(program.processor), median(program.warm) / median(floor.warm),
                    qPrintable(ratios(program.warm, floor.warm)));
    }
    if (cold) {
        std::printf("cold, caches dropped before each run (medians of %d):\n", options.runs);
        for (const Program &program : programs) {
            std::printf("  %-22s %7.1f ms; ratio %.2f (%s)\n", program.name, median(program.cold),
                        median(program.cold) / median(floor.cold), qPrintable(ratios(program.cold, floor.cold)));
        }
    } else {
        std::printf("cold:        not measured (dropping the caches needs root)\n");
    }
    std::printf("aims:        warm -allplugins <= 1.5, -data <= 2.5; cold -allplugins <= 0.33; calls <= 1.3; "
                "memory < 150 MB\n");

    if (VTChildRun::haveStrace()) {
        std::printf("system calls (strace -f -c, warm):\n");
        long floorTotal = 0;
        for (const Program &program : programs) {
            const auto calls = VTChildRun::countCalls(program.command);
            if (!calls) {
                std::printf("  %-22s not counted\n", program.name);
                continue;
            }
            if (floorTotal == 0)
                floorTotal = calls->total;
            printCalls(program.name, *calls, floorTotal);
        }
    } else {
        std::printf("system calls: not counted (strace is missing; scripts/setup.sh installs it)\n");
    }
    std::printf("peak memory:");
    for (const Program &program : programs)
        std::printf(" %s %.1f MB;", program.name, program.peakMegabytes);
    std::printf("\n");
    const bool failed = std::any_of(programs.cbegin(), programs.cend(), [](const Program &p) { return p.failed; });
    if (failed)
        std::fputs("tessary-benchmark: a run failed\n", stderr);
    return failed ? 1 : 0;
}
