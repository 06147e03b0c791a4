#include "VTFileManager.h"

#include "VTPath.h"

#include <dirent.h>

#include <algorithm>
#include <memory>

namespace {

struct DirCloser {
    void operator()(DIR *dir) const { closedir(dir); }
};
using DirHandle = std::unique_ptr<DIR, DirCloser>;

} // namespace

bool VTFileManager::nameMatchesWildcard(const QString &name, const QString &pattern)
{
    // Greedy match with one backtrack point: the last "*" seen absorbs one
    // more character whenever the rest fails to match.
    qsizetype n = 0, p = 0;
    qsizetype starP = -1, starN = 0;
    while (n < name.size()) {
        if (p < pattern.size() && pattern.at(p) == u'*') {
            starP = p++;
            starN = n;
        } else if (p < pattern.size() && pattern.at(p) == name.at(n)) {
            ++p;
            ++n;
        } else if (starP >= 0) {
            p = starP + 1;
            n = ++starN;
        } else {
            return false;
        }
    }
    while (p < pattern.size() && pattern.at(p) == u'*')
        ++p;
    return p == pattern.size();
}

QStringList VTFileManager::filesMatchingWildcardPath(const QString &wildcardPath)
{
    const QString folder = VTPath::removeLastComponent(wildcardPath);
    const QString pattern = VTPath::lastComponent(wildcardPath);
    if (folder.isEmpty() || pattern.isEmpty())
        return {};

    DirHandle dir(opendir(VTPath::toNative(folder).constData()));
    if (!dir)
        return {};
    QStringList names;
    while (const dirent *entry = readdir(dir.get())) {
        const QByteArray raw(entry->d_name);
        if (raw == "." || raw == "..")
            continue;
        const QString name = VTPath::fromNative(raw);
        if (nameMatchesWildcard(name, pattern))
            names.append(name);
    }
    std::sort(names.begin(), names.end());
    QStringList result;
    result.reserve(names.size());
    for (const QString &name : std::as_const(names))
        result.append(VTPath::join(folder, name));
    return result;
}
