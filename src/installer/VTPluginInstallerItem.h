#pragma once

#include <QList>
#include <QString>

// One plug-in an installer carries: a bundle, a Motion template folder or a
// plain file below Contents/Resources/PluginStructure, and where it goes.
// The structure mirrors the plug-in's place in the managed system; a
// per-user plug-in lies below Users/user, which stands for the current
// user's home.
struct VTPluginInstallerItem {
    QString source;      // inside the installer
    QString destination; // the full path it is installed at
    bool forUser = false;

    [[nodiscard]] QString name() const;

    // Every item below `structure`, in name order. Hidden names are passed
    // over; a package, a Motion template folder, a plain file or a link is
    // one item; any other folder is descended into.
    [[nodiscard]] static QList<VTPluginInstallerItem> collect(const QString &structure);

    // Where the item at `relative` (its path below the structure, "Library/
    // Plug-Ins/FxPlug/A.fxplug") goes: "Users/user/..." into the current
    // user's home, anything else below the managed system's root.
    [[nodiscard]] static VTPluginInstallerItem placed(const QString &source, const QString &relative);
};
