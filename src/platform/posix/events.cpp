#include "platform/posix/events.h"

#include "platform/clock.h"
#include "platform/posix/memory_reserve.h"
#include "platform/posix/spare_descriptors.h"
#include "platform/sockets.h"
#include "platform/windows.h"
#include "platform/windows/display.h"

#include <signal.h>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

namespace
{

constexpr int BATCH = 64;
constexpr uint32_t REST_MILLISECONDS = 500;
// So many free descriptors mean that the shortage is over.
constexpr int ENOUGH_DESCRIPTORS = 8;

// Whom a socket reports to. The generation tells an event of a closed socket from one
// of a new socket that got the same number.
struct Watch {
    Window *window = nullptr;
    unsigned message = 0;
    uint32_t generation = 0;
    bool listening = false;
};

std::vector<Watch> watches; // by socket
int epoll = -1;
int signals = -1;
sigset_t blocked;
sigset_t before;

epoll_event batch[BATCH];
int batch_size;
int batch_at;

// The listening socket during a shortage of descriptors: `short_of_descriptors` from the
// first failed accept until enough are free again, so that the failure is reported once;
// `resting` while it is not listened to at all.
bool short_of_descriptors;
bool resting;
int resting_socket = -1;
uint32_t rest_began;
bool freed_since;

uint64_t tag(int socket)
{
    const auto number = static_cast<size_t>(socket);
    return static_cast<uint64_t>(watches[number].generation) << 32 |
           static_cast<uint32_t>(socket);
}

Watch &watch_of(int socket)
{
    const auto number = static_cast<size_t>(socket);
    if (number >= watches.size()) {
        watches.resize(std::max(number + 1, watches.size() * 2));
    }
    return watches[number];
}

void listen_to(int socket, bool on)
{
    epoll_event event{};
    event.events = on ? static_cast<uint32_t>(EPOLLIN) : 0U;
    event.data.u64 = tag(socket);
    epoll_ctl(epoll, EPOLL_CTL_MOD, socket, &event);
}

// How many of the descriptors asked for can be had.
int free_descriptors(int wanted)
{
    int got[ENOUGH_DESCRIPTORS];
    int count = 0;
    while (count < wanted && (got[count] = dup(epoll)) >= 0) {
        count++;
    }
    for (int i = 0; i < count; i++) {
        close(got[i]);
    }
    return count;
}

// Ends a rest when there may be descriptors again.
void look_after_rest()
{
    if (!resting || (!freed_since && tick_count() - rest_began < REST_MILLISECONDS)) {
        return;
    }
    freed_since = false;
    rest_began = tick_count();
    if (free_descriptors(1) == 0) {
        return;
    }
    spare_descriptors_refill();
    resting = false;
    listen_to(resting_socket, true);
}

// Whether a waiting client can be accepted now; the listening socket rests otherwise.
bool may_accept(int socket)
{
    if (!short_of_descriptors) {
        return true;
    }
    const int free = free_descriptors(ENOUGH_DESCRIPTORS);
    short_of_descriptors = free < ENOUGH_DESCRIPTORS;
    if (free == 0) {
        events_rest(socket);
    }
    return free > 0;
}

} // namespace

bool events_start()
{
    rlimit files;
    if (getrlimit(RLIMIT_NOFILE, &files) == 0) {
        files.rlim_cur = files.rlim_max;
        setrlimit(RLIMIT_NOFILE, &files);
    }
    spare_descriptors_refill();
    memory_reserve_refill();

    signal(SIGPIPE, SIG_IGN);
    signal(SIGXFSZ, SIG_IGN); // a limit on file sizes fails the write, not the process
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    sigaddset(&blocked, SIGINT);
    sigaddset(&blocked, SIGHUP);
    if (sigprocmask(SIG_BLOCK, &blocked, &before) != 0) {
        return false;
    }
    signals = signalfd(-1, &blocked, SFD_NONBLOCK | SFD_CLOEXEC);
    epoll = epoll_create1(EPOLL_CLOEXEC);
    if (epoll < 0 || signals < 0) {
        return false;
    }
    watch_of(signals);
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.u64 = tag(signals);
    return epoll_ctl(epoll, EPOLL_CTL_ADD, signals, &event) == 0;
}

void events_restore_signals()
{
    signal(SIGPIPE, SIG_DFL);
    signal(SIGXFSZ, SIG_DFL);
    sigprocmask(SIG_SETMASK, &before, nullptr);
}

int events_descriptor()
{
    return epoll;
}

int events_limit_wait(int milliseconds)
{
    constexpr int rest = static_cast<int>(REST_MILLISECONDS);
    if (!resting) {
        return milliseconds;
    }
    return freed_since ? 0 : milliseconds < 0 ? rest : std::min(milliseconds, rest);
}

void events_wait(int milliseconds)
{
    batch_at = 0;
    batch_size =
        std::max(0, epoll_wait(epoll, batch, BATCH, events_limit_wait(milliseconds)));
    look_after_rest();

    // The listening socket's event comes first.
    memory_reserve_refill();
    for (int i = 1; i < batch_size; i++) {
        const auto socket = static_cast<uint32_t>(batch[i].data.u64);
        if (watches[socket].listening) {
            std::rotate(batch, batch + i, batch + i + 1);
        }
    }
}

bool events_next(Message *message)
{
    while (batch_at < batch_size) {
        const epoll_event &event = batch[batch_at++];
        const auto number = static_cast<uint32_t>(event.data.u64);
        const int socket = static_cast<int>(number);
        if (socket == signals) {
            signalfd_siginfo info;
            while (read(signals, &info, sizeof info) == sizeof info) {
                model_close_request();
            }
            continue;
        }
        const Watch &watch = watches[number];
        if (watch.window == nullptr || watch.generation != event.data.u64 >> 32) {
            continue;
        }
        int code = SOCKET_READ;
        if (watch.listening) {
            if (resting || !may_accept(socket)) {
                continue;
            }
            code = SOCKET_ACCEPT;
        } else if ((event.events & (EPOLLRDHUP | EPOLLHUP | EPOLLERR)) != 0) {
            code = SOCKET_CLOSE;
        }
        *message = {watch.window, watch.message, socket, code};
        return true;
    }
    return false;
}

bool events_watch(int socket, bool listening, Window *window, unsigned message)
{
    Watch &watch = watch_of(socket);
    watch.window = window;
    watch.message = message;
    watch.listening = listening;
    epoll_event event{};
    event.events = listening ? EPOLLIN : EPOLLIN | EPOLLRDHUP;
    event.data.u64 = tag(socket);
    return epoll_ctl(epoll, EPOLL_CTL_ADD, socket, &event) == 0;
}

bool events_watch_accepted(int socket, int listening)
{
    const Watch from = watch_of(listening);
    return events_watch(socket, false, from.window, from.message);
}

void events_forget(int socket)
{
    Watch &watch = watch_of(socket);
    watch.window = nullptr;
    watch.listening = false;
    watch.generation++;
    freed_since = true;
    if (resting && socket == resting_socket) {
        resting = false;
    }
}

void events_rest(int listening)
{
    short_of_descriptors = true;
    resting = true;
    resting_socket = listening;
    rest_began = tick_count();
    freed_since = false;
    listen_to(listening, false);
}
