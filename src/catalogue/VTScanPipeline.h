#pragma once

#include "VTCatalogueItem.h"
#include "VTPathClassifier.h"

#include <QList>
#include <QString>

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

// The classification stage of a scan: paths are classified on up to
// `workers` threads while the walk is still listing them, and the results
// are handed, strictly in listing order, to one adder at a time.
//
// Whichever worker completes the next result in line adds it and every
// ready one after it, outside the lock, while the others go on classifying;
// so additions are serialised without a thread of their own.
//
// The workers are plain threads with standard locks rather than a
// QThreadPool, so that every hand-over is visible to ThreadSanitizer.
class VTScanPipeline
{
public:
    struct Result {
        VTPathClassification classification;
        PluginPtr plugin; // a plug-in's record, made on the worker; none for groups
    };
    // Runs on a worker; must be safe to call concurrently.
    using Classify = std::function<Result(const QString &path, bool isGroupFolder, bool isFile)>;
    // Runs on one thread at a time, in listing order.
    using Add = std::function<void(Result &result)>;

    VTScanPipeline(int workers, Classify classify, Add add);
    // Waits for the work handed in so far.
    ~VTScanPipeline();
    VTScanPipeline(const VTScanPipeline &) = delete;
    VTScanPipeline &operator=(const VTScanPipeline &) = delete;

    // Hands in the next path of the listing, with what the walk knows of it
    // (one lister thread).
    void push(const QString &path, bool isGroupFolder, bool isFile = false);
    // No more paths: returns once every path is classified and added.
    void finish();

    [[nodiscard]] qsizetype count() const;

private:
    void work();
    void flush();

    const int m_workers;
    const Classify m_classify;
    const Add m_add;
    struct Path {
        QString path;
        bool isGroupFolder = false;
        bool isFile = false; // the walk saw a regular file
    };
    QList<Path> m_batch; // the lister's paths not yet handed over

    mutable std::mutex m_mutex;
    std::condition_variable m_wake;
    QList<Path> m_paths;                        // every path handed over, in order
    qsizetype m_nextToClassify = 0;
    std::deque<std::optional<Result>> m_results; // from m_nextToAdd on
    qsizetype m_nextToAdd = 0;
    int m_idle = 0; // workers waiting for paths
    bool m_adding = false;
    bool m_finished = false;
    std::vector<std::thread> m_threads; // started with the first paths
};
