#include "base/settings.h"

#include "base/paths.h"
#include "base/text.h"

#include "platform/profile.h"

namespace
{

char settings_path[PATH_SIZE];

} // namespace

void settings_locate()
{
    constexpr char BELOW[] = "data\\raw\\qlnxserver.dat";
    if (!path_below(settings_path, sizeof settings_path, BELOW)) {
        copy_text(settings_path, sizeof settings_path, BELOW); // the system begins there
    }
}

void settings_flush()
{
    profile_flush(settings_path);
}

int read_setting(const char *key, int missing)
{
    return read_setting_of(SERVER_SECTION, key, missing);
}

int read_setting_of(const char *section, const char *key, int missing)
{
    return profile_int(section, key, missing, settings_path);
}

void read_setting_text(const char *key, const char *missing, char *text, int size)
{
    profile_text(SERVER_SECTION, key, missing, text, size, settings_path);
}

void write_setting(const char *key, const char *value)
{
    write_setting_of(SERVER_SECTION, key, value);
}

void write_setting_of(const char *section, const char *key, const char *value)
{
    profile_write(section, key, value, settings_path);
}

void write_setting_number(const char *key, long value)
{
    char text[24];
    format_text(text, sizeof text, "%ld", value);
    write_setting(key, text);
}

bool full_detail()
{
    return read_setting("FULLDETAIL", 0) != 0;
}
