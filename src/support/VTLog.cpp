#include "VTLog.h"

#include "VTLocalPaths.h"
#include "VTOSDetect.h"
#include "VTPath.h"
#include "VTUserDefaults.h"

#include <QCoreApplication>
#include <QFile>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

QString applicationPath()
{
    if (QCoreApplication::instance())
        return QCoreApplication::applicationFilePath();
    return QFile::symLinkTarget(QStringLiteral("/proc/self/exe"));
}

QString applicationVersion()
{
    const QString version = QCoreApplication::instance() ? QCoreApplication::applicationVersion() : QString();
    return version.isEmpty() ? QStringLiteral(TESSARY_VERSION) : version;
}

double physicalMemoryGB()
{
    const long pages = sysconf(_SC_PHYS_PAGES);
    const long pageSize = sysconf(_SC_PAGE_SIZE);
    if (pages <= 0 || pageSize <= 0)
        return 0.0;
    return static_cast<double>(pages) * static_cast<double>(pageSize) / (1024.0 * 1024.0 * 1024.0);
}

bool writeAll(int fd, const char *data, qsizetype size)
{
    while (size > 0) {
        const ssize_t n = ::write(fd, data, static_cast<size_t>(size));
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        data += n;
        size -= n;
    }
    return true;
}

// mkdir -p with plain system calls: it may run while the process exits, when
// Qt's file-system helpers can no longer be relied on.
// The log's own folder is the user's alone: logs name every privileged step.
void makeFolders(const QByteArray &path)
{
    for (qsizetype slash = path.indexOf('/', 1); slash > 0; slash = path.indexOf('/', slash + 1))
        ::mkdir(path.left(slash).constData(), 0755);
    ::mkdir(path.constData(), 0700);
}

// A reload logs one entry per path: the writer lets a burst gather for a
// moment and writes it at once, instead of waking and writing per entry.
constexpr size_t kGatherEntries = 1024;
constexpr std::chrono::milliseconds kGatherTime(10);

QByteArray numberedLog(const QByteArray &firstLog, int number)
{
    // firstLog ends in ".1.log"
    return firstLog.left(firstLog.size() - 6) + '.' + QByteArray::number(number) + ".log";
}

} // namespace

VTLog &VTLog::shared()
{
    // Never destroyed: threads that outlive main may still log. The queue is
    // written out by an exit handler instead.
    static VTLog *const instance = [] {
        auto *log = new VTLog;
        std::atexit([] { shared().drainAtExit(); });
        return log;
    }();
    return *instance;
}

QString VTLog::logFolder()
{
    return VTPath::join(VTLocalPaths::logDirectory(!VTLocalPaths::isSuperuser()), QStringLiteral("Vantorel"));
}

QByteArray VTLog::timestamp()
{
    timespec now {};
    clock_gettime(CLOCK_REALTIME, &now);
    tm local {};
    localtime_r(&now.tv_sec, &local);
    char text[64];
    const size_t length = strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S %z", &local);
    return QByteArray(text, static_cast<qsizetype>(length));
}

QByteArray VTLog::formatEntry(const QString &text)
{
    return timestamp() + " - " + text.toUtf8() + '\n';
}

QByteArray VTLog::headerLines()
{
    const long cpus = sysconf(_SC_NPROCESSORS_ONLN);
    QString header;
    header += QStringLiteral("Version: %1\n").arg(applicationVersion());
    header += QStringLiteral("Path: %1\n").arg(applicationPath());
    header += QStringLiteral("System: %1, %2 CPU(s), %3 GB RAM\n")
                  .arg(VTOSDetect::systemDescription())
                  .arg(cpus)
                  .arg(physicalMemoryGB(), 0, 'f', 2);
    header += QStringLiteral("Running in 64-bit mode\n");
    return header.toUtf8();
}

void VTLog::appendLog(const QString &text)
{
    VTLog &log = shared();
    if (!log.m_accepting.load(std::memory_order_relaxed))
        return;
    log.submit(Request{Request::Kind::Entry, formatEntry(text), QByteArray(), 0});
}

void VTLog::fastAppendLog(const QString &text)
{
    appendLog(text);
}

void VTLog::appendLogs(const QStringList &texts)
{
    VTLog &log = shared();
    if (texts.isEmpty() || !log.m_accepting.load(std::memory_order_relaxed))
        return;
    const QByteArray date = timestamp() + " - ";
    std::vector<QByteArray> entries;
    entries.reserve(size_t(texts.size()));
    for (const QString &text : texts)
        entries.push_back(date + text.toUtf8() + '\n');
    log.submitEntries(std::move(entries));
}

void VTLog::appendLogAndPrint(const QString &text)
{
    const QByteArray line = text.toUtf8() + '\n';
    fwrite(line.constData(), 1, static_cast<size_t>(line.size()), stdout);
    fflush(stdout);
    appendLog(text);
}

void VTLog::createNewLog(const QString &name)
{
    VTLog &log = shared();
    const bool disabled = VTUserDefaults::globalValue(QStringLiteral("disable-logging")).toBool();
    const QString path = VTPath::join(logFolder(), name + QStringLiteral(".1.log"));
    // A disabled log is still made current (so that its path is known), but
    // its file is left alone and nothing is queued for it.
    const quint64 ticket = log.submit(Request{Request::Kind::Start, disabled ? QByteArray() : headerLines(),
                                              disabled ? QByteArray() : QFile::encodeName(path), 0});
    {
        std::lock_guard lock(log.m_mutex);
        log.m_currentPath = path;
    }
    log.m_accepting.store(!disabled);
    log.waitFor(ticket);
}

void VTLog::finishWriting()
{
    VTLog &log = shared();
    log.waitFor(log.submit(Request{Request::Kind::Finish, QByteArray(), QByteArray(), 0}));
}

QString VTLog::currentLogPath()
{
    VTLog &log = shared();
    std::lock_guard lock(log.m_mutex);
    return log.m_currentPath;
}

qint64 VTLog::queuedBytes()
{
    VTLog &log = shared();
    std::lock_guard lock(log.m_mutex);
    return log.m_queuedBytes;
}

quint64 VTLog::submit(Request request)
{
    std::lock_guard lock(m_mutex);
    if (m_stopping)
        return 0;
    if (!m_writer.joinable())
        m_writer = std::thread([this] { writerLoop(); });
    request.ticket = m_nextTicket++;
    if (request.kind == Request::Kind::Entry)
        m_queuedBytes += request.bytes.size();
    const quint64 ticket = request.ticket;
    const bool entry = request.kind == Request::Kind::Entry;
    m_queue.push_back(std::move(request));
    // Entries wake the writer only to start a batch or once enough have
    // gathered; anything else at once.
    if (!entry || m_queue.size() == 1 || m_queue.size() == kGatherEntries)
        m_wake.notify_one();
    return ticket;
}

void VTLog::submitEntries(std::vector<QByteArray> entries)
{
    bool wake = false;
    {
        std::lock_guard lock(m_mutex);
        if (m_stopping)
            return;
        if (!m_writer.joinable())
            m_writer = std::thread([this] { writerLoop(); });
        for (QByteArray &entry : entries) {
            m_queuedBytes += entry.size();
            m_queue.push_back(Request{Request::Kind::Entry, std::move(entry), QByteArray(), m_nextTicket++});
            wake = wake || m_queue.size() == 1 || m_queue.size() == kGatherEntries;
        }
    }
    if (wake)
        m_wake.notify_one();
}

void VTLog::waitFor(quint64 ticket)
{
    if (ticket == 0)
        return;
    std::unique_lock lock(m_mutex);
    ++m_waiters;
    m_wake.notify_one();
    m_processed.wait(lock, [&] { return m_doneTicket >= ticket || m_writerGone; });
    --m_waiters;
}

void VTLog::writerLoop()
{
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_wake.wait(lock, [this] { return m_stopping || !m_queue.empty(); });
        if (m_queue.empty())
            break; // stopping, and everything is written
        if (!m_stopping && m_waiters == 0 && m_queue.back().kind == Request::Kind::Entry) {
            m_wake.wait_for(lock, kGatherTime, [this] {
                return m_stopping || m_waiters > 0 || m_queue.size() >= kGatherEntries
                    || m_queue.back().kind != Request::Kind::Entry;
            });
        }
        // Take the whole batch and work without the mutex, so that callers
        // queueing entries never wait on the disk.
        std::deque<Request> batch;
        batch.swap(m_queue);
        lock.unlock();
        qint64 written = 0;
        for (const Request &request : batch) {
            if (request.kind == Request::Kind::Entry)
                written += request.bytes.size();
        }
        writeBatch(batch);
        lock.lock();
        m_queuedBytes -= written;
        m_doneTicket = batch.back().ticket;
        m_processed.notify_all();
    }
    closeFile();
}

void VTLog::writeBatch(std::deque<Request> &batch)
{
    // Consecutive entries go out in one write, cut where the log reaches
    // its size limit, so the new log starts where it would entry by entry.
    QByteArray pending;
    const auto flush = [this, &pending] {
        if (!pending.isEmpty())
            writeEntry(pending);
        pending.clear();
    };
    for (Request &request : batch) {
        if (request.kind != Request::Kind::Entry) {
            flush();
            process(request);
            continue;
        }
        pending += request.bytes;
        if (m_bytesWritten + pending.size() >= MaximumLogBytes)
            flush();
    }
    flush();
}

void VTLog::process(Request &request)
{
    switch (request.kind) {
    case Request::Kind::Entry:
        writeEntry(request.bytes);
        break;
    case Request::Kind::Start:
        closeFile();
        m_path = std::move(request.path);
        m_header = std::move(request.bytes);
        if (!m_path.isEmpty())
            startFile(false);
        break;
    case Request::Kind::Finish:
        closeFile();
        break;
    }
}

void VTLog::startFile(bool truncated)
{
    closeFile();
    m_bytesWritten = 0;
    makeFolders(m_path.left(m_path.lastIndexOf('/')));
    // .4 becomes .5 (the old .5 is dropped), down to .1 becoming .2.
    for (int i = 4; i >= 1; --i) {
        const QByteArray from = numberedLog(m_path, i);
        if (::access(from.constData(), F_OK) == 0)
            ::rename(from.constData(), numberedLog(m_path, i + 1).constData());
    }
    m_fd = ::open(m_path.constData(), O_WRONLY | O_APPEND | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (m_fd < 0) {
        fprintf(stderr, "Cannot write the log %s: %s\n", m_path.constData(), strerror(errno));
        return;
    }
    const QByteArray header = "Log started: " + timestamp() + '\n' + m_header;
    if (writeAll(m_fd, header.constData(), header.size()))
        m_bytesWritten += header.size();
    if (truncated) {
        const QByteArray entry = formatEntry(QStringLiteral("Log truncated at 500KB"));
        if (writeAll(m_fd, entry.constData(), entry.size()))
            m_bytesWritten += entry.size();
    }
}

void VTLog::writeEntry(const QByteArray &entry)
{
    if (m_path.isEmpty())
        return;
    if (m_fd < 0) {
        // Reopened after finishWriting: keep appending to the same log.
        m_fd = ::open(m_path.constData(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
        if (m_fd < 0)
            return;
        struct stat info {};
        m_bytesWritten = ::fstat(m_fd, &info) == 0 ? info.st_size : 0;
    }
    if (writeAll(m_fd, entry.constData(), entry.size()))
        m_bytesWritten += entry.size();
    if (m_bytesWritten >= MaximumLogBytes)
        startFile(true);
}

void VTLog::closeFile()
{
    if (m_fd >= 0) {
        ::close(m_fd);
        m_fd = -1;
    }
}

void VTLog::drainAtExit()
{
    {
        std::lock_guard lock(m_mutex);
        m_stopping = true;
        m_wake.notify_all();
    }
    if (m_writer.joinable())
        m_writer.join();
    // Anyone still waiting (a thread that outlives main) is let go.
    std::lock_guard lock(m_mutex);
    m_writerGone = true;
    m_processed.notify_all();
}
