#include "platform/sockets.h"

#include "platform/posix/error_text.h"
#include "platform/posix/events.h"
#include "platform/posix/official_name.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <cstring>
#include <new>

namespace
{

// The smallest sizes that are free of stalls here, where the system counts its own
// bookkeeping in a buffer's size: with less than that to send from, forty short replies
// that a client who sent ahead has not yet acknowledged fill it, and end the session.
constexpr int LEAST_RECEIVE_BUFFER = 65536;
constexpr int LEAST_SEND_BUFFER = 131072;

// Longer than the system's own maximum, which then counts: connections beyond a short
// backlog would be completed for the client and forgotten.
constexpr int LONGEST_BACKLOG = 65535;

int last_error;
Window *registered_window;
unsigned registered_message;

bool succeeded(bool success)
{
    if (!success) {
        last_error = errno;
    }
    return success;
}

// The IPv4 address of a running interface other than loopback.
bool is_reachable(const ifaddrs &entry)
{
    return entry.ifa_addr != nullptr && entry.ifa_addr->sa_family == AF_INET &&
           (entry.ifa_flags & IFF_UP) != 0 && (entry.ifa_flags & IFF_RUNNING) != 0 &&
           (entry.ifa_flags & IFF_LOOPBACK) == 0;
}

uint32_t address_of(const ifaddrs &entry)
{
    sockaddr_in address;
    memcpy(&address, entry.ifa_addr, sizeof address);
    return address.sin_addr.s_addr;
}

bool is_own_address(uint32_t address)
{
    if (address == ADDRESS_ANY || ntohl(address) >> 24 == IN_LOOPBACKNET) {
        return true;
    }
    ifaddrs *list = nullptr;
    if (getifaddrs(&list) != 0) {
        return false;
    }
    bool found = false;
    for (const ifaddrs *entry = list; entry != nullptr; entry = entry->ifa_next) {
        found = found ||
                (entry->ifa_addr != nullptr && entry->ifa_addr->sa_family == AF_INET &&
                 address_of(*entry) == address);
    }
    freeifaddrs(list);
    return found;
}

int receive(int socket, void *bytes, size_t size, int flags)
{
    const ssize_t count = recv(socket, bytes, size, flags);
    if (count >= 0) {
        return static_cast<int>(count);
    }
    last_error = errno;
    return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR ? SOCKET_WOULD_BLOCK
                                                                     : SOCKET_FAILED;
}

bool is_watched(int socket, int listener)
{
    try {
        return events_watch_accepted(socket, listener);
    } catch (const std::bad_alloc &) {
        errno = ENOMEM;
        return false;
    }
}

} // namespace

int host_name_of_machine(char *name, int size)
{
    const auto room = static_cast<size_t>(size);
    if (!succeeded(gethostname(name, room) == 0)) {
        return -1;
    }
    name[room - 1] = '\0';
    return 0;
}

int host_look_up(const char *name, char *official, int size, uint32_t *first)
{
    find_official_name(name, official, size);
    ifaddrs *list = nullptr;
    if (!succeeded(getifaddrs(&list) == 0)) {
        return 0;
    }
    int count = 0;
    for (const ifaddrs *entry = list; entry != nullptr; entry = entry->ifa_next) {
        if (is_reachable(*entry) && count++ == 0) {
            *first = address_of(*entry);
        }
    }
    freeifaddrs(list);
    return count;
}

uint32_t address_from_text(const char *text)
{
    return inet_addr(text);
}

void address_to_text(uint32_t address, char *text, int size)
{
    assert(size >= INET_ADDRSTRLEN);
    in_addr in{address};
    if (inet_ntop(AF_INET, &in, text, static_cast<socklen_t>(size)) == nullptr) {
        text[0] = '\0';
    }
}

Socket socket_create()
{
    const int socket =
        ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, IPPROTO_TCP);
    if (!succeeded(socket >= 0)) {
        return NO_SOCKET;
    }
    // Bound again right after a restart. Accepted sockets inherit the second option:
    // without it a client that sends ahead waits for each reply.
    const int on = 1;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    return socket;
}

bool socket_set_receive_buffer(Socket socket, int bytes)
{
    const int size = std::max(bytes, LEAST_RECEIVE_BUFFER);
    return succeeded(setsockopt(socket, SOL_SOCKET, SO_RCVBUF, &size, sizeof size) == 0);
}

bool socket_set_send_buffer(Socket socket, int bytes)
{
    const int size = std::max(bytes, LEAST_SEND_BUFFER);
    return succeeded(setsockopt(socket, SOL_SOCKET, SO_SNDBUF, &size, sizeof size) == 0);
}

bool socket_register(Socket socket, Window *window, unsigned message)
{
    // Watched only from socket_listen on: before that, the socket would report its state
    // as an event again and again.
    registered_window = window;
    registered_message = message;
    return socket >= 0 && window != nullptr;
}

bool socket_bind(Socket socket, uint32_t address, uint16_t port)
{
    // Checked here because the system would also bind broadcast and multicast addresses.
    if (!is_own_address(address)) {
        last_error = EADDRNOTAVAIL;
        return false;
    }
    sockaddr_in name{};
    name.sin_family = AF_INET;
    name.sin_port = htons(port);
    name.sin_addr.s_addr = address;
    return succeeded(
        bind(socket, reinterpret_cast<const sockaddr *>(&name), sizeof name) == 0);
}

bool socket_listen(Socket socket, int backlog)
{
    return succeeded(listen(socket, std::max(backlog, LONGEST_BACKLOG)) == 0 &&
                     events_watch(socket, true, registered_window, registered_message));
}

Socket socket_accept(Socket listener, char *text, int size)
{
    sockaddr_in peer{};
    const int socket = events_accept(listener, &peer);
    if (!succeeded(socket >= 0)) {
        return NO_SOCKET;
    }
    if (!succeeded(is_watched(socket, listener))) {
        close(socket);
        return NO_SOCKET;
    }
    address_to_text(peer.sin_addr.s_addr, text, size);
    return socket;
}

void socket_rest(Socket listener)
{
    events_rest(listener);
}

int socket_receive(Socket socket, void *bytes, size_t size)
{
    return receive(socket, bytes, size, 0);
}

int socket_peek(Socket socket, void *bytes, size_t size)
{
    return receive(socket, bytes, size, MSG_PEEK);
}

bool socket_discard(Socket socket, size_t size)
{
    // Received without a copy.
    return recv(socket, nullptr, size, MSG_TRUNC) == static_cast<ssize_t>(size);
}

void socket_hold(Socket socket)
{
    events_hold(socket);
}

bool socket_resume(Socket socket)
{
    return events_resume(socket);
}

void socket_set_class(Socket socket, SchedulingClass scheduling)
{
    events_set_class(socket, scheduling);
}

SchedulingClass socket_class(Socket socket)
{
    return events_class(socket);
}

int socket_send(Socket socket, const void *bytes, size_t size)
{
    const ssize_t count = send(socket, bytes, size, MSG_NOSIGNAL | MSG_DONTWAIT);
    return succeeded(count >= 0) ? static_cast<int>(count) : SOCKET_FAILED;
}

void socket_close(Socket socket)
{
    if (socket < 0) {
        return;
    }
    // Closing with bytes unread would make the system break the connection, and the
    // client could lose the last reply.
    static char unread[65536];
    for (int i = 0; i < 4 && recv(socket, unread, sizeof unread, MSG_DONTWAIT) > 0; i++) {
    }
    events_forget(socket);
    close(socket);
}

int socket_last_error()
{
    return last_error;
}

const char *socket_failure()
{
    return error_text(last_error);
}

BindFailure socket_bind_failure()
{
    switch (last_error) {
    case EADDRINUSE:
        return BIND_ADDRESS_TAKEN;
    case EACCES:
        return BIND_NOT_PERMITTED;
    case EADDRNOTAVAIL:
        return BIND_NOT_OWN_ADDRESS;
    default:
        return BIND_FAILED;
    }
}
