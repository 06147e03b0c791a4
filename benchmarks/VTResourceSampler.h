#pragma once

#include <atomic>
#include <chrono>
#include <thread>

// Samples the process's thread count (/proc/self/status "Threads:") on a
// thread of its own while it runs, and reads the peak resident size
// (getrusage ru_maxrss).
class VTResourceSampler
{
public:
    explicit VTResourceSampler(std::chrono::milliseconds interval = std::chrono::milliseconds(2));
    ~VTResourceSampler();
    VTResourceSampler(const VTResourceSampler &) = delete;
    VTResourceSampler &operator=(const VTResourceSampler &) = delete;

    // The most threads seen, the sampler's own thread not counted.
    [[nodiscard]] int maximumThreads() const { return m_maximum.load(); }

    [[nodiscard]] static int currentThreads();
    // Processor time (user and system) the process has used, in milliseconds.
    [[nodiscard]] static double processorMilliseconds();
    // Peak resident memory of the process so far, in megabytes.
    [[nodiscard]] static double peakMemoryMegabytes();

private:
    std::atomic<bool> m_stop{false};
    std::atomic<int> m_maximum{0};
    std::thread m_thread;
};
