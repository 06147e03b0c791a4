#include "VTBundleInfoRequest.h"

#include "VTBundleInfoReader.h"
#include "VTPluginItem.h"

bool VTBundleInfoRequest::isFinished() const
{
    std::lock_guard lock(m_mutex);
    return m_finished;
}

void VTBundleInfoRequest::wait() const
{
    std::unique_lock lock(m_mutex);
    m_done.wait(lock, [this] { return m_finished; });
}

void VTBundleInfoRequest::run()
{
    if (m_cancelled)
        return;
    QString path;
    {
        // The strong reference lives only while the path is read, so a
        // record released during the disk work is not kept alive by it.
        const auto item = m_item.lock();
        if (!item)
            return;
        path = item->detachedActualPath();
    }
    if (path.isEmpty())
        return;
    VTBundleInfo info = VTBundleInfoReader::readBundle(path);
    if (m_cancelled)
        return;
    if (const auto item = m_item.lock())
        item->applyBundleInfo(std::move(info));
}

void VTBundleInfoRequest::markFinished()
{
    {
        std::lock_guard lock(m_mutex);
        m_finished = true;
    }
    m_done.notify_all();
}
