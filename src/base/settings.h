// The fax server's settings file.
//
// A change made in the fax server's screens counts from the next read: nothing outlives
// the file's present version. The few values kept in memory are in base/gateway.h.
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

// From now on writes wait so long in all for another writer's lock. Only the start waits:
// what a client's event cannot write at once is left for the next time.
void settings_wait(int milliseconds);

// Adds or replaces one key. No caller can act on a failure.
void write_setting(Setting setting, const char *value);
void write_setting_number(Setting setting, long value);

// Why a key could not be written, as `KEY - reason`: the first of the process, told once.
// Null when there is nothing to tell.
const char *settings_take_write_error();

// Extra diagnostic lines are wanted in the log (FULLDETAIL).
bool full_detail();
