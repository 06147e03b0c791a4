#include "VTFolderListings.h"

void VTFolderListings::keep(const QByteArray &path, Listing listing)
{
    std::lock_guard lock(m_mutex);
    m_listings.insert(path, std::move(listing));
}

std::optional<VTFolderListings::Listing> VTFolderListings::take(const QByteArray &path)
{
    std::lock_guard lock(m_mutex);
    const auto it = m_listings.find(path);
    if (it == m_listings.end())
        return std::nullopt;
    Listing listing = std::move(it.value());
    m_listings.erase(it);
    return listing;
}

void VTFolderListings::clear()
{
    std::lock_guard lock(m_mutex);
    m_listings.clear();
}

qsizetype VTFolderListings::size() const
{
    std::lock_guard lock(m_mutex);
    return m_listings.size();
}
