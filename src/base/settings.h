// The fax server's settings file.
//
// Nothing is remembered here: a change made in the fax server's screens counts
// from the next read. The few values kept in memory are in base/gateway.h.
#pragma once

inline constexpr char SERVER_SECTION[] = "QLNSMTP";

// Fixes the file's path from the working directory. Once, before any read.
void settings_locate();

// Makes the next reads see the file as it is on disk.
void settings_flush();

// The key's decimal value in the server's section, or `missing` without such a key.
int read_setting(const char *key, int missing);
int read_setting_of(const char *section, const char *key, int missing);

// Copies the key's text, cut to `size` - 1 bytes; `missing` without such a key.
void read_setting_text(const char *key, const char *missing, char *text, int size);

// Adds or replaces one key. Failure is silent: no caller can act on it.
void write_setting(const char *key, const char *value);
void write_setting_of(const char *section, const char *key, const char *value);
void write_setting_number(const char *key, long value);

// Extra diagnostic lines are wanted in the log (FULLDETAIL).
bool full_detail();
