// The SMTP engine of one connection: lines, the four dialogue states, the commands.
//
// The state is read once at the start of each call, and the whole chunk is handled by
// that state's rules, even when a line in it changes the state. This is not pipelining
// (RFC 2920): what becomes of commands sent ahead is told in engine.cpp.
#pragma once

struct ClientSession;

// Without bytes: greets a client that has just been admitted. Else handles the bytes of
// one receive, at most 1,023. May end the session.
void handle_client_input(ClientSession *session, const char *bytes, int count);

// The same, but stops after a few commands and returns the bytes consumed. Pass the rest
// again before newer ones. May end the session.
int handle_part_of_input(ClientSession *session, const char *bytes, int count);
