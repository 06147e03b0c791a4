// tessary-benchmark: how long a full catalogue reload takes on a large
// system, next to a plain single-threaded walk of the same tree.
//
//   tessary-benchmark [--count N] [--seed S] [--runs R] [--dir DIR]
//
// Makes a scaled sandbox of N plug-ins in DIR (a temporary folder by default;
// an existing DIR/root is reused), then times R rounds of: the plain walk,
// and a reload to a finished tree with every bundle read. Prints the median
// times, their ratio, the peak memory and the most threads seen during a
// reload. See scripts/benchmark.sh.

#include "AppController.h"
#include "OutlineViewController.h"
#include "VTBundleInfoReader.h"
#include "VTCatalogueLoader.h"
#include "VTLog.h"
#include "VTPath.h"
#include "VTPlainWalk.h"
#include "VTPluginFolders.h"
#include "VTPluginItem.h"
#include "VTResourceSampler.h"
#include "VTSandboxBuilder.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
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
// does not count towards the peak measured here.
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
    return values[values.size() / 2];
}

} // namespace

int main(int argc, char **argv)
{
    Options options;
    if (!parse(argc, argv, options)) {
        std::fputs("usage: tessary-benchmark [--count N] [--seed S] [--runs R] [--dir DIR]\n", stderr);
        return 2;
    }
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

    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Tessary"));
    const std::unique_ptr<AppController> controller = AppController::initWithoutGUI();
    if (!controller)
        return 1;
    OutlineViewController &catalogue = controller->outlineViewController();
    const QStringList folders = catalogue.pluginFolderDict()->foldersForFilter(0);
    const QString disabledRoot = catalogue.disabledPath();
    const QStringList unread{catalogue.pluginFolderDict()->path(QStringLiteral("localOFX"))};

    const auto reload = [&controller] {
        controller->loadPluginData();
        VTBundleInfoReader::shared().waitForAll();
    };
    // One untimed round of each: the page cache and first-use costs are the
    // same for both afterwards.
    const VTPlainWalk::Totals walked = VTPlainWalk::run(folders, disabledRoot, unread);
    reload();

    std::vector<double> walkTimes, reloadTimes, walkCpu, reloadCpu;
    int threads = 0;
    const int threadsBefore = VTResourceSampler::currentThreads();
    for (int run = 0; run < options.runs; ++run) {
        QElapsedTimer timer;
        double cpu = VTResourceSampler::processorMilliseconds();
        timer.start();
        const VTPlainWalk::Totals totals = VTPlainWalk::run(folders, disabledRoot, unread);
        walkTimes.push_back(double(timer.nsecsElapsed()) / 1e6);
        walkCpu.push_back(VTResourceSampler::processorMilliseconds() - cpu);
        Q_UNUSED(totals);

        VTResourceSampler sampler;
        cpu = VTResourceSampler::processorMilliseconds();
        timer.restart();
        reload();
        reloadTimes.push_back(double(timer.nsecsElapsed()) / 1e6);
        reloadCpu.push_back(VTResourceSampler::processorMilliseconds() - cpu);
        threads = std::max(threads, sampler.maximumThreads());
    }

    // The finished tree must hold every plug-in, each bundle read.
    const QList<PluginPtr> plugins = catalogue.allPlugins();
    const int inTree = VTCatalogueLoader::countTotalItemsInArray(catalogue.dataArray());
    const auto versioned = std::count_if(plugins.cbegin(), plugins.cend(),
                                         [](const PluginPtr &plugin) { return !plugin->version().isEmpty(); });
    const double walkMs = median(walkTimes);
    const double reloadMs = median(reloadTimes);
    const double ratio = reloadMs / walkMs;
    QStringList perRound;
    for (size_t i = 0; i < walkTimes.size(); ++i)
        perRound.append(QString::number(reloadTimes[i] / walkTimes[i], 'f', 2));
    const QString rounds = perRound.join(QStringLiteral(" "));
    const double memory = VTResourceSampler::peakMemoryMegabytes();

    std::printf("plain walk:  %.1f ms, %.1f ms processor (medians of %d; %lld entries, %lld folders, %lld bundles read)\n",
                walkMs, median(walkCpu), options.runs, qlonglong(walked.entries), qlonglong(walked.folders),
                qlonglong(walked.bundles));
    std::printf("reload:      %.1f ms, %.1f ms processor (medians of %d; %d plug-ins in the tree, %lld with a version)\n",
                reloadMs, median(reloadCpu), options.runs, inTree, qlonglong(versioned));
    std::printf("ratio:       %.2f (aim: at most 1.5); per round %s\n", ratio, qPrintable(rounds));
    std::printf("peak memory: %.1f MB (aim: under 150)\n", memory);
    std::printf("threads:     at most %d during a reload (%d before)\n", threads, threadsBefore);
    VTLog::finishWriting();
    return inTree == options.count && versioned == walked.withVersion ? 0 : 1;
}
