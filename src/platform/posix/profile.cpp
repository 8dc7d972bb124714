#include "platform/profile.h"

#include "platform/file_contents.h"
#include "platform/files.h"
#include "platform/posix/name_lookup.h"
#include "platform/posix/profile_text.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <new>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace
{

constexpr int LOCK_TRIES = 200;
constexpr long LOCK_PAUSE = 10000000; // nanoseconds: 2 seconds in all

// A parsed file, with an index by section and key. Kept while the version stays.
struct Profile {
    uint64_t version = 0;
    std::vector<ProfileItem> items;
    std::vector<uint32_t> index; // of the item + 1; 0 is free; a power of two
};

std::unordered_map<std::string, Profile> profiles;

uint32_t hash_name(uint32_t hash, std::string_view name)
{
    for (const char c : name) {
        hash = (hash ^ (static_cast<unsigned char>(c) | 0x20U)) * 16777619U; // any case
    }
    return (hash ^ 0x100U) * 16777619U;
}

uint32_t hash_names(std::string_view section, std::string_view key)
{
    return hash_name(hash_name(2166136261U, section), key);
}

const ProfileItem *find_item(const Profile &profile, std::string_view section,
                             std::string_view key)
{
    const size_t mask = profile.index.size() - 1;
    for (size_t at = hash_names(section, key) & mask;; at = (at + 1) & mask) {
        const uint32_t number = profile.index[at];
        if (number == 0) {
            return nullptr;
        }
        const ProfileItem &item = profile.items[number - 1];
        if (profile_same_name(item.section, section) &&
            profile_same_name(item.key, key)) {
            return &item;
        }
    }
}

void parse(Profile *profile, const FileContents &contents)
{
    profile->items = contents.bytes == nullptr
                         ? std::vector<ProfileItem>()
                         : profile_items({contents.bytes, contents.size});
    profile->version = contents.version;
    size_t size = 16;
    while (size < profile->items.size() * 2 + 2) {
        size *= 2;
    }
    profile->index.assign(size, 0);
    for (size_t i = 0; i < profile->items.size(); i++) {
        const ProfileItem &item = profile->items[i];
        if (find_item(*profile, item.section, item.key) != nullptr) {
            continue; // the first counts
        }
        size_t at = hash_names(item.section, item.key) & (size - 1);
        while (profile->index[at] != 0) {
            at = (at + 1) & (size - 1);
        }
        profile->index[at] = static_cast<uint32_t>(i + 1);
    }
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
        last_profile = &profiles[path];
        last_path = path;
    }
    const FileContents contents = file_contents(path);
    if (last_profile->version != contents.version &&
        !bring_up_to_date(last_profile, contents)) {
        return profile_value({contents.bytes, contents.size}, section, key);
    }
    const ProfileItem *item = find_item(*last_profile, section, key);
    return item == nullptr ? std::nullopt : std::optional(item->value);
}

// The file opened for writing and locked, and still the one that the name stands for.
int open_locked(const std::string &name)
{
    for (int tries = 0; tries < LOCK_TRIES; tries++) {
        const int file = open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
        if (file < 0) {
            return -1;
        }
        if (flock(file, LOCK_EX | LOCK_NB) == 0) {
            struct stat opened;
            struct stat named;
            if (fstat(file, &opened) == 0 && stat(name.c_str(), &named) == 0 &&
                opened.st_ino == named.st_ino && opened.st_dev == named.st_dev) {
                return file;
            }
            tries--; // another writer has just replaced it
        } else {
            const timespec pause{0, LOCK_PAUSE};
            nanosleep(&pause, nullptr);
        }
        close(file);
    }
    return -1;
}

// Puts the text in the place of the file: beside it first, then over it in one step.
bool replace(const std::string &name, int old_file, const std::string &text)
{
    struct stat status;
    const std::string beside = name + ".new";
    const int file =
        open(beside.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (file < 0) {
        return false;
    }
    bool done = fstat(old_file, &status) == 0;
    done = done && (fchown(file, status.st_uid, status.st_gid) == 0 ||
                    (status.st_uid == geteuid() && status.st_gid == getegid()));
    done = done && fchmod(file, status.st_mode & 07777) == 0;
    done = done && file_write(file, text.data(), text.size());
    done = done && fdatasync(file) == 0;
    done = close(file) == 0 && done;
    done = done && rename(beside.c_str(), name.c_str()) == 0;
    if (!done) {
        unlink(beside.c_str());
    }
    return done;
}

} // namespace

int profile_int(const char *section, const char *key, int missing, const char *path)
{
    const std::optional<std::string_view> found = value_of(section, key, path);
    if (!found) {
        return missing;
    }
    const std::string_view value = *found;
    size_t at = 0;
    while (at < value.size() && (value[at] == ' ' || value[at] == '\t')) {
        at++;
    }
    const bool negative = at < value.size() && value[at] == '-';
    if (at < value.size() && (value[at] == '-' || value[at] == '+')) {
        at++;
    }
    int64_t number = 0;
    for (; at < value.size() && value[at] >= '0' && value[at] <= '9'; at++) {
        number = std::min<int64_t>(number * 10 + (value[at] - '0'), INT64_C(1) << 31);
    }
    number = negative ? -number : std::min<int64_t>(number, INT_MAX);
    return static_cast<int>(number);
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

bool profile_write(const char *section, const char *key, const char *value,
                   const char *path)
{
    file_contents_invalidate(); // another writer may have been here since the last read
    const FileContents contents = file_contents(path);
    if (contents.bytes != nullptr &&
        profile_has({contents.bytes, contents.size}, section, key, value)) {
        return true;
    }

    const std::string name = behind_links(path_for_new_name(native_path(path)));
    const int file = open_locked(name);
    if (file < 0) {
        return false;
    }
    // Read anew: what another writer did up to the lock counts.
    std::string text;
    static char piece[65536];
    int64_t count = 0;
    while ((count = file_read(file, piece, sizeof piece)) > 0) {
        text.append(piece, static_cast<size_t>(count));
    }
    const bool done =
        count == 0 && replace(name, file, profile_with(text, section, key, value));
    close(file); // and with it the lock
    file_contents_invalidate();
    return done;
}

void profile_flush(const char *)
{
    file_contents_invalidate();
}

uint64_t profile_version(const char *path)
{
    return file_contents(path).version;
}
