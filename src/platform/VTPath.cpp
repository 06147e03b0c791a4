#include "VTPath.h"

#include <QFile>

namespace VTPath {

QString join(const QString &base, const QString &component)
{
    if (base.isEmpty())
        return component;
    if (component.isEmpty())
        return base;
    QString result = base;
    while (result.size() > 1 && result.endsWith(u'/'))
        result.chop(1);
    qsizetype start = 0;
    while (start < component.size() && component.at(start) == u'/')
        ++start;
    if (result != QLatin1String("/"))
        result += u'/';
    result += QStringView(component).mid(start);
    return result;
}

QString join(std::initializer_list<QString> parts)
{
    QString result;
    for (const QString &part : parts)
        result = join(result, part);
    return result;
}

QString normalize(const QString &path)
{
    // Most paths are already clean: they are handed back without a copy
    // (the scan asks this of every path several times).
    const bool trailing = path.size() > 1 && path.endsWith(u'/');
    if (path.isEmpty() || (!trailing && !path.contains(QLatin1String("//"))))
        return path;
    QString result;
    result.reserve(path.size());
    for (QChar c : path) {
        if (c == u'/' && result.endsWith(u'/'))
            continue;
        result += c;
    }
    if (result.size() > 1 && result.endsWith(u'/'))
        result.chop(1);
    return result;
}

QStringList components(const QString &path)
{
    return path.split(u'/', Qt::SkipEmptyParts);
}

QString lastComponent(const QString &path)
{
    const QString clean = normalize(path);
    if (clean == QLatin1String("/"))
        return clean;
    const qsizetype slash = clean.lastIndexOf(u'/');
    return slash < 0 ? clean : clean.mid(slash + 1);
}

QString removeLastComponent(const QString &path)
{
    const QString clean = normalize(path);
    const qsizetype slash = clean.lastIndexOf(u'/');
    if (slash < 0)
        return QString();
    if (slash == 0)
        return QStringLiteral("/");
    return clean.left(slash);
}

QString extension(const QString &path)
{
    const QString name = lastComponent(path);
    const qsizetype dot = name.lastIndexOf(u'.');
    if (dot <= 0)
        return QString();
    return name.mid(dot + 1);
}

QString removeExtension(const QString &path)
{
    const QString ext = extension(path);
    if (ext.isEmpty())
        return path;
    return path.left(path.size() - ext.size() - 1);
}

bool isNumeric(const QString &text)
{
    // A plain decimal number, as a default number formatter reads it: an
    // optional sign, digits and at most one decimal point ("7.0", "12", ".5").
    // Words a float parser would also accept ("nan", "inf", "1e3") are names.
    // Digits are any decimal digits (Unicode category Nd).
    qsizetype i = 0;
    if (i < text.size() && (text.at(i) == u'+' || text.at(i) == u'-'))
        ++i;
    qsizetype digits = 0;
    bool point = false;
    for (; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (c.isDigit())
            ++digits;
        else if (c == u'.' && !point)
            point = true;
        else
            return false;
    }
    return digits > 0;
}

QString displayName(const QString &path)
{
    const QString name = lastComponent(path);
    const QString ext = extension(name);
    if (ext.isEmpty() || isNumeric(ext))
        return name;
    return removeExtension(name);
}

bool isInside(const QString &path, const QString &folder)
{
    const QString p = normalize(path);
    const QString f = normalize(folder);
    if (f.isEmpty())
        return false;
    if (p == f)
        return true;
    if (f == QLatin1String("/"))
        return p.startsWith(u'/');
    return p.size() > f.size() && p.startsWith(f) && p.at(f.size()) == u'/';
}

QString mirror(const QString &root, const QString &absolutePath)
{
    return join(root, absolutePath);
}

QByteArray toNative(const QString &path)
{
    return QFile::encodeName(path);
}

QString fromNative(const QByteArray &bytes)
{
    return QFile::decodeName(bytes);
}

} // namespace VTPath
