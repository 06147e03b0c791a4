#pragma once

#include <QString>
#include <QStringList>

class VTPluginFolders;

// Where a file or folder offered for installation goes. The file's extension
// (for bundles also its Info.plist, for extension-less files the type code
// 'FCSC') picks a folder key of the folder dictionary; Motion templates add
// their category folder; a plain folder either is a Motion template itself or
// becomes a group whose content is installed in turn. The rules are tested in
// a fixed order and the first match wins.
class VTInstallDestination
{
public:
    enum class Action {
        Install,      // copy the item into `folder`
        MakeGroup,    // a plain folder: a group, its entries installed into it
        Skip,         // a hidden name: passed over silently
        Unrecognized, // not installed
    };

    Action action = Action::Unrecognized;
    // For Install: the folder key ("userFxPlug", ...) and, for Motion
    // templates, the category folder inside it ("Generators.localized").
    QString folderKey;
    QString category;

    // The destination of `path`; `forUser` picks the current user's folder
    // keys where a kind has them.
    [[nodiscard]] static VTInstallDestination forPath(const QString &path, bool forUser);

    // The folder an Install destination names, in this folder dictionary.
    [[nodiscard]] QString folderIn(const VTPluginFolders &folders) const;

    // True when a drop of these files may be offered: every one has a
    // plug-in extension or the type code 'FCSC', or is a folder. An empty
    // list is not offered.
    [[nodiscard]] static bool acceptsDrop(const QStringList &paths);

    // The extensions a drop accepts, in lower case.
    [[nodiscard]] static const QStringList &droppableExtensions();

    // True for an extension-less FxScript file: its type code is 'FCSC'.
    [[nodiscard]] static bool hasFxScriptTypeCode(const QString &path);

private:
    [[nodiscard]] static VTInstallDestination install(const QString &key, const QString &category = QString());
};
