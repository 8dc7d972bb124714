#include "admission/accepted_addresses.h"

#include "admission/address_list.h"
#include "base/paths.h"
#include "log/activity_log.h"
#include "platform/files.h"

#include <memory>
#include <new>

namespace
{

constexpr char LIST_FILE[] = "DATA\\RAW\\VALIDIPADDRESSES.TXT";

// What the log calls each kind of entry.
constexpr const char *KIND_NAMES[] = {
    "full matching",
    "matching full range",
    "wildcard",
    "matching wildcard range",
};

struct AcceptedList {
    std::unique_ptr<char[]> content; // null: not loaded
    AddressTable table;
};

AcceptedList accepted;

bool read_whole(FileHandle file, char *bytes, size_t size)
{
    size_t have = 0;
    while (have < size) {
        int64_t count = file_read(file, bytes + have, size - have);
        if (count <= 0) {
            return false;
        }
        have += static_cast<size_t>(count);
    }
    return true;
}

bool out_of_memory()
{
    log_line(WEIGHT_FAILURE,
             "***WARNING*** - IP Address validation - Insufficient memory to load file");
    return false;
}

// False, with the reason logged and nothing kept, when the list cannot be loaded.
bool load_list()
{
    char path[PATH_SIZE];
    path_below(path, sizeof path, LIST_FILE);
    if (!does_file_exist(path)) {
        log_line(WEIGHT_FAILURE,
                 "***WARNING*** - IP Address validation file cannot be found");
        log_line(WEIGHT_FAILURE,
                 "***WARNING*** - IP Address validation cannot be performed...");
        return false;
    }

    int64_t entry_size = file_size_of(path);
    size_t size = entry_size > 0 ? static_cast<size_t>(entry_size) : 0;
    std::unique_ptr<char[]> content(new (std::nothrow) char[size + 1]());
    if (!content) {
        return out_of_memory();
    }

    FileHandle file = file_open(path, FILE_READ);
    if (file == NO_FILE) {
        log_line(WEIGHT_FAILURE,
                 "***WARNING*** - IP Address validation - Unable to open file");
        return false;
    }
    bool whole = read_whole(file, content.get(), size);
    file_close(file);
    if (!whole) {
        log_line(WEIGHT_FAILURE,
                 "***WARNING*** - IP Address validation - Unable to read file");
        return false;
    }

    if (!build_table(&accepted.table, ACCEPTED_LIST, content.get(), size)) {
        return out_of_memory();
    }
    accepted.content = std::move(content);
    return true;
}

} // namespace

int validate_ip_address(const char *address)
{
    if (!accepted.content && !load_list()) {
        return 0;
    }
    log_stamped("SMTP : Validating [%s]", address);

    Octets client;
    if (!read_address(address, &client)) {
        return 0;
    }

    AddressEntry entry;
    if (find_entry(accepted.table, accepted.content.get(), client, &entry)) {
        char line[ENTRY_TEXT_SIZE];
        entry_text(entry, line);
        log_stamped("SMTP : Connection accepted from [%s] due to %s entry [%s]", address,
                    KIND_NAMES[entry.kind], line);
        return 1;
    }

    // A malformed entry has broken the check off: that is not reported.
    if (accepted.table.ending != SCAN_AT_MALFORMED) {
        log_stamped(WEIGHT_WARNING,
                    "SMTP : Connection refused from [%s] - no matching validation entry",
                    address);
    }
}
return 0;
}

void accepted_addresses_free()
{
    accepted = {};
}
