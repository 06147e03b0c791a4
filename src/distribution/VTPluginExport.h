#pragma once

#include "VTCatalogueItem.h"

#include <QByteArray>
#include <QList>

// The plug-in records as an inventory for other programs: every record with
// its name, kind, version, enabled flag, access, architectures, path and
// group, in the order given.
namespace VTPluginExport {

// A JSON array of objects, UTF-8. Architectures are a list, or null while
// unknown; a plug-in outside any group has the group "".
[[nodiscard]] QByteArray json(const QList<PluginPtr> &plugins);
// CSV with a header row, CRLF line ends and quoting as RFC 4180 has it;
// architectures joined with "; ".
[[nodiscard]] QByteArray csv(const QList<PluginPtr> &plugins);

} // namespace VTPluginExport
