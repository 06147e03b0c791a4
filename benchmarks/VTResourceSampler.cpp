#include "VTResourceSampler.h"

#include <fstream>
#include <string>

#include <sys/resource.h>

VTResourceSampler::VTResourceSampler(std::chrono::milliseconds interval)
{
    m_maximum = currentThreads();
    m_thread = std::thread([this, interval] {
        while (!m_stop.load()) {
            const int threads = currentThreads() - 1;
            int seen = m_maximum.load();
            while (threads > seen && !m_maximum.compare_exchange_weak(seen, threads)) {
            }
            std::this_thread::sleep_for(interval);
        }
    });
}

VTResourceSampler::~VTResourceSampler()
{
    m_stop = true;
    m_thread.join();
}

int VTResourceSampler::currentThreads()
{
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.rfind("Threads:", 0) == 0)
            return std::stoi(line.substr(8));
    }
    return 0;
}

double VTResourceSampler::peakMemoryMegabytes()
{
    rusage usage {};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_maxrss) / 1024.0; // ru_maxrss is in kilobytes
}

double VTResourceSampler::processorMilliseconds()
{
    rusage usage {};
    getrusage(RUSAGE_SELF, &usage);
    const auto ms = [](const timeval &time) { return double(time.tv_sec) * 1000.0 + double(time.tv_usec) / 1000.0; };
    return ms(usage.ru_utime) + ms(usage.ru_stime);
}
