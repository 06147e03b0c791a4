#include "VTLicenceText.h"

#include "VTBundle.h"
#include "VTPath.h"

#include <QStringDecoder>

#include <cctype>

#include <vector>

namespace {

constexpr qint64 MaximumLicenceBytes = 4 * 1024 * 1024;

// Groups that hold no text to show.
bool isHiddenDestination(const QByteArray &word)
{
    static const QList<QByteArray> hidden = {"fonttbl", "colortbl", "stylesheet", "info",   "pict",    "header",
                                             "footer",  "headerl",  "headerr",    "footerl", "footerr", "listtable",
                                             "listoverridetable", "expandedcolortbl", "generator"};
    return hidden.contains(word);
}

struct Group {
    bool hidden = false;
    int skipAfterUnicode = 1; // \ucN: fallback characters after each \u
};

} // namespace

VTLicenceText::Text VTLicenceText::fromFile(const QString &path)
{
    const QByteArray bytes = VTBundle::readRegularFile(path, MaximumLicenceBytes).value_or(QByteArray());
    const QString extension = VTPath::extension(path).toLower();
    if (bytes.startsWith("{\\rtf"))
        return {fromRtf(bytes), false};
    return {QString::fromUtf8(bytes), extension == QLatin1String("html") || extension == QLatin1String("htm")};
}

QString VTLicenceText::fromRtf(const QByteArray &rtf)
{
    QString text;
    std::vector<Group> groups{Group{}};
    QStringDecoder windows1252("windows-1252");
    int pendingSkips = 0; // fallback characters still to drop after \u
    const qsizetype size = rtf.size();
    const auto append = [&](const QString &piece) {
        if (!groups.back().hidden)
            text += piece;
    };
    for (qsizetype i = 0; i < size; ++i) {
        const char c = rtf.at(i);
        if (c == '{') {
            groups.push_back(groups.back());
            continue;
        }
        if (c == '}') {
            if (groups.size() > 1)
                groups.pop_back();
            continue;
        }
        if (c == '\r' || c == '\n')
            continue;
        if (c != '\\') {
            if (pendingSkips > 0)
                --pendingSkips;
            else
                append(QString(QLatin1Char(c)));
            continue;
        }
        if (++i >= size)
            break;
        const char next = rtf.at(i);
        if (next == '\\' || next == '{' || next == '}') {
            if (pendingSkips > 0)
                --pendingSkips;
            else
                append(QString(QLatin1Char(next)));
        } else if (next == '\'') {
            const QByteArray hex = rtf.mid(i + 1, 2);
            i += 2;
            if (pendingSkips > 0)
                --pendingSkips;
            else
                append(windows1252.decode(QByteArray(1, char(hex.toInt(nullptr, 16)))));
        } else if (next == '*') {
            groups.back().hidden = true;
        } else if (next == '~') {
            append(QStringLiteral("\u00a0"));
        } else if (next == '\n' || next == '\r') {
            append(QStringLiteral("\n"));
        } else if (std::isalpha(static_cast<unsigned char>(next))) {
            qsizetype end = i;
            while (end < size && std::isalpha(static_cast<unsigned char>(rtf.at(end))))
                ++end;
            const QByteArray word = rtf.mid(i, end - i);
            qsizetype digits = end;
            if (digits < size && rtf.at(digits) == '-')
                ++digits;
            while (digits < size && std::isdigit(static_cast<unsigned char>(rtf.at(digits))))
                ++digits;
            const QByteArray parameter = rtf.mid(end, digits - end);
            i = digits < size && rtf.at(digits) == ' ' ? digits : digits - 1;
            if (word == "par" || word == "line" || word == "sect" || word == "page") {
                append(QStringLiteral("\n"));
            } else if (word == "tab") {
                append(QStringLiteral("\t"));
            } else if (word == "u" && !parameter.isEmpty()) {
                // Negative values stand for code units above 32767.
                append(QString(QChar(char16_t(parameter.toInt() & 0xffff))));
                pendingSkips = groups.back().skipAfterUnicode;
            } else if (word == "uc") {
                groups.back().skipAfterUnicode = parameter.toInt();
            } else if (isHiddenDestination(word)) {
                groups.back().hidden = true;
            }
        }
    }
    return text;
}
