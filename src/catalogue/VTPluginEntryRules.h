#pragma once

#include <QString>
#include <QStringList>

// Which entries of a plug-in folder count as plug-ins, Motion templates or
// possible group folders.
namespace VTPluginEntryRules {

// "txt", "fcfcc", "bundle", "avx", "dpm", "fxplug", "component", "plugin",
// "vst" (compared in lower case).
[[nodiscard]] bool isPluginExtension(const QString &extension);
// "moti", "motn", "motr", "moef": a folder holding such a file is a template.
[[nodiscard]] bool isMotionTemplateExtension(const QString &extension);
// Whether an entry of the folder whose name without extension is `stem` is
// that folder's Motion template file (stem + ".motn" and the like). Names
// compare ignoring case, as they do on the managed system.
[[nodiscard]] bool isMotionTemplateFileOf(const QString &entryName, const QString &stem);
// True when the file's type code is 'FCSC' (FxScript without extension).
[[nodiscard]] bool hasFxScriptTypeCode(const QString &path);
// An entry with this extension may be a group folder: empty, "localized" or numeric.
[[nodiscard]] bool isGroupFolderExtension(const QString &extension);
// ".localized" and ".Disabled" are never plug-ins.
[[nodiscard]] bool isIgnoredName(const QString &name);
// A folder holding ".fxfactory.plist" (skipped while ignoreFxFactory is 1).
[[nodiscard]] bool isFxFactoryFolder(const QString &path);

// The types the install dialog offers, in its order (the last is "'FCSC'").
[[nodiscard]] QStringList installFileTypes();
// "Generators.localized", "Titles.localized", "Effects.localized",
// "Compositions.localized", "Transitions.localized".
[[nodiscard]] QStringList motionTemplateCategories();

} // namespace VTPluginEntryRules
