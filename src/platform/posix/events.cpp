#include "platform/posix/events.h"

#include "platform/clock.h"
#include "platform/posix/memory_reserve.h"
#include "platform/posix/spare_descriptors.h"
#include "platform/posix/store_events.h"
#include "platform/windows.h"

#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <utility>
#include <vector>

namespace
{

constexpr int BATCH = 64;
constexpr int ACCEPTS_AT_ONCE = 16;
// While others have events, the pipelining senders get one after so many batches.
constexpr int BATCHES_WITHOUT_PIPELINED = 7;
constexpr uint32_t REST_MILLISECONDS = 500;
// Free descriptors that mean the end of a shortage.
constexpr int ENOUGH_DESCRIPTORS = 8;

// The window that a socket reports to. The generation tells an event of a closed socket
// from one of a new socket with the same number.
struct Watch {
    Window *window = nullptr;
    unsigned message = 0;
    uint32_t generation = 0;
    bool listening = false;
    bool held = false; // in no queue
    SchedulingClass scheduling = CLASS_INTERACTIVE;
};

std::vector<Watch> watches; // by socket
int epoll = -1;
int bulk = -1; // the sockets of CLASS_BULK; this queue is itself one entry of `epoll`
int pipelined = -1; // the same for CLASS_PIPELINED
int signals = -1;
int reports = -1; // of messages that were handed over
sigset_t blocked;
sigset_t before;

epoll_event batch[BATCH];
int batch_size;
int batch_at;
int accepted; // in this batch
int batches_without_pipelined;

// A shortage of descriptors lasts from the first failed accept until enough are free
// again, so that the failure is reported once. While it rests, the listening socket
// reports nothing.
bool short_of_descriptors;
bool resting;
int resting_socket = -1;
uint32_t rest_began;
bool freed_since;

// Accepting has failed for another reason than a shortage. It is tried after each rest,
// and a client is reported only when that works, so that the failure is reported once.
bool accept_fails;
int early = -1; // accepted by such a try
sockaddr_in early_peer;

uint64_t tag(int socket)
{
    const auto number = static_cast<size_t>(socket);
    assert(number < watches.size());
    return static_cast<uint64_t>(watches[number].generation) << 32 |
           static_cast<uint32_t>(socket);
}

Watch &watch_of(int socket)
{
    assert(socket >= 0);
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

bool listen_in(int queue, int socket, uint32_t events)
{
    epoll_event event{};
    event.events = events;
    event.data.u64 = tag(socket);
    return epoll_ctl(queue, EPOLL_CTL_ADD, socket, &event) == 0;
}

// The queue of a scheduling class.
int queue_of(SchedulingClass scheduling)
{
    return scheduling == CLASS_PIPELINED ? pipelined
           : scheduling == CLASS_BULK    ? bulk
                                         : epoll;
}

bool is_queue(int number)
{
    return number == bulk || number == pipelined;
}

// The place of an event in its batch: new clients first, pipelining senders last.
int rank(const epoll_event &event)
{
    const auto number = static_cast<uint32_t>(event.data.u64);
    return watches[number].listening               ? 0
           : static_cast<int>(number) == bulk      ? 2
           : static_cast<int>(number) == pipelined ? 3
                                                   : 1;
}

// One event of the queue's sockets, if it is their turn.
bool next_of_queue(int queue, epoll_event *event)
{
    if (queue == pipelined) {
        if (batch_size > 1 && batches_without_pipelined <= BATCHES_WITHOUT_PIPELINED) {
            return false;
        }
        batches_without_pipelined = 0;
    }
    return epoll_wait(queue, event, 1, 0) == 1;
}

bool somebody_waits(int listening)
{
    pollfd ready{listening, POLLIN, 0};
    return poll(&ready, 1, 0) > 0;
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

// Ends the rest as soon as a descriptor can be had.
void end_rest()
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

// Whether a failed accept is over at once: nobody waits any more, or a signal came.
bool passes(int error)
{
    return error == EAGAIN || error == EWOULDBLOCK || error == EINTR ||
           error == ECONNABORTED;
}

bool is_shortage(int error)
{
    return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
}

// A client's socket, or -1 with errno set; after an error that lasts the listening socket
// rests.
int accept_one(int listening, sockaddr_in *peer)
{
    socklen_t length = sizeof *peer;
    const int socket = accept4(listening, reinterpret_cast<sockaddr *>(peer), &length,
                               SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (socket >= 0) {
        accept_fails = false;
    } else if (!passes(errno)) {
        const int reason = errno;
        accept_fails = accept_fails || !is_shortage(reason);
        events_rest(listening);
        errno = reason;
    }
    return socket;
}

// Whether a waiting client can be accepted now; the listening socket rests otherwise.
bool may_accept(int socket)
{
    if (short_of_descriptors) {
        const int free = free_descriptors(ENOUGH_DESCRIPTORS);
        short_of_descriptors = free < ENOUGH_DESCRIPTORS;
        if (free == 0) {
            events_rest(socket);
            return false;
        }
    }
    if (accept_fails && early < 0) {
        early = accept_one(socket, &early_peer);
        return early >= 0;
    }
    return true;
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
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        // What was ignored when the program began stays ignored (nohup, a shell's `&`).
        struct sigaction inherited;
        if (signal == SIGTERM || sigaction(signal, nullptr, &inherited) != 0 ||
            inherited.sa_handler != SIG_IGN) {
            sigaddset(&blocked, signal);
        }
    }
    if (sigprocmask(SIG_BLOCK, &blocked, &before) != 0) {
        return false;
    }
    signals = signalfd(-1, &blocked, SFD_NONBLOCK | SFD_CLOEXEC);
    epoll = epoll_create1(EPOLL_CLOEXEC);
    bulk = epoll_create1(EPOLL_CLOEXEC);
    pipelined = epoll_create1(EPOLL_CLOEXEC);
    reports = store_descriptor();
    if (epoll < 0 || bulk < 0 || pipelined < 0 || signals < 0 || reports < 0) {
        return false;
    }
    watch_of(std::max({signals, bulk, pipelined, reports}));
    return listen_in(epoll, signals, EPOLLIN) && listen_in(epoll, bulk, EPOLLIN) &&
           listen_in(epoll, pipelined, EPOLLIN) && listen_in(epoll, reports, EPOLLIN);
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
    end_rest();
    memory_reserve_refill();

    accepted = 0;
    batches_without_pipelined++;
    std::stable_sort(
        batch, batch + batch_size,
        [](const epoll_event &a, const epoll_event &b) { return rank(a) < rank(b); });
}

bool events_next(Message *message)
{
    while (batch_at < batch_size) {
        epoll_event event = batch[batch_at++];
        const int queue = static_cast<int>(event.data.u64);
        if (is_queue(queue) && !next_of_queue(queue, &event)) {
            continue;
        }
        const auto number = static_cast<uint32_t>(event.data.u64);
        const int socket = static_cast<int>(number);
        if (socket == signals) {
            signalfd_siginfo info;
            *message = {nullptr, MESSAGE_CLOSE, 0, 0};
            return read(signals, &info, sizeof info) == sizeof info;
        }
        if (socket == reports) {
            bool more = false;
            if (!store_event(message, &more)) {
                continue;
            }
            batch_at -= more ? 1 : 0;
            return true;
        }
        const Watch &watch = watches[number];
        if (watch.window == nullptr || watch.generation != event.data.u64 >> 32) {
            continue;
        }
        int code = SOCKET_READ;
        if (watch.listening) {
            if (resting || !may_accept(socket) ||
                (accepted > 0 && !somebody_waits(socket))) {
                continue;
            }
            code = SOCKET_ACCEPT;
            if (++accepted < ACCEPTS_AT_ONCE) {
                batch_at--; // the next one as well, if there is one
            }
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
    watch.held = false;
    watch.scheduling = CLASS_INTERACTIVE;
    return listen_in(epoll, socket, listening ? EPOLLIN : EPOLLIN | EPOLLRDHUP);
}

void events_set_class(int socket, SchedulingClass scheduling)
{
    Watch &watch = watch_of(socket);
    if (watch.scheduling == scheduling || watch.window == nullptr) {
        return;
    }
    // Added to the new queue first: when that fails, the socket stays in the old one.
    if (listen_in(queue_of(scheduling), socket, EPOLLIN | EPOLLRDHUP)) {
        epoll_ctl(queue_of(watch.scheduling), EPOLL_CTL_DEL, socket, nullptr);
        watch.scheduling = scheduling;
    }
}

SchedulingClass events_class(int socket)
{
    return watch_of(socket).scheduling;
}

void events_hold(int socket)
{
    Watch &watch = watch_of(socket);
    watch.held =
        epoll_ctl(queue_of(watch.scheduling), EPOLL_CTL_DEL, socket, nullptr) == 0;
}

bool events_resume(int socket)
{
    Watch &watch = watch_of(socket);
    watch.held = watch.held &&
                 !listen_in(queue_of(watch.scheduling), socket, EPOLLIN | EPOLLRDHUP);
    return !watch.held;
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

int events_accept(int listening, sockaddr_in *peer)
{
    if (early >= 0) {
        *peer = early_peer;
        return std::exchange(early, -1);
    }
    return accept_one(listening, peer);
}

void events_rest(int listening)
{
    if (early >= 0) {
        close(std::exchange(early, -1)); // nobody can be served
    }
    short_of_descriptors = true;
    resting = true;
    resting_socket = listening;
    rest_began = tick_count();
    freed_since = false;
    listen_to(listening, false);
}
