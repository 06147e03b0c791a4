#pragma once

#include "VTBundleInfoRequest.h"
#include "VTMachO.h"

#include <QList>
#include <QString>

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

// What a plug-in's bundle says about itself; keys that were not found have
// no value (an empty text was found).
struct VTBundleInfo {
    std::optional<QString> name;    // localised CFBundleDisplayName, else CFBundleName
    std::optional<QString> version; // CFBundleShortVersionString, else CFBundleVersion
    QList<VTMachO::Architecture> architectures;
};

// Reads bundle information for plug-in records on a small fixed set of
// threads. A catalogue holds thousands of plug-ins, and the reads are mostly
// waiting on the disk, so a few threads serve them all; a thread per record
// would cost thousands of threads per reload.
//
// Built on std::thread and std::mutex rather than QThreadPool so that the
// hand-over of requests is visible to ThreadSanitizer.
class VTBundleInfoReader
{
public:
    static constexpr int DefaultThreadCount = 4;

    // The process-wide reader the records use. Its threads start with the
    // first read and are stopped at exit; reads still queued then are dropped.
    [[nodiscard]] static VTBundleInfoReader &shared();

    explicit VTBundleInfoReader(int threadCount = DefaultThreadCount);
    ~VTBundleInfoReader();
    VTBundleInfoReader(const VTBundleInfoReader &) = delete;
    VTBundleInfoReader &operator=(const VTBundleInfoReader &) = delete;

    // Queues a read for the record; the read looks at the record's
    // actualPath when it starts and hands the result to applyBundleInfo.
    [[nodiscard]] std::shared_ptr<VTBundleInfoRequest> read(const std::shared_ptr<VTPluginItem> &item);

    // Returns once no read is queued or running (the command line waits here
    // before it writes the catalogue out).
    void waitForAll();
    [[nodiscard]] int pendingCount() const;

    // Reads a bundle now, on the calling thread. A path that is no folder
    // gives nothing.
    [[nodiscard]] static VTBundleInfo readBundle(const QString &path);

private:
    void workerLoop();

    const int m_threadCount;
    mutable std::mutex m_mutex;
    std::condition_variable m_wake;
    std::condition_variable m_idle;
    std::deque<std::shared_ptr<VTBundleInfoRequest>> m_queue;
    int m_running = 0;
    bool m_stopping = false;
    std::vector<std::thread> m_threads;
};
