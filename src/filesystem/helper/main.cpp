// tessary-helper: the privileged end of the program's administrator rights.
// Started once through the escalation command, it reads requests from
// standard input and performs only the allow-listed actions (see
// VTHelperActions.h and VTHelperProtocol.h). It ends at end of input, when
// its parent ends, and at the latest 30 seconds after the program is gone.

#include "VTHelperActions.h"
#include "VTHelperProtocol.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include <poll.h>

#include <sys/prctl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

namespace {

// Skips whatever precedes the start line: after "sudo -S" found no password
// needed, the password line is still waiting here.
bool awaitStartLine()
{
    const std::string line = VTHelperProtocol::StartLine;
    std::string seen;
    char c = 0;
    while (seen.size() < 4096 + line.size()) {
        if (!VTHelperProtocol::readExact(STDIN_FILENO, &c, 1))
            return false;
        seen += c;
        if (seen.size() >= line.size() && seen.compare(seen.size() - line.size(), line.size(), line) == 0)
            return true;
    }
    return false;
}

// Who asked for administrator rights: the escalation names the user
// (pkexec and sudo each in their own variable); started directly, the real
// user of this process.
long requester()
{
    for (const char *name : {"PKEXEC_UID", "SUDO_UID"}) {
        if (const char *value = std::getenv(name)) {
            char *end = nullptr;
            const long uid = std::strtol(value, &end, 10);
            if (end != value && *end == '\0' && uid >= 0)
                return uid;
        }
    }
    return static_cast<long>(::getuid());
}

// Every request goes to the system log with the requester's uid.
void logRequest(long uid, const std::vector<std::string> &arguments, int status)
{
    std::string text;
    for (const std::string &argument : arguments) {
        text += text.empty() ? "" : " ";
        for (const char c : argument)
            text += (static_cast<unsigned char>(c) < 0x20) ? '?' : c;
    }
    ::syslog(LOG_AUTHPRIV | LOG_NOTICE, "uid %ld: %s: status %d", uid, text.c_str(), status);
}

// Under sudo the parent is sudo, which waits for us, so the death signal
// never comes when the program ends. Once the program's end of the socket is
// gone, the request under way gets a grace period to finish cleanly (an
// interrupted move is recovered from its journal at the next start); a
// helper stuck longer than that ends instead of staying behind as root.
void endSoonAfterTheProgram()
{
    std::thread([] {
        pollfd watched{STDIN_FILENO, POLLRDHUP, 0};
        while (::poll(&watched, 1, -1) < 0 && errno == EINTR) {
        }
        std::this_thread::sleep_for(std::chrono::seconds(30));
        ::_exit(1);
    }).detach();
}

} // namespace

int main()
{
    const long uid = requester();
    // The environment belongs to the caller: nothing here may depend on it.
    ::clearenv();
    ::openlog("tessary-helper", LOG_PID, LOG_AUTHPRIV);
    ::umask(022);
    const pid_t parent = ::getppid();
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent)
        return 1;
    ::close_range(3, ~0u, 0);
    ::signal(SIGPIPE, SIG_IGN);

    const std::uint32_t magic = VTHelperProtocol::ReadyMagic;
    const std::int32_t euid = static_cast<std::int32_t>(::geteuid());
    if (!VTHelperProtocol::writeExact(STDOUT_FILENO, &magic, sizeof magic)
        || !VTHelperProtocol::writeExact(STDOUT_FILENO, &euid, sizeof euid))
        return 1;
    if (!awaitStartLine())
        return 1;
    endSoonAfterTheProgram();

    std::uint32_t id = 0;
    std::vector<std::string> arguments;
    while (VTHelperProtocol::readRequest(STDIN_FILENO, id, arguments)) {
        const int status = VTHelperActions::run(arguments, static_cast<uid_t>(uid));
        logRequest(uid, arguments, status);
        if (!VTHelperProtocol::writeReply(STDOUT_FILENO, {id, static_cast<std::int32_t>(status)}))
            return 1;
    }
    return 0;
}
