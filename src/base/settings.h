// The fax server's settings file.
//
// Nothing is remembered here: a change made in the fax server's screens counts
// from the next read. The few values kept in memory are in base/gateway.h.
#pragma once

#include "base/settings_table.h"

// Fixes the file's path from the working directory. Once, before any read.
void settings_locate();

// Why the file, which is there, cannot be read; null when it can or is missing.
const char *settings_error();

// Makes the next reads see the file as it is on disk.
void settings_flush();

// The setting's value as a number, or its default when the file has no such key.
int read_setting(Setting setting);

// The same with the caller's own default.
int read_setting_or(Setting setting, int missing);

// Copies the setting's value, or its default, as a text cut to `size` - 1 bytes.
void read_setting_text(Setting setting, char *text, int size);

// The same with the caller's own default.
void read_setting_text_or(Setting setting, const char *missing, char *text, int size);

// Adds or replaces one key. Failure is silent: no caller can act on it.
void write_setting(Setting setting, const char *value);
void write_setting_number(Setting setting, long value);

// Extra diagnostic lines are wanted in the log (FULLDETAIL).
bool full_detail();
