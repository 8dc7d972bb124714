// Replies: a three-digit code, a blank, a text and CR LF (RFC 5321, 4.2), always a single
// line but for the answer to EHLO. One send takes it whole or the session ends: there is
// no retry and no queue. Every byte that a client gets comes from here.
#pragma once

#include <initializer_list>

struct ClientSession;

// Bytes of a reply line with its CR LF and a NUL; RFC 5321 allows 512, the welcome line
// for a long HELO name and nothing else comes near.
inline constexpr int REPLY_SIZE = 1024;

// The text of each 451.
inline constexpr char NOT_STORED[] =
    "Message could not be stored, please try again later";

// Sends one reply line; `code` carries its blank ("250 "). The session's `replyText`,
// when set, takes the text's place, once. Echoed in the log with FULLDETAIL. May end the
// session: ask session_is_open afterwards.
void send_reply(ClientSession *session, const char *code, const char *text);

// Sends a reply of several lines in one send, and echoes each; `code` is its digits.
void send_list(ClientSession *session, const char *code,
               std::initializer_list<const char *> texts);

// One line without echo and replacement.
void send_directly(ClientSession *session, const char *code, const char *text);
