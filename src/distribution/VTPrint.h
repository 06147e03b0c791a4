#pragma once

#include "VTCatalogueItem.h"

#include <QList>
#include <QString>

#include <functional>
#include <memory>

class QPagedPaintDevice;
class QTextDocument;

// The print service: one process-wide instance holding the document that
// renders the HTML it is given, and the way to paginate that document onto
// a printer or a PDF file. Rendering needs a QGuiApplication.
//
// The window's print action shows a QPrintDialog (window-modal, job title
// jobTitle()) and hands the chosen QPrinter to printHTMLString(); tests and
// scripts go through printHTMLToPDF().
class VTPrint
{
public:
    static constexpr const char *PluginListJobTitle = "Tessary Plugin List";

    // The same instance for the life of the process; never destroyed.
    [[nodiscard]] static VTPrint &shared();

    VTPrint(const VTPrint &) = delete;
    VTPrint &operator=(const VTPrint &) = delete;

    // The plug-in list as HTML: the whole document, or only the headings and
    // the table. Names go in as they are, without escaping, so markup in a
    // name renders as markup.
    [[nodiscard]] static QString generateHTMLForPrinting(const QList<PluginPtr> &plugins, bool fullDocument);
    [[nodiscard]] static QString generateHTMLForPrinting(const QList<PluginPtr> &plugins)
    {
        return generateHTMLForPrinting(plugins, true);
    }

    // Loads a document; the next print shows it, and nothing of the one
    // before it remains.
    void setHTMLString(const QString &html);
    // Replaces the body of the current document, keeping its head (style).
    // Line feeds, carriage returns and tabs are dropped; refreshes the preview.
    void updateHTMLString(const QString &body);
    // The current body markup.
    [[nodiscard]] QString htmlSource() const;
    // The document that renders the HTML (the print view).
    [[nodiscard]] QTextDocument &printView();

    // Loads the HTML and prints it onto the device (a QPrinter from the print
    // dialog or a QPdfWriter): fitted to the page width, with the job title
    // and date as header and the page number as footer. False when the
    // device cannot be painted on.
    bool printHTMLString(const QString &html, const QString &jobTitle, QPagedPaintDevice &device);
    // The same into a PDF file at `path` (A4, the job title as PDF title).
    bool printHTMLToPDF(const QString &html, const QString &jobTitle, const QString &path);
    // The full plug-in list, job title "Tessary Plugin List", into a PDF.
    bool printPluginListToPDF(const QList<PluginPtr> &plugins, const QString &path);

    // Told when the document changes, for a preview shown by the window.
    void setPreviewRefresh(std::function<void()> refresh) { m_previewRefresh = std::move(refresh); }

private:
    VTPrint();
    ~VTPrint();

    bool printDocument(const QString &jobTitle, QPagedPaintDevice &device);
    void load();

    std::unique_ptr<QTextDocument> m_document;
    QString m_head; // everything up to and including the <body> tag; empty for a fragment
    QString m_body;
    QString m_tail;
    std::function<void()> m_previewRefresh;
};
