// AUTH as today's clients know it (RFC 4954), for sessions with ESMTP=1: a name and a
// password are asked for, read and judged.
//
// The exchange is no state of the engine: while `login.step` says that an answer is
// expected, the engine gives its lines here instead of taking them for commands. Nothing
// of a line is logged but the mechanism and the name.
#pragma once

struct ClientSession;

// Handles the AUTH line held in the session's `line`.
void login_command(ClientSession *session);

// Handles the line held there as the answer that is expected. The third refusal ends the
// session.
void login_answer(ClientSession *session);

// Ends an exchange that was begun, and leaves nothing of it in the record.
void login_forget(ClientSession *session);
