// The names of the server's settings and the one table of what each is: every read and
// every write names a row. To add a setting, add its name here, its row in the source, in
// the same order, and its line to the README's table.
#pragma once

#include <climits>

enum Setting {
    SETTING_PORT,
    SETTING_BIND,
    SETTING_IPADDR,
    SETTING_TCPIP_USESAMEIPADDRESS,
    SETTING_USESAMEIPADDRESS,
    SETTING_SOCKETTIMEOUT,
    SETTING_SMTPTIMEOUT,
    SETTING_ACCEPTVALIDADDRESSONLY,
    SETTING_SMTPIPBLOCK,
    SETTING_SMTPAUTHENTICATION,
    SETTING_SHOWAUTHENTICATEDETAILS,
    SETTING_ESMTP,
    SETTING_USEDOMAINS,
    SETTING_USEDOMAIN,
    SETTING_BADADDRCHARS,
    SETTING_ENVIRONMENT_BADADDRCHARS,
    SETTING_SYNCSPOOL,
    SETTING_FULLDETAIL,
    SETTING_LOGONLY,
    SETTING_MAXSIZE,
    SETTING_MINSIZE,
    SETTING_TOP,
    SETTING_LEFT,
    SETTING_ONTOP,
    SETTING_VERSION,
    SETTING_BUILDDATE,
    SETTING_HWND,
    SETTING_COUNT
};

enum SettingKind {
    SETTING_IS_TOGGLE, // a number: 0 is off, any other is on
    SETTING_IS_NUMBER,
    SETTING_IS_TEXT,
};

struct SettingRow {
    Setting setting;
    const char *section;
    const char *key; // letter case does not matter
    SettingKind kind;
    int number;          // default of a toggle or a number
    const char *text;    // default of a text
    int lowest, highest; // of a number; of a text its length in bytes
    const char *read;    // when, in a word; "": written only
};

inline constexpr char SERVER_SECTION[] = "QLNSMTP";

// In `number`: the setting has no default of its own, each reader brings one.
inline constexpr int NO_DEFAULT = INT_MIN;

extern const SettingRow SETTING_ROWS[SETTING_COUNT];
