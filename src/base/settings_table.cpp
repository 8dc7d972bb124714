#include "base/settings_table.h"

#include <climits>

namespace
{

constexpr int LONGEST_IDLE_TIME = INT_MAX / 1000; // seconds, measured in milliseconds
constexpr int LARGEST_LOG = 2047;                 // megabytes: the size fits 32 bits

constexpr SettingRow toggle(Setting setting, const char *key, int missing,
                            const char *read)
{
    return {setting, SERVER_SECTION, key, SETTING_IS_TOGGLE, missing, "",
            INT_MIN, INT_MAX,        read};
}

constexpr SettingRow number(Setting setting, const char *key, int missing, int lowest,
                            int highest, const char *read)
{
    return {setting, SERVER_SECTION, key, SETTING_IS_NUMBER, missing, "",
            lowest,  highest,        read};
}

constexpr SettingRow text(Setting setting, const char *key, const char *missing,
                          int longest, const char *read)
{
    return {setting, SERVER_SECTION, key, SETTING_IS_TEXT, 0, missing, 0, longest, read};
}

constexpr SettingRow of_section(const char *section, SettingRow row)
{
    row.section = section;
    return row;
}

} // namespace

constexpr SettingRow SETTING_ROWS[SETTING_COUNT] = {
    number(SETTING_PORT, "port", 25, 1, 65535, "start"),
    toggle(SETTING_BIND, "bind", 1, "start"),
    // Missing, it is empty for the start and 127.0.0.1 for the readers that say so.
    text(SETTING_IPADDR, "IPADDR", "", 35, "start"),
    of_section("TCPIP",
               toggle(SETTING_TCPIP_USESAMEIPADDRESS, "USESAMEIPADDRESS", 0, "start")),
    toggle(SETTING_USESAMEIPADDRESS, "USESAMEIPADDRESS", 0, "start"),
    number(SETTING_SOCKETTIMEOUT, "SocketTimeout", 60, 0, LONGEST_IDLE_TIME, "every 6 s"),
    number(SETTING_SMTPTIMEOUT, "SmtpTimeout", 0, 0, INT_MAX, "start"),
    toggle(SETTING_ACCEPTVALIDADDRESSONLY, "ACCEPTVALIDADDRESSONLY", 0, "connection"),
    toggle(SETTING_SMTPIPBLOCK, "SMTPIPBLOCK", 0, "connection"),
    toggle(SETTING_SMTPAUTHENTICATION, "SMTPAUTHENTICATION", 0, "command"),
    of_section("SMTPSRV", toggle(SETTING_SHOWAUTHENTICATEDETAILS,
                                 "SHOWAUTHENTICATEDETAILS", 0, "command")),
    toggle(SETTING_ESMTP, "ESMTP", 0, "HELO"),
    toggle(SETTING_USEDOMAINS, "USEDOMAINS", 0, "command"),
    toggle(SETTING_USEDOMAIN, "usedomain", 0, "command"),
    text(SETTING_BADADDRCHARS, "badaddrchars", "!#$%^&*{}'?+=\\~`", 127, "command"),
    of_section("Environment",
               text(SETTING_ENVIRONMENT_BADADDRCHARS, "badaddrchars", "", 127, "")),
    toggle(SETTING_SYNCSPOOL, "SYNCSPOOL", 1, "message"),
    toggle(SETTING_FULLDETAIL, "FULLDETAIL", 0, "line"),
    toggle(SETTING_LOGONLY, "LOGONLY", 0, "line"),
    number(SETTING_MAXSIZE, "MAXSIZE", 750, 0, LARGEST_LOG, "501 lines"),
    number(SETTING_MINSIZE, "MINSIZE", 1, 0, LARGEST_LOG, "501 lines"),
    number(SETTING_TOP, "TOP", NO_DEFAULT, INT_MIN, INT_MAX, "window"),
    number(SETTING_LEFT, "LEFT", NO_DEFAULT, INT_MIN, INT_MAX, "window"),
    toggle(SETTING_ONTOP, "ONTOP", 0, "window"),
    text(SETTING_VERSION, "VERSION", "Unspecified", 1023, "message"),
    text(SETTING_BUILDDATE, "BUILDDATE", "Unspecified", 1023, "message"),
    text(SETTING_HWND, "HWND", "", 1023, ""),
};

static_assert([] {
    for (int i = 0; i < SETTING_COUNT; i++) {
        if (SETTING_ROWS[i].setting != i || SETTING_ROWS[i].key == nullptr) {
            return false;
        }
    }
    return true;
}());
