#pragma once

#include <QString>
#include <QStringList>

#include <functional>

// The plain (unprivileged) file-system steps of the operations, answering
// the error number so that messages can say why a step failed. Moves never
// replace anything and lose nothing across file systems (VTTreeCopy).
namespace VTPlainFiles {

// Something is at the path (a dangling link counts).
[[nodiscard]] bool exists(const QString &path);
// A folder, not a link to one.
[[nodiscard]] bool isFolder(const QString &path);

// Makes the folder and its missing parents; 0 or an errno value.
[[nodiscard]] int makeFolders(const QString &path);
// Moves `from` to the full path `to`; 0 or an errno value (EEXIST when
// something is at `to`).
[[nodiscard]] int move(const QString &from, const QString &to);
// The folder's entry names in listing order; 0 or an errno value.
[[nodiscard]] int list(const QString &folder, QStringList &names);

// The system's text for an errno value ("Permission denied").
[[nodiscard]] QString describe(int error);

// Waits up to `seconds` for `condition`, keeping a window responsive when
// called on the main thread. Answers the condition's last value.
bool waitFor(int seconds, const std::function<bool()> &condition);
// Waits the whole time.
void pause(int seconds);

} // namespace VTPlainFiles
