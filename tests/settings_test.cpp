// The table of the settings, and what the README says of it.

#include "base/settings_table.h"
#include "installation.h"

#include <sstream>

// Without the marks of code and the blanks.
static std::string bare(std::string text)
{
    std::erase_if(text, [](char c) { return c == '`' || c == ' '; });
    return text;
}

TEST(Settings, TheReadmeTellsEverySettingAsTheTableHasIt)
{
    std::istringstream readme(content(README));
    std::string line;
    while (std::getline(readme, line) && !line.starts_with("| key | default |")) {
    }
    std::getline(readme, line);
    for (const SettingRow &row : SETTING_ROWS) {
        std::ostringstream begin;
        begin << '|' << row.key;
        if (row.section != std::string(SERVER_SECTION)) {
            begin << "(section" << row.section << ')';
        }
        if (row.kind == SETTING_IS_TEXT) {
            begin << '|' << bare(row.text) << '|' << row.highest << "characters|";
        } else if (row.kind == SETTING_IS_TOGGLE) {
            begin << '|' << row.number << "|0,1|";
        } else if (row.number == NO_DEFAULT) {
            begin << "|screen|number|";
        } else {
            begin << '|' << row.number << '|' << row.lowest << "to" << row.highest << '|';
        }
        ASSERT_TRUE(std::getline(readme, line));
        EXPECT_TRUE(bare(line).starts_with(begin.str())) << line << "\n" << begin.str();
        EXPECT_TRUE(bare(line).ends_with("|" + bare(row.read) + "|")) << line;
    }
    EXPECT_TRUE(std::getline(readme, line) && line.empty()) << "another row: " << line;
}
