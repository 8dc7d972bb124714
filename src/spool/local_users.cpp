#include "spool/local_users.h"

#include "base/paths.h"
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

constexpr int SECTION_SIZE = 16;

// The users of the file's present version: address in lower case, result of the look-up.
struct UserTable {
    uint64_t version = 0;
    std::unordered_map<std::string, int> users;
};

void form_section(char section[SECTION_SIZE], int number)
{
    format_text(section, SECTION_SIZE, "USER%d", number);
}

UserTable read_users(uint64_t version)
{
    UserTable table;
    table.version = version;
    char address[USER_VALUE_SIZE];
    for (int n = 0; n < USER_LIMIT && read_user_address(n, address); n++) {
        char section[SECTION_SIZE];
        form_section(section, n);
        const bool active = profile_int(section, "USERACTIVE", 0, USERS_FILE) != 0;
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
            table = read_users(version);
        } catch (const std::bad_alloc &) {
            log_stamped(WEIGHT_FAILURE, "SMTP: Out of memory");
        }
    }
    return table;
}

// One character less than would fit of an address that does not fit.
void cut_address(const char *given, char address[USER_VALUE_SIZE])
{
    const size_t length = strlen(given);
    copy_text(address, length < USER_VALUE_SIZE ? length + 1 : USER_VALUE_SIZE - 1,
              given);
}

void drop_brackets(char *address)
{
    const size_t length = strlen(address);
    if (length >= 2 && address[0] == '<' && address[length - 1] == '>') {
        address[length - 1] = '\0';
        memmove(address, address + 1, length - 1);
    }
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

bool read_user_address(int number, char address[USER_VALUE_SIZE])
{
    char section[SECTION_SIZE];
    form_section(section, number);
    profile_text(section, "FULLEMAIL", "", address, USER_VALUE_SIZE, USERS_FILE);
    if (address[0] == '\0') {
        profile_text(section, "ID", "", address, USER_VALUE_SIZE, USERS_FILE);
    }
    return address[0] != '\0';
}

void user_address_compared(const char *given, char address[USER_VALUE_SIZE])
{
    cut_address(given, address);
    drop_brackets(address);
}

int find_local_user(const char *given, bool is_recipient)
{
    char address[USER_VALUE_SIZE];
    cut_address(given, address);
    if (full_detail()) {
        log_address(address, is_recipient);
    }
    drop_brackets(address);
    const UserTable &users = present_users();
    const auto found = users.users.find(lower_case_of(address));
    return found != users.users.end() ? found->second : USER_UNKNOWN;
}
