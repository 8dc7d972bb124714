#include "platform/posix/name_lookup.h"

#include "platform/ascii.h"
#include "platform/posix/working_directory.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <memory>

namespace
{

bool exists(const std::string &path)
{
    struct stat status;
    return lstat(path.c_str(), &status) == 0;
}

// The directory's entry of that name in any letter case; of several the first in byte
// order. False, with errno set, when there is none or the directory cannot be read.
bool find_entry(const std::string &directory, const std::string &name, std::string *found)
{
    const std::unique_ptr<DIR, int (*)(DIR *)> entries(
        opendir(directory.empty() ? "." : directory.c_str()), closedir);
    if (entries == nullptr) {
        return false;
    }
    bool any = false;
    errno = 0;
    while (const dirent *entry = readdir(entries.get())) {
        if (equal_ignoring_case(entry->d_name, name) &&
            (!any || *found > entry->d_name)) {
            *found = entry->d_name;
            any = true;
        }
    }
    errno = errno != 0 ? errno : ENOENT;
    return any;
}

enum LastName { LAST_MUST_EXIST, LAST_MAY_MISS, LAST_AS_GIVEN };

// Walks the path name by name, each as spelled if that exists, else in any letter case.
bool walk(const std::string &path, LastName rule, std::string *found)
{
    std::string sofar = path.starts_with('/') ? "/" : "";
    size_t at = 0;
    while (at < path.size()) {
        const size_t end = std::min(path.find('/', at), path.size());
        std::string name = path.substr(at, end - at);
        at = end + 1;
        if (name.empty()) {
            continue;
        }
        const std::string directory = sofar;
        if (!sofar.empty() && sofar.back() != '/') {
            sofar += '/';
        }
        const bool last = at >= path.size();
        if (!(last && rule == LAST_AS_GIVEN) && !exists(sofar + name) &&
            !find_entry(directory, name, &name) && !(last && rule == LAST_MAY_MISS)) {
            return false;
        }
        sofar += name;
    }
    *found = sofar;
    return true;
}

} // namespace

std::string native_path(const char *path)
{
    std::string native = below_current_directory(path);
    std::replace(native.begin(), native.end(), '\\', '/');
    return native;
}

bool native_name(const char *path, char *native, size_t size)
{
    path = below_current_directory(path);
    size_t length = 0;
    for (; path[length] != '\0'; length++) {
        if (length + 1 >= size) {
            errno = ENAMETOOLONG;
            return false;
        }
        native[length] = path[length] == '\\' ? '/' : path[length];
    }
    native[length] = '\0';
    return true;
}

bool find_in_other_case(const std::string &path, std::string *found)
{
    return walk(path, LAST_MUST_EXIST, found);
}

std::string path_for_new_name(const std::string &path)
{
    std::string found;
    return walk(path, LAST_MAY_MISS, &found) ? found : path;
}

std::string path_for_exact_name(const std::string &path)
{
    std::string found;
    return walk(path, LAST_AS_GIVEN, &found) ? found : path;
}

std::string existing_path(const char *path)
{
    std::string native = native_path(path);
    std::string found;
    if (!exists(native) && find_in_other_case(native, &found)) {
        return found;
    }
    return native;
}

std::string resolved_path(const std::string &path)
{
    char resolved[PATH_MAX];
    return realpath(path.c_str(), resolved) != nullptr ? resolved : path;
}
