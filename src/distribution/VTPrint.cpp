#include "VTPrint.h"

#include "VTPluginItem.h"

#include <QAbstractTextDocumentLayout>
#include <QDateTime>
#include <QGuiApplication>
#include <QLocale>
#include <QPageLayout>
#include <QPainter>
#include <QPdfWriter>
#include <QRegularExpression>
#include <QScreen>
#include <QTextDocument>

namespace {

const QLatin1String DocumentType(
    "<!DOCTYPE HTML PUBLIC \"-//W3C//DTD HTML 4.01//EN\" \"http://www.w3.org/TR/html4/strict.dtd\">");
const QLatin1String DocumentHead(
    "<html><head><style>body {margin: 0 0 0 0; padding: 0; font: 14px 'Lucida Grande', Geneva, Arial, Verdana, "
    "sans-serif; color: #000;} table {width:100%;} th {text-align:left;} td {padding:7px;}</style></head><body>");
const QLatin1String Headings("<h1>Tessary</h1><h2>Plugins</h2>");
const QLatin1String TableStart("<table><thead><th>Name</th><th>Type</th></thead><tbody>");
const QLatin1String TableEnd("</tbody></table>");
const QLatin1String DocumentEnd("</body></html>");

// Header and footer bands, in document units (the screen's pixels).
constexpr qreal BandHeight = 28;
constexpr int BandFontPixels = 10;

// The resolution QTextDocument lays out in when it has no paint device.
qreal layoutDpi()
{
    const QScreen *screen = QGuiApplication::primaryScreen();
    return screen ? screen->logicalDotsPerInchY() : 96.0;
}

} // namespace

VTPrint &VTPrint::shared()
{
    // Deliberately leaked: the document must not outlive the application object
    // in a static destructor.
    static VTPrint *const instance = new VTPrint;
    return *instance;
}

VTPrint::VTPrint()
    : m_document(std::make_unique<QTextDocument>())
{
}

VTPrint::~VTPrint() = default;

QString VTPrint::generateHTMLForPrinting(const QList<PluginPtr> &plugins, bool fullDocument)
{
    QString html;
    if (fullDocument)
        html += DocumentType + DocumentHead;
    html += Headings + TableStart;
    for (const PluginPtr &plugin : plugins)
        html += QStringLiteral("<tr><td>%1</td><td>%2</td></tr>").arg(plugin->shortName(), plugin->pluginTypeName());
    html += TableEnd;
    if (fullDocument)
        html += DocumentEnd;
    return html;
}

void VTPrint::setHTMLString(const QString &html)
{
    const qsizetype bodyStart = html.indexOf(QLatin1String("<body"), 0, Qt::CaseInsensitive);
    const qsizetype bodyOpenEnd = bodyStart < 0 ? -1 : html.indexOf(u'>', bodyStart);
    if (bodyOpenEnd < 0) {
        m_head.clear();
        m_body = html;
        m_tail.clear();
    } else {
        const qsizetype bodyEnd = html.lastIndexOf(QLatin1String("</body>"), -1, Qt::CaseInsensitive);
        const qsizetype end = bodyEnd > bodyOpenEnd ? bodyEnd : html.size();
        m_head = html.left(bodyOpenEnd + 1);
        m_body = html.mid(bodyOpenEnd + 1, end - bodyOpenEnd - 1);
        m_tail = html.mid(end);
    }
    load();
}

void VTPrint::updateHTMLString(const QString &body)
{
    QString cleaned = body;
    cleaned.remove(u'\n').remove(u'\r').remove(u'\t');
    m_body = cleaned;
    load();
}

QString VTPrint::htmlSource() const
{
    return m_body;
}

QTextDocument &VTPrint::printView()
{
    return *m_document;
}

void VTPrint::load()
{
    // Browsers put header cells written straight into <thead> in one row;
    // QTextDocument would give each its own row, so the row is added here
    // (the document kept and returned by htmlSource stays as it was given).
    QString rendered = m_head + m_body + m_tail;
    static const QRegularExpression bareHeaderStart(QStringLiteral("<thead>(\\s*<th[ >])"),
                                                    QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression bareHeaderEnd(QStringLiteral("(</th>\\s*)</thead>"),
                                                  QRegularExpression::CaseInsensitiveOption);
    rendered.replace(bareHeaderStart, QStringLiteral("<thead><tr>\\1"));
    rendered.replace(bareHeaderEnd, QStringLiteral("\\1</tr></thead>"));
    m_document->clear();
    m_document->setHtml(rendered);
    if (m_previewRefresh)
        m_previewRefresh();
}

bool VTPrint::printHTMLString(const QString &html, const QString &jobTitle, QPagedPaintDevice &device)
{
    setHTMLString(html);
    return printDocument(jobTitle, device);
}

bool VTPrint::printHTMLToPDF(const QString &html, const QString &jobTitle, const QString &path)
{
    QPdfWriter writer(path);
    writer.setTitle(jobTitle);
    writer.setCreator(QStringLiteral("Tessary"));
    writer.setPageSize(QPageSize(QPageSize::A4));
    writer.setPageMargins(QMarginsF(15, 15, 15, 15), QPageLayout::Millimeter);
    return printHTMLString(html, jobTitle, writer);
}

bool VTPrint::printPluginListToPDF(const QList<PluginPtr> &plugins, const QString &path)
{
    return printHTMLToPDF(generateHTMLForPrinting(plugins), QString::fromLatin1(PluginListJobTitle), path);
}

bool VTPrint::printDocument(const QString &jobTitle, QPagedPaintDevice &device)
{
    QPainter painter;
    if (!painter.begin(&device))
        return false;

    // Lay the document out in screen units at the page's width, then scale
    // each page up to the device's resolution.
    const qreal scale = device.logicalDpiY() / layoutDpi();
    const QSizeF area = QSizeF(device.pageLayout().paintRectPixels(device.logicalDpiY()).size()) / scale;
    const qreal bodyHeight = area.height() - 2 * BandHeight;
    m_document->setPageSize(QSizeF(area.width(), bodyHeight));
    const int pageCount = m_document->pageCount();

    QFont bandFont = m_document->defaultFont();
    bandFont.setPixelSize(BandFontPixels);
    const QString date = QLocale().toString(QDateTime::currentDateTime(), QLocale::ShortFormat);

    for (int page = 0; page < pageCount; ++page) {
        if (page > 0)
            device.newPage();
        painter.save();
        painter.scale(scale, scale);

        painter.setFont(bandFont);
        const QRectF header(0, 0, area.width(), BandHeight);
        painter.drawText(header, Qt::AlignLeft | Qt::AlignTop, jobTitle);
        painter.drawText(header, Qt::AlignRight | Qt::AlignTop, date);
        const QRectF footer(0, area.height() - BandHeight, area.width(), BandHeight);
        painter.drawText(footer, Qt::AlignHCenter | Qt::AlignBottom,
                         QStringLiteral("%1/%2").arg(page + 1).arg(pageCount));

        const QRectF visible(0, page * bodyHeight, area.width(), bodyHeight);
        painter.translate(0, BandHeight - visible.top());
        m_document->drawContents(&painter, visible);
        painter.restore();
    }
    return painter.end();
}
