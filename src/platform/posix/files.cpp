#include "platform/files.h"

#include "platform/posix/error_text.h"
#include "platform/posix/name_lookup.h"
#include "platform/posix/spare_descriptors.h"
#include "platform/posix/working_directory.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <new>

namespace
{

constexpr mode_t NEW_FILE_MODE = 0666; // less the umask
constexpr int NATIVE_SIZE = 4096;

int last_failure;

// Keeps the reason of a failure until file_failure() is asked.
template <typename Result> Result failed(Result result)
{
    last_failure = errno;
    return result;
}

int flags_of(FileMode mode)
{
    switch (mode) {
    case FILE_READ:
        return O_RDONLY | O_NONBLOCK; // a pipe of that name must not hold us up
    case FILE_APPEND:
        return O_WRONLY | O_APPEND | O_NONBLOCK;
    case FILE_EMPTY:
        return O_RDWR | O_TRUNC;
    case FILE_NEW:
        return O_RDWR | O_CREAT | O_EXCL;
    case FILE_EXACT:
        return O_RDWR | O_CREAT | O_TRUNC;
    }
    return O_RDONLY;
}

// The system lets a directory be opened for reading, and refuses only to read it.
bool is_directory(int descriptor)
{
    struct stat status;
    return fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode);
}

int open_native(const char *native, int flags, int leave_spare)
{
    int descriptor = open(native, flags | O_CLOEXEC, NEW_FILE_MODE);
    if (descriptor < 0 && spare_descriptor_release(leave_spare)) {
        descriptor = open(native, flags | O_CLOEXEC, NEW_FILE_MODE);
    }
    return descriptor;
}

// Tries the name as given, then ignoring case, then creates the file.
int open_any_case(const char *path, FileMode mode, int leave_spare)
{
    char native[NATIVE_SIZE];
    if (!native_name(path, native, sizeof native)) {
        return -1;
    }
    const int flags = flags_of(mode);
    const int descriptor = open_native(native, flags, leave_spare);
    if (descriptor >= 0 || errno != ENOENT) {
        return descriptor;
    }

    if ((flags & O_CREAT) != 0) {
        return open_native(path_for_exact_name(native).c_str(), flags, leave_spare);
    }
    if (mode == FILE_READ) {
        std::string found;
        if (find_in_other_case(native, &found)) {
            return open_native(found.c_str(), flags, leave_spare);
        }
        errno = ENOENT;
        return -1;
    }
    // Created even if found: it may be a link to a file that does not exist yet.
    return open_native(path_for_new_name(native).c_str(), flags | O_CREAT, leave_spare);
}

// The directory entry of a name in any letter case. False with errno set.
bool look_at(const char *path, struct stat *status)
{
    char native[NATIVE_SIZE];
    if (!native_name(path, native, sizeof native)) {
        return false;
    }
    std::string found;
    return stat(native, status) == 0 ||
           (errno == ENOENT && find_in_other_case(native, &found) &&
            stat(found.c_str(), status) == 0);
}

// Bytes written; fewer than asked for when writing fails.
size_t write_all(FileHandle file, const void *bytes, size_t size)
{
    const char *at = static_cast<const char *>(bytes);
    size_t left = size;
    while (left > 0) {
        const ssize_t count = write(file, at, left);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            last_failure = count < 0 ? errno : ENOSPC;
            break;
        }
        at += count;
        left -= static_cast<size_t>(count);
    }
    return size - left;
}

} // namespace

void working_directory(char *path, int size)
{
    const char *directory = current_directory();
    const size_t length = strlen(directory);
    if (length >= static_cast<size_t>(size)) {
        path[0] = '\0';
        return;
    }
    memcpy(path, directory, length + 1);
}

bool is_separator(char c)
{
    return c == '/' || c == '\\';
}

FileHandle file_open(const char *path, FileMode mode)
{
    const int descriptor = open_any_case(path, mode, 0);
    if (descriptor >= 0 && mode == FILE_READ && is_directory(descriptor)) {
        close(descriptor);
        errno = EISDIR;
        return failed(NO_FILE);
    }
    return descriptor < 0 ? failed(NO_FILE) : descriptor;
}

FileHandle file_open_long_lived(const char *path)
{
    const int descriptor = open_any_case(path, FILE_EXACT, SPARE_FOR_SHORT_LIVED);
    return descriptor < 0 ? failed(NO_FILE) : descriptor;
}

int64_t file_read(FileHandle file, void *bytes, size_t size)
{
    const ssize_t count = read(file, bytes, size);
    return count < 0 ? failed<int64_t>(-1) : count;
}

bool file_read_whole(FileHandle file, std::string *bytes)
{
    static char piece[65536];
    try {
        int64_t count = 0;
        while ((count = file_read(file, piece, sizeof piece)) > 0) {
            bytes->append(piece, static_cast<size_t>(count));
        }
        return count == 0;
    } catch (const std::bad_alloc &) {
        errno = ENOMEM;
        return failed(false);
    }
}

bool file_write(FileHandle file, const void *bytes, size_t size)
{
    return write_all(file, bytes, size) == size;
}

bool file_write_whole(FileHandle file, const void *bytes, size_t size)
{
    const size_t count = write_all(file, bytes, size);
    if (count == size) {
        return true;
    }
    struct stat status;
    if (count > 0 && fstat(file, &status) == 0 &&
        ftruncate(file, status.st_size - static_cast<off_t>(count)) != 0) {
        last_failure = errno;
    }
    return false;
}

bool file_seek(FileHandle file, int64_t position)
{
    return lseek(file, position, SEEK_SET) >= 0 || failed(false);
}

bool file_close(FileHandle file)
{
    const bool closed = close(file) == 0 || errno == EINTR || failed(false);
    spare_descriptors_refill();
    return closed;
}

bool file_put(const char *path, FileMode mode, const void *bytes, size_t size)
{
    const FileHandle file = file_open(path, mode);
    if (file == NO_FILE) {
        return false;
    }
    const bool written = file_write_whole(file, bytes, size);
    const int reason = last_failure;
    const bool closed = file_close(file);
    if (!written) {
        last_failure = reason;
    }
    return written && closed;
}

bool file_delete(const char *path)
{
    return file_delete_exact(path) ||
           (last_failure == ENOENT &&
            (unlink(existing_path(path).c_str()) == 0 || failed(false)));
}

bool file_is_there_exact(const char *path)
{
    char native[NATIVE_SIZE];
    struct stat status;
    return native_name(path, native, sizeof native) && lstat(native, &status) == 0;
}

bool file_delete_exact(const char *path)
{
    char native[NATIVE_SIZE];
    if (!native_name(path, native, sizeof native)) {
        return failed(false);
    }
    if (unlink(native) == 0) {
        return true;
    }
    if (errno != ENOENT) {
        return failed(false);
    }
    try {
        return unlink(path_for_exact_name(native).c_str()) == 0 || failed(false);
    } catch (const std::bad_alloc &) {
        return false; // as not there under its name, which is all that is known
    }
}

bool file_is_there(const char *path)
{
    return file_size(path) >= 0;
}

int64_t file_size(const char *path)
{
    struct stat status;
    return look_at(path, &status) ? status.st_size : failed<int64_t>(-1);
}

int64_t file_time(const char *path)
{
    struct stat status;
    return look_at(path, &status) ? status.st_mtime : failed<int64_t>(-1);
}

bool file_name_was_taken()
{
    return last_failure == EEXIST;
}

const char *file_failure()
{
    return error_text(last_failure);
}
