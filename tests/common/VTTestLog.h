#pragma once

// The text of the current log, for tests that check what was logged. Link
// tessary_support to use it.

#include "VTLog.h"

#include <QFile>
#include <QString>

namespace VTTest {

// Everything logged so far: the writer is finished first, so nothing waits
// in its queue.
inline QString logText()
{
    VTLog::finishWriting();
    QFile file(VTLog::currentLogPath());
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

} // namespace VTTest
