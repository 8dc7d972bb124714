// Replies: always a single line, a three-digit code, a blank, a text and CR LF
// (RFC 5321, 4.2). One send takes it whole or the connection ends: there is no retry
// and no queue.
#pragma once

struct ClientSession;

// Bytes of a reply line with its CR LF and a NUL; RFC 5321 allows 512, the welcome line
// for a long HELO name and nothing else comes near.
inline constexpr int REPLY_SIZE = 1024;

// Sends one reply line; `code` carries its blank ("250 "). The session's `replyText`,
// when set, takes the text's place, once. Echoed in the log with FULLDETAIL. May end the
// session: ask session_is_open afterwards.
void send_reply(ClientSession *session, const char *code, const char *text);

// The same without echo and replacement. False when the send fell short; the session
// still stands then, and the caller ends it.
bool send_line(ClientSession *session, const char *code, const char *text);

// send_line, and the session's end when it falls short.
void send_directly(ClientSession *session, const char *code, const char *text);
