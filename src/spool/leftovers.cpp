#include "spool/leftovers.h"

#include "base/paths.h"
#include "base/text.h"
#include "log/activity_log.h"
#include "spool/spool_files.h"

#include <cstring>
#include <initializer_list>

namespace
{

constexpr int LINES_AT_MOST = 20; // in one directory
constexpr size_t DIGITS_AT_LEAST = 18;
constexpr size_t EXTENSION_LENGTH = 4;

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

bool has_message(const Listing &listing, const char *envelope)
{
    char path[PATH_SIZE];
    const int base = static_cast<int>(strlen(envelope) - EXTENSION_LENGTH);
    format_text(path, sizeof path, "%s\\%.*s.txt", listing.directory, base, envelope);
    return does_file_exist(path) != 0;
}

bool log_if_left(const char *name, void *context)
{
    auto *listing = static_cast<Listing *>(context);
    const bool left = is_spool_name(name, ".tmp") ||
                      (is_spool_name(name, ".env") && !has_message(*listing, name));
    if (!left) {
        return true;
    }
    if (++listing->count > LINES_AT_MOST) {
        log_stamped(WEIGHT_WARNING,
                    "SMTP: More files of unfinished messages are left in [%s]",
                    listing->directory);
        return false;
    }
    log_stamped(WEIGHT_WARNING,
                "SMTP: An unfinished message of an earlier run is left in [%s\\%s]",
                listing->directory, name);
    return true;
}

} // namespace

void log_leftovers()
{
    for (const char *name : {SPOOL_MAIL, SPOOL_PENDING, SPOOL_MAIL_IN}) {
        Listing listing{};
        if (path_below(listing.directory, sizeof listing.directory, name)) {
            directory_names(listing.directory, log_if_left, &listing);
        }
    }
}
