// The connection table: every ClientSession, on the active or on the spare list.
#pragma once

#include "platform/sockets.h"

struct ClientSession;

// Empties both lists.
void sessions_init();

// The oldest spare record or a new one, empty in either case, at the tail of the active
// list. Null when memory is exhausted.
ClientSession *session_alloc();

// Tells the table which socket the record has got. False when memory is exhausted.
bool session_set_socket(ClientSession *session, Socket socket);

// Moves an active record to the tail of the spare list; any other is left alone.
void session_release(ClientSession *session);

// The active record of this socket, or null. Costs the same however many there are.
ClientSession *session_find(Socket socket);

// The head of the active list for null, else the record that follows; null at the end.
ClientSession *session_next(const ClientSession *session);

// Closes the socket of every active record and frees all records.
void sessions_free_all();

// Ends the connection: nothing more of its input is handled and nothing more is sent.
// When the event is over, whoever got it closes the socket and releases the record.
void session_end(ClientSession *session);

// Whether the record belongs to a connection that has not ended: asked after each step
// that may have ended it.
bool session_is_open(const ClientSession *session);
