// The table of the settings, and what the README says of it.

#include "base/settings_table.h"
#include "installation.h"

#include <sstream>

namespace
{

std::string as_code(const std::string &text)
{
    if (text.empty()) {
        return "";
    }
    return text.find('`') == text.npos ? "`" + text + "`" : "``" + text + " ``";
}

std::string missing_of(const SettingRow &row)
{
    if (row.kind == SETTING_IS_TEXT) {
        return as_code(row.text);
    }
    return row.number == NO_DEFAULT ? "screen" : std::to_string(row.number);
}

std::string values_of(const SettingRow &row)
{
    if (row.kind == SETTING_IS_TEXT) {
        return std::to_string(row.highest) + " characters";
    }
    if (row.kind == SETTING_IS_TOGGLE) {
        return "0, 1";
    }
    return row.lowest == INT_MIN
               ? "number"
               : std::to_string(row.lowest) + " to " + std::to_string(row.highest);
}

std::string cell(const std::string &text)
{
    return text.empty() ? "| " : "| " + text + " ";
}

} // namespace

TEST(Settings, TheReadmeTellsEverySettingAsTheTableHasIt)
{
    std::istringstream readme(slurp(README));
    std::string line;
    while (std::getline(readme, line) && !line.starts_with("| key | default |")) {
    }
    std::getline(readme, line);
    for (const SettingRow &row : SETTING_ROWS) {
        std::string name = as_code(row.key);
        if (row.section != std::string(SERVER_SECTION)) {
            name += " (section `" + std::string(row.section) + "`)";
        }
        ASSERT_TRUE(std::getline(readme, line));
        const std::string begin =
            cell(name) + cell(missing_of(row)) + cell(values_of(row));
        EXPECT_EQ(begin, line.substr(0, begin.size()));
        const std::string end = cell(row.read) + "|";
        EXPECT_TRUE(line.ends_with(" " + end)) << line << "\n" << end;
    }
    EXPECT_TRUE(std::getline(readme, line) && line.empty()) << "another row: " << line;
}
