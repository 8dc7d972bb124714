// Socket readiness and signals, below the seam: one epoll descriptor.
#pragma once

struct Message;

// Blocks the signals that end the program, ignores SIGPIPE, raises the limit on open
// files and opens the epoll descriptor.
bool events_start();

// The descriptor that is readable when events wait.
int events_descriptor();

// Fetches what is ready, waiting at most `milliseconds` (-1: however long).
void events_wait(int milliseconds);

// The next event fetched, as a message; false when none is left. An event of a socket
// that was closed meanwhile is left out.
bool events_next(Message *message);
