#include "platform/access.h"

#include "platform/posix/name_lookup.h"

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <vector>

namespace
{

constexpr int GROUPS_LIMIT = 65536;

// Somebody else, whose rights this process cannot take on.
struct OtherUser {
    bool asked_for;
    uid_t id;
    std::vector<gid_t> groups;
};

OtherUser other;

std::vector<gid_t> groups_of(const passwd &user)
{
    int count = GROUPS_LIMIT;
    std::vector<gid_t> groups(GROUPS_LIMIT);
    if (getgrouplist(user.pw_name, user.pw_gid, groups.data(), &count) < 0) {
        return {user.pw_gid};
    }
    groups.resize(static_cast<size_t>(count));
    return groups;
}

bool become(const passwd &user)
{
    return initgroups(user.pw_name, user.pw_gid) == 0 && setgid(user.pw_gid) == 0 &&
           setuid(user.pw_uid) == 0;
}

// By owner, group and mode, as the system would without lists of rights.
bool mode_allows(const std::string &path, unsigned wanted)
{
    struct stat status;
    if (stat(path.c_str(), &status) != 0) {
        return false;
    }
    if (other.id == 0) {
        return true;
    }
    const auto &groups = other.groups;
    unsigned allowed = status.st_mode;
    if (status.st_uid == other.id) {
        allowed >>= 6;
    } else if (std::find(groups.begin(), groups.end(), status.st_gid) != groups.end()) {
        allowed >>= 3;
    }
    return (allowed & wanted) == wanted;
}

// The file and every directory above it.
bool modes_allow(const std::string &name, unsigned wanted)
{
    const std::string path = resolved_path(name);
    for (size_t slash = path.find('/', 1); slash != std::string::npos;
         slash = path.find('/', slash + 1)) {
        if (!mode_allows(path.substr(0, slash), MAY_SEARCH)) {
            return false;
        }
    }
    const bool writes = (wanted & MAY_WRITE) != 0;
    const bool read_only = writes && access(path.c_str(), W_OK) != 0 && errno == EROFS;
    return !read_only && mode_allows(path, wanted);
}

} // namespace

PathKind path_kind(const char *path)
{
    struct stat status;
    if (stat(existing_path(path).c_str(), &status) != 0) {
        return PATH_MISSING;
    }
    if (S_ISDIR(status.st_mode)) {
        return PATH_DIRECTORY;
    }
    return S_ISREG(status.st_mode) ? PATH_FILE : PATH_OTHER;
}

bool ask_for_user(const char *name)
{
    const passwd *user = getpwnam(name);
    if (user == nullptr) {
        return false;
    }
    if (user->pw_uid == geteuid() || (geteuid() == 0 && become(*user))) {
        return true;
    }
    other = {true, user->pw_uid, groups_of(*user)};
    return true;
}

bool root_asks()
{
    return geteuid() == 0;
}

bool path_allows(const char *path, unsigned wanted)
{
    const std::string name = existing_path(path);
    return other.asked_for ? modes_allow(name, wanted)
                           : faccessat(AT_FDCWD, name.c_str(), static_cast<int>(wanted),
                                       AT_EACCESS) == 0;
}

bool everybody_may_read(const char *path)
{
    struct stat status;
    return stat(existing_path(path).c_str(), &status) == 0 &&
           (status.st_mode & S_IROTH) != 0;
}
