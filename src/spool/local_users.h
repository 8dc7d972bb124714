// The users file, DATA\RAW\TSUSERS.DAT, which the fax server maintains.
#pragma once

inline constexpr int USER_ACTIVE = 1;
inline constexpr int USER_UNKNOWN = 0;
inline constexpr int USER_INACTIVE = -2;

// Whether the address, with or without angle brackets, is a local user's: one of the
// above. An inactive user counts as local too. `is_recipient` only words a debug line.
// The cost does not depend on the number of users while the file is unchanged.
int find_local_user(const char *address, bool is_recipient);
