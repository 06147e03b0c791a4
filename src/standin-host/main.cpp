// A stand-in host application for the crash tester's tests and the demo
// system. Placed as Contents/MacOS/<name> of an .app, it reads
// Contents/Resources/StandInHost.ini:
//
//   kinds=0,1,2        plug-in kinds whose enabled folders it loads
//   crashOn=A.fxplug   file names that make it crash while it starts;
//                      "*" crashes at every start
//
// and then dies of a real SIGSEGV when one of those names lies in an enabled
// folder of its kinds, or stays up until SIGTERM.

#include "VTPluginFolders.h"

#include <QCoreApplication>
#include <QDirIterator>
#include <QFileInfo>
#include <QSettings>

#include <csignal>

#include <sys/resource.h>

namespace {

bool loadsAny(const QList<qint64> &kinds, const QStringList &names)
{
    const VTPluginFolders folders = VTPluginFolders::build();
    for (const VTPluginFolders::Folder &folder : folders.folders()) {
        if (!kinds.contains(folder.kind))
            continue;
        QDirIterator it(folder.path, QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden,
                        QDirIterator::Subdirectories);
        while (it.hasNext()) {
            if (names.contains(it.nextFileInfo().fileName()))
                return true;
        }
    }
    return false;
}

[[noreturn]] void crash()
{
    // A crash without a core file: the tests crash it dozens of times.
    const rlimit noCore{0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
    std::signal(SIGSEGV, SIG_DFL);
    std::raise(SIGSEGV);
    std::abort();
}

} // namespace

int main(int argc, char *argv[])
{
    // SIGTERM is taken by sigwait below, from the first instruction on, so a
    // quit that arrives while the folders are read still ends the host.
    sigset_t terminate;
    sigemptyset(&terminate);
    sigaddset(&terminate, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &terminate, nullptr);

    const QCoreApplication application(argc, argv);
    const QString contents = QFileInfo(QCoreApplication::applicationFilePath()).dir().absoluteFilePath(QStringLiteral(".."));
    const QSettings settings(contents + QStringLiteral("/Resources/StandInHost.ini"), QSettings::IniFormat);
    QList<qint64> kinds;
    for (const QString &kind : settings.value(QStringLiteral("kinds")).toStringList())
        kinds.append(kind.toLongLong());
    const QStringList crashOn = settings.value(QStringLiteral("crashOn")).toStringList();

    if (crashOn.contains(QStringLiteral("*")) || loadsAny(kinds, crashOn))
        crash();

    int signal = 0;
    sigwait(&terminate, &signal);
    return 0;
}
