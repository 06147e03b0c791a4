#include "VTLog.h"

#include "VTLocalPaths.h"
#include "VTOSDetect.h"
#include "VTPath.h"
#include "VTUserDefaults.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>

#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace {

QString applicationPath()
{
    if (QCoreApplication::instance())
        return QCoreApplication::applicationFilePath();
    return QFile::symLinkTarget(QStringLiteral("/proc/self/exe"));
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

} // namespace

VTLog &VTLog::shared()
{
    // Destroyed at normal exit, which drains the queue (see ~VTLog).
    static VTLog instance;
    return instance;
}

VTLog::~VTLog()
{
    stopWriter();
}

bool VTLog::loggingDisabled()
{
    return VTUserDefaults::globalValue(QStringLiteral("disable-logging")).toBool();
}

QString VTLog::logFolder()
{
    return VTPath::join(VTLocalPaths::logDirectory(!VTLocalPaths::isSuperuser()), QStringLiteral("Vantorel"));
}

QByteArray VTLog::formatEntry(const QString &text)
{
    const QString date = QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss t"));
    return QStringLiteral("%1 - %2\n").arg(date, text).toUtf8();
}

QByteArray VTLog::headerLines()
{
    const long cpus = sysconf(_SC_NPROCESSORS_ONLN);
    QString header;
    header += QStringLiteral("Log started: %1\n").arg(QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss t")));
    header += QStringLiteral("Version: %1\n").arg(QStringLiteral(TESSARY_VERSION));
    header += QStringLiteral("Path: %1\n").arg(applicationPath());
    header += QStringLiteral("System: OS X %1, %2 CPU(s), %3 GB RAM\n")
                  .arg(VTOSDetect::osxVersion())
                  .arg(cpus)
                  .arg(physicalMemoryGB(), 0, 'f', 2);
    header += QStringLiteral("Running in 64-bit mode\n");
    return header.toUtf8();
}

void VTLog::appendLog(const QString &text)
{
    shared().enqueue(formatEntry(text));
}

void VTLog::fastAppendLog(const QString &text)
{
    shared().enqueue(formatEntry(text));
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
    std::unique_lock lock(log.m_mutex);
    log.m_drained.wait(lock, [&] { return log.m_queue.empty() && !log.m_writing; });
    log.startLogLocked(name, false);
}

void VTLog::finishWriting()
{
    VTLog &log = shared();
    std::unique_lock lock(log.m_mutex);
    log.m_drained.wait(lock, [&] { return (log.m_queue.empty() && !log.m_writing) || !log.m_writer.joinable(); });
    log.closeFileLocked();
}

QString VTLog::currentLogPath()
{
    VTLog &log = shared();
    std::lock_guard lock(log.m_mutex);
    return log.m_path;
}

qint64 VTLog::queuedBytes()
{
    VTLog &log = shared();
    std::lock_guard lock(log.m_mutex);
    return log.m_queuedBytes;
}

void VTLog::enqueue(QByteArray entry)
{
    std::lock_guard lock(m_mutex);
    if (m_stop)
        return;
    if (!m_writer.joinable())
        m_writer = std::thread([this] { writerLoop(); });
    m_queuedBytes += entry.size();
    m_queue.push_back(std::move(entry));
    m_wake.notify_one();
}

void VTLog::writerLoop()
{
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_wake.wait(lock, [this] { return m_stop || !m_queue.empty(); });
        if (m_queue.empty() && m_stop)
            break;
        // Take the whole batch and write it without the mutex, so that
        // callers queueing entries never wait on the disk.
        std::deque<QByteArray> batch;
        batch.swap(m_queue);
        m_writing = true;
        lock.unlock();
        qint64 written = 0;
        for (const QByteArray &entry : batch) {
            writeEntry(entry);
            written += entry.size();
        }
        lock.lock();
        m_queuedBytes -= written;
        m_writing = false;
        m_drained.notify_all();
    }
    m_drained.notify_all();
}

// Runs on the writer thread only, or while the writer is idle (m_writing is
// false and the queue empty), so the file fields need no further guard.
void VTLog::writeEntry(const QByteArray &entry)
{
    if (m_name.isEmpty() || m_disabled)
        return;
    if (m_fd < 0)
        openCurrentLocked();
    if (m_fd < 0)
        return;
    if (writeAll(m_fd, entry.constData(), entry.size()))
        m_bytesWritten += entry.size();
    if (m_bytesWritten >= MaximumLogBytes) {
        // Readers of the path take the mutex; so does the rotation.
        std::lock_guard lock(m_mutex);
        startLogLocked(m_name, true);
    }
}

void VTLog::openCurrentLocked()
{
    if (m_path.isEmpty())
        return;
    m_fd = ::open(QFile::encodeName(m_path).constData(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
}

void VTLog::closeFileLocked()
{
    if (m_fd >= 0) {
        ::close(m_fd);
        m_fd = -1;
    }
}

void VTLog::startLogLocked(const QString &name, bool truncated)
{
    closeFileLocked();
    m_name = name;
    m_bytesWritten = 0;
    m_disabled = loggingDisabled();
    const QString folder = logFolder();
    m_path = VTPath::join(folder, name + QStringLiteral(".1.log"));
    if (m_disabled)
        return;
    QDir().mkpath(folder);
    // Shift .4 to .5 down to .1 to .2; the old .5 is overwritten.
    for (int i = 4; i >= 1; --i) {
        const QString from = VTPath::join(folder, QStringLiteral("%1.%2.log").arg(name).arg(i));
        const QString to = VTPath::join(folder, QStringLiteral("%1.%2.log").arg(name).arg(i + 1));
        if (QFile::exists(from))
            ::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData());
    }
    m_fd = ::open(QFile::encodeName(m_path).constData(), O_WRONLY | O_TRUNC | O_CREAT | O_CLOEXEC, 0644);
    if (m_fd < 0)
        return;
    const QByteArray header = headerLines();
    if (writeAll(m_fd, header.constData(), header.size()))
        m_bytesWritten += header.size();
    if (truncated) {
        const QByteArray entry = formatEntry(QStringLiteral("Log truncated at 500KB"));
        if (writeAll(m_fd, entry.constData(), entry.size()))
            m_bytesWritten += entry.size();
    }
}

void VTLog::stopWriter()
{
    {
        std::lock_guard lock(m_mutex);
        m_stop = true;
        m_wake.notify_all();
    }
    if (m_writer.joinable())
        m_writer.join();
    std::lock_guard lock(m_mutex);
    closeFileLocked();
}
