// Files of the installation directory.
//
// Paths are absolute or relative to the working directory. `\` and `/` both
// separate, and letter case does not matter when a name is looked up: the name
// is tried as it stands, and the directory is searched only when that fails. A
// file that is created takes its name as given, inside the directory that
// matched. No call is interrupted by a signal.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// An open file. Whoever opened it closes it.
using FileHandle = int;
inline constexpr FileHandle NO_FILE = -1;

enum FileMode {
    FILE_READ,   // must exist
    FILE_APPEND, // created when missing; every write goes to the end
    FILE_EMPTY,  // created when missing, emptied when not
    FILE_NEW,    // must not exist     } for names that the server makes up itself:
    FILE_EXACT,  // created or emptied } looked up in exactly this letter case
};

// The directory the process runs in, as the system reports it ("/srv/quillon").
// Empty when the system cannot tell or it does not fit `size` bytes.
void working_directory(char *path, int size);

// Whether the character separates directories in a path.
bool is_separator(char c);

// NO_FILE when it cannot be opened; file_failure() tells why. A short-lived file
// can be opened even when connections have used up the descriptors.
FileHandle file_open(const char *path, FileMode mode);

// Like FILE_EXACT, for a file that stays open across events: the last of the spare
// descriptors are kept for short-lived files.
FileHandle file_open_long_lived(const char *path);

// Bytes read, at most `size`; 0 at the end of the file, -1 when reading fails.
int64_t file_read(FileHandle file, void *bytes, size_t size);

// Appends everything from the present position on. False when reading fails or there is
// no memory for it.
bool file_read_whole(FileHandle file, std::string *bytes);

// True when every byte was written. Nothing is buffered: the bytes have reached
// the file when the call returns.
bool file_write(FileHandle file, const void *bytes, size_t size);

// Appends all of the bytes or none: when a write fails, the file is cut to what it was.
bool file_write_whole(FileHandle file, const void *bytes, size_t size);

// Moves to `position` bytes from the start. False when that is not possible.
bool file_seek(FileHandle file, int64_t position);

// False when the system reports a late write failure. The handle is gone anyway.
bool file_close(FileHandle file);

// Opens with `mode`, writes all bytes or none, closes. False when any of that fails.
bool file_put(const char *path, FileMode mode, const void *bytes, size_t size);

// Moves a file's content into the place of another file, whose owner, group and mode
// stay. In one step, unless only writing over the old content can keep them.
bool file_replace_by(const char *target, const char *source);

// Calls `tell` for every name in the directory, in no order, until it says false.
void directory_names(const char *path, bool (*tell)(const char *name, void *context),
                     void *context);

// Makes a directory for its user and group, in one that is there. The server itself
// never does. False when it cannot be made or a directory entry of that name is there.
bool directory_make(const char *path);

// False when there was no such file or it could not be deleted.
bool file_delete(const char *path);

// The same for a name in exactly this letter case.
bool file_delete_exact(const char *path);

// Whether there is an entry of exactly this path, letter case and all.
bool file_is_there_exact(const char *path);

// Whether a directory entry of that name exists, file or directory.
bool file_is_there(const char *path);

// Size in bytes from the directory entry, -1 when there is none.
int64_t file_size(const char *path);

// When the content was changed last, in seconds since 1970; -1 when there is no such
// file.
int64_t file_time(const char *path);

// Whether the last failure was that a file of that name is there already (FILE_NEW).
bool file_name_was_taken();

// The reason of the last failure of a call of this header, as an English text.
const char *file_failure();
