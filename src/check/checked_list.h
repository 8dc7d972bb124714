// The two address lists as the check speaks of them.
#pragma once

#include "admission/address_list.h"
#include "base/settings_table.h"

struct CheckedList {
    AddressList list;
    const char *file;
    Setting setting; // the list is asked while it is not 0
};

inline constexpr CheckedList ACCEPTED_ADDRESSES = {
    ACCEPTED_LIST, "DATA/RAW/VALIDIPADDRESSES.TXT", SETTING_ACCEPTVALIDADDRESSONLY};
inline constexpr CheckedList BANNED_ADDRESSES = {
    BANNED_LIST, "DATA/RAW/BADSMTPIPADDRESS.TXT", SETTING_SMTPIPBLOCK};

// Why nothing more of a list is read.
const char *ending_words(ScanEnd ending);
