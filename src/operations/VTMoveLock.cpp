#include "VTMoveLock.h"

#include "VTLocalPaths.h"
#include "VTPath.h"
#include "VTPlainFiles.h"

#include <QDeadlineTimer>

#include <cerrno>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

VTMoveLock::VTMoveLock(const QString &path, Mode mode, std::chrono::milliseconds maxWait)
{
    const QString folder = VTPath::removeLastComponent(path);
    if (VTPlainFiles::makeFolders(folder) == 0)
        (void)::chmod(VTPath::toNative(folder).constData(), 0700);
    m_fd = ::open(VTPath::toNative(path).constData(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
    struct stat st {};
    if (m_fd < 0 || ::fstat(m_fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        if (m_fd >= 0)
            ::close(m_fd);
        m_fd = -1;
        m_held = true; // nothing to lock against
        return;
    }
    const int operation = (mode == Mode::Shared ? LOCK_SH : LOCK_EX) | LOCK_NB;
    const QDeadlineTimer deadline(maxWait);
    for (;;) {
        if (::flock(m_fd, operation) == 0) {
            m_held = true;
            return;
        }
        if ((errno != EWOULDBLOCK && errno != EINTR) || deadline.hasExpired())
            break;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    ::close(m_fd);
    m_fd = -1;
}

VTMoveLock::~VTMoveLock()
{
    if (m_fd >= 0)
        ::close(m_fd); // closing the last descriptor releases the lock
}

QString VTMoveLock::userLockPath()
{
    return VTPath::join(VTLocalPaths::libraryDirectory(true), QStringLiteral("Caches/com.vantorel.Tessary/moves.lock"));
}

std::chrono::milliseconds VTMoveLock::moveWait()
{
    static const std::chrono::milliseconds wait = [] {
        bool ok = false;
        const int ms = qEnvironmentVariableIntValue("TESSARY_MOVE_LOCK_WAIT_MS", &ok);
        return std::chrono::milliseconds(ok && ms >= 0 ? ms : 30000);
    }();
    return wait;
}
