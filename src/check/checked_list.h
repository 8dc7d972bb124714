// The two address lists as the check speaks of them.
#pragma once

#include "admission/address_list.h"
#include "base/paths.h"
#include "base/settings_table.h"
#include "check/list_file.h"

struct CheckedList {
    AddressList list;
    const char *file;
    Setting setting; // the list is asked while it is not 0
};

inline constexpr CheckedList ACCEPTED_ADDRESSES = {ACCEPTED_LIST, ACCEPTED_FILE,
                                                   SETTING_ACCEPTVALIDADDRESSONLY};
inline constexpr CheckedList BANNED_ADDRESSES = {BANNED_LIST, BANNED_FILE,
                                                 SETTING_SMTPIPBLOCK};

// Why nothing more of a list is read.
const char *ending_words(ScanEnd ending);

// An entry where it was found.
struct FoundEntry {
    const CheckedList *checked;
    const ListFile *file;
    int line;
    const AddressEntry *entry;
    char text[ENTRY_TEXT_SIZE];
};

// Reports what the entry means when that is other than it seems.
void check_address_entry(const FoundEntry &found);
