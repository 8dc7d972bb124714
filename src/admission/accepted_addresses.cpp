#include "admission/accepted_addresses.h"

#include "admission/address_list.h"
#include "base/paths.h"
#include "log/activity_log.h"
#include "platform/files.h"

#include <algorithm>
#include <new>
#include <string>

namespace
{

// What the log calls each kind of entry.
constexpr const char *KIND_NAMES[] = {
    "full matching",
    "matching full range",
    "wildcard",
    "matching wildcard range",
};

struct AcceptedList {
    bool loaded = false;
    std::string content;
    AddressTable table;
};

AcceptedList accepted;

bool out_of_memory()
{
    log_line(WEIGHT_FAILURE,
             "***WARNING*** - IP Address validation - Insufficient memory to load file");
    return false;
}

// False, with the reason logged and nothing kept, when the list cannot be loaded.
bool load_list()
{
    if (does_file_exist(ACCEPTED_FILE) == 0) {
        log_line(WEIGHT_FAILURE,
                 "***WARNING*** - IP Address validation file cannot be found");
        log_line(WEIGHT_FAILURE,
                 "***WARNING*** - IP Address validation cannot be performed...");
        return false;
    }
    const auto size = static_cast<size_t>(std::max<int64_t>(file_size(ACCEPTED_FILE), 0));
    std::string content;
    try {
        content.reserve(size);
    } catch (const std::bad_alloc &) {
        return out_of_memory();
    }
    const FileHandle file = file_open(ACCEPTED_FILE, FILE_READ);
    if (file == NO_FILE) {
        log_line(WEIGHT_FAILURE,
                 "***WARNING*** - IP Address validation - Unable to open file");
        return false;
    }
    const bool whole = file_read_whole(file, &content) && content.size() >= size;
    file_close(file);
    if (!whole) {
        log_line(WEIGHT_FAILURE,
                 "***WARNING*** - IP Address validation - Unable to read file");
        return false;
    }
    if (!build_table(&accepted.table, ACCEPTED_LIST, content.data(), content.size())) {
        return out_of_memory();
    }
    accepted.content = std::move(content);
    accepted.loaded = true;
    return true;
}

} // namespace

int validate_ip_address(const char *address)
{
    if (!accepted.loaded && !load_list()) {
        return 0;
    }
    log_stamped("SMTP : Validating [%s]", address);

    Octets client;
    if (!read_address(address, &client)) {
        return 0;
    }

    AddressEntry entry;
    if (find_entry(accepted.table, accepted.content.data(), client, &entry)) {
        char line[ENTRY_TEXT_SIZE];
        entry_text(entry, line);
        log_stamped("SMTP : Connection accepted from [%s] due to %s entry [%s]", address,
                    KIND_NAMES[entry.kind], line);
        return 1;
    }

    // A malformed entry ends the check without a line.
    if (accepted.table.ending != SCAN_AT_MALFORMED) {
        log_stamped(WEIGHT_WARNING,
                    "SMTP : Connection refused from [%s] - no matching validation entry",
                    address);
    }
    return 0;
}

void accepted_addresses_free()
{
    accepted = {};
}
