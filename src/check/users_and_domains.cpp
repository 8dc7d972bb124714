// Local users that are never found, and domain lines that never match.
#include "check/checks.h"

#include "base/settings.h"
#include "check/findings.h"
#include "check/list_file.h"
#include "platform/ascii.h"
#include "platform/posix/profile_text.h"

#include <charconv>
#include <set>
#include <string>
#include <vector>

namespace
{

constexpr char USERS_FILE[] = "DATA/RAW/TSUSERS.DAT";
constexpr char DOMAINS_FILE[] = "DATA/RAW/DOMAIN.DAT";
constexpr int MOST_USERS = 999;

// The number of a section "USER0", "USER1", ...; -1 for any other name, also one that
// has leading zeros.
int user_number(std::string_view section)
{
    constexpr size_t PREFIX = 4;
    if (section.size() <= PREFIX ||
        !equal_ignoring_case(section.substr(0, PREFIX), "USER")) {
        return -1;
    }

    std::string_view digits = section.substr(PREFIX);
    if (digits[0] == '0' && digits.size() > 1) {
        return -1;
    }
    int number = -1;
    auto [end, error] = std::from_chars(digits.begin(), digits.end(), number);
    return error == std::errc() && end == digits.end() ? number : -1;
}

// The keys that a user is found by.
bool names_a_user(const ProfileItem &item)
{
    return !item.value.empty() && (equal_ignoring_case(item.key, "FULLEMAIL") ||
                                   equal_ignoring_case(item.key, "ID"));
}

} // namespace

void check_users()
{
    ListFile file = read_list_file(USERS_FILE);
    std::vector<ProfileItem> items = profile_items(file.content);

    std::set<int> users;
    for (const ProfileItem &item : items) {
        if (names_a_user(item)) {
            users.insert(user_number(item.section));
        }
    }

    int looked_at = 0;
    while (looked_at < MOST_USERS && users.contains(looked_at)) {
        looked_at++;
    }

    LineCounter lines = count_lines(file);
    int last = -1;
    for (const ProfileItem &item : items) {
        int number = user_number(item.section);
        if (!names_a_user(item) || number < looked_at || number == last) {
            continue;
        }
        last = number;
        int line = line_of(&lines, item.key.data());
        if (looked_at == MOST_USERS) {
            report(FOUND_WARNING, file.name, line,
                   "USER%d is never found: the last user looked at is USER%d", number,
                   MOST_USERS - 1);
        } else {
            report(FOUND_WARNING, file.name, line,
                   "USER%d is never found: USER%d, which ends the search, has neither "
                   "FULLEMAIL nor ID",
                   number, looked_at);
        }
    }
}

void check_domains()
{
    ListFile file = read_list_file(DOMAINS_FILE);
    if (!file.there && read_setting(SETTING_USEDOMAINS) != 0) {
        report(FOUND_WARNING, file.name, 0, "is missing: every domain is accepted");
    }

    int line = 0;
    for (std::string_view rest = file.content; !rest.empty();) {
        line++;
        size_t lf = rest.find('\n');
        std::string_view text = rest.substr(0, lf);
        rest.remove_prefix(lf == std::string_view::npos ? rest.size() : lf + 1);

        size_t comma = text.rfind(',');
        std::string domain(text.substr(0, comma));
        if (!domain.empty() && domain.back() == '\r') {
            domain.pop_back();
        }
        if (comma == std::string_view::npos && lf != std::string_view::npos &&
            !domain.empty()) {
            report(FOUND_WARNING, file.name, line,
                   "[%s] never matches: there is no comma behind the domain",
                   domain.c_str());
        } else if (comma != std::string_view::npos &&
                   domain.find_first_of(", ") != std::string::npos) {
            report(FOUND_WARNING, file.name, line,
                   "[%s], all before the last comma, is compared and matches no domain",
                   domain.c_str());
        }
    }
}
