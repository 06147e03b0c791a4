#pragma once

#include <QByteArray>
#include <QString>

// The text of a licence agreement for display. The installer builder takes
// plain text and RTF files; Qt shows no RTF, so its text is taken out of it
// here: paragraphs, tabs, escaped characters and Unicode kept, formatting,
// font and colour tables, pictures and other hidden groups left out.
namespace VTLicenceText {

// Plain text, RTF (recognised by its "{\rtf" start) or HTML (by the file's
// extension), as rich text for a text browser when it is HTML.
struct Text {
    QString text;
    bool isHtml = false;
};

[[nodiscard]] Text fromFile(const QString &path);

// The visible text of an RTF document.
[[nodiscard]] QString fromRtf(const QByteArray &rtf);

} // namespace VTLicenceText
