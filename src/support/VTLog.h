#pragma once

#include <QString>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

// The program's log file: "<name>.1.log" in the current user's
// Library/Logs/Vantorel (the all-users one when running as superuser), with
// up to four older logs (.2 to .5) beside it. Entries are "<date> - <text>".
//
// Writes are queued and done by one writer thread, so callers never wait on
// the disk. finishWriting() (also run at normal exit) writes everything queued.
// When a log reaches 500000 bytes a new one is started whose first entry says
// so. The suite-wide preference "disable-logging" turns logging off.
class VTLog
{
public:
    static constexpr qint64 MaximumLogBytes = 500000;

    // Queues one entry (the text after the date).
    static void appendLog(const QString &text);
    // Same as appendLog; kept for callers on hot paths, whose entries are
    // already formatted.
    static void fastAppendLog(const QString &text);
    // Queues the entry and prints the text on standard output.
    static void appendLogAndPrint(const QString &text);
    // Starts a new log named `name` (rotating the older ones) and makes it the
    // current one. Waits until what was queued for the previous log is written.
    static void createNewLog(const QString &name);
    // Writes everything queued and closes the file; later entries start the
    // writer again on the same log.
    static void finishWriting();

    // The current log file's path; empty before createNewLog.
    [[nodiscard]] static QString currentLogPath();
    // The folder logs are written to.
    [[nodiscard]] static QString logFolder();
    // Bytes queued but not yet written.
    [[nodiscard]] static qint64 queuedBytes();

    ~VTLog();

private:
    VTLog() = default;
    static VTLog &shared();

    void enqueue(QByteArray entry);
    void writerLoop();
    void startLogLocked(const QString &name, bool truncated);
    void openCurrentLocked();
    void closeFileLocked();
    void stopWriter();
    void writeEntry(const QByteArray &entry);
    [[nodiscard]] static bool loggingDisabled();
    [[nodiscard]] static QByteArray formatEntry(const QString &text);
    [[nodiscard]] static QByteArray headerLines();

    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::condition_variable m_drained;
    std::deque<QByteArray> m_queue;
    qint64 m_queuedBytes = 0;
    bool m_writing = false;
    bool m_stop = false;
    std::thread m_writer;

    // Owned by the writer (and by createNewLog while the writer is idle).
    QString m_name;
    QString m_path;
    int m_fd = -1;
    qint64 m_bytesWritten = 0;
    bool m_disabled = false;
};
