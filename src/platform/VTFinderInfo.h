#pragma once

#include <QByteArray>
#include <QString>

// The Finder's four-byte file type code ('FCSC' for an FxScript file without
// extension). It lives in the first four bytes of the 32-byte Finder
// information, kept here in the extended attribute "user.com.apple.FinderInfo".
class VTFinderInfo
{
public:
    static constexpr int TypeCodeLength = 4;
    static constexpr int FinderInfoLength = 32;

    // The extended attribute holding the Finder information.
    [[nodiscard]] static const char *attributeName();

    // The type code of the item at `path` (symbolic links followed), or empty
    // bytes when the attribute is missing, shorter than four bytes or
    // unreadable.
    [[nodiscard]] static QByteArray typeCode(const QString &path);

    // Writes `code` (exactly four bytes) as the item's type code, keeping the
    // rest of any Finder information already there. False on failure (wrong
    // length, missing item, a file system without user attributes).
    [[nodiscard]] static bool setTypeCode(const QString &path, const QByteArray &code);
};
