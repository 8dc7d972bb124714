#include "platform/posix/disk_batch.h"

#include "platform/store_job.h"

#include <cassert>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace
{

// A directory that holds messages of the batch, open while it is written.
struct Directory {
    const char *path; // of a message in it
    size_t length;
    int descriptor;
    int error;
};

struct Directories {
    Directory all[LARGEST_BATCH];
    int count;
};

const char *name_in_directory(const char *path)
{
    const char *separator = strrchr(path, '/');
    return separator == nullptr ? path : separator + 1;
}

int open_directory(const char *path, size_t length)
{
    char name[STORE_NAME_SIZE];
    memcpy(name, path, length);
    name[length] = '\0';
    return open(length == 0 ? "." : name, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
}

Directory &directory_of(Directories &directories, const char *path)
{
    const auto length = static_cast<size_t>(name_in_directory(path) - path);
    for (int i = 0; i < directories.count; i++) {
        Directory &known = directories.all[i];
        if (known.length == length && memcmp(known.path, path, length) == 0) {
            return known;
        }
    }
    assert(directories.count < LARGEST_BATCH);
    Directory &directory = directories.all[directories.count++];
    directory = {path, length, open_directory(path, length), 0};
    directory.error = directory.descriptor < 0 ? errno : 0;
    return directory;
}

bool is_shortage(int error)
{
    return error == EMFILE || error == ENFILE;
}

// Opens its directory. Without it the message is left as it was.
void enter(StoreJob &message, Directories &directories)
{
    const Directory &directory = directory_of(directories, message.temporary);
    message.directory = static_cast<int>(&directory - directories.all);
    if (directory.error == 0) {
        return;
    }
    if (message.envelope_file >= 0) {
        close(message.envelope_file);
        message.envelope_file = -1;
    }
    message.error = directory.error;
    message.envelope_error = 0;
    message.unusual = is_shortage(directory.error) || directory.error == ENOENT;
}

bool is_sound(const StoreJob &message)
{
    return !message.unusual && message.error == 0 && message.envelope_error == 0;
}

// Even numbers are bodies, odd ones envelopes.
void sync_file(int number, void *messages)
{
    StoreJob &message = *static_cast<StoreJob **>(messages)[number / 2];
    if (message.envelope_file < 0) {
        return;
    }
    if (number % 2 == 1) {
        message.envelope_error = fdatasync(message.envelope_file) == 0 ? 0 : errno;
        close(message.envelope_file);
    } else if (fdatasync(message.body) != 0) {
        message.error = errno;
    }
}

void give_final_name(StoreJob &message, const Directories &directories)
{
    if (message.unusual) {
        return;
    }
    if (close(message.body) != 0 && errno != EINTR && message.error == 0) {
        message.error = errno;
    }
    message.body = NO_FILE;
    if (!is_sound(message)) {
        message.result = STORE_FAILED;
        return;
    }
    const Directory &directory = directories.all[message.directory];
    const bool named =
        renameat(directory.descriptor, name_in_directory(message.temporary),
                 directory.descriptor, name_in_directory(message.final)) == 0;
    message.error = named ? 0 : errno;
    message.result = named ? STORE_DONE : STORE_NOT_NAMED;
}

// Whether the file system has given up after an error. XFS then confirms a directory as
// before, though its names are lost; but it opens nothing any more.
bool has_given_up(int directory)
{
    const int again = openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (again >= 0) {
        close(again);
    }
    return again < 0 && !is_shortage(errno);
}

// fsync, because fdatasync may leave new names to the next commit.
void sync_directory(int number, void *directories)
{
    Directory &directory = static_cast<Directories *>(directories)->all[number];
    if (directory.descriptor >= 0) {
        const bool synced =
            fsync(directory.descriptor) == 0 && !has_given_up(directory.descriptor);
        directory.error = synced ? 0 : errno;
        close(directory.descriptor);
    }
}

} // namespace

void disk_message_begin(StoreJob *message)
{
    message->result = STORE_DONE;
    message->error = message->envelope_error = 0;
    message->envelope_file = open(message->envelope, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    message->unusual = message->envelope_file < 0 && is_shortage(errno);
    if (message->envelope_file < 0) {
        message->envelope_error = errno;
        return;
    }
    sync_file_range(message->body, 0, 0, SYNC_FILE_RANGE_WRITE);
    sync_file_range(message->envelope_file, 0, 0, SYNC_FILE_RANGE_WRITE);
}

bool disk_message_is_short(const StoreJob *message)
{
    return message->unusual &&
           (is_shortage(message->error) || is_shortage(message->envelope_error));
}

void disk_batch_write(StoreJob **messages, int count, RunTasks run)
{
    Directories directories;
    directories.count = 0;
    for (int i = 0; i < count; i++) {
        enter(*messages[i], directories);
    }
    run(sync_file, 2 * count, messages);
    for (int i = 0; i < count; i++) {
        give_final_name(*messages[i], directories);
    }
    run(sync_directory, directories.count, &directories);
    for (int i = 0; i < count; i++) {
        StoreJob &message = *messages[i];
        const int error = directories.all[message.directory].error;
        if (!message.unusual && message.result == STORE_DONE && error != 0) {
            message.error = error;
            message.result = STORE_UNCONFIRMED;
        }
    }
}
