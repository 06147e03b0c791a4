#pragma once

#include "VTBundleWriter.h"
#include "VTMachOWriter.h"
#include "VTPropertyList.h"
#include "VTSandboxLayout.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVariantMap>

// Options of the sandbox builder's calls. Every field has a usable default,
// so a caller sets only what a test is about.

// Where a new plug-in goes inside its kind's folder.
struct VTPlacement {
    QString group;          // subfolder path below the kind's folder ("Color/Warm"); made as needed
    bool enabled = true;    // false: made directly in the disabled tree
};

struct VTBundleOptions : VTPlacement {
    QString extension;                          // empty: the kind's usual one
    QString version = QStringLiteral("1.0");    // CFBundleShortVersionString; empty: left out
    QString build = QStringLiteral("1");        // CFBundleVersion; empty: left out
    QString displayName;                        // CFBundleDisplayName; empty: left out
    // Merged into Info.plist last; an invalid QVariant removes a key (for
    // example CFBundleName or CFBundleExecutable).
    QVariantMap info;
    VTPropertyList::Format plistFormat = VTPropertyList::Format::Xml;
    QList<VTMachOWriter::Arch> architectures{VTMachOWriter::Arch::X86_64}; // empty: no executable
    VTMachOWriter::Container container = VTMachOWriter::Container::Auto;
    VTMachOWriter::ByteOrder byteOrder = VTMachOWriter::ByteOrder::Natural;
    QList<VTLocalization> localizations;
    bool fxFactoryManaged = false;              // puts ".fxfactory.plist" inside the bundle
};

struct VTFileOptions : VTPlacement {
    QByteArray content;                         // empty: a short made-up script
};

struct VTTemplateOptions : VTPlacement {
    QString extension;                          // empty: the category's usual one (motn, moti, moef, motr)
    bool media = true;                          // preview images and a movie beside the template file
    QString stem;                               // the template file's name without extension; empty: the folder's
    QStringList subfolders;                     // empty folders made beside the template file ("Media")
};

struct VTApplicationOptions {
    qint64 access = VTSandboxKind::AllUsers;
    QString version = QStringLiteral("1.0");
    QVariantMap info;                           // merged into Info.plist last
    QList<VTMachOWriter::Arch> architectures{VTMachOWriter::Arch::X86_64};
    QByteArray script;                          // non-empty: the executable is this script instead of Mach-O
};
