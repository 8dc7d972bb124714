#include "spool/leftovers.h"

#include "base/paths.h"
#include "base/text.h"
#include "log/activity_log.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "spool/spool_files.h"

#include <cstring>

namespace
{

constexpr int LINES_AT_MOST = 20; // in one directory
constexpr size_t DIGITS_AT_LEAST = 18;
constexpr size_t EXTENSION_LENGTH = 4;
constexpr int64_t A_MINUTE = 60; // seconds

struct Listing {
    char directory[PATH_SIZE];
    int count;
};

// A name that spool_files_create makes, with this extension.
bool is_spool_name(const char *name, const char *extension)
{
    const size_t digits = strspn(name, "0123456789abcdefABCDEF");
    return digits >= DIGITS_AT_LEAST && strcmp(name + digits, extension) == 0;
}

// Whether the envelope's transaction has a file with this extension.
bool has_file(const Listing &listing, const char *envelope, const char *extension)
{
    char path[PATH_SIZE];
    const int base = static_cast<int>(strlen(envelope) - EXTENSION_LENGTH);
    format_text(path, sizeof path, "%s/%.*s%s", listing.directory, base, envelope,
                extension);
    return does_file_exist(path) != 0;
}

bool is_old(const Listing &listing, const char *name)
{
    char path[PATH_SIZE];
    format_text(path, sizeof path, "%s/%s", listing.directory, name);
    return file_time(path) + A_MINUTE <= unix_time();
}

enum Leftover { NOT_LEFT, UNFINISHED, ENVELOPE_ALONE };

// The fax server may take a message before its envelope, so an envelope alone means
// something only later.
Leftover kind_of(const Listing &listing, const char *name)
{
    if (is_spool_name(name, ".tmp")) {
        return UNFINISHED;
    }
    if (!is_spool_name(name, ".env") || has_file(listing, name, ".txt")) {
        return NOT_LEFT;
    }
    if (has_file(listing, name, ".tmp")) {
        return UNFINISHED;
    }
    return is_old(listing, name) ? ENVELOPE_ALONE : NOT_LEFT;
}

bool log_if_left(const char *name, void *context)
{
    auto *listing = static_cast<Listing *>(context);
    const Leftover kind = kind_of(*listing, name);
    if (kind == NOT_LEFT) {
        return true;
    }
    if (++listing->count > LINES_AT_MOST) {
        log_stamped(WEIGHT_WARNING,
                    "SMTP: More files of unfinished messages are left in [%s]",
                    listing->directory);
        return false;
    }
    log_stamped(WEIGHT_WARNING,
                kind == UNFINISHED
                    ? "SMTP: An unfinished message of an earlier run is left in [%s/%s]"
                    : "SMTP: An envelope without a message is left in [%s/%s]",
                listing->directory, name);
    return true;
}

} // namespace

void log_leftovers()
{
    for (const char *name : SPOOL_DIRECTORIES) {
        Listing listing{};
        char directory[PATH_SIZE];
        if (path_below(directory, sizeof directory, name)) {
            copy_text(listing.directory, PATH_SIZE, shell_path(directory).text);
            directory_names(listing.directory, log_if_left, &listing);
        }
    }
}
