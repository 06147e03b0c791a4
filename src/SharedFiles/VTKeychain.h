#pragma once

#include <QString>
#include <QStringList>

// The user's keychains: certificate files (PEM or DER, one or more
// certificates each) in ~/Library/Keychains, searched in name order.
class VTKeychain
{
public:
    // The common names of every certificate, in search order. Unreadable
    // files and files holding no certificate are logged and skipped; when
    // the folder cannot be listed the answer is empty.
    [[nodiscard]] static QStringList certificateNames();

    // ~/Library/Keychains of the current user.
    [[nodiscard]] static QString keychainsDirectory();
};
