#include "VTScanPipeline.h"

namespace {

// Paths are handed over, and taken by the workers, in small batches: one
// wake-up per path would cost more than classifying most of them.
constexpr qsizetype kBatchSize = 128;
constexpr qsizetype kChunkSize = 32;

} // namespace

VTScanPipeline::VTScanPipeline(int workers, Classify classify, Add add)
    : m_workers(std::max(workers, 1))
    , m_classify(std::move(classify))
    , m_add(std::move(add))
{
}

VTScanPipeline::~VTScanPipeline()
{
    finish();
}

void VTScanPipeline::push(const QString &path, bool isGroupFolder, bool isFile)
{
    m_batch.append({path, isGroupFolder, isFile});
    if (m_batch.size() >= kBatchSize)
        flush();
}

void VTScanPipeline::flush()
{
    if (m_batch.isEmpty())
        return;
    const bool start = m_threads.empty();
    qsizetype idle = 0;
    {
        std::lock_guard lock(m_mutex);
        idle = m_idle;
        for (const Path &path : std::as_const(m_batch)) {
            m_paths.append(path);
            m_results.emplace_back();
        }
    }
    const qsizetype handed = m_batch.size();
    m_batch.clear();
    // The workers start with the first paths, so a listing of nothing
    // starts none. Waking more workers than there are new paths would only
    // send them back to sleep.
    if (start) {
        m_threads.reserve(size_t(m_workers));
        for (int i = 0; i < m_workers; ++i)
            m_threads.emplace_back([this] { work(); });
    }
    const qsizetype chunks = (handed + kChunkSize - 1) / kChunkSize;
    for (qsizetype i = 0; i < std::min<qsizetype>(chunks, start ? m_workers : idle); ++i)
        m_wake.notify_one();
}

void VTScanPipeline::finish()
{
    flush();
    {
        std::lock_guard lock(m_mutex);
        m_finished = true;
    }
    m_wake.notify_all();
    for (std::thread &thread : m_threads)
        thread.join();
    m_threads.clear();
}

qsizetype VTScanPipeline::count() const
{
    std::lock_guard lock(m_mutex);
    return m_paths.size();
}

void VTScanPipeline::work()
{
    std::vector<Path> chunk;
    std::vector<Result> results;
    std::unique_lock lock(m_mutex);
    for (;;) {
        ++m_idle;
        m_wake.wait(lock, [this] { return m_nextToClassify < m_paths.size() || m_finished; });
        --m_idle;
        if (m_nextToClassify >= m_paths.size())
            return; // finished and nothing left
        const qsizetype first = m_nextToClassify;
        const qsizetype count = std::min(kChunkSize, m_paths.size() - first);
        m_nextToClassify += count;
        chunk.clear();
        for (qsizetype i = first; i < first + count; ++i) {
            // Copies that share nothing with the list the lister appends to.
            const Path &next = m_paths.at(i);
            chunk.push_back({QString(next.path.constData(), next.path.size()), next.isGroupFolder, next.isFile});
        }
        lock.unlock();
        results.clear();
        for (const Path &path : chunk)
            results.push_back(m_classify(path.path, path.isGroupFolder, path.isFile));
        lock.lock();

        for (qsizetype i = 0; i < count; ++i)
            m_results[size_t(first + i - m_nextToAdd)] = std::move(results[size_t(i)]);
        if (m_adding)
            continue;
        m_adding = true;
        while (!m_results.empty() && m_results.front()) {
            Result ready = std::move(*m_results.front());
            m_results.pop_front();
            ++m_nextToAdd;
            lock.unlock();
            m_add(ready);
            lock.lock();
        }
        m_adding = false;
    }
}
