// The users file, DATA\RAW\TSUSERS.DAT, which the fax server maintains.
#pragma once

inline constexpr int USER_LIMIT = 999; // sections looked at: USER0 to USER998
inline constexpr int USER_VALUE_SIZE = 512;

inline constexpr int USER_ACTIVE = 1;
inline constexpr int USER_UNKNOWN = 0;
inline constexpr int USER_INACTIVE = -2;

// Whether the address, with or without angle brackets, is a local user's: one of the
// above. An inactive user counts as local too. `is_recipient` only words a debug line.
// The cost does not depend on the number of users while the file is unchanged.
int find_local_user(const char *address, bool is_recipient);

// The address as it is compared: 511 characters at most, without angle brackets round it.
void user_address_compared(const char *given, char address[USER_VALUE_SIZE]);

// Reads what the user of this number is compared with: FULLEMAIL, or ID where that is
// empty. False when both are, which ends the list.
bool read_user_address(int number, char address[USER_VALUE_SIZE]);
