#pragma once

#include "VTPluginFolders.h"

#include <QString>

#include <optional>

// What one scanned path is: a plug-in or a group folder, enabled or in the
// disabled tree, of which kind and access, under which subfolder. Pure file
// system queries; adding the result to the tree is the catalogue's business.
struct VTPathClassification {
    QString path;        // as scanned
    QString enabledPath; // the path with the disabled-plugins root removed
    bool isGroup = false;
    qint64 enabled = 1;
    qint64 kind = -1;
    qint64 access = -1;
    QString matchedFolder; // the plug-in folder the path lies in; empty when none
    QString fileName;      // last component of the enabled path, with extension
    QString displayName;   // last component, extension removed unless numeric
    QString subdir;        // the subfolder below the matched folder; empty at top level
    // Groups only: the group's own subfolder path (its title included) and
    // the folder that subfolder path is relative to.
    QString groupSubdir;
    QString groupBaseFolder;
};

namespace VTPathClassifier {

// `isGroupFolder`, when given, is the group test's answer as the folder
// walk already found it, which spares asking the file system again.
[[nodiscard]] VTPathClassification classify(const QString &path, const VTPluginFolders &folders,
                                            const QString &disabledPath,
                                            std::optional<bool> isGroupFolder = std::nullopt);

// A folder that holds <name>.moti, .motn, .moef or .motr is a Motion template.
[[nodiscard]] bool isMotionTemplateFolder(const QString &path, const QString &name);

} // namespace VTPathClassifier
