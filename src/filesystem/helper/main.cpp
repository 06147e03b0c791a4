// tessary-helper: the privileged end of the program's administrator rights.
// Started once through the escalation command, it reads requests from
// standard input and performs only the allow-listed actions (see
// VTHelperActions.h and VTHelperProtocol.h). It ends at end of input and when
// its parent ends.

#include "VTHelperActions.h"
#include "VTHelperProtocol.h"

#include <csignal>
#include <cstdlib>
#include <string>

#include <sys/prctl.h>
#include <sys/stat.h>
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

} // namespace

int main()
{
    // The environment belongs to the caller: nothing here may depend on it.
    ::clearenv();
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

    std::uint32_t id = 0;
    std::vector<std::string> arguments;
    while (VTHelperProtocol::readRequest(STDIN_FILENO, id, arguments)) {
        const int status = VTHelperActions::run(arguments);
        if (!VTHelperProtocol::writeReply(STDOUT_FILENO, {id, static_cast<std::int32_t>(status)}))
            return 1;
    }
    return 0;
}
