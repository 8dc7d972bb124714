// Socket readiness and signals, below the seam: one epoll descriptor.
#pragma once

#include "platform/socket_events.h"

struct Message;

// Blocks the signals that end the program, ignores SIGPIPE, raises the limit on open
// files and opens the epoll descriptor. False when that cannot be had.
bool events_start();

// The descriptor that is readable when events wait.
int events_descriptor();

// The wait that is allowed when the display would wait `milliseconds` (-1: without end):
// shorter while the listening socket rests.
int events_limit_wait(int milliseconds);

// Fetches what is ready, waiting at most `milliseconds` (-1: without end).
void events_wait(int milliseconds);

// The next fetched event as a message; false when none is left. Events of sockets that
// were closed meanwhile are left out. A signal that ends the program is a MESSAGE_CLOSE
// to no window.
bool events_next(Message *message);

// Undoes events_start()'s signal settings in a child process that runs another program.
void events_restore_signals();

// --- for sockets.cpp

struct Window;
struct sockaddr_in;

// Reports the socket's events to the window. False when the system refuses.
bool events_watch(int socket, bool listening, Window *window, unsigned message);

// Accepts a client's socket; -1, with errno set, when that is not possible. After an
// error that lasts the listening socket rests.
int events_accept(int listening, sockaddr_in *peer);

// Registers an accepted socket like its listening one.
bool events_watch_accepted(int socket, int listening);

// As socket_set_class() and socket_class() say.
void events_set_class(int socket, SchedulingClass scheduling);
SchedulingClass events_class(int socket);

// As socket_hold() and socket_resume() say.
void events_hold(int socket);
bool events_resume(int socket);

// Forgets a socket that is about to be closed.
void events_forget(int socket);

// The listening socket rests: it reports nothing until a connection has closed or a short
// time has passed.
void events_rest(int listening);
