// tessary-window-benchmark: whether the main window keeps up with a large
// system. On a scaled sandbox of N plug-ins (built anew, or DIR/root reused)
// it times, over R rounds:
//   - the reload: its length and the longest stall of the window's event loop
//     meanwhile (the tree is disabled, the window must keep answering);
//   - the time from the reload's end until the tree has painted (aim: 0.5 s);
//   - a search: from the text entered until the filtered tree has painted
//     (aim: 100 ms), for a narrow and a broad term and the clearing;
//   - scrolling the fully expanded tree page by page: the slowest and the
//     average page (smooth: well under 16 ms).
// Runs on the offscreen platform unless a display is given.
//
//   tessary-window-benchmark [--count N] [--seed S] [--runs R] [--dir DIR]

#include "AppController.h"
#include "VTCatalogueModel.h"
#include "VTMainThread.h"
#include "VTMainWindow.h"
#include "VTPath.h"
#include "VTSandboxBuilder.h"
#include "VTUserDefaults.h"
#include "VTWidgetInterface.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QScrollBar>
#include <QTemporaryDir>
#include <QTimer>
#include <QTreeView>

#include <algorithm>
#include <cstdio>
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
    for (int i = 1; i + 1 < argc; i += 2) {
        const QByteArray arg = argv[i];
        const QString value = QString::fromLocal8Bit(argv[i + 1]);
        if (arg == "--count")
            options.count = value.toInt();
        else if (arg == "--seed")
            options.seed = value.toUInt();
        else if (arg == "--runs")
            options.runs = value.toInt();
        else if (arg == "--dir")
            options.dir = value;
        else
            return false;
    }
    return options.count > 0 && options.runs > 0 && argc % 2 == 1;
}

// Records when a widget last painted.
class PaintClock : public QObject
{
public:
    explicit PaintClock(QWidget *widget) { widget->installEventFilter(this); }
    qint64 lastPaint = -1;
    QElapsedTimer clock;

protected:
    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() == QEvent::Paint)
            lastPaint = clock.nsecsElapsed();
        return false;
    }
};

// Serves the event loop until `done`, measuring the longest gap between two
// turns of it; false after a minute.
bool serveUntil(const std::function<bool()> &done, double *longestStallMs = nullptr)
{
    QElapsedTimer deadline, turn;
    deadline.start();
    turn.start();
    double longest = 0;
    while (!done()) {
        if (deadline.hasExpired(60000))
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        longest = std::max(longest, double(turn.nsecsElapsed()) / 1e6);
        turn.restart();
    }
    if (longestStallMs)
        *longestStallMs = longest;
    return true;
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values.empty() ? 0 : values[values.size() / 2];
}

} // namespace

int main(int argc, char **argv)
{
    Options options;
    if (!parse(argc, argv, options)) {
        std::fputs("usage: tessary-window-benchmark [--count N] [--seed S] [--runs R] [--dir DIR]\n", stderr);
        return 2;
    }
    if (qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QTemporaryDir temporary;
    const QString base = options.dir.isEmpty() ? temporary.path() : options.dir;
    const QString root = VTPath::join(base, QStringLiteral("root"));
    const QString home = VTPath::join(base, QStringLiteral("home"));
    if (!QDir(root).exists()) {
        QDir().mkpath(root);
        QDir().mkpath(home);
        VTSandboxBuilder builder(root, home);
        builder.scaled(options.count, options.seed);
        if (!builder.ok()) {
            std::fputs("tessary-window-benchmark: the sandbox could not be built\n", stderr);
            return 1;
        }
    }
    qputenv("TESSARY_SYSTEM_ROOT", QFile::encodeName(root));
    qputenv("HOME", QFile::encodeName(home));

    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Tessary"));
    VTUserDefaults::registerApplicationDefaults();
    VTMainThread::setEventLoopRunning(true);
    auto ui = std::make_unique<VTWidgetInterface>();
    VTWidgetInterface &widgets = *ui;
    AppController controller(std::move(ui), true);
    VTMainWindow window(controller, widgets);
    window.resize(1200, 800);
    window.show();
    QTreeView *tree = window.tree();
    PaintClock paints(tree->viewport());
    paints.clock.start();

    bool finished = false;
    qint64 finishedAt = 0;
    QObject::connect(&controller, &AppController::reloadFinished, [&] {
        finished = true;
        finishedAt = paints.clock.nsecsElapsed();
    });
    const auto reload = [&](double &reloadMs, double &stallMs, double &shownMs) {
        finished = false;
        QElapsedTimer timer;
        timer.start();
        controller.reloadData();
        if (!serveUntil([&] { return finished; }, &stallMs))
            return false;
        reloadMs = double(timer.nsecsElapsed()) / 1e6;
        if (!serveUntil([&] { return paints.lastPaint > finishedAt && tree->isEnabled(); }))
            return false;
        shownMs = double(paints.lastPaint - finishedAt) / 1e6;
        return true;
    };
    const auto search = [&](const QString &text) {
        const qint64 start = paints.clock.nsecsElapsed();
        window.searchField()->setText(text);
        if (!serveUntil([&] { return paints.lastPaint > start; }))
            return -1.0;
        return double(paints.lastPaint - start) / 1e6;
    };

    double unused = 0;
    if (!reload(unused, unused, unused))
        return 1;
    const int plugins = int(controller.allPlugins().size());

    std::vector<double> reloads, stalls, shown, narrow, broad, cleared, slowestPage, averagePage;
    int narrowRows = 0;
    for (int run = 0; run < options.runs; ++run) {
        double reloadMs = 0, stallMs = 0, shownMs = 0;
        if (!reload(reloadMs, stallMs, shownMs))
            return 1;
        reloads.push_back(reloadMs);
        stalls.push_back(stallMs);
        shown.push_back(shownMs);
        narrow.push_back(search(QStringLiteral("Glow 001")));
        narrowRows = tree->model()->rowCount();
        broad.push_back(search(QStringLiteral("e")));
        cleared.push_back(search(QString()));

        tree->expandAll();
        QCoreApplication::processEvents();
        QScrollBar *bar = tree->verticalScrollBar();
        double slowest = 0, total = 0;
        int pages = 0;
        for (int value = 0; value <= bar->maximum(); value += std::max(1, bar->pageStep())) {
            bar->setValue(value);
            QElapsedTimer page;
            page.start();
            tree->viewport()->repaint();
            const double ms = double(page.nsecsElapsed()) / 1e6;
            slowest = std::max(slowest, ms);
            total += ms;
            ++pages;
        }
        slowestPage.push_back(slowest);
        averagePage.push_back(pages ? total / pages : 0);
        tree->collapseAll();
    }

    std::printf("window:      %d plug-ins listed, %d rounds (medians)\n", plugins, options.runs);
    std::printf("reload:      %.0f ms; longest event-loop stall meanwhile %.1f ms\n", median(reloads), median(stalls));
    std::printf("tree shown:  %.1f ms after the reload's end (aim: 500 ms)\n", median(shown));
    std::printf("search:      narrow %.1f ms (\"Glow 001\": %d top-level rows), broad %.1f ms (\"e\"), cleared %.1f ms"
                " (aim: 100 ms)\n", median(narrow), narrowRows, median(broad), median(cleared));
    std::printf("scrolling:   slowest page %.1f ms, average page %.2f ms, whole tree expanded\n",
                median(slowestPage), median(averagePage));
    controller.waitForReloads();
    VTMainThread::setEventLoopRunning(false);
    return 0;
}
