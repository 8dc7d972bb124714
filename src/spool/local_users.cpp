#include "spool/local_users.h"

#include "base/settings.h"
#include "base/text.h"
#include "log/activity_log.h"
#include "platform/profile.h"

#include <cstring>
#include <new>
#include <string>
#include <unordered_map>

namespace
{

constexpr char USERS_FILE[] = "DATA\\RAW\\TSUSERS.DAT"; // below the working directory
constexpr int USER_LIMIT = 999;                         // sections looked at
constexpr int VALUE_SIZE = 512;

// The users of the file's present version: address in lower case, result of the look-up.
struct UserTable {
    uint64_t version = 0;
    std::unordered_map<std::string, int> users;
};

// The section's address: FULLEMAIL, or ID where that is empty. Empty after the last
// user.
void read_user(const char *section, const char *path, char *address)
{
    profile_text(section, "FULLEMAIL", "", address, VALUE_SIZE, path);
    if (address[0] == '\0') {
        profile_text(section, "ID", "", address, VALUE_SIZE, path);
    }
}

UserTable read_users(const char *path, uint64_t version)
{
    UserTable table;
    table.version = version;
    for (int n = 0; n < USER_LIMIT; n++) {
        char section[16];
        char address[VALUE_SIZE];
        format_text(section, sizeof section, "USER%d", n);
        read_user(section, path, address);
        if (address[0] == '\0') {
            break;
        }
        const bool active = profile_int(section, "USERACTIVE", 0, path) != 0;
        // The first of equal addresses counts.
        table.users.emplace(lower_case_of(address), active ? USER_ACTIVE : USER_INACTIVE);
    }
    return table;
}

// Without memory for it the table stays as it is, and the next use tries again.
const UserTable &present_users()
{
    static UserTable table;
    const uint64_t version = profile_version(USERS_FILE);
    if (version != table.version) {
        try {
            table = read_users(USERS_FILE, version);
        } catch (const std::bad_alloc &) {
            log_stamped(WEIGHT_FAILURE, "SMTP: Out of memory");
        }
    }
    return table;
}

void log_address(const char *address, bool is_recipient)
{
    log_stamped("***DEBUG** - %s email address received [%s]",
                is_recipient ? "recipient" : "sender", address);
    if (read_setting(SETTING_USEDOMAIN) != 0) {
        log_stamped("***DEBUG** - A single domain is in use");
    } else {
        log_stamped("***DEBUG** - Multiple domains are in use");
    }
}

} // namespace

int find_local_user(const char *given, bool is_recipient)
{
    char address[VALUE_SIZE];
    size_t length = strlen(given);
    length = length < VALUE_SIZE ? length : VALUE_SIZE - 2;
    copy_text(address, length + 1, given);
    if (full_detail()) {
        log_address(address, is_recipient);
    }
    if (length >= 2 && address[0] == '<' && address[length - 1] == '>') {
        address[length - 1] = '\0';
        memmove(address, address + 1, length - 1);
    }
    const UserTable &users = present_users();
    const auto found = users.users.find(lower_case_of(address));
    return found != users.users.end() ? found->second : USER_UNKNOWN;
}
