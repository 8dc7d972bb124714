// Socket readiness and signals, below the seam: one epoll descriptor.
#pragma once

#include "platform/sockets.h"

struct Message;

// Blocks the signals that end the program, ignores SIGPIPE, raises the limit on open
// files and opens the epoll descriptor. False when that cannot be had.
bool events_start();

// The descriptor that is readable when events wait.
int events_descriptor();

// How long a wait may last when the display would wait `milliseconds` (-1: however
// long): a listening socket that rests must be looked at again.
int events_limit_wait(int milliseconds);

// Fetches what is ready, waiting at most `milliseconds` (-1: however long).
void events_wait(int milliseconds);

// The next event fetched, as a message; false when none is left. An event of a socket
// that was closed meanwhile is left out.
bool events_next(Message *message);

// What a child process must undo before it runs another program.
void events_restore_signals();

// --- for sockets.cpp

struct Window;

// Reports the socket's events to the window. False when the system refuses.
bool events_watch(int socket, bool listening, Window *window, unsigned message);

// Registers an accepted socket like its listening one.
bool events_watch_accepted(int socket, int listening);

// As socket_set_class() and socket_class() say.
void events_set_class(int socket, SchedulingClass scheduling);
SchedulingClass events_class(int socket);

// Forgets a socket that is about to be closed.
void events_forget(int socket);

// Descriptors have run out: the listening socket rests until there are some again.
void events_rest(int listening);
