#include "base/settings.h"

#include "base/paths.h"
#include "base/text.h"

#include "platform/clock.h"
#include "platform/profile.h"

#include <algorithm>
#include <new>

#include <cassert>

namespace
{

char settings_path[PATH_SIZE];

// The numbers of one version of the file: each is read many times in an event.
struct KnownNumber {
    uint64_t version;
    int number;
};

KnownNumber known_numbers[SETTING_COUNT];
int patience; // milliseconds that writes may still wait for a lock
char write_error[128];
bool write_error_taken;

} // namespace

void settings_locate()
{
    if (!path_below(settings_path, sizeof settings_path, SETTINGS_FILE)) {
        copy_text(settings_path, sizeof settings_path,
                  SETTINGS_FILE); // the system begins there
    }
}

void settings_wait(int milliseconds)
{
    patience = milliseconds;
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
    const uint64_t version = profile_version(settings_path);
    KnownNumber &known = known_numbers[setting];
    if (known.version != version) {
        known = {version, read_setting_or(setting, SETTING_ROWS[setting].number)};
    }
    return known.number;
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
    const uint32_t began = tick_count();
    const WriteResult result =
        profile_write(row.section, row.key, value, settings_path, patience);
    const bool waited_in_vain = result == WRITE_LOCKED_OUT && patience > 0;
    patience -= std::min(patience, static_cast<int>(tick_count() - began));
    if (write_error[0] == '\0' && (result == WRITE_FAILED || waited_in_vain)) {
        format_text(write_error, sizeof write_error, "%s - %s", row.key,
                    waited_in_vain ? "another program keeps the file locked"
                                   : profile_write_error());
    }
}

const char *settings_take_write_error()
{
    const bool is_new = write_error[0] != '\0' && !write_error_taken;
    write_error_taken = write_error_taken || is_new;
    return is_new ? write_error : nullptr;
}

void write_setting_number(Setting setting, long value)
{
    char text[24];
    format_text(text, sizeof text, "%ld", value);
    write_setting(setting, text);
}

bool full_detail()
{
    try {
        return read_setting(SETTING_FULLDETAIL) != 0;
    } catch (const std::bad_alloc &) {
        return false; // who only logs is not stopped by that
    }
}
