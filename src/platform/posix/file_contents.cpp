#include "platform/file_contents.h"

#include "platform/files.h"
#include "platform/posix/error_text.h"
#include "platform/posix/name_lookup.h"
#include "platform/posix/working_directory.h"

#include <sys/stat.h>

#include <cerrno>
#include <ctime>
#include <string>
#include <unordered_map>

namespace
{

// A file system stamps its files with a coarse clock: some milliseconds on a local disk,
// up to two seconds on a share. A content read closer than this to the file's own time
// may be out of date although the time is the same.
constexpr int64_t GRAIN_SECONDS = 3;

struct Entry {
    uint64_t event = 0; // of the last look
    bool there = false;
    bool missing = false;
    const char *error = nullptr;
    bool lasting = false;
    std::string name; // as it stands on disk
    struct stat status {
    };
    bool settled = false;  // older than the clock's grain when it was read
    std::string directory; // of a missing file; empty: not to be trusted
    struct stat searched {
    }; // that directory when it was searched, under the same rule as `settled`
    std::string bytes;
    uint64_t version = 0;
};

std::unordered_map<std::string, Entry> entries;
uint64_t event_number = 1;
uint64_t last_version;

bool same_time(const timespec &a, const timespec &b)
{
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

bool same_file(const struct stat &a, const struct stat &b)
{
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_size == b.st_size &&
           same_time(a.st_mtim, b.st_mtim) && same_time(a.st_ctim, b.st_ctim);
}

// Whether the last change is older than the clock's grain.
bool is_settled(const struct stat &status)
{
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    return status.st_mtim.tv_sec + GRAIN_SECONDS < now.tv_sec &&
           status.st_ctim.tv_sec + GRAIN_SECONDS < now.tv_sec;
}

// A missing file stays missing while its directory is as it was.
bool is_still_missing(const Entry &entry)
{
    struct stat status;
    return !entry.directory.empty() && stat(entry.directory.c_str(), &status) == 0 &&
           same_file(status, entry.searched);
}

// Notes the directory of a missing file before it is searched.
void note_directory(const std::string &native, Entry *entry)
{
    const size_t slash = native.rfind('/');
    entry->directory = slash == std::string::npos
                           ? "."
                           : existing_path(native.substr(0, slash + 1).c_str());
    if (stat(entry->directory.c_str(), &entry->searched) != 0 ||
        !is_settled(entry->searched)) {
        entry->directory.clear();
    }
}

enum Outcome { DONE, MISSING, UNREADABLE };

// Of the last outcome that was UNREADABLE: why, and whether that is the file's own.
const char *last_error;
bool last_error_lasts;

Outcome unreadable(const char *reason, bool lasting = true)
{
    last_error = reason;
    last_error_lasts = lasting;
    return UNREADABLE;
}

// What errno says of a failed call.
Outcome failed()
{
    if (errno == ENOENT || errno == ENOTDIR) {
        return MISSING;
    }
    const bool lasting = errno == EACCES || errno == EPERM || errno == ELOOP;
    return unreadable(error_text(errno), lasting);
}

Outcome look_at(const std::string &name, struct stat *status)
{
    return stat(name.c_str(), status) == 0 ? DONE : failed();
}

// Looks at the file's directory entry: as the path is spelled, then where the file was
// last, then in any letter case.
Outcome look(const char *path, Entry *entry, struct stat *status)
{
    if (is_still_missing(*entry)) {
        return MISSING;
    }
    const std::string native = native_path(path);
    Outcome outcome = look_at(native, status);
    if (outcome == DONE) {
        entry->name = native;
        entry->directory.clear();
    }
    if (outcome == MISSING && !entry->name.empty() && entry->name != native) {
        outcome = look_at(entry->name, status);
    }
    if (outcome != MISSING) {
        return outcome;
    }
    note_directory(native, entry);
    if (!find_in_other_case(native, &entry->name)) {
        return failed();
    }
    entry->directory.clear();
    outcome = look_at(entry->name, status);
    return outcome == MISSING ? unreadable("a link that leads nowhere") : outcome;
}

// In UTF-16, as some editors save a file: its bytes are no text for anybody here.
bool is_utf16(const std::string &bytes)
{
    return bytes.starts_with("\xFF\xFE") || bytes.starts_with("\xFE\xFF");
}

Outcome read_whole(const std::string &name, std::string *bytes)
{
    const FileHandle file = file_open(name.c_str(), FILE_READ);
    if (file == NO_FILE) {
        return failed();
    }
    const Outcome outcome = file_read_whole(file, bytes) ? DONE : failed();
    file_close(file);
    return outcome == DONE && is_utf16(*bytes) ? unreadable("it is in UTF-16") : outcome;
}

void set_content(Entry *entry, bool there, std::string bytes)
{
    if (entry->version != 0 && entry->there == there && entry->bytes == bytes) {
        return;
    }
    entry->there = there;
    entry->bytes = std::move(bytes);
    entry->version = ++last_version;
}

void bring_up_to_date(const char *path, Entry *entry)
{
    // The status from before the read is kept, so that a change during the read shows.
    struct stat status;
    Outcome outcome = look(path, entry, &status);
    if (outcome == DONE && !S_ISREG(status.st_mode)) {
        outcome = unreadable("it is not a plain file");
    }
    std::string bytes;
    bool settled = false;
    if (outcome == DONE) {
        if (entry->there && entry->settled && same_file(status, entry->status)) {
            entry->error = nullptr;
            entry->lasting = false;
            return;
        }
        settled = is_settled(status);
        outcome = read_whole(entry->name, &bytes);
    }
    entry->missing = outcome == MISSING;
    entry->error = outcome == UNREADABLE ? last_error : nullptr;
    entry->lasting = outcome == UNREADABLE && last_error_lasts;
    entry->settled = outcome == DONE && settled;
    if (outcome == UNREADABLE && entry->version != 0) {
        // The last content stays: without its settings the server would let in clients
        // that it must refuse.
        return;
    }
    entry->status = status;
    set_content(entry, outcome == DONE, outcome == DONE ? std::move(bytes) : "");
}

} // namespace

FileContents file_contents(const char *path)
{
    // The same few paths come again and again.
    static std::string last_path;
    static Entry *last_entry;
    if (last_entry == nullptr || last_path != path) {
        last_entry = nullptr; // unless memory lasts
        Entry *found = &entries[path];
        last_path = path;
        last_entry = found;
    }
    Entry *entry = last_entry;
    if (entry->event != event_number) {
        bring_up_to_date(path, entry);
        entry->event = event_number;
    }
    if (!entry->there) {
        return {nullptr, 0, entry->version, entry->missing, entry->error, entry->lasting};
    }
    return {entry->bytes.c_str(), entry->bytes.size(), entry->version, false,
            entry->error,         entry->lasting};
}

void file_contents_invalidate()
{
    event_number++;
    current_directory_invalidate();
}
