// RCPT TO: one recipient more (RFC 5321, 4.1.1.3). Every recipient that is named is
// accepted, known or not; whether the transaction may go on is decided at DATA.
#pragma once

struct ClientSession;

inline constexpr int RECIPIENT_SIZE = 512;

// Whether a recipient this long is taken.
bool recipient_fits(const char *token);

// Handles a well-formed RCPT TO; the session's `argument` is what follows its colon. The
// work buffer receives the address without its brackets. May end the session.
void handle_rcpt_to(ClientSession *session, char recipient[RECIPIENT_SIZE]);
