#pragma once

#include <QString>
#include <QStringList>

#include <pugixml.hpp>

#include <optional>

// XPath queries over XML documents (pugixml), with the program's own escaping
// of the query text. Queries that fail to compile are logged as
// "XML parsing error: <description>" and select nothing.
class VTXMLParser
{
public:
    // Reads and parses an XML file; false (and an empty document) when the
    // file is unreadable or malformed.
    [[nodiscard]] static bool loadFile(const QString &path, pugi::xml_document &document);

    // The text value of the first node the escaped query selects relative to
    // `element`; nothing when it selects none.
    [[nodiscard]] static std::optional<QString> stringValueForQuery(const QString &query, const pugi::xml_node &element);
    // The non-empty text values of every selected node; nothing when the
    // query selects no node at all.
    [[nodiscard]] static std::optional<QStringList> stringValuesForQuery(const QString &query, const pugi::xml_node &node);

    // Every node / the first node the escaped query selects (an empty set /
    // an empty node when none, or when the query is invalid).
    [[nodiscard]] static pugi::xpath_node_set nodesForQuery(const QString &query, const pugi::xml_node &element);
    [[nodiscard]] static pugi::xpath_node nodeForQuery(const QString &query, const pugi::xml_node &element);

    // The text value of a selected node: an attribute's value, or the text of
    // an element and all its descendants.
    [[nodiscard]] static QString stringValue(const pugi::xpath_node &node);

    // Escapes a query character by character (UTF-16 code units): codes from
    // 160 on become "&#<decimal>;", a lone "&" becomes "&amp;" (one that
    // already starts "&amp;" stays), a carriage return becomes "&#13;", and
    // other codes below 20 are dropped and logged as "Stripped character <c>".
    [[nodiscard]] static QString escapeQueryString(const QString &text);
};
