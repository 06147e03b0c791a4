// The printed plug-in list, read back from the PDF with pdftotext.

#include "CatalogueTestSupport.h"

#include "VTPrint.h"
#include "VTTestProcess.h"

#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTextDocument>

using namespace VTSandboxKind;

namespace {

class PrintTest : public CatalogueSandbox
{
protected:
    // The non-empty lines of the printed PDF, cells of a row on one line.
    QStringList printedLines(const QList<PluginPtr> &plugins)
    {
        const QString pdf = m_output.filePath(QStringLiteral("list%1.pdf").arg(++m_prints));
        EXPECT_TRUE(VTPrint::shared().printPluginListToPDF(plugins, pdf));
        // For the reviewed picture of the printed page (docs/screenshots).
        if (const QString keep = qEnvironmentVariable("TESSARY_KEEP_PRINT"); !keep.isEmpty() && m_prints == 1) {
            QFile::remove(keep);
            QFile::copy(pdf, keep);
        }
        const VTTest::Run pdftotext = VTTest::run(QStringLiteral("pdftotext"), {QStringLiteral("-layout"), pdf, QStringLiteral("-")});
        EXPECT_EQ(pdftotext.exitCode, 0) << pdftotext.err.toStdString();
        QStringList lines;
        for (const QString &line : QString::fromUtf8(pdftotext.out).split(u'\n')) {
            if (!line.trimmed().isEmpty())
                lines.append(line.simplified().normalized(QString::NormalizationForm_KC)); // pdftotext keeps ligatures
        }
        return lines;
    }

    // The table's rows: the lines after the first header row, without the
    // page bands and the header row each further page repeats.
    static QStringList tableRows(const QStringList &lines)
    {
        const QString headerRow = QStringLiteral("Name Type");
        const qsizetype header = lines.indexOf(headerRow);
        EXPECT_GE(header, 0) << lines.join(u'\n').toStdString();
        static const QRegularExpression pageNumber(QStringLiteral("^\\d+/\\d+$"));
        QStringList rows;
        for (const QString &line : lines.mid(header + 1)) {
            if (line != headerRow && !pageNumber.match(line).hasMatch()
                && !line.startsWith(QLatin1String(VTPrint::PluginListJobTitle)))
                rows.append(line);
        }
        return rows;
    }

    QTemporaryDir m_output;
    int m_prints = 0;
};

TEST_F(PrintTest, SandboxListHasHeadingsHeaderAndOneRowPerPluginInOrder)
{
    if (QStandardPaths::findExecutable(QStringLiteral("pdftotext")).isEmpty())
        GTEST_SKIP() << "pdftotext (poppler-utils) is not installed";
    builder().demo();
    reload();
    const QList<PluginPtr> plugins = catalogue().allPlugins();
    ASSERT_GE(plugins.size(), 5);

    const QStringList lines = printedLines(plugins);
    ASSERT_GE(lines.size(), 4);
    EXPECT_TRUE(lines.at(0).startsWith(QStringLiteral("Tessary Plugin List"))) << "header: job title";
    EXPECT_EQ(lines.at(1), QStringLiteral("Tessary"));
    EXPECT_EQ(lines.at(2), QStringLiteral("Plugins"));
    QStringList expected;
    for (const PluginPtr &plugin : plugins)
        expected.append(QStringLiteral("%1 %2").arg(plugin->shortName(), plugin->pluginTypeName()).simplified());
    EXPECT_EQ(tableRows(lines).join(u'|').toStdString(), expected.join(u'|').toStdString());
}

TEST_F(PrintTest, EmptyCatalogueMarkupNamesAndReprinting)
{
    if (QStandardPaths::findExecutable(QStringLiteral("pdftotext")).isEmpty())
        GTEST_SKIP() << "pdftotext (poppler-utils) is not installed";

    // Nothing installed: the headings and the header row only.
    const QStringList empty = printedLines({});
    EXPECT_TRUE(empty.contains(QStringLiteral("Plugins")));
    EXPECT_EQ(tableRows(empty).join(u'|').toStdString(), "");

    // Markup in a name is not escaped: it renders as markup.
    VTPluginItem::ArchivedFields fields;
    fields.shortName = QStringLiteral("<b>Bold</b> &amp; Blur");
    fields.fileName = QStringLiteral("Blur.fxplug");
    fields.pluginType = 0;
    fields.pluginAccess = 0;
    const PluginPtr marked = VTPluginItem::fromArchivedFields(fields);
    const QString html = VTPrint::generateHTMLForPrinting({marked}, false);
    EXPECT_TRUE(html.contains(QStringLiteral("<tr><td><b>Bold</b> &amp; Blur</td><td>FxPlug</td></tr>"))) << html.toStdString();
    EXPECT_TRUE(html.startsWith(QStringLiteral("<h1>Tessary</h1>")));
    EXPECT_TRUE(VTPrint::generateHTMLForPrinting({marked}).startsWith(QStringLiteral("<!DOCTYPE HTML PUBLIC")));
    const QStringList markedLines = printedLines({marked});
    EXPECT_EQ(tableRows(markedLines).join(u'|').toStdString(), "Bold & Blur FxPlug");

    // A second print replaces the first document entirely.
    fields.shortName = QStringLiteral("Second");
    const QStringList second = printedLines({VTPluginItem::fromArchivedFields(fields)});
    EXPECT_EQ(tableRows(second).join(u'|').toStdString(), "Second FxPlug");
    EXPECT_TRUE(VTPrint::shared().htmlSource().contains(QStringLiteral("Second")));
    EXPECT_FALSE(VTPrint::shared().htmlSource().contains(QStringLiteral("Bold")));
    EXPECT_FALSE(VTPrint::shared().printView().toPlainText().contains(QStringLiteral("Bold")));

    // The body is replaced in place; the head (style) stays.
    VTPrint::shared().updateHTMLString(QStringLiteral("<p>it's\n\tnew</p>"));
    EXPECT_EQ(VTPrint::shared().htmlSource(), QStringLiteral("<p>it'snew</p>"));
    EXPECT_EQ(VTPrint::shared().printView().toPlainText().trimmed(), QStringLiteral("it'snew"));
}

} // namespace
