#include "VTBundle.h"

#include "VTDirectoryListing.h"
#include "VTPath.h"
#include "VTPropertyList.h"

#include <QFileInfo>

#include <algorithm>
#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Strings files of real bundles are a few kilobytes.
constexpr qint64 kMaximumStringsBytes = 1024 * 1024;

// Decodes a strings file: a byte-order mark decides, else NUL bytes betray
// UTF-16 (the text is mostly ASCII), else it is UTF-8.
QString decodeText(const QByteArray &bytes)
{
    const auto byte = [&bytes](qsizetype i) { return static_cast<quint8>(bytes.at(i)); };
    bool utf16 = false;
    bool bigEndian = false;
    qsizetype start = 0;
    if (bytes.size() >= 3 && byte(0) == 0xEF && byte(1) == 0xBB && byte(2) == 0xBF)
        return QString::fromUtf8(bytes.constData() + 3, bytes.size() - 3);
    if (bytes.size() >= 2 && byte(0) == 0xFF && byte(1) == 0xFE) {
        utf16 = true;
        start = 2;
    } else if (bytes.size() >= 2 && byte(0) == 0xFE && byte(1) == 0xFF) {
        utf16 = bigEndian = true;
        start = 2;
    } else if (bytes.size() >= 2 && bytes.contains('\0')) {
        utf16 = true;
        bigEndian = byte(0) == 0;
    }
    if (!utf16)
        return QString::fromUtf8(bytes);
    QString text;
    text.reserve((bytes.size() - start) / 2);
    for (qsizetype i = start; i + 1 < bytes.size(); i += 2) {
        const quint16 unit = bigEndian ? quint16(byte(i) << 8 | byte(i + 1)) : quint16(byte(i + 1) << 8 | byte(i));
        text.append(QChar(unit));
    }
    return text;
}

// The old-style strings grammar: entries `key = value;` or `key;`, keys and
// values quoted (with backslash escapes) or bare words, C and C++ comments,
// optionally wrapped in one pair of braces.
class StringsParser
{
public:
    explicit StringsParser(QString text) : m_text(std::move(text)) {}

    std::optional<QHash<QString, QString>> parse()
    {
        QHash<QString, QString> result;
        if (!skipSpace())
            return std::nullopt;
        const bool braced = peek() == u'{';
        if (braced)
            ++m_pos;
        for (;;) {
            if (!skipSpace())
                return std::nullopt;
            if (atEnd())
                return braced ? std::nullopt : std::optional(result);
            if (braced && peek() == u'}') {
                ++m_pos;
                if (!skipSpace() || !atEnd())
                    return std::nullopt;
                return result;
            }
            const auto key = token();
            if (!key || !skipSpace() || atEnd())
                return std::nullopt;
            QString value = *key;
            if (peek() == u'=') {
                ++m_pos;
                if (!skipSpace())
                    return std::nullopt;
                const auto parsed = token();
                if (!parsed || !skipSpace())
                    return std::nullopt;
                value = *parsed;
            }
            if (atEnd() || peek() != u';')
                return std::nullopt;
            ++m_pos;
            result.insert(*key, value);
        }
    }

private:
    [[nodiscard]] bool atEnd() const { return m_pos >= m_text.size(); }
    [[nodiscard]] QChar peek() const { return m_text.at(m_pos); }

    // Skips white space and comments; false on an unterminated comment.
    bool skipSpace()
    {
        while (!atEnd()) {
            const QChar c = peek();
            if (c.isSpace()) {
                ++m_pos;
            } else if (c == u'/' && m_pos + 1 < m_text.size() && m_text.at(m_pos + 1) == u'*') {
                const qsizetype end = m_text.indexOf(QLatin1String("*/"), m_pos + 2);
                if (end < 0)
                    return false;
                m_pos = end + 2;
            } else if (c == u'/' && m_pos + 1 < m_text.size() && m_text.at(m_pos + 1) == u'/') {
                const qsizetype end = m_text.indexOf(u'\n', m_pos + 2);
                m_pos = end < 0 ? m_text.size() : end + 1;
            } else {
                break;
            }
        }
        return true;
    }

    static int hexDigit(QChar c)
    {
        const char16_t u = c.unicode();
        if (u >= u'0' && u <= u'9')
            return u - u'0';
        if (u >= u'a' && u <= u'f')
            return u - u'a' + 10;
        if (u >= u'A' && u <= u'F')
            return u - u'A' + 10;
        return -1;
    }

    static bool isWordChar(QChar c)
    {
        return c.isLetterOrNumber() || c == u'_' || c == u'$' || c == u'+' || c == u'/' || c == u':' || c == u'.'
            || c == u'-';
    }

    std::optional<QString> token()
    {
        if (atEnd())
            return std::nullopt;
        if (peek() == u'"')
            return quoted();
        const qsizetype start = m_pos;
        while (!atEnd() && isWordChar(peek()))
            ++m_pos;
        if (m_pos == start)
            return std::nullopt;
        return m_text.mid(start, m_pos - start);
    }

    std::optional<QString> quoted()
    {
        ++m_pos; // opening quote
        QString out;
        while (!atEnd()) {
            const QChar c = m_text.at(m_pos++);
            if (c == u'"')
                return out;
            if (c != u'\\') {
                out.append(c);
                continue;
            }
            if (atEnd())
                return std::nullopt;
            const QChar e = m_text.at(m_pos++);
            switch (e.unicode()) {
            case 'n': out.append(u'\n'); break;
            case 't': out.append(u'\t'); break;
            case 'r': out.append(u'\r'); break;
            case 'a': out.append(QChar(7)); break;
            case 'b': out.append(QChar(8)); break;
            case 'f': out.append(QChar(12)); break;
            case 'v': out.append(QChar(11)); break;
            case 'u':
            case 'U': {
                if (m_pos + 4 > m_text.size())
                    return std::nullopt;
                uint unit = 0;
                for (int i = 0; i < 4; ++i) {
                    const int digit = hexDigit(m_text.at(m_pos++));
                    if (digit < 0)
                        return std::nullopt;
                    unit = unit * 16 + uint(digit);
                }
                out.append(QChar(char16_t(unit)));
                break;
            }
            default:
                if (e >= u'0' && e <= u'7') {
                    uint code = e.unicode() - '0';
                    for (int i = 0; i < 2 && !atEnd() && peek() >= u'0' && peek() <= u'7'; ++i)
                        code = code * 8 + (m_text.at(m_pos++).unicode() - '0');
                    out.append(QChar(char16_t(code)));
                } else {
                    out.append(e);
                }
            }
        }
        return std::nullopt;
    }

    QString m_text;
    qsizetype m_pos = 0;
};

bool looksLikePropertyList(const QByteArray &bytes)
{
    if (bytes.startsWith("bplist"))
        return true;
    const QByteArray start = bytes.left(64).trimmed();
    return start.startsWith("<?xml") || start.startsWith("<!DOCTYPE") || start.startsWith("<plist")
        || start.startsWith("\xEF\xBB\xBF<");
}

} // namespace

VTBundle::VTBundle(const QString &path) : m_path(path)
{
    // A readable Contents/Info.plist answers the folder test as well; only
    // a bundle without one is looked at on its own.
    const auto bytes = readRegularFile(infoPlistPath(), MaximumInfoBytes);
    m_valid = bytes || QFileInfo(path).isDir();
    if (!m_valid)
        return;
    if (bytes)
        m_info = VTPropertyList::fromData(*bytes).toMap();
    loadLocalizedStrings();
}

const QStringList &VTBundle::packageExtensions()
{
    static const QStringList extensions{
        QStringLiteral("app"),  QStringLiteral("bundle"), QStringLiteral("plugin"),    QStringLiteral("component"),
        QStringLiteral("fxplug"), QStringLiteral("vst"), QStringLiteral("vst3"),      QStringLiteral("framework"),
        QStringLiteral("kext"), QStringLiteral("avx"),    QStringLiteral("dpm"),       QStringLiteral("aaxplugin"),
    };
    return extensions;
}

bool VTBundle::isPackage(const QString &path)
{
    const QFileInfo info(path);
    if (!info.isDir())
        return false;
    if (packageExtensions().contains(VTPath::extension(path).toLower()))
        return true;
    return QFileInfo(VTPath::join(path, QStringLiteral("Contents/Info.plist"))).isFile();
}

QString VTBundle::infoPlistPath() const
{
    return VTPath::join(m_path, QStringLiteral("Contents/Info.plist"));
}

QVariant VTBundle::value(const QString &key) const
{
    return m_info.value(key);
}

QVariant VTBundle::localizedValue(const QString &key) const
{
    const auto it = m_localized.constFind(key);
    if (it != m_localized.cend())
        return *it;
    return value(key);
}

QString VTBundle::localizedString(const QString &key) const
{
    const QVariant found = localizedValue(key);
    return found.typeId() == QMetaType::QString ? found.toString() : QString();
}

QString VTBundle::executablePath() const
{
    const QVariant name = value(QStringLiteral("CFBundleExecutable"));
    if (name.typeId() != QMetaType::QString)
        return QString();
    const QString text = name.toString();
    // The name is joined under Contents/MacOS; anything that could step out
    // of that folder is refused.
    if (text.isEmpty() || text.contains(u'/') || text == QLatin1String(".") || text == QLatin1String("..")
        || text.contains(QChar(0)))
        return QString();
    return VTPath::join({m_path, QStringLiteral("Contents/MacOS"), text});
}

QList<VTMachO::Architecture> VTBundle::executableArchitectures() const
{
    const QString executable = executablePath();
    if (executable.isEmpty())
        return {};
    return VTMachO::architecturesOfFile(executable);
}

void VTBundle::loadLocalizedStrings()
{
    const QString resources = VTPath::join(m_path, QStringLiteral("Contents/Resources"));
    // The language folders (visible, any case of ".lproj", links to folders
    // too), in name order; one read of the folder, and none of their own.
    const QByteArray native = VTPath::toNative(resources);
    std::vector<VTDirectoryListing::Entry> entries;
    if (VTDirectoryListing::list(native, entries) != 0)
        return;
    QStringList languages;
    for (const VTDirectoryListing::Entry &entry : entries) {
        const QString name = QString::fromUtf8(entry.name);
        if (name.startsWith(u'.') || !name.endsWith(QLatin1String(".lproj"), Qt::CaseInsensitive)
            || name.toUtf8() != entry.name)
            continue;
        const bool asked = entry.type == DT_LNK || entry.type == DT_UNKNOWN;
        struct stat info {};
        if (entry.type != DT_DIR
            && !(asked && ::stat(QByteArray(native + '/' + entry.name).constData(), &info) == 0 && S_ISDIR(info.st_mode)))
            continue;
        languages.append(name);
    }
    std::sort(languages.begin(), languages.end());
    for (QString &language : languages)
        language.chop(6);
    QStringList order;
    for (const QString &preferred : {QStringLiteral("en"), QStringLiteral("English"), QStringLiteral("Base")}) {
        if (languages.contains(preferred))
            order.append(preferred);
    }
    for (const QString &language : std::as_const(languages)) {
        if (!order.contains(language))
            order.append(language);
    }
    for (const QString &language : std::as_const(order)) {
        const QString file = VTPath::join({resources, language + QStringLiteral(".lproj"), QStringLiteral("InfoPlist.strings")});
        const auto bytes = readRegularFile(file, kMaximumStringsBytes);
        if (!bytes)
            continue;
        if (auto strings = parseStrings(*bytes)) {
            m_localized = std::move(*strings);
            m_localization = language;
            return;
        }
    }
}

std::optional<QHash<QString, QString>> VTBundle::parseStrings(const QByteArray &bytes)
{
    if (looksLikePropertyList(bytes)) {
        const QVariant plist = VTPropertyList::fromData(bytes);
        if (plist.typeId() != QMetaType::QVariantMap)
            return std::nullopt;
        QHash<QString, QString> result;
        const QVariantMap map = plist.toMap();
        for (auto it = map.cbegin(); it != map.cend(); ++it) {
            if (it.value().typeId() == QMetaType::QString)
                result.insert(it.key(), it.value().toString());
        }
        return result;
    }
    return StringsParser(decodeText(bytes)).parse();
}

std::optional<QByteArray> VTBundle::readRegularFile(const QString &path, qint64 maxBytes, qint64 *fileSize)
{
    // O_NONBLOCK keeps a pipe planted in a bundle from stalling the reader;
    // fstat after opening checks the object actually opened.
    const int fd = ::open(VTPath::toNative(path).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (fd < 0)
        return std::nullopt;
    struct stat status {};
    if (::fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) {
        ::close(fd);
        return std::nullopt;
    }
    if (fileSize)
        *fileSize = status.st_size;
    QByteArray bytes;
    bytes.resize(std::min<qint64>(maxBytes, status.st_size));
    qint64 done = 0;
    while (done < bytes.size()) {
        const ssize_t got = ::read(fd, bytes.data() + done, size_t(bytes.size() - done));
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            break;
        done += got;
    }
    ::close(fd);
    bytes.truncate(done);
    return bytes;
}
