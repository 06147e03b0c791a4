#pragma once

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>

class VTPluginItem;

// The handle of one queued bundle read (a record's `bundleProcessThread`).
class VTBundleInfoRequest
{
public:
    explicit VTBundleInfoRequest(std::weak_ptr<VTPluginItem> item) : m_item(std::move(item)) {}

    // A cancelled read that has not started never starts; one that runs
    // stores nothing.
    void cancel() { m_cancelled = true; }
    [[nodiscard]] bool isCancelled() const { return m_cancelled; }
    [[nodiscard]] bool isFinished() const;
    // Blocks until the read has run or was dropped.
    void wait() const;

private:
    friend class VTBundleInfoReader;
    void run();
    void markFinished();

    const std::weak_ptr<VTPluginItem> m_item;
    std::atomic<bool> m_cancelled{false};
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_done;
    bool m_finished = false; // guarded by m_mutex
};
