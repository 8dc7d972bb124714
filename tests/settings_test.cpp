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
        const std::string number = std::to_string(row.number);
        const std::string to =
            std::to_string(row.lowest) + "to" + std::to_string(row.highest);
        const std::string end =
            row.kind == SETTING_IS_TEXT
                ? bare(row.text) + "|" + std::to_string(row.highest) + "characters|"
            : row.kind == SETTING_IS_TOGGLE ? number + "|0,1|"
            : row.number == NO_DEFAULT      ? "screen|number|"
                                            : number + "|" + to + "|";
        const std::string section = row.section == std::string(SERVER_SECTION)
                                        ? ""
                                        : "(section"s + row.section + ")";
        const std::string begin = "|"s + row.key + section + "|" + end;
        ASSERT_TRUE(std::getline(readme, line));
        EXPECT_TRUE(bare(line).starts_with(begin)) << line << "\n" << begin;
        EXPECT_TRUE(bare(line).ends_with("|" + bare(row.read) + "|")) << line;
    }
    EXPECT_TRUE(std::getline(readme, line) && line.empty()) << "another row: " << line;
}
