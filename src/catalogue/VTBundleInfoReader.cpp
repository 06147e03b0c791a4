#include "VTBundleInfoReader.h"

#include "VTBundle.h"
#include "VTPluginItem.h"

#include <optional>

namespace {

// A text value of the info dictionary; numbers, which some damaged
// Info.plist files carry for versions, are taken as their text. A key that
// is present is found, even when its text is empty.
std::optional<QString> textValue(const VTBundle &bundle, const QString &key)
{
    const QVariant value = bundle.localizedValue(key);
    switch (value.typeId()) {
    case QMetaType::QString:
    case QMetaType::LongLong:
    case QMetaType::Double:
        return value.toString();
    default:
        return std::nullopt;
    }
}

} // namespace

VTBundleInfoReader &VTBundleInfoReader::shared()
{
    static VTBundleInfoReader reader;
    return reader;
}

VTBundleInfoReader::VTBundleInfoReader(int threadCount) : m_threadCount(std::max(1, threadCount)) {}

VTBundleInfoReader::~VTBundleInfoReader()
{
    std::deque<std::shared_ptr<VTBundleInfoRequest>> dropped;
    {
        std::lock_guard lock(m_mutex);
        m_stopping = true;
        dropped.swap(m_queue);
    }
    m_wake.notify_all();
    for (std::thread &thread : m_threads)
        thread.join();
    for (const auto &request : dropped)
        request->markFinished();
    m_idle.notify_all();
}

std::shared_ptr<VTBundleInfoRequest> VTBundleInfoReader::read(const std::shared_ptr<VTPluginItem> &item)
{
    auto request = std::make_shared<VTBundleInfoRequest>(item);
    {
        std::lock_guard lock(m_mutex);
        if (m_stopping) {
            request->markFinished();
            return request;
        }
        if (m_threads.empty()) {
            m_threads.reserve(size_t(m_threadCount));
            for (int i = 0; i < m_threadCount; ++i)
                m_threads.emplace_back([this] { workerLoop(); });
        }
        m_queue.push_back(request);
    }
    m_wake.notify_one();
    return request;
}

void VTBundleInfoReader::waitForAll()
{
    std::unique_lock lock(m_mutex);
    m_idle.wait(lock, [this] { return m_queue.empty() && m_running == 0; });
}

int VTBundleInfoReader::pendingCount() const
{
    std::lock_guard lock(m_mutex);
    return int(m_queue.size()) + m_running;
}

void VTBundleInfoReader::workerLoop()
{
    for (;;) {
        std::shared_ptr<VTBundleInfoRequest> request;
        {
            std::unique_lock lock(m_mutex);
            m_wake.wait(lock, [this] { return m_stopping || !m_queue.empty(); });
            if (m_stopping)
                return;
            request = std::move(m_queue.front());
            m_queue.pop_front();
            ++m_running;
        }
        request->run();
        request->markFinished();
        request.reset();
        bool idle = false;
        {
            std::lock_guard lock(m_mutex);
            --m_running;
            idle = m_queue.empty() && m_running == 0;
        }
        if (idle)
            m_idle.notify_all();
    }
}

VTBundleInfo VTBundleInfoReader::readBundle(const QString &path)
{
    VTBundleInfo info;
    const VTBundle bundle(path);
    if (!bundle.isValid())
        return info;
    info.name = textValue(bundle, QStringLiteral("CFBundleDisplayName"));
    if (!info.name)
        info.name = textValue(bundle, QStringLiteral("CFBundleName"));
    info.version = textValue(bundle, QStringLiteral("CFBundleShortVersionString"));
    if (!info.version)
        info.version = textValue(bundle, QStringLiteral("CFBundleVersion"));
    info.architectures = bundle.executableArchitectures();
    return info;
}
