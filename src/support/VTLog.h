#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

// The program's log file: "<name>.1.log" in the current user's
// Library/Logs/Vantorel (the all-users one when running as superuser), with
// up to four older logs (.2 to .5) beside it. Entries are "<date> - <text>".
//
// Every file operation is done in order by one writer thread, so callers never
// wait on the disk. Entries made before the first createNewLog, or while the
// suite-wide preference "disable-logging" is true, are dropped. When a log
// reaches 500000 bytes a new one is started whose first entry says so.
// Whatever is queued is written when the process exits normally (return from
// main or exit()); finishWriting() does the same at any earlier point.
class VTLog
{
public:
    static constexpr qint64 MaximumLogBytes = 500000;

    // Queues one entry (the text after the date).
    static void appendLog(const QString &text);
    // Same as appendLog; kept for callers on hot paths, whose entries are
    // already formatted.
    static void fastAppendLog(const QString &text);
    // Queues one entry per text, all with the same date, at the cost of one
    // (for entries written by the thousand, such as a reload's).
    static void appendLogs(const QStringList &texts);
    // Queues the entry and prints the text on standard output.
    static void appendLogAndPrint(const QString &text);
    // Starts a new log named `name` (rotating the older ones) and makes it the
    // current one. Entries queued before it go to the previous log. Returns
    // once the new file is in place.
    static void createNewLog(const QString &name);
    // Writes everything queued so far and closes the file; a later entry opens
    // the same log again and appends to it.
    static void finishWriting();

    // The current log file's path; empty before createNewLog.
    [[nodiscard]] static QString currentLogPath();
    // The folder logs are written to.
    [[nodiscard]] static QString logFolder();
    // Bytes queued but not yet written.
    [[nodiscard]] static qint64 queuedBytes();

    // "yyyy-MM-dd HH:mm:ss +zzzz" of the current local time, as entries show it.
    [[nodiscard]] static QByteArray timestamp();

private:
    struct Request {
        enum class Kind { Entry, Start, Finish };
        Kind kind = Kind::Entry;
        QByteArray bytes; // the entry, or the header lines after "Log started" for Start
        QByteArray path;  // Start only: the new log's path, in the file system's encoding
        quint64 ticket = 0;
    };

    VTLog() = default;
    ~VTLog() = delete; // lives until the process ends; see shared()
    static VTLog &shared();

    quint64 submit(Request request);
    void submitEntries(std::vector<QByteArray> entries);
    void waitFor(quint64 ticket);
    void writerLoop();
    void writeBatch(std::deque<Request> &batch);
    void process(Request &request);
    void startFile(bool truncated);
    void writeEntry(const QByteArray &entry);
    void closeFile();
    void drainAtExit();

    [[nodiscard]] static QByteArray formatEntry(const QString &text);
    [[nodiscard]] static QByteArray headerLines();

    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::condition_variable m_processed;
    std::deque<Request> m_queue;
    qint64 m_queuedBytes = 0;
    quint64 m_nextTicket = 1;
    quint64 m_doneTicket = 0;
    int m_waiters = 0; // threads in waitFor: the writer gathers no more entries
    bool m_stopping = false;
    bool m_writerGone = false;
    std::thread m_writer;
    QString m_currentPath; // guarded by m_mutex

    // False before the first log and while logging is disabled, so that
    // dropped entries cost no formatting and no queueing.
    std::atomic<bool> m_accepting{false};

    // Owned by the writer thread. Only data made for it (and moved to it)
    // crosses over, so no implicitly shared text is counted by two threads.
    QByteArray m_path;
    QByteArray m_header;
    int m_fd = -1;
    qint64 m_bytesWritten = 0;
};
