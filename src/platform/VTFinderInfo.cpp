#include "VTFinderInfo.h"

#include "VTPath.h"

#include <sys/types.h>
#include <sys/xattr.h>

#include <cerrno>

const char *VTFinderInfo::attributeName()
{
    return "user.com.apple.FinderInfo";
}

QByteArray VTFinderInfo::typeCode(const QString &path)
{
    const QByteArray native = VTPath::toNative(path);
    char buffer[FinderInfoLength] = {};
    ssize_t length = ::getxattr(native.constData(), attributeName(), buffer, sizeof buffer);
    if (length < 0 && errno == ERANGE) {
        // Longer than the Finder writes it; only the front matters.
        QByteArray whole(static_cast<qsizetype>(::getxattr(native.constData(), attributeName(), nullptr, 0)), '\0');
        if (whole.isEmpty())
            return QByteArray();
        length = ::getxattr(native.constData(), attributeName(), whole.data(), static_cast<size_t>(whole.size()));
        if (length < TypeCodeLength)
            return QByteArray();
        return whole.left(TypeCodeLength);
    }
    if (length < TypeCodeLength)
        return QByteArray();
    return QByteArray(buffer, TypeCodeLength);
}

bool VTFinderInfo::setTypeCode(const QString &path, const QByteArray &code)
{
    if (code.size() != TypeCodeLength)
        return false;
    const QByteArray native = VTPath::toNative(path);

    QByteArray info(FinderInfoLength, '\0');
    const ssize_t existing = ::getxattr(native.constData(), attributeName(), nullptr, 0);
    if (existing > 0) {
        QByteArray current(static_cast<qsizetype>(existing), '\0');
        const ssize_t read = ::getxattr(native.constData(), attributeName(), current.data(), static_cast<size_t>(current.size()));
        if (read > 0) {
            current.truncate(static_cast<qsizetype>(read));
            if (current.size() >= FinderInfoLength)
                info = current;
            else
                info.replace(0, current.size(), current);
        }
    }
    info.replace(0, TypeCodeLength, code);
    return ::setxattr(native.constData(), attributeName(), info.constData(), static_cast<size_t>(info.size()), 0) == 0;
}
