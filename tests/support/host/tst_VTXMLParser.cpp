#include "VTTestLog.h"
#include "VTTestSandbox.h"
#include "VTXMLParser.h"

#include <gtest/gtest.h>

namespace {

QString escaped(const QString &text)
{
    return VTXMLParser::escapeQueryString(text);
}

// Runs `action` with a fresh log in a sandbox and answers what it logged.
template <typename Action>
QString logOf(Action action)
{
    VTTestSandbox sandbox;
    VTLog::createNewLog(QStringLiteral("tst_VTXMLParser"));
    action();
    return VTTest::logText();
}

const char *const kDocument = R"(<?xml version="1.0" encoding="UTF-8"?>
<Configuration>
  <VariableForExMan>
    <Data key="ProductVersion">7.0</Data>
    <Data key="Empty"></Data>
    <Data key="Nested">a<b>b</b>c</Data>
    <Data key="Escaped">a&amp;amp;b</Data>
  </VariableForExMan>
</Configuration>
)";

class VTXMLParserQueries : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(m_document.load_string(kDocument)); }
    pugi::xml_document m_document;
};

} // namespace

TEST(VTXMLParserEscaping, AmpersandsNumericEntitiesAndCarriageReturn)
{
    EXPECT_EQ(escaped(QStringLiteral("a&b")), QStringLiteral("a&amp;b"));
    EXPECT_EQ(escaped(QStringLiteral("a&amp;b")), QStringLiteral("a&amp;b"));
    EXPECT_EQ(escaped(QStringLiteral("&amp;")), QStringLiteral("&amp;")) << "five characters left is enough";
    EXPECT_EQ(escaped(QStringLiteral("x&amp")), QStringLiteral("x&amp;amp")) << "among the last four it is escaped";
    EXPECT_EQ(escaped(QStringLiteral("x&")), QStringLiteral("x&amp;"));
    EXPECT_EQ(escaped(QStringLiteral("&&amp;")), QStringLiteral("&amp;&amp;"));
    EXPECT_EQ(escaped(QStringLiteral("&lt;")), QStringLiteral("&amp;lt;")) << "only &amp; counts as escaped";
    EXPECT_EQ(escaped(QStringLiteral("caf\u00e9")), QStringLiteral("caf&#233;"));
    EXPECT_EQ(escaped(QString(QChar(159))), QString(QChar(159))) << "159 is below the limit";
    EXPECT_EQ(escaped(QString(QChar(160))), QStringLiteral("&#160;"));
    EXPECT_EQ(escaped(QStringLiteral("\u4e2d")), QStringLiteral("&#20013;"));
    // Characters outside the basic plane are two code units, escaped apart.
    EXPECT_EQ(escaped(QString::fromUcs4(U"\U0001F600")), QStringLiteral("&#55357;&#56832;"));
    EXPECT_EQ(escaped(QStringLiteral("a\rb")), QStringLiteral("a&#13;b"));
    EXPECT_EQ(escaped(QStringLiteral("//Data[@key='ProductVersion']")), QStringLiteral("//Data[@key='ProductVersion']"));
    EXPECT_EQ(escaped(QString()), QString());
}

TEST(VTXMLParserEscaping, ControlCharactersAreStrippedAndLogged)
{
    QString result;
    const QString log = logOf([&result] {
        result = escaped(QStringLiteral("a\tb\nc") + QChar(19) + QChar(20) + QChar(31) + QChar(0) + QStringLiteral("d"));
    });
    // Codes from 20 on stay, though they are control characters too.
    EXPECT_EQ(result, QStringLiteral("abc") + QChar(20) + QChar(31) + QStringLiteral("d"));
    EXPECT_TRUE(log.contains(QStringLiteral(" - Stripped character \t\n"))) << log.toStdString();
    EXPECT_TRUE(log.contains(QStringLiteral(" - Stripped character \n\n")));
    EXPECT_TRUE(log.contains(QStringLiteral(" - Stripped character ") + QChar(19) + QLatin1Char('\n')));
    EXPECT_EQ(log.count(QStringLiteral("Stripped character")), 4);
}

TEST_F(VTXMLParserQueries, StringValues)
{
    EXPECT_EQ(VTXMLParser::stringValueForQuery(QStringLiteral("./Configuration/VariableForExMan/Data[@key='ProductVersion']"),
                                               m_document),
              QStringLiteral("7.0"));
    EXPECT_EQ(VTXMLParser::stringValueForQuery(QStringLiteral("//Data[@key='Nested']"), m_document), QStringLiteral("abc"))
        << "an element's value includes its descendants' text";
    EXPECT_EQ(VTXMLParser::stringValueForQuery(QStringLiteral("//Data[2]/@key"), m_document), QStringLiteral("Empty"));
    EXPECT_EQ(VTXMLParser::stringValueForQuery(QStringLiteral("//Data[@key='Empty']"), m_document), QString());
    EXPECT_FALSE(VTXMLParser::stringValueForQuery(QStringLiteral("//Data[@key='Missing']"), m_document).has_value());

    // Relative to an element rather than the document.
    const pugi::xml_node variables = VTXMLParser::nodeForQuery(QStringLiteral("//VariableForExMan"), m_document).node();
    ASSERT_TRUE(variables);
    EXPECT_EQ(VTXMLParser::stringValueForQuery(QStringLiteral("./Data[1]"), variables), QStringLiteral("7.0"));
    EXPECT_FALSE(VTXMLParser::stringValueForQuery(QStringLiteral("./Configuration"), variables).has_value());
    // The query is escaped before it runs: "a&b" becomes "a&amp;b" and finds
    // the value that reads "a&amp;b".
    EXPECT_EQ(VTXMLParser::stringValueForQuery(QStringLiteral("//Data[.='a&b']/@key"), m_document),
              QStringLiteral("Escaped"));
}

TEST_F(VTXMLParserQueries, ListsOfValues)
{
    const auto keys = VTXMLParser::stringValuesForQuery(QStringLiteral("//Data/@key"), m_document);
    ASSERT_TRUE(keys.has_value());
    EXPECT_EQ(*keys, (QStringList{QStringLiteral("ProductVersion"), QStringLiteral("Empty"), QStringLiteral("Nested"),
                                  QStringLiteral("Escaped")}));

    const auto texts = VTXMLParser::stringValuesForQuery(QStringLiteral("//Data"), m_document);
    ASSERT_TRUE(texts.has_value());
    EXPECT_EQ(texts->size(), 3) << "empty values are skipped";

    const auto onlyEmpty = VTXMLParser::stringValuesForQuery(QStringLiteral("//Data[@key='Empty']"), m_document);
    ASSERT_TRUE(onlyEmpty.has_value()) << "a node was selected, even if its value is empty";
    EXPECT_TRUE(onlyEmpty->isEmpty());

    EXPECT_FALSE(VTXMLParser::stringValuesForQuery(QStringLiteral("//Nothing"), m_document).has_value());
    EXPECT_EQ(VTXMLParser::nodesForQuery(QStringLiteral("//Data"), m_document).size(), 4u);
}

TEST_F(VTXMLParserQueries, InvalidQueriesAreLoggedAndSelectNothing)
{
    bool selectedSomething = true;
    const QString log = logOf([&] {
        selectedSomething = VTXMLParser::stringValueForQuery(QStringLiteral("//Data[@key="), m_document).has_value()
            || !VTXMLParser::nodesForQuery(QStringLiteral("count(//Data)"), m_document).empty()
            || VTXMLParser::nodeForQuery(QStringLiteral("///"), m_document);
    });
    EXPECT_FALSE(selectedSomething);
    EXPECT_EQ(log.count(QStringLiteral(" - XML parsing error: ")), 3) << log.toStdString();
}

TEST(VTXMLParserFiles, MalformedAndMissingFilesLoadNothing)
{
    VTTestSandbox sandbox;
    const QString good = sandbox.systemPath(QStringLiteral("good.xml"));
    const QString bad = sandbox.systemPath(QStringLiteral("bad.xml"));
    ASSERT_TRUE(VTTestSandbox::makeFile(good, QByteArray(kDocument)));
    ASSERT_TRUE(VTTestSandbox::makeFile(bad, QByteArrayLiteral("<Configuration><Data>7.0</Configuration>")));

    pugi::xml_document document;
    ASSERT_TRUE(VTXMLParser::loadFile(good, document));
    EXPECT_EQ(VTXMLParser::stringValueForQuery(QStringLiteral("//Data"), document), QStringLiteral("7.0"));

    EXPECT_FALSE(VTXMLParser::loadFile(bad, document));
    EXPECT_FALSE(VTXMLParser::stringValueForQuery(QStringLiteral("//Data"), document).has_value())
        << "a failed load leaves no half-parsed document behind";
    EXPECT_FALSE(VTXMLParser::loadFile(sandbox.systemPath(QStringLiteral("missing.xml")), document));
    EXPECT_FALSE(VTXMLParser::loadFile(sandbox.root(), document)) << "a folder is not a document";
}
