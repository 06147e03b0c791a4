// tessary-floor-walk: the least work any scan of the plug-in folders must do,
// as the yardstick of tessary-benchmark. One thread; it lists each folder
// given (and the folders below it), lstats every entry, parses each bundle's
// Contents/Info.plist with libplist and reads the first 4 KB of the
// executable it names. Bundles are folders with a bundle extension; other
// folders are walked.
//
//   tessary-floor-walk FOLDER...
//
// Prints one line of counts.

#include <plist/plist.h>

#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

struct Totals {
    long folders = 0;
    long entries = 0;
    long bundles = 0;
    long executables = 0;
};

bool hasBundleExtension(const char *name)
{
    static const char *const extensions[] = {"bundle", "avx", "dpm", "fxplug", "component", "plugin", "vst", "app"};
    const char *dot = std::strrchr(name, '.');
    if (!dot || dot == name)
        return false;
    for (const char *extension : extensions) {
        if (strcasecmp(dot + 1, extension) == 0)
            return true;
    }
    return false;
}

std::string executableName(const std::vector<char> &bytes)
{
    plist_t root = nullptr;
    plist_from_memory(bytes.data(), uint32_t(bytes.size()), &root);
    std::string name;
    if (root && plist_get_node_type(root) == PLIST_DICT) {
        if (plist_t node = plist_dict_get_item(root, "CFBundleExecutable");
            node && plist_get_node_type(node) == PLIST_STRING) {
            char *text = nullptr;
            plist_get_string_val(node, &text);
            if (text)
                name = text;
            free(text);
        }
    }
    if (root)
        plist_free(root);
    return name;
}

void readBundle(const std::string &path, Totals &totals)
{
    ++totals.bundles;
    const int info = ::open((path + "/Contents/Info.plist").c_str(), O_RDONLY | O_CLOEXEC);
    if (info < 0)
        return;
    struct stat status {};
    std::vector<char> bytes;
    if (::fstat(info, &status) == 0 && status.st_size > 0 && status.st_size < (1 << 22)) {
        bytes.resize(size_t(status.st_size));
        bytes.resize(size_t(std::max<ssize_t>(0, ::read(info, bytes.data(), bytes.size()))));
    }
    ::close(info);
    const std::string name = executableName(bytes);
    if (name.empty() || name.find('/') != std::string::npos)
        return;
    const int executable = ::open((path + "/Contents/MacOS/" + name).c_str(), O_RDONLY | O_CLOEXEC);
    if (executable < 0)
        return;
    char head[4096];
    if (::read(executable, head, sizeof head) > 0)
        ++totals.executables;
    ::close(executable);
}

void walk(const std::string &folder, Totals &totals, int depth)
{
    // The sandbox has no link loops (entries are lstat'ed, so links are not
    // followed); the bound only guards a hand-made tree.
    if (depth > 64)
        return;
    DIR *dir = ::opendir(folder.c_str());
    if (!dir)
        return;
    ++totals.folders;
    std::vector<std::string> folders;
    while (const dirent *entry = ::readdir(dir)) {
        if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0)
            continue;
        struct stat status {};
        if (::fstatat(::dirfd(dir), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) != 0)
            continue;
        ++totals.entries;
        if (!S_ISDIR(status.st_mode))
            continue;
        if (hasBundleExtension(entry->d_name))
            readBundle(folder + '/' + entry->d_name, totals);
        else
            folders.push_back(folder + '/' + entry->d_name);
    }
    ::closedir(dir);
    for (const std::string &inner : folders)
        walk(inner, totals, depth + 1);
}

} // namespace

int main(int argc, char **argv)
{
    Totals totals;
    for (int i = 1; i < argc; ++i)
        walk(argv[i], totals, 0);
    std::printf("%ld folders, %ld entries, %ld bundles, %ld executables\n", totals.folders, totals.entries,
                totals.bundles, totals.executables);
    return 0;
}
