#include "VTMoveLock.h"

#include "VTPath.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

VTMoveLock::VTMoveLock(const QString &folder, Mode mode, bool wait)
{
    m_fd = ::open(VTPath::toNative(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (m_fd < 0) {
        m_held = true; // nothing to lock against
        return;
    }
    const int operation = (mode == Mode::Shared ? LOCK_SH : LOCK_EX) | (wait ? 0 : LOCK_NB);
    int result = 0;
    do {
        result = ::flock(m_fd, operation);
    } while (result != 0 && errno == EINTR);
    m_held = result == 0;
    if (!m_held) {
        ::close(m_fd);
        m_fd = -1;
    }
}

VTMoveLock::~VTMoveLock()
{
    if (m_fd >= 0)
        ::close(m_fd); // closing the last descriptor releases the lock
}
