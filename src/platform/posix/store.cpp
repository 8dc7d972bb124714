#include "platform/store.h"
#include "platform/store_job.h"

#include "platform/clock.h"
#include "platform/posix/disk_batch.h"
#include "platform/posix/disk_threads.h"
#include "platform/posix/name_lookup.h"
#include "platform/posix/spare_descriptors.h"
#include "platform/posix/store_events.h"
#include "platform/windows.h"

#include <cassert>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <poll.h>
#include <unistd.h>

namespace
{

constexpr int DESCRIPTORS_OF_ONE = 2; // beside the body: the directory and the envelope

Window *report_window;
unsigned report_message;

StoreJob *ready; // reported next, in this order
int under_way;

// The directory that was found last in other letter cases than it is named in, and how
// it stands on the disk.
char named[STORE_NAME_SIZE];
char standing[STORE_NAME_SIZE];

size_t directory_length(const char *path)
{
    const char *separator = strrchr(path, '/');
    return separator == nullptr ? 0 : static_cast<size_t>(separator - path);
}

void name_directory(StoreJob &message, const char *directory, size_t length)
{
    for (char *path : {message.temporary, message.final, message.envelope}) {
        memcpy(path, directory, length);
    }
}

// Searches for the directory in other letter cases; false when it is not found either.
bool find_directory(StoreJob &message)
{
    const size_t length = directory_length(message.temporary);
    try {
        const std::string found = path_for_exact_name(message.temporary);
        if (directory_length(found.c_str()) != length) {
            return false;
        }
        memcpy(named, message.temporary, length);
        named[length] = '\0';
        found.copy(standing, length);
    } catch (const std::bad_alloc &) {
        return false;
    }
    name_directory(message, standing, length);
    return true;
}

void close_body(StoreJob &message)
{
    if (close(message.body) != 0 && errno != EINTR) {
        message.error = errno;
    }
    message.body = NO_FILE;
}

void run_here(void (*task)(int number, void *context), int count, void *context)
{
    for (int number = 0; number < count; number++) {
        task(number, context);
    }
}

void write_alone(StoreJob &message)
{
    StoreJob *batch[] = {&message};
    disk_message_begin(&message);
    disk_batch_write(batch, 1, run_here);
}

// On this thread, with what the others have not: the descriptors set aside, and a search
// for the directory.
void write_here(StoreJob &message)
{
    write_alone(message);
    if (message.unusual && message.error == ENOENT && find_directory(message)) {
        write_alone(message);
    }
    for (int i = 0; i < DESCRIPTORS_OF_ONE && message.unusual; i++) {
        errno = message.error != 0 ? message.error : message.envelope_error;
        if (spare_descriptor_release(0)) {
            write_alone(message);
        }
    }
    if (message.unusual) {
        close_body(message);
        message.result = STORE_FAILED;
    }
}

// What the caller needs beside the result.
void complete(StoreJob &message)
{
    const int error = message.error != 0 ? message.error : message.envelope_error;
    const char *text = strerrordesc_np(error);
    message.reason = text != nullptr ? text : "unknown reason";
    spare_descriptors_refill();
}

StoreJob *next_ready()
{
    if (ready == nullptr) {
        ready = disk_threads_ready();
    }
    StoreJob *message = ready;
    if (message == nullptr) {
        return nullptr;
    }
    ready = message->next;
    under_way--;
    if (message->unusual) {
        write_here(*message);
    }
    complete(*message);
    return message;
}

} // namespace

bool store_names(StoreJob *message, const char *temporary, const char *final,
                 const char *envelope)
{
    if (!native_name(temporary, message->temporary, STORE_NAME_SIZE) ||
        !native_name(final, message->final, STORE_NAME_SIZE) ||
        !native_name(envelope, message->envelope, STORE_NAME_SIZE)) {
        return false;
    }
    const size_t length = directory_length(message->temporary);
    assert(length == directory_length(message->final) &&
           length == directory_length(message->envelope));
    if (length > 0 && strlen(named) == length &&
        memcmp(message->temporary, named, length) == 0) {
        name_directory(*message, standing, length);
    }
    return true;
}

void store_reports_to(Window *window, unsigned message)
{
    report_window = window;
    report_message = message;
}

bool store_begin(StoreJob *message)
{
    const bool taken = disk_threads_take(message);
    under_way += taken ? 1 : 0;
    return taken;
}

void store_here(StoreJob *message)
{
    write_here(*message);
    complete(*message);
}

void store_at_once(StoreJob *message)
{
    message->error = message->envelope_error = 0;
    close_body(*message);
    message->result = STORE_FAILED;
    if (message->error == 0) {
        bool renamed = rename(message->temporary, message->final) == 0;
        if (!renamed && errno == ENOENT && find_directory(*message)) {
            renamed = rename(message->temporary, message->final) == 0;
        }
        message->error = renamed ? 0 : errno;
        message->result = renamed ? STORE_DONE : STORE_NOT_NAMED;
    }
    complete(*message);
}

StoreJob *store_wait(int milliseconds)
{
    const uint32_t began = tick_count();
    StoreJob *message = next_ready();
    int left = milliseconds;
    // Woken for nothing when what was told has been taken already.
    while (message == nullptr && under_way > 0 && left > 0) {
        pollfd report{disk_threads_descriptor(), POLLIN, 0};
        poll(&report, 1, left);
        message = next_ready();
        left = milliseconds - static_cast<int>(tick_count() - began);
    }
    return message;
}

int store_descriptor()
{
    return disk_threads_descriptor();
}

bool store_event(Message *message, bool *more)
{
    StoreJob *reported = next_ready();
    if (reported != nullptr) {
        *message = {report_window, report_message, reinterpret_cast<Param>(reported), 0};
    }
    *more = ready != nullptr;
    return reported != nullptr;
}
