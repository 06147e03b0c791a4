#include "VTReplaceInPlace.h"

#include "VTFileManager.h"
#include "VTLog.h"
#include "VTMoveLock.h"
#include "VTPath.h"
#include "VTTrash.h"

#include <QRandomGenerator>

#include <fcntl.h>
#include <stdio.h>

#include <cerrno>

namespace {

// Swaps two items of one folder in one step, so that neither name is ever
// without an item.
bool exchangeItems(const QString &a, const QString &b)
{
    return ::renameat2(AT_FDCWD, VTPath::toNative(a).constData(), AT_FDCWD, VTPath::toNative(b).constData(),
                       RENAME_EXCHANGE)
        == 0;
}

QString notReplaced(const QString &installed, const QString &source)
{
    return QStringLiteral("Unable to trash old file %1. Plugin not installed: %2").arg(installed, source);
}

} // namespace

QString VTReplaceInPlace::replace(const QString &source, const QString &installed)
{
    // Under the temporary prefix of moves, so that start-up recovery removes
    // what a kill leaves there: the unfinished new copy while the old one is
    // still installed, or the old one once the new one has taken its place.
    // Held like a move's, so that no recovery runs meanwhile.
    const VTMoveLock lock(VTMoveLock::userLockPath(), VTMoveLock::Mode::Shared, VTMoveLock::moveWait());
    if (!lock.isHeld()) {
        return QStringLiteral("Error: Plugin %1 was not installed: another Tessary process kept moves "
                              "waiting for too long.")
            .arg(source);
    }
    const QString beside =
        VTPath::join(VTPath::removeLastComponent(installed),
                     QStringLiteral(".vtmove.%1").arg(QRandomGenerator::global()->generate64(), 16, 16, QLatin1Char('0')));
    if (!VTFileManager::copyFile(source, beside, false)) {
        (void)VTFileManager::removeFile(beside, false);
        return QStringLiteral("Tessary: Unable to copy file from %1 to %2. Please check your file permissions.")
            .arg(source, installed);
    }
    (void)VTFileManager::unlockFile(installed);
    if (!exchangeItems(beside, installed)) {
        (void)VTFileManager::removeFile(beside, false);
        return notReplaced(installed, source);
    }
    const auto moveOldCopy = [&beside](const QString &destination) {
        return ::renameat2(AT_FDCWD, VTPath::toNative(beside).constData(), AT_FDCWD,
                           VTPath::toNative(destination).constData(), RENAME_NOREPLACE)
                == 0
            ? 0
            : errno;
    };
    VTLog::appendLog(QStringLiteral("Trashing old file %1...").arg(installed));
    if (VTTrash::trashItemWith(installed, moveOldCopy))
        return QString();
    if (exchangeItems(beside, installed))
        (void)VTFileManager::removeFile(beside, false);
    return notReplaced(installed, source);
}
