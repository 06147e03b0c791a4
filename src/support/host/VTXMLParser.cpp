#include "VTXMLParser.h"

#include "VTLog.h"

#include <QFile>

#include <memory>

namespace {

// Configuration files of host applications are small; refuse anything huge.
constexpr qint64 kMaximumDocumentBytes = 16 * 1024 * 1024;

void appendText(const pugi::xml_node &node, QByteArray &text)
{
    for (const pugi::xml_node &child : node.children()) {
        if (child.type() == pugi::node_pcdata || child.type() == pugi::node_cdata)
            text += child.value();
        else if (child.type() == pugi::node_element)
            appendText(child, text);
    }
}

// Compiles a query; nothing (after logging why) when it is not valid XPath.
std::unique_ptr<pugi::xpath_query> compile(const QString &query)
{
    const QByteArray utf8 = VTXMLParser::escapeQueryString(query).toUtf8();
    std::unique_ptr<pugi::xpath_query> compiled;
    QString error;
    try {
        compiled = std::make_unique<pugi::xpath_query>(utf8.constData());
        if (!compiled->result())
            error = QString::fromUtf8(compiled->result().description());
    } catch (const pugi::xpath_exception &exception) {
        error = QString::fromUtf8(exception.what());
    } catch (const std::bad_alloc &) {
        error = QStringLiteral("out of memory");
    }
    if (!error.isEmpty()) {
        VTLog::appendLog(QStringLiteral("XML parsing error: %1").arg(error));
        return nullptr;
    }
    return compiled;
}

} // namespace

bool VTXMLParser::loadFile(const QString &path, pugi::xml_document &document)
{
    document.reset();
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly) || file.size() > kMaximumDocumentBytes)
        return false;
    const QByteArray bytes = file.readAll();
    const pugi::xml_parse_result result = document.load_buffer(bytes.constData(), static_cast<size_t>(bytes.size()));
    if (!result) {
        document.reset();
        return false;
    }
    return true;
}

pugi::xpath_node_set VTXMLParser::nodesForQuery(const QString &query, const pugi::xml_node &element)
{
    const std::unique_ptr<pugi::xpath_query> compiled = compile(query);
    if (!compiled || !element)
        return pugi::xpath_node_set();
    try {
        // A query that yields a number or text instead of nodes is an error too.
        return compiled->evaluate_node_set(element);
    } catch (const pugi::xpath_exception &exception) {
        VTLog::appendLog(QStringLiteral("XML parsing error: %1").arg(QString::fromUtf8(exception.what())));
    }
    return pugi::xpath_node_set();
}

pugi::xpath_node VTXMLParser::nodeForQuery(const QString &query, const pugi::xml_node &element)
{
    const pugi::xpath_node_set nodes = nodesForQuery(query, element);
    return nodes.empty() ? pugi::xpath_node() : nodes.first();
}

QString VTXMLParser::stringValue(const pugi::xpath_node &node)
{
    if (node.attribute())
        return QString::fromUtf8(node.attribute().value());
    const pugi::xml_node xmlNode = node.node();
    if (!xmlNode)
        return QString();
    if (xmlNode.type() == pugi::node_pcdata || xmlNode.type() == pugi::node_cdata)
        return QString::fromUtf8(xmlNode.value());
    QByteArray text;
    appendText(xmlNode, text);
    return QString::fromUtf8(text);
}

std::optional<QString> VTXMLParser::stringValueForQuery(const QString &query, const pugi::xml_node &element)
{
    const pugi::xpath_node node = nodeForQuery(query, element);
    if (!node)
        return std::nullopt;
    return stringValue(node);
}

std::optional<QStringList> VTXMLParser::stringValuesForQuery(const QString &query, const pugi::xml_node &node)
{
    const pugi::xpath_node_set nodes = nodesForQuery(query, node);
    if (nodes.empty())
        return std::nullopt;
    QStringList values;
    for (const pugi::xpath_node &selected : nodes) {
        const QString value = stringValue(selected);
        if (!value.isEmpty())
            values.append(value);
    }
    return values;
}

QString VTXMLParser::escapeQueryString(const QString &text)
{
    static const QLatin1String ampersandEntity("&amp;");
    QString escaped;
    escaped.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        const ushort code = c.unicode();
        if (code >= 160) {
            escaped += QStringLiteral("&#%1;").arg(code);
        } else if (c == u'&') {
            // Only tested while the whole entity still fits; an "&" among the
            // last four characters is always escaped.
            const bool alreadyEscaped = text.size() - i >= ampersandEntity.size()
                && QStringView(text).mid(i, ampersandEntity.size()) == ampersandEntity;
            escaped += alreadyEscaped ? QStringLiteral("&") : QString(ampersandEntity);
        } else if (code == 13) {
            escaped += QStringLiteral("&#13;");
        } else if (code < 20) {
            VTLog::appendLog(QStringLiteral("Stripped character %1").arg(c));
        } else {
            escaped += c;
        }
    }
    return escaped;
}
