#include "base/settings.h"

#include "base/paths.h"
#include "base/text.h"

#include "platform/profile.h"

#include <cassert>

namespace
{

char settings_path[PATH_SIZE];

} // namespace

void settings_locate()
{
    if (!path_below(settings_path, sizeof settings_path, SETTINGS_FILE)) {
        copy_text(settings_path, sizeof settings_path,
                  SETTINGS_FILE); // the system begins there
    }
}

const char *settings_error()
{
    return profile_error(settings_path);
}

void settings_flush()
{
    profile_flush(settings_path);
}

int read_setting(Setting setting)
{
    assert(SETTING_ROWS[setting].number != NO_DEFAULT);
    return read_setting_or(setting, SETTING_ROWS[setting].number);
}

int read_setting_or(Setting setting, int missing)
{
    const SettingRow &row = SETTING_ROWS[setting];
    return profile_int(row.section, row.key, missing, settings_path);
}

void read_setting_text(Setting setting, char *text, int size)
{
    const SettingRow &row = SETTING_ROWS[setting];
    char number[24] = "";
    if (row.kind != SETTING_IS_TEXT) {
        format_text(number, sizeof number, "%d", row.number);
    }
    read_setting_text_or(setting, row.kind == SETTING_IS_TEXT ? row.text : number, text,
                         size);
}

void read_setting_text_or(Setting setting, const char *missing, char *text, int size)
{
    const SettingRow &row = SETTING_ROWS[setting];
    profile_text(row.section, row.key, missing, text, size, settings_path);
}

void write_setting(Setting setting, const char *value)
{
    const SettingRow &row = SETTING_ROWS[setting];
    profile_write(row.section, row.key, value, settings_path);
}

void write_setting_number(Setting setting, long value)
{
    char text[24];
    format_text(text, sizeof text, "%ld", value);
    write_setting(setting, text);
}

bool full_detail()
{
    return read_setting(SETTING_FULLDETAIL) != 0;
}
