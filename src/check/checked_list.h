// The two address lists as the check speaks of them.
#pragma once

#include "admission/address_list.h"

struct CheckedList {
    AddressList list;
    const char *file;
    const char *setting; // the list is asked while it is not 0
};

inline constexpr CheckedList ACCEPTED_ADDRESSES = {
    ACCEPTED_LIST, "DATA/RAW/VALIDIPADDRESSES.TXT", "ACCEPTVALIDADDRESSONLY"};
inline constexpr CheckedList BANNED_ADDRESSES = {
    BANNED_LIST, "DATA/RAW/BADSMTPIPADDRESS.TXT", "SMTPIPBLOCK"};

// Why nothing more of a list is read.
const char *ending_words(ScanEnd ending);
