#pragma once

#include <QFileSystemWatcher>
#include <QObject>
#include <QStringList>
#include <QTimer>

#include <chrono>

// Notices changes made outside the program in the folders the catalogue
// shows: the plug-in folders, their disabled mirrors and every folder that
// holds a plug-in (groups). A burst of changes (an installer copying a
// bundle) becomes one foldersChanged() once the folders have been quiet for
// the settle time. Main thread.
class VTFolderWatcher : public QObject
{
    Q_OBJECT

public:
    explicit VTFolderWatcher(std::chrono::milliseconds settleTime = std::chrono::milliseconds(800),
                             QObject *parent = nullptr);

    // Watches exactly these folders from now on (those that exist).
    void setFolders(const QStringList &folders);
    [[nodiscard]] QStringList folders() const { return m_watcher.directories(); }

    // While suspended (the program itself is moving files) changes are
    // dropped: whoever moves reloads when done.
    void setSuspended(bool suspended);
    // While deferred (a reload is reading the folders) a change is kept and
    // reported once the reload is over: it may have come after the reload
    // read that folder.
    void setDeferred(bool deferred);

signals:
    void foldersChanged();

private:
    void noticeChange();

    QFileSystemWatcher m_watcher;
    QTimer m_settle;
    bool m_suspended = false;
    bool m_deferred = false;
    bool m_pending = false;
};
