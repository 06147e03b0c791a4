#include "VTFolderWatcher.h"

#include <QFileInfo>
#include <QSet>

#include <utility>

VTFolderWatcher::VTFolderWatcher(std::chrono::milliseconds settleTime, QObject *parent)
    : QObject(parent)
{
    m_settle.setSingleShot(true);
    m_settle.setInterval(settleTime);
    connect(&m_settle, &QTimer::timeout, this, &VTFolderWatcher::foldersChanged);
    connect(&m_watcher, &QFileSystemWatcher::directoryChanged, this, &VTFolderWatcher::noticeChange);
}

void VTFolderWatcher::setFolders(const QStringList &folders)
{
    const QStringList watched = m_watcher.directories();
    const QSet<QString> wanted(folders.begin(), folders.end());
    QStringList gone;
    for (const QString &folder : watched) {
        if (!wanted.contains(folder))
            gone.append(folder);
    }
    if (!gone.isEmpty())
        m_watcher.removePaths(gone);
    const QSet<QString> kept(watched.begin(), watched.end());
    QStringList added;
    for (const QString &folder : wanted) {
        if (!kept.contains(folder) && QFileInfo(folder).isDir())
            added.append(folder);
    }
    if (!added.isEmpty())
        (void)m_watcher.addPaths(added); // folders that cannot be watched are simply not followed
}

void VTFolderWatcher::setSuspended(bool suspended)
{
    m_suspended = suspended;
    if (suspended)
        m_settle.stop();
}

void VTFolderWatcher::setDeferred(bool deferred)
{
    m_deferred = deferred;
    if (deferred) {
        m_settle.stop();
    } else if (std::exchange(m_pending, false)) {
        m_settle.start();
    }
}

void VTFolderWatcher::noticeChange()
{
    if (m_suspended)
        return;
    if (m_deferred)
        m_pending = true;
    else
        m_settle.start();
}
