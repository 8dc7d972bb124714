#include "platform/profile.h"

#include "platform/ascii.h"
#include "platform/file_contents.h"
#include "platform/files.h"
#include "platform/posix/error_text.h"
#include "platform/posix/name_lookup.h"
#include "platform/posix/profile_text.h"
#include "platform/posix/replace_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <new>
#include <optional>
#include <string>
#include <thread>
#include <unordered_map>

namespace
{

constexpr int LOCK_PAUSE = 10; // milliseconds

const char *last_error; // of a write

// A section and a key of it.
using Name = std::pair<std::string_view, std::string_view>;

struct HashOfName {
    size_t operator()(const Name &name) const
    {
        return NameHash()(name.first) * 31 + NameHash()(name.second);
    }
};
struct SameName {
    bool operator()(const Name &a, const Name &b) const
    {
        return equal_ignoring_case(a.first, b.first) &&
               equal_ignoring_case(a.second, b.second);
    }
};

// A parsed file, kept while the version stays. Its views point into the file's content.
struct Profile {
    uint64_t version = 0;
    std::unordered_map<Name, std::string_view, HashOfName, SameName> values;
};

std::unordered_map<std::string, Profile> profiles;

void parse(Profile *profile, const FileContents &contents)
{
    profile->values.clear();
    if (contents.bytes != nullptr) {
        for (const ProfileItem &item : profile_items({contents.bytes, contents.size})) {
            profile->values.emplace(Name{item.section, item.key}, item.value);
        }
    }
    profile->version = contents.version;
}

bool bring_up_to_date(Profile *profile, const FileContents &contents)
{
    try {
        parse(profile, contents);
        return true;
    } catch (const std::bad_alloc &) {
        *profile = {};
        return false;
    }
}

std::optional<std::string_view> value_of(std::string_view section, std::string_view key,
                                         const char *path)
{
    static std::string last_path;
    static Profile *last_profile;
    if (last_profile == nullptr || last_path != path) {
        last_profile = nullptr; // unless memory lasts
        Profile *found = &profiles[path];
        last_path = path;
        last_profile = found;
    }
    const FileContents contents = file_contents(path);
    if (last_profile->version != contents.version &&
        !bring_up_to_date(last_profile, contents)) {
        return profile_value({contents.bytes, contents.size}, section, key);
    }
    const auto found = last_profile->values.find({section, key});
    return found == last_profile->values.end() ? std::nullopt
                                               : std::optional(found->second);
}

// The file opened for writing and locked, and still the one that the name stands for.
int open_locked(const std::string &name, int wait)
{
    for (;;) {
        const int file = open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
        if (file < 0) {
            return -1;
        }
        const bool locked = flock(file, LOCK_EX | LOCK_NB) == 0;
        struct stat opened;
        struct stat named;
        if (locked && fstat(file, &opened) == 0 && stat(name.c_str(), &named) == 0 &&
            opened.st_ino == named.st_ino && opened.st_dev == named.st_dev) {
            return file;
        }
        close(file);
        if (locked) {
            continue; // another writer has just replaced it
        }
        if (wait <= 0) {
            errno = EWOULDBLOCK;
            return -1;
        }
        wait -= LOCK_PAUSE;
        std::this_thread::sleep_for(std::chrono::milliseconds(LOCK_PAUSE));
    }
}

WriteResult failed()
{
    last_error = error_text(errno);
    return WRITE_FAILED;
}

} // namespace

int profile_int(const char *section, const char *key, int missing, const char *path)
{
    const std::optional<std::string_view> value = value_of(section, key, path);
    return value ? text_to_number(*value) : missing;
}

int profile_text(const char *section, const char *key, const char *missing, char *text,
                 int size, const char *path)
{
    const std::string_view value = value_of(section, key, path).value_or(missing);
    const size_t length = std::min(value.size(), static_cast<size_t>(size) - 1);
    value.copy(text, length);
    text[length] = '\0';
    return static_cast<int>(length);
}

WriteResult profile_write(const char *section, const char *key, const char *value,
                          const char *path, int wait)
{
    file_contents_invalidate(); // another writer may have been here since the last read
    const FileContents contents = file_contents(path);
    if (contents.error != nullptr) {
        last_error = contents.error;
        return WRITE_FAILED;
    }
    if (contents.bytes != nullptr &&
        profile_has({contents.bytes, contents.size}, section, key, value)) {
        return WRITE_DONE;
    }

    const std::string name = resolved_path(path_for_new_name(native_path(path)));
    const int file = open_locked(name, wait);
    if (file < 0) {
        return errno == EWOULDBLOCK ? WRITE_LOCKED_OUT : failed();
    }
    // Read again: what another writer did up to the lock counts.
    bool done = false;
    try {
        std::string text;
        done = file_read_whole(file, &text) &&
               replace_content(name, file, profile_with(text, section, key, value));
    } catch (const std::bad_alloc &) {
        errno = ENOMEM;
    }
    const WriteResult result = done ? WRITE_DONE : failed();
    close(file); // and with it the lock
    file_contents_invalidate();
    return result;
}

const char *profile_write_error()
{
    return last_error;
}

void profile_flush(const char *)
{
    file_contents_invalidate();
}

const char *profile_error(const char *path)
{
    return file_contents(path).error;
}

uint64_t profile_version(const char *path)
{
    return file_contents(path).version;
}
