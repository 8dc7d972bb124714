// Settings-style files: [section] lines and key=value lines.
//
// Section and key are matched without regard to case; the first that matches
// counts. Blanks around names and values are dropped, and one pair of quotes
// around a value. Lines that begin with `;` are comments. Lines end in CR LF, LF or CR.
// Reads see the file as it is now, and cost no parse while it is unchanged.
#pragma once

#include <cstdint>

// The key's integer: leading blanks, a sign, digits, up to the first other
// character; 0 without digits, held at the limits of 32 bits beyond them.
// `missing` when the file has no such key.
int profile_int(const char *section, const char *key, int missing, const char *path);

// Copies the key's text, cut to `size` - 1 bytes, or `missing` when the file has no
// such key. Returns the bytes copied.
int profile_text(const char *section, const char *key, const char *missing, char *text,
                 int size, const char *path);

// Adds or replaces one key; the file is created when only the file is missing. Every
// other line, the order, the line endings, the owner and the mode stay. The file is
// replaced whole, under a lock against other writers; nothing is written when the
// key has that value already. Waits at most `wait` milliseconds for another writer's
// lock.
enum WriteResult { WRITE_DONE, WRITE_LOCKED_OUT, WRITE_FAILED };
WriteResult profile_write(const char *section, const char *key, const char *value,
                          const char *path, int wait);

// Why the last write has failed, as an English text.
const char *profile_write_error();

// The next read looks at the file on disk.
void profile_flush(const char *path);

// Why the file cannot be read, as an English text; null when it can or is missing. What
// was read of it before counts meanwhile.
const char *profile_error(const char *path);

// Another number whenever the file's content is another one.
uint64_t profile_version(const char *path);
