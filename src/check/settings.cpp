// The settings file, key by key.
#include "check/checks.h"

#include "base/paths.h"
#include "base/settings.h"
#include "check/findings.h"
#include "check/list_file.h"
#include "platform/ascii.h"
#include "platform/profile_lines.h"

#include <algorithm>
#include <string>

namespace
{

bool is_section_of_ours(std::string_view section)
{
    return std::any_of(
        std::begin(SETTING_ROWS), std::end(SETTING_ROWS),
        [&](const SettingRow &row) { return equal_ignoring_case(section, row.section); });
}

// The row of the key in this section; null: in none of them is such a key.
const SettingRow *row_of(const ProfileLine &line, bool any_section)
{
    for (const SettingRow &row : SETTING_ROWS) {
        if (equal_ignoring_case(line.key, row.key) &&
            (any_section || equal_ignoring_case(line.section, row.section))) {
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

void check_value(const SettingRow &row, const ProfileLine &line)
{
    const std::string value(line.value);
    if (row.kind == SETTING_IS_TEXT) {
        if (value.size() > static_cast<size_t>(row.highest)) {
            report(FOUND_WARNING, SETTINGS_FILE, line.number,
                   "%s is longer than %d characters and is cut", row.key, row.highest);
        }
        return;
    }
    const int number = read_setting_or(row.setting, 0);
    if (!is_number(value)) {
        report(FOUND_ERROR, SETTINGS_FILE, line.number,
               "%s=%s is not a number: it reads as %d", row.key, value.c_str(), number);
    } else if (number < row.lowest || number > row.highest) {
        report(FOUND_ERROR, SETTINGS_FILE, line.number, "%s=%s is out of range: %d to %d",
               row.key, value.c_str(), row.lowest, row.highest);
    }
}

void report_unknown(const ProfileLine &line)
{
    const std::string key(line.key);
    if (const SettingRow *row = row_of(line, true)) {
        report(FOUND_WARNING, SETTINGS_FILE, line.number,
               "%s is not read here: it belongs to section [%s]", key.c_str(),
               row->section);
    } else if (equal_ignoring_case(line.section, SERVER_SECTION)) {
        report(FOUND_WARNING, SETTINGS_FILE, line.number,
               "%s is not a setting of the server", key.c_str());
    }
}

// A section's own line when it stands there again, and the keys of a section that counts.
void check_line(const ProfileLine &line, bool section_counts)
{
    if (line.key.data() == nullptr) {
        if (!line.counts) {
            report(FOUND_WARNING, SETTINGS_FILE, line.number,
                   "[%s] stands here a second time: nothing below it is read",
                   std::string(line.section).c_str());
        }
        return;
    }
    const SettingRow *row = row_of(line, false);
    if (!section_counts) {
        return;
    }
    if (row == nullptr) {
        report_unknown(line);
    } else if (!line.counts) {
        report(FOUND_WARNING, SETTINGS_FILE, line.number,
               "%s is set a second time: this line is not read", row->key);
    } else {
        check_value(*row, line);
    }
}

void check_together()
{
    const int kept = read_setting(SETTING_MINSIZE);
    const int largest = read_setting(SETTING_MAXSIZE);
    if (kept >= largest) {
        report(FOUND_WARNING, SETTINGS_FILE, 0,
               "MINSIZE (%d) must be smaller than MAXSIZE (%d)", kept, largest);
    }
    if (read_setting(SETTING_USEDOMAIN) != 0 && read_setting(SETTING_USEDOMAINS) == 0) {
        report(FOUND_WARNING, SETTINGS_FILE, 0,
               "USEDOMAIN only chooses a line of the log: domains are checked while "
               "USEDOMAINS is set");
    }
}

} // namespace

void check_settings()
{
    const ListFile file = read_list_file(SETTINGS_FILE, "the server does not start");
    if (!file.there) {
        report(FOUND_WARNING, file.name, 0,
               "is missing: every setting has its default value");
        return;
    }
    if (file.content.find('\r') != file.content.npos &&
        file.content.find('\n') == file.content.npos) {
        report(FOUND_NOTE, file.name, 0, "its lines end in CR alone; they are read");
    }
    bool section_counts = false;
    for (const ProfileLine &line : profile_lines(file.content)) {
        if (line.key.data() == nullptr) {
            section_counts = line.counts;
        }
        if (is_section_of_ours(line.section)) {
            check_line(line, section_counts);
        }
    }
    check_together();
}
