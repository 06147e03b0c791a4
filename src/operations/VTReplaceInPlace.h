#pragma once

#include <QString>

// Replaces an installed copy, in a folder this user may change, with a copy
// of `source`: the new copy is made beside the old one, takes its place in
// one step, and the old one goes to the Trash under the name it was
// installed with. When anything fails the old copy stays installed. Used by
// the program's installation and by the template installer.
namespace VTReplaceInPlace {

// Empty on success; otherwise the message to post and log.
[[nodiscard]] QString replace(const QString &source, const QString &installed);

} // namespace VTReplaceInPlace
