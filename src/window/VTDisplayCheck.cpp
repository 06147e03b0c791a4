#include "VTDisplayCheck.h"

#include <cstring>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

bool canConnect(const QByteArray &path, bool abstract)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const size_t offset = abstract ? 1 : 0;
    if (path.size() + offset >= sizeof(address.sun_path))
        return false;
    std::memcpy(address.sun_path + offset, path.constData(), size_t(path.size()));
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return false;
    const socklen_t length = socklen_t(offsetof(sockaddr_un, sun_path) + offset + size_t(path.size()));
    const bool connected = ::connect(fd, reinterpret_cast<const sockaddr *>(&address), length) == 0;
    ::close(fd);
    return connected;
}

// A local X display (":N" or "unix:N") answers on its socket; for a remote
// one Qt is left to find out.
bool xDisplayReachable(const QString &display)
{
    if (display.isEmpty())
        return false;
    const qsizetype colon = display.lastIndexOf(QLatin1Char(':'));
    if (colon < 0)
        return false;
    const QString host = display.left(colon);
    if (!host.isEmpty() && host != QLatin1String("unix"))
        return true;
    const QString number = display.mid(colon + 1).section(QLatin1Char('.'), 0, 0);
    const QByteArray socket = "/tmp/.X11-unix/X" + number.toLatin1();
    return canConnect(socket, false) || canConnect(socket, true);
}

} // namespace

QString VTDisplayCheck::displayProblem()
{
    const QString platform = qEnvironmentVariable("QT_QPA_PLATFORM").section(QLatin1Char(':'), 0, 0);
    const bool x11 = platform.isEmpty() || platform == QLatin1String("xcb");
    const bool wayland = platform.isEmpty() || platform.startsWith(QLatin1String("wayland"));
    if (!x11 && !wayland)
        return {};
    if (wayland && !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
        return {};
    const QString display = qEnvironmentVariable("DISPLAY");
    if (x11 && xDisplayReachable(display))
        return {};
    if (display.isEmpty())
        return QStringLiteral("no display to open the window on (DISPLAY is not set)");
    return QStringLiteral("the display %1 cannot be opened").arg(display);
}
