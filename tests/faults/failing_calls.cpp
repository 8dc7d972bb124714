// Loaded below the server: makes the n-th call of a kind fail, as a page shared with the
// test says.
#include "failing_calls.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/epoll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

extern "C" {
void *__libc_malloc(size_t);
}

namespace
{

FaultPage unshared; // until the constructor has run
FaultPage *page = &unshared;

[[gnu::constructor]] void map_page()
{
    const char *path = getenv("FAULT_PAGE");
    const int file = open(path != nullptr ? path : "", O_RDWR);
    page = static_cast<FaultPage *>(
        mmap(nullptr, sizeof(FaultPage), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0));
    close(file);
}

bool fails(FailingCall kind)
{
    page->calls[kind]++;
    int nth = page->kind == kind ? page->nth.load() : 0;
    while (nth > 0 && !page->nth.compare_exchange_weak(nth, nth - 1)) {
    }
    if (nth == 1) {
        errno = page->error;
        page->nth = page->half && kind != CALL_WRITE && kind != CALL_SEND ? 1 : 0;
    }
    return nth == 1;
}

// Whether it is being written and its name ends so. Nothing is allocated for it: that
// might be what fails.
bool is_written(int file, const char *ending)
{
    char path[300] = "";
    char link[40];
    snprintf(link, sizeof link, "/proc/self/fd/%d", file);
    const ssize_t length = readlink(link, path, sizeof path - 1);
    return length > 4 && (fcntl(file, F_GETFL) & O_ACCMODE) != O_RDONLY &&
           strcmp(path + length - 4, ending) == 0;
}

} // namespace

// The system's own.
#define REAL(function)                                                                   \
    reinterpret_cast<decltype(&::function)>(dlsym(RTLD_NEXT, #function))

#define FAILING(kind, result, name, parameters, arguments, ...)                          \
    result name parameters __VA_ARGS__                                                   \
    {                                                                                    \
        return fails(kind) ? -1 : REAL(name) arguments;                                  \
    }

extern "C" {

FAILING(CALL_READ, ssize_t, read, (int file, void *bytes, size_t size),
        (file, bytes, size))
FAILING(CALL_RENAME, int, rename, (const char *from, const char *to), (from, to),
        noexcept)
FAILING(CALL_RENAME, int, renameat, (int in, const char *from, int out, const char *to),
        (in, from, out, to), noexcept)
FAILING(CALL_UNLINK, int, unlink, (const char *path), (path), noexcept)
FAILING(CALL_SYNC, int, fsync, (int file), (file))
FAILING(CALL_STAT, int, stat, (const char *path, struct stat *status), (path, status),
        noexcept)
FAILING(CALL_ACCEPT, int, accept4,
        (int socket, sockaddr *address, socklen_t *length, int flags),
        (socket, address, length, flags))
FAILING(CALL_RECV, ssize_t, recv, (int socket, void *bytes, size_t size, int flags),
        (socket, bytes, size, flags))
FAILING(CALL_WATCH, int, epoll_ctl,
        (int epoll, int operation, int socket, epoll_event *event),
        (epoll, operation, socket, event), noexcept)

int fdatasync(int file)
{
    usleep(static_cast<useconds_t>(page->delay) * 1000);
    const FailingCall call = is_written(file, ".tmp") ? CALL_SYNC_OF_TEXT : CALL_SYNC;
    return fails(call) ? -1 : REAL(fdatasync)(file);
}

int open(const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return fails(CALL_OPEN) ? -1 : REAL(open)(path, flags, mode);
}

int openat(int directory, const char *path, int flags, ...) // nothing is created so
{
    return fails(CALL_OPEN) ? -1 : REAL(openat)(directory, path, flags);
}

int pthread_create(pthread_t *thread, const pthread_attr_t *attributes,
                   void *(*run)(void *), void *argument) noexcept
{
    return fails(CALL_THREAD) ? page->error.load()
                              : REAL(pthread_create)(thread, attributes, run, argument);
}

ssize_t write(int file, const void *bytes, size_t size)
{
    if (!fails(CALL_WRITE)) {
        return REAL(write)(file, bytes, size);
    }
    page->nth = page->half.exchange(false) ? 1 : 0; // and no room for the rest
    return page->nth > 0 ? REAL(write)(file, bytes, size / 2) : -1;
}

ssize_t send(int socket, const void *bytes, size_t size, int flags)
{
    const bool failed = fails(CALL_SEND);
    return failed && !page->half
               ? -1
               : REAL(send)(socket, bytes, failed ? size / 2 : size, flags);
}

int close(int file)
{
    const bool spooled = is_written(file, ".tmp") || is_written(file, ".env");
    const int result = REAL(close)(file); // a close that fails has closed all the same
    return spooled && fails(CALL_CLOSE) ? -1 : result;
}

int clock_gettime(clockid_t clock, timespec *now) noexcept
{
    const int result = REAL(clock_gettime)(clock, now);
    now->tv_sec += clock == CLOCK_REALTIME ? page->clock.load() : 0;
    return result;
}

time_t time(time_t *) noexcept
{
    return REAL(time)(nullptr) + page->clock;
}

void *malloc(size_t size)
{
    return fails(CALL_MEMORY) ? nullptr : __libc_malloc(size);
}
}
