// tessary-fs-driver: performs one file operation through the library, as
// whichever user runs it, and prints YES or NO (exit status 0 or 1). The
// permission tests run it as an unprivileged user.
//
//   move SRC DST | copy SRC DST | mkdir PATH | trash PATH
//        (the waiting forms of VTFileManager, 10 seconds)
//   authorize-user USER PASSWORD
//   no-gui-move SRC DST     as a run without a window
//   exec TOOL ARGS...       authExecTask, waiting; prints the status
//   hold                    authStart, prints "ready", waits for end of input
//   writable PATH | deletable PATH | lock PATH   the tests of that name

#include "VTAuthorization.h"
#include "VTFileManager.h"
#include "VTLog.h"

#include <QCoreApplication>

#include <chrono>
#include <cstdio>
#include <iostream>
#include <string>

using namespace std::chrono_literals;

namespace {

int answer(bool yes)
{
    std::printf("%s\n", yes ? "YES" : "NO");
    std::fflush(stdout);
    VTLog::finishWriting();
    return yes ? 0 : 1;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments().mid(1);
    if (args.isEmpty())
        return 2;
    VTLog::createNewLog(QStringLiteral("tessary-fs-driver"));
    const QString op = args.at(0);
    auto arg = [&args](int i) { return i < args.size() ? args.at(i) : QString(); };

    if (op == QLatin1String("no-gui-move")) {
        VTAuthorization::sharedController(false);
        return answer(VTFileManager::moveFile(arg(1), arg(2), 10s));
    }
    VTAuthorization *auth = VTAuthorization::sharedController(true);
    if (op == QLatin1String("move"))
        return answer(VTFileManager::moveFile(arg(1), arg(2), 10s));
    if (op == QLatin1String("copy"))
        return answer(VTFileManager::copyFile(arg(1), arg(2), 10s));
    if (op == QLatin1String("mkdir"))
        return answer(VTFileManager::createDirectory(arg(1), 10s));
    if (op == QLatin1String("trash"))
        return answer(VTFileManager::trashFile(arg(1), 10s));
    if (op == QLatin1String("authorize-user"))
        return answer(auth->authStartWithUser(arg(1), arg(2)));
    if (op == QLatin1String("exec")) {
        const int status = auth->authExecTask(arg(1), args.mid(2), false);
        std::printf("%d\n", status);
        VTLog::finishWriting();
        return status == 0 ? 0 : 1;
    }
    if (op == QLatin1String("writable"))
        return answer(VTFileManager::isWritableFileAtPath(arg(1)));
    if (op == QLatin1String("deletable"))
        return answer(VTFileManager::isDeletableFileAtPath(arg(1)));
    if (op == QLatin1String("lock"))
        return answer(VTFileManager::lockFile(arg(1)));
    if (op == QLatin1String("hold")) {
        if (!auth->authStart())
            return answer(false);
        std::printf("ready\n");
        std::fflush(stdout);
        std::string line;
        std::getline(std::cin, line);
        return 0;
    }
    return 2;
}
