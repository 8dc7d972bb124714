// What must neither stay in memory nor be told by the time that a comparison takes.
#pragma once

#include <cstddef>

// Overwrites bytes that nobody is to find later, also where nothing reads them any more.
void wipe_secret(void *bytes, size_t size);

// Whether the password is the one that was hashed, as crypt(3) hashes it. Takes as long
// as the hash's kind demands, and no longer for a password that is nearly right. False
// for a hash of no kind that the machine knows.
bool password_matches(const char *password, const char *hash);
