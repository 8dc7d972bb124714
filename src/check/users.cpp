// Local users that are never found.
#include "check/checks.h"

#include "base/paths.h"
#include "check/findings.h"
#include "check/list_file.h"
#include "platform/ascii.h"
#include "platform/profile_lines.h"
#include "spool/local_users.h"

#include <charconv>
#include <string>

namespace
{

constexpr std::string_view PREFIX = "USER";

bool is_user_section(std::string_view section)
{
    return equal_ignoring_case(section.substr(0, PREFIX.size()), PREFIX);
}

// The number of a section "USER0", "USER1", ...; -1 for any other name, also one that
// has leading zeros.
int user_number(std::string_view section)
{
    const std::string_view digits = section.substr(PREFIX.size());
    if (digits.size() > 1 && digits[0] == '0') {
        return -1;
    }
    int number = -1;
    const auto [end, error] = std::from_chars(digits.begin(), digits.end(), number);
    return error == std::errc() && end == digits.end() ? number : -1;
}

int users_looked_at()
{
    char address[USER_VALUE_SIZE];
    int number = 0;
    while (number < USER_LIMIT && read_user_address(number, address)) {
        number++;
    }
    return number;
}

// The keys that a user is found by.
bool names_a_user(const ProfileLine &line)
{
    return line.key.data() != nullptr && !line.value.empty() &&
           (equal_ignoring_case(line.key, "FULLEMAIL") ||
            equal_ignoring_case(line.key, "ID"));
}

// A section that looks like a user's and has another name.
void check_name(const ProfileLine &section)
{
    if (user_number(section.section) < 0) {
        report(FOUND_WARNING, USERS_FILE, section.number,
               "[%s] is never found: users are numbered USER0, USER1, USER2",
               std::string(section.section).c_str());
    }
}

// A section that the look-up does not reach, once.
void check_reached(const ProfileLine &line, int looked_at, int *last)
{
    const int number = user_number(line.section);
    if (number < looked_at || number == *last) {
        return;
    }
    *last = number;
    if (looked_at == USER_LIMIT) {
        report(FOUND_WARNING, USERS_FILE, line.number,
               "USER%d is never found: the last user looked at is USER%d", number,
               USER_LIMIT - 1);
    } else {
        report(FOUND_WARNING, USERS_FILE, line.number,
               "USER%d is never found: USER%d, which ends the search, has neither "
               "FULLEMAIL nor ID",
               number, looked_at);
    }
}

// What a client sends is looked up without the brackets round it, and ends at a blank.
void check_address(const ProfileLine &line)
{
    const std::string value(line.value);
    if (value.front() == '<' && value.back() == '>') {
        report(FOUND_WARNING, USERS_FILE, line.number,
               "%s is never found: an address is looked up without its brackets",
               value.c_str());
    } else if (value.find(' ') != std::string::npos &&
               equal_ignoring_case(line.key, "FULLEMAIL")) {
        report(FOUND_WARNING, USERS_FILE, line.number,
               "%s is never found: no client's address has a blank in it", value.c_str());
    }
}

} // namespace

void check_users()
{
    const ListFile file = read_list_file(USERS_FILE, "nobody is a local user");
    const int looked_at = users_looked_at();
    ProfileLine section{};
    int last = -1;
    bool named = true; // the section's name has been judged
    for (const ProfileLine &line : profile_lines(file.content)) {
        if (!is_user_section(line.section)) {
            continue;
        }
        if (line.key.data() == nullptr) {
            section = line;
            named = false;
            if (!line.counts && user_number(line.section) >= 0) {
                report(FOUND_WARNING, file.name, line.number,
                       "[%s] is never found: an earlier section has this name",
                       std::string(line.section).c_str());
            }
        } else if (section.counts && line.counts && names_a_user(line)) {
            if (!named) {
                check_name(section);
                named = true;
            }
            check_reached(line, looked_at, &last);
            check_address(line);
        }
    }
}
