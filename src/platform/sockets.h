// TCP over IPv4, with event messages.
//
// A socket that is registered with a window reports readiness as messages to that
// window: first parameter the socket, second the event code. Sockets accepted from
// a listening socket inherit its registration. Events are posted while their cause
// lasts, the listening socket's first.
#pragma once

#include "platform/socket_events.h"

#include <cstddef>
#include <cstdint>

struct Window;

using Socket = int;
inline constexpr Socket NO_SOCKET = -1;

inline constexpr int SOCKET_FAILED = -1;
inline constexpr int SOCKET_WOULD_BLOCK = -2; // nothing has arrived at the moment

// What the log says of the socket library at the start.
inline constexpr char SOCKET_LIBRARY[] = "POSIX sockets";

// The host's own name, without resolving it. 0, or -1 when it cannot be had.
int host_name_of_machine(char *name, int size);

// Looks the host's own name up: writes its official name (at most `size` bytes with the
// NUL), which stays as it is when the resolver gives none within two seconds, and its
// first IPv4 address in network byte order. Returns how many addresses it has: those of
// the running interfaces other than loopback. 0, with `first` unchanged, when it has
// none.
int host_look_up(const char *name, char *official, int size, uint32_t *first);

// Dotted text to an address in network byte order; 255.255.255.255 when the text is
// no address. And back: `text` takes at most 16 bytes.
uint32_t address_from_text(const char *text);
void address_to_text(uint32_t address, char *text, int size);
inline constexpr uint32_t ADDRESS_NONE = 0xFFFFFFFFU;
inline constexpr uint32_t ADDRESS_ANY = 0;

// A new TCP socket, or NO_SOCKET.
Socket socket_create();

// Ask for buffers of `bytes`. False when refused.
bool socket_set_receive_buffer(Socket socket, int bytes);
bool socket_set_send_buffer(Socket socket, int bytes);

// Registers a window for the socket's events, sent as `message`. False on failure.
bool socket_register(Socket socket, Window *window, unsigned message);

// False when the address (network byte order) is none of this host's, or the port
// (host byte order) is in use or not permitted.
bool socket_bind(Socket socket, uint32_t address, uint16_t port);

// Listens. False on failure.
bool socket_listen(Socket socket, int backlog);

// Accepts one waiting client and writes its address as dotted text (16 bytes). NO_SOCKET,
// with `text` unchanged, when nobody waits any more, or when accepting fails for a
// reason that lasts: the listening socket then reports nothing until it may work again.
Socket socket_accept(Socket listener, char *text, int size);

// The listening socket reports nothing until a connection is closed or a short time has
// passed: called when a waiting client cannot be served at the moment.
void socket_rest(Socket listener);

// Bytes received, 0 when the peer has closed, SOCKET_WOULD_BLOCK or SOCKET_FAILED.
int socket_receive(Socket socket, void *bytes, size_t size);

// Peek receives but leaves the bytes where they are; discard drops `size` bytes that were
// peeked at, false on failure.
int socket_peek(Socket socket, void *bytes, size_t size);
bool socket_discard(Socket socket, size_t size);

// The socket reports nothing from now on; and again, which is false when that fails. What
// happens meanwhile is reported then.
void socket_hold(Socket socket);
bool socket_resume(Socket socket);

// The socket's scheduling class; at first CLASS_INTERACTIVE.
void socket_set_class(Socket socket, SchedulingClass scheduling);
SchedulingClass socket_class(Socket socket);

// Bytes taken by one send, which never waits; SOCKET_FAILED when none.
int socket_send(Socket socket, const void *bytes, size_t size);

// Closes; what was sent before still reaches the peer. No event follows.
void socket_close(Socket socket);

// The system's number for the last failure of a call of this header, and what it means
// for a bind.
int socket_last_error();

// Its reason, as an English text.
const char *socket_failure();
enum BindFailure {
    BIND_ADDRESS_TAKEN,
    BIND_NOT_PERMITTED,
    BIND_NOT_OWN_ADDRESS,
    BIND_FAILED
};
BindFailure socket_bind_failure();
