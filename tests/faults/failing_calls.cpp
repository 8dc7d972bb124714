// Loaded below the server: makes the n-th call of a kind fail, as a page shared with the
// test says. Without a page every call goes through.
#include "failing_calls.h"

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <ctime>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

extern "C" {
void *__libc_malloc(size_t);
void *__libc_calloc(size_t, size_t);
void *__libc_realloc(void *, size_t);
void __libc_free(void *);
}

namespace
{

FaultPage *page;

template <typename Function> Function *next(Function *, const char *name)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

bool fails(FailingCall kind)
{
    if (page == nullptr) {
        return false;
    }
    page->calls[kind]++;
    if (page->kind != kind || page->nth == 0) {
        return false;
    }
    if (page->nth > 1) {
        page->nth--;
        return false;
    }
    page->nth = 0;
    errno = page->error;
    return true;
}

[[gnu::constructor]] void map_page()
{
    const char *path = getenv("FAULT_PAGE");
    const int file = path != nullptr ? open(path, O_RDWR | O_CLOEXEC) : -1;
    if (file >= 0) {
        void *memory =
            mmap(nullptr, sizeof(FaultPage), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
        close(file);
        page = memory != MAP_FAILED ? static_cast<FaultPage *>(memory) : nullptr;
    }
}

void count_block(const void *block, int number)
{
    if (page != nullptr && block != nullptr) {
        page->blocks += number;
    }
}

} // namespace

#define NEXT(function) static const auto real = next(&::function, #function)

extern "C" {

int open(const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    NEXT(open);
    return fails(CALL_OPEN) ? -1 : real(path, flags, mode);
}

ssize_t write(int file, const void *bytes, size_t size)
{
    NEXT(write);
    if (!fails(CALL_WRITE)) {
        return real(file, bytes, size);
    }
    if (page->half && size > 1) {
        page->nth = 1; // and no room for the rest
        page->half = false;
        return real(file, bytes, size / 2);
    }
    return -1;
}

int close(int file)
{
    NEXT(close);
    const int result = real(file); // a close that fails has closed all the same
    return fails(CALL_CLOSE) ? -1 : result;
}

#define FAILING(kind, result, name, parameters, arguments, ...)                          \
    result name parameters __VA_ARGS__                                                   \
    {                                                                                    \
        NEXT(name);                                                                      \
        return fails(kind) ? -1 : real arguments;                                        \
    }

FAILING(CALL_RENAME, int, rename, (const char *from, const char *to), (from, to),
        noexcept)
FAILING(CALL_UNLINK, int, unlink, (const char *path), (path), noexcept)
FAILING(CALL_SYNC, int, fdatasync, (int file), (file))
FAILING(CALL_RECV, ssize_t, recv, (int socket, void *bytes, size_t size, int flags),
        (socket, bytes, size, flags))
FAILING(CALL_ACCEPT, int, accept4,
        (int socket, sockaddr *address, socklen_t *length, int flags),
        (socket, address, length, flags))
FAILING(CALL_WATCH, int, epoll_ctl,
        (int epoll, int operation, int socket, epoll_event *event),
        (epoll, operation, socket, event), noexcept)

ssize_t send(int socket, const void *bytes, size_t size, int flags)
{
    NEXT(send);
    if (!fails(CALL_SEND)) {
        return real(socket, bytes, size, flags);
    }
    return page->half ? real(socket, bytes, size / 2, flags) : -1;
}

int clock_gettime(clockid_t clock, timespec *now) noexcept
{
    NEXT(clock_gettime);
    const int result = real(clock, now);
    now->tv_sec += page != nullptr && clock == CLOCK_REALTIME ? page->clock.load() : 0;
    return result;
}

time_t time(time_t *) noexcept
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return now.tv_sec;
}

void *malloc(size_t size)
{
    void *block = fails(CALL_MEMORY) ? nullptr : __libc_malloc(size);
    count_block(block, 1);
    return block;
}

void *calloc(size_t count, size_t size)
{
    void *block = fails(CALL_MEMORY) ? nullptr : __libc_calloc(count, size);
    count_block(block, 1);
    return block;
}

void *realloc(void *block, size_t size)
{
    if (fails(CALL_MEMORY)) {
        return nullptr;
    }
    void *moved = __libc_realloc(block, size);
    count_block(moved, block == nullptr ? 1 : 0);
    return moved;
}

void free(void *block)
{
    count_block(block, -1);
    __libc_free(block);
}
}
