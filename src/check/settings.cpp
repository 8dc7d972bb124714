// The settings file, key by key.
#include "check/checks.h"

#include "base/settings.h"
#include "check/findings.h"
#include "check/list_file.h"
#include "platform/ascii.h"
#include "platform/posix/profile_text.h"

#include <string>

namespace
{

constexpr char SETTINGS_FILE[] = "data/raw/qlnxserver.dat";

const SettingRow *known_setting(const ProfileItem &item)
{
    for (const SettingRow &row : SETTING_ROWS) {
        if (equal_ignoring_case(item.section, row.section) &&
            equal_ignoring_case(item.key, row.key)) {
            return &row;
        }
    }
    return nullptr;
}

// Whether the whole text is blanks, a sign and digits.
bool is_number(std::string_view text)
{
    size_t at = text.find_first_not_of(" \t");
    if (at == std::string_view::npos) {
        return false;
    }
    if (text[at] == '-' || text[at] == '+') {
        at++;
    }
    return at < text.size() &&
           text.find_first_not_of("0123456789", at) == std::string_view::npos;
}

void check_value(const SettingRow &known, const ProfileItem &item, int line)
{
    std::string value(item.value);
    if (known.kind == SETTING_IS_TEXT) {
        if (value.size() > static_cast<size_t>(known.highest)) {
            report(FOUND_WARNING, SETTINGS_FILE, line,
                   "%s is longer than %d characters and is cut", known.key,
                   known.highest);
        }
        return;
    }

    int number = read_setting_or(known.setting, 0);
    if (!is_number(value)) {
        report(FOUND_ERROR, SETTINGS_FILE, line, "%s=%s is not a number: it reads as %d",
               known.key, value.c_str(), number);
    } else if (number < known.lowest || number > known.highest) {
        report(FOUND_ERROR, SETTINGS_FILE, line, "%s=%s is out of range: %d to %d",
               known.key, value.c_str(), known.lowest, known.highest);
    }
}

void check_log_sizes()
{
    int kept = read_setting(SETTING_MINSIZE);
    int largest = read_setting(SETTING_MAXSIZE);
    if (kept >= largest) {
        report(FOUND_ERROR, SETTINGS_FILE, 0,
               "MINSIZE (%d) must be smaller than MAXSIZE (%d)", kept, largest);
    }
}

} // namespace

void check_settings()
{
    ListFile file = read_list_file(SETTINGS_FILE);
    if (!file.there) {
        report(FOUND_WARNING, file.name, 0,
               "is missing: every setting has its default value");
        return;
    }

    LineCounter lines = count_lines(file);
    std::vector<ProfileItem> items = profile_items(file.content);
    for (const ProfileItem &item : items) {
        int line = line_of(&lines, item.key.data());
        if (const SettingRow *known = known_setting(item)) {
            check_value(*known, item, line);
        } else if (equal_ignoring_case(item.section, SERVER_SECTION)) {
            std::string key(item.key);
            report(FOUND_WARNING, file.name, line, "%s is not a setting of the server",
                   key.c_str());
        }
    }
    check_log_sizes();
}
